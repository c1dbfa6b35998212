"""Plain Python equivalents of what the benchmarks measure: what a client would write with the
standard library and psutil, doing the same work and giving the same results."""

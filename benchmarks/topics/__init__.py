"""What is measured: each module's `measure` gives its rows, in a process of its own."""

#pragma once

#include <Python.h>
#include <cxxabi.h>

namespace utility_manager::python {

/// Never returns. For threads that must not touch Python any more and must not unwind either.
[[noreturn]] void park();

/// Makes one call of the interpreter's interface that can run Python code. An interpreter that ends
/// unwinds the threads which come back to it; such a thread stays here for good. `call` must own
/// nothing with a destructor. The unwinding brings no object, which a sanitizer would complain of.
template <typename Call>
__attribute__((no_sanitize("undefined"))) auto guarded_call(Call call) {
  try {
    return call();
  } catch (abi::__forced_unwind&) {
    park();
  }
}

}  // namespace utility_manager::python

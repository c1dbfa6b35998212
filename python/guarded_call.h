#pragma once

#include <type_traits>

#include <Python.h>

namespace utility_manager::python {

/// Never returns. For threads that must not touch Python any more and must not unwind either.
[[noreturn]] void park();

/// Calls `call(context)`. An interpreter that ends may unwind the threads which come back to it;
/// such a thread stays here for good. `call` must own nothing with a destructor.
void guard(void (*call)(void*), void* context);

/// Makes one call of the interpreter's interface that can run Python code, under `guard`.
template <typename Call>
auto guarded_call(Call call) {
  using Result = std::invoke_result_t<Call&>;
  if constexpr (std::is_void_v<Result>) {
    guard([](void* context) { (*static_cast<Call*>(context))(); }, &call);
  } else {
    Result result{};
    guarded_call([&] { result = call(); });
    return result;
  }
}

}  // namespace utility_manager::python

#include "python/guarded_call.h"

#include <windows.h>

namespace utility_manager::python {

void park() {
  for (;;) ::Sleep(INFINITE);
}

/// A thread that the interpreter ends here is gone at once, without being unwound.
void guard(void (*call)(void*), void* context) {
  call(context);
}

}  // namespace utility_manager::python

#include "python/guarded_call.h"

#include <cxxabi.h>
#include <unistd.h>

namespace utility_manager::python {

void park() {
  for (;;) ::pause();
}

/// The end of a thread unwinds it, and brings no object, which a sanitizer would complain of.
__attribute__((no_sanitize("undefined"))) void guard(void (*call)(void*), void* context) {
  try {
    call(context);
  } catch (abi::__forced_unwind&) {
    park();
  }
}

}  // namespace utility_manager::python

#include "utility_manager/forked_child.h"

#include "utility_manager/failures.h"
#include "utility_manager/platform/fork.h"

namespace utility_manager {

void refuse_forked_child() {
  if (!platform::is_forked_child()) return;
  throw RuntimeError(
      "the utility manager belongs to the process that has loaded it, "
      "and can't be used in a forked child of it");
}

}  // namespace utility_manager

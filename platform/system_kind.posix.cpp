#include "platform/system_kind.h"

namespace platform {

bool runs_on_windows() {
  return false;
}

}  // namespace platform

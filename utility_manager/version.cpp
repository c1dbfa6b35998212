#include "utility_manager/version.h"

namespace utility_manager {

const char* version() {
  return UM_VERSION;
}

}  // namespace utility_manager

#include "utility_manager/persistence/state_directory.h"

#include "utility_manager/host/services.h"
#include "utility_manager/platform/files.h"
#include "utility_manager/platform/paths.h"

namespace utility_manager {

std::string make_state_directory() {
  auto path =
      platform::join_paths(host::services().local->get_default_config_dir(), "utility_states");
  platform::create_directories(path);
  return path;
}

}  // namespace utility_manager

# What most sources include of the standard library, read once per target. It hides an include that
# a source lacks; the presets without it show that.
option(PRECOMPILED_HEADERS "Precompile headers of the standard library" OFF)
if(PRECOMPILED_HEADERS)
  foreach(target core utility-manager module_objects)
    if(TARGET ${target})
      target_precompile_headers(
        ${target} PRIVATE <algorithm> <chrono> <condition_variable> <functional> <map> <memory>
                          <mutex> <optional> <set> <span> <stdexcept> <string> <thread>
                          <unordered_map> <variant> <vector>)
    endif()
  endforeach()
endif()

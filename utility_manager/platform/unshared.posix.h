#pragma once

#include <mutex>
#include <string>

#include <spawn.h>

#include "utility_manager/platform/handle.h"

/// Descriptors that no child inherits. What opens them gives an empty handle, with `errno` set,
/// where they can't be had.
namespace utility_manager::platform {

Handle open_socket(int domain, int type);

/// False, with `errno` set, where it can't be had.
bool open_pipe(Handle& read_end, Handle& write_end);

/// A file that never has a name; empty where the system or the directory has none.
Handle open_nameless_file(const std::string& directory);

/// To be held while a child is started: where a descriptor is closed to children in a second step,
/// none is started between the two.
std::unique_lock<std::mutex> hold_openings();

/// The child keeps its descriptors below `first` alone. Where only those can be named that are open
/// now, it also keeps what the client opens for its children meanwhile. Gives an error number, 0
/// for none.
int close_from(posix_spawn_file_actions_t& actions, int first);

}  // namespace utility_manager::platform

#pragma once

namespace utility_manager::platform {

/// True in a process that was forked from the one that has loaded the system. No thread but the
/// forking one exists there, a lock may be held by one that doesn't, and children and books are the
/// parent's.
bool is_forked_child();

/// How many forks lie between that process and this one: another number, another process.
int fork_depth();

/// Has these called around every fork from now on, on the forking thread: before it, then after it
/// in each of the two processes.
void around_forks(void (*before)(), void (*in_parent)(), void (*in_child)());

}  // namespace utility_manager::platform

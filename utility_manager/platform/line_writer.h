#pragma once

#include <string_view>

namespace utility_manager::platform {

/// Writes whole lines, each with its line end, to the client's standard output (descriptor 1),
/// past any buffer of the client's. Lines of several threads stay whole: pieces go out at line ends
/// and in at most PIPE_BUF bytes (a longer line in one piece of its own), one writer at a time.
/// Waits while a full pipe is not read. Gives false when the output takes nothing any more.
bool write_lines(std::string_view lines);

/// Keeps SIGPIPE from the calling thread, so that a lost reader of the output is an error code.
void block_broken_pipe_signal();

}  // namespace utility_manager::platform

#pragma once

#include <string_view>

namespace utility_manager::platform {

/// Writes whole lines, each with its line end, to the client's standard output (descriptor 1; on
/// Windows its handle), past any buffer of the client's. Lines of several threads stay whole:
/// pieces go out at line ends and in as many bytes as a pipe takes at once (PIPE_BUF on POSIX; a
/// longer line in one piece of its own), one writer at a time. Waits while a full pipe is not read.
/// Gives false when the output takes nothing more: the rest of the lines is lost, and the next call
/// tries again, on a line of its own.
bool write_lines(std::string_view lines);

/// For a client that has no standard output: descriptor 1 may be one of its files. From now on
/// nothing is written.
void give_up_output();

/// Keeps the signals of a failed write (SIGPIPE, SIGXFSZ) from the calling thread, so that a lost
/// reader and a file that is full are error codes.
void block_write_signals();

}  // namespace utility_manager::platform

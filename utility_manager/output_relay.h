#pragma once

#include <memory>
#include <string>

#include "utility_manager/platform/stream.h"

namespace utility_manager {

class StderrBuffer;

/// Starts a detached thread that relays the lines of `stream` by `write_output`, each as "["
/// `prefix` "] " and the line, appends them to `buffer` unless that is null, and closes the stream
/// at its end. A null stream has ended.
///
/// A line ends at a line feed; bytes that are no UTF-8 are dropped, white space at its end is
/// stripped, and a line with nothing left is skipped. One beyond `limits::longest_line_bytes` is
/// relayed as it stands. What the output doesn't take is lost there, and so is a chunk for which
/// there is no memory; what follows is relayed again. Fails with `std::system_error` when no thread
/// can be had.
void start_relay(std::shared_ptr<platform::Stream> stream, const std::string& prefix,
                 std::shared_ptr<StderrBuffer> buffer);

}  // namespace utility_manager

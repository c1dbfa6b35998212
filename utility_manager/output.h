#pragma once

#include <functional>
#include <string_view>

namespace utility_manager {

/// Takes whole lines of utilities, each with its lead and its line end. Called on threads of the
/// system's own, one call at a time; while it doesn't return no utility's output is read. An
/// ordinary failure loses the lines of this call.
using OutputSink = std::function<void(std::string_view lines)>;

/// Relays to `sink` from now on; to the standard output, as at first, when it is empty. Waits for a
/// call of the sink before, which isn't called again. Not to be called from within a sink.
void set_output(OutputSink sink);

/// Relays nothing from now on, and waits in the same way. The utilities are still drained.
void drop_output();

/// What the relays call.
void write_output(std::string_view lines);

}  // namespace utility_manager

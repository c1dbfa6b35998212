#pragma once

#include <cstddef>
#include <cstdint>

/// Every wait and limit of the system. Seconds, unless the name says otherwise. Includes nothing of
/// ours, so that all folders may include it.
namespace utility_manager::limits {

// Ports, both included.
inline constexpr std::int64_t first_port = 8890;
inline constexpr std::int64_t last_port = 9999;

// Catalogue: how often a collection that a refresh overtook is made again before it is handed out
// without being kept.
inline constexpr int collection_attempts = 3;

// Launch: a child must be alive after the watch. A dead one's reason may take the grace time, of
// which the rest of a reason that has begun gets the settling time.
inline constexpr double start_watch = 1.5;
inline constexpr double stderr_grace = 2.0;
inline constexpr double stderr_settle = 0.5;
inline constexpr std::size_t digest_tail_lines = 4;
inline constexpr std::size_t digest_tail_characters = 600;

// Output. A line beyond the longest is relayed as it stands. Of a child's standard error this much
// stays in memory, and what is older in a temporary file.
inline constexpr std::size_t relay_chunk_bytes = 64 * 1024;
inline constexpr std::size_t longest_line_bytes = 64 * 1024 * 1024;
inline constexpr std::size_t spool_bytes = 256 * 1024;

// Stop: a polite request, then the tree kill, then the platform's own means.
inline constexpr double terminate_wait = 5.0;
inline constexpr double tree_kill_wait = 5.0;
inline constexpr double signal_grace = 5.0;
inline constexpr double signal_probe_interval = 0.1;
inline constexpr double taskkill_limit = 15.0;

// Monitor.
inline constexpr double monitor_interval = 10.0;
inline constexpr double monitor_join = 2.0;

// Adoption: how much later, and how much earlier, than its record a process may have started and
// still be it.
inline constexpr double identity_delay = 2.0;
inline constexpr double identity_lead = 60.0;

// State files: what is larger is none. How long another client's hold on the directory is waited
// for, how young a start record without a process may still get one, and how long the end of an
// orphan is waited for.
inline constexpr std::size_t state_file_bytes = 1024 * 1024;
inline constexpr double directory_lock_wait = 1.0;
inline constexpr double young_record = 10.0;
inline constexpr double orphan_end_wait = 2.0;

// Stderr snippets. The last two bound the final read of a dead child's stream.
inline constexpr long long snippet_characters = 800;
inline constexpr double snippet_wait = 2.0;
inline constexpr double snippet_poll_interval = 0.1;
inline constexpr double final_read_limit = 1.0;
inline constexpr std::size_t final_read_bytes = 1024 * 1024;

// Values: how many lists and mappings may be around one that is read, written or converted.
inline constexpr int deepest_level = 500;

}  // namespace utility_manager::limits

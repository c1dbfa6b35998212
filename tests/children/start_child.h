#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "utility_manager/platform/handle.h"
#include "utility_manager/platform/process.h"
#include "utility_manager/platform/process_handle.h"

namespace utility_manager {

/// The program `child`, which stands in for the interpreter, too; its path as the system writes it.
const std::string& child_program();

/// A child that runs `script`, of which `child.cpp` tells what it may say, with these arguments.
std::shared_ptr<platform::ProcessHandle> start_child(const std::string& script,
                                                     const std::vector<std::string>& more = {});

/// A path that is written with slashes as the system writes it.
std::string native_path(const std::string& path);

/// The next line of the stream, without its end; what there is when the stream ends first.
std::string next_line(platform::Stream& stream);

/// The number that the child writes next.
std::int64_t next_number(const platform::ProcessHandle& child);

/// All that a child writes to its output until it ends; collects it.
std::string output_of(const std::shared_ptr<platform::ProcessHandle>& child);

std::int64_t own_id();

/// The exit code that tells of this end.
int code_of(platform::Signal end);

/// Waits until the child has ended, but leaves it uncollected.
void wait_until_ended(const platform::ProcessHandle& child);

/// Whether a child that has ended exists until it is collected.
bool is_collected_late();

/// Ends and collects what a child of ours has left behind.
void end_orphans(const std::vector<std::int64_t>& pids);

/// Whether no process has this one as its parent.
bool has_no_children();

/// In seconds since the Unix epoch.
void set_modification_time(const std::string& path, double time);

/// The modification time of the file or directory is what it was before the change.
void change_unseen(const std::string& path, const std::function<void()>& change);

/// A link that leads to `target`; something that is neither file nor directory. False on a system
/// that has no such thing.
bool make_link(const std::string& target, const std::string& path);
bool make_special_file(const std::string& path);

/// Python, to be compared with.
const char* interpreter();

/// Descriptors or handles.
int open_handles();

/// While the object lives, no file of this process grows beyond some bytes.
class FullDisk {
 public:
  static bool is_possible();

  explicit FullDisk(std::uint64_t size) : before_(limit_files(size)) {}
  FullDisk(const FullDisk&) = delete;
  FullDisk& operator=(const FullDisk&) = delete;
  ~FullDisk() { limit_files(before_); }

 private:
  static std::uint64_t limit_files(std::uint64_t size);

  const std::uint64_t before_;
};

/// While the object lives, the standard stream of this number is another.
class StandardStream {
 public:
  /// `target` stays open as long as it is in use.
  StandardStream(int number, const platform::Handle& target);
  StandardStream(const StandardStream&) = delete;
  StandardStream& operator=(const StandardStream&) = delete;
  ~StandardStream();

  void change(const platform::Handle& target) const;

  /// Writing fails where it would have to wait, if the system has such a thing.
  void refuse_to_wait() const;

 private:
  const int number_;
  platform::Handle original_;
};

/// While the object lives, descendants that lose their parent become ours instead of a lazy init's,
/// where there is such a thing.
class Reaper {
 public:
  Reaper() { take_orphans(true); }
  Reaper(const Reaper&) = delete;
  Reaper& operator=(const Reaper&) = delete;
  ~Reaper() { take_orphans(false); }

 private:
  static void take_orphans(bool takes);
};

}  // namespace utility_manager

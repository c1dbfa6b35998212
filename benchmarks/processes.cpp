// Stop, tree kill and spawn, each beside the same in bare C. The times are those of the operation
// alone; its children are made and collected outside of them.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include <benchmark/benchmark.h>
#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "benchmarks/children.h"
#include "utility_manager/platform/process.h"
#include "utility_manager/supervision/process_control.h"

using namespace utility_manager;

namespace {

using benchmark::State;
using benchmarks::seconds_of;

constexpr int stops = 8;
constexpr int trees = 1;
constexpr int tree_size = 100;
constexpr int spawns = 16;
constexpr int forks = 2;
constexpr std::size_t mebibyte = 1024 * 1024;

/// One iteration is so many runs, and its time the lower quartile of theirs: what else the machine
/// does only ever adds.
template <typename Run>
void measure(State& state, int runs, Run seconds_of_run) {
  for (auto _ : state) {
    std::vector<double> seconds;
    for (int i = 0; i < runs; ++i) seconds.push_back(seconds_of_run());
    const auto quartile = seconds.begin() + runs / 4;
    std::nth_element(seconds.begin(), quartile, seconds.end());
    state.SetIterationTime(*quartile);
  }
}

void stop(State& state) {
  platform::bind_processes(platform::native_processes());
  measure(state, stops, [&] {
    const auto child = benchmarks::waiting_child();
    const double seconds = seconds_of([&] { stop_utility_process(child, child->pid()); });
    if (!child->returncode()) state.SkipWithError("the child still runs");
    return seconds;
  });
}
BENCHMARK(stop)->UseManualTime()->Iterations(1);

void stop_in_bare_c(State& state) {
  measure(state, stops, [] {
    const auto child = benchmarks::waiting_child();
    const auto pid = static_cast<pid_t>(child->pid());
    return seconds_of([&] {
      ::kill(pid, SIGTERM);
      ::waitpid(pid, nullptr, 0);
    });
  });
}
BENCHMARK(stop_in_bare_c)->UseManualTime()->Iterations(1);

/// Orphans of a tree become children of this process, so that both sides collect all of them.
void tree(State& state) {
  platform::bind_processes(platform::native_processes());
  ::prctl(PR_SET_CHILD_SUBREAPER, 1);
  measure(state, trees, [&] {
    const auto root = benchmarks::tree_of(tree_size);
    bool gone = false;
    const double seconds = seconds_of([&] { gone = kill_process_tree(root->pid()); });
    if (!gone || ::waitpid(-1, nullptr, WNOHANG) != -1) state.SkipWithError("something is left");
    return seconds;
  });
}
BENCHMARK(tree)->UseManualTime()->Iterations(1);

struct Row {
  pid_t pid;
  pid_t parent;
};

/// The process table as a plain reader of /proc gets it.
std::vector<Row> process_table() {
  std::vector<Row> rows;
  DIR* const table = ::opendir("/proc");
  while (const dirent* const entry = ::readdir(table)) {
    const pid_t pid = std::atoi(entry->d_name);
    if (pid == 0) continue;
    char text[512];
    std::snprintf(text, sizeof text, "/proc/%d/stat", pid);
    const int file = ::open(text, O_RDONLY);
    const ssize_t size = ::read(file, text, sizeof text - 1);
    ::close(file);
    if (size <= 0) continue;
    text[size] = 0;
    pid_t parent = 0;
    if (std::sscanf(std::strrchr(text, ')') + 1, " %*c %d", &parent) == 1) {
      rows.push_back({pid, parent});
    }
  }
  ::closedir(table);
  return rows;
}

void kill_tree(const std::vector<Row>& rows, pid_t root) {
  for (const Row& row : rows) {
    if (row.parent == root) kill_tree(rows, row.pid);
  }
  ::kill(root, SIGKILL);
}

void tree_in_bare_c(State& state) {
  ::prctl(PR_SET_CHILD_SUBREAPER, 1);
  measure(state, trees, [] {
    const auto root = benchmarks::tree_of(tree_size);
    return seconds_of([&] {
      kill_tree(process_table(), static_cast<pid_t>(root->pid()));
      while (::waitpid(-1, nullptr, 0) > 0) {
      }
    });
  });
}
BENCHMARK(tree_in_bare_c)->UseManualTime()->Iterations(1);

/// Memory that the client uses, in pages of the usual size.
class Resident {
 public:
  explicit Resident(std::size_t size) : size_(size) {
    if (size_ == 0) return;
    constexpr int kind = MAP_PRIVATE | MAP_ANONYMOUS;
    start_ = ::mmap(nullptr, size_, PROT_READ | PROT_WRITE, kind, -1, 0);
    ::madvise(start_, size_, MADV_NOHUGEPAGE);
    std::fill_n(static_cast<char*>(start_), size_, 'x');
  }
  Resident(const Resident&) = delete;
  Resident& operator=(const Resident&) = delete;
  ~Resident() {
    if (start_) ::munmap(start_, size_);
  }

 private:
  std::size_t size_;
  void* start_ = nullptr;
};

void spawn(State& state) {
  const Resident resident(static_cast<std::size_t>(state.range(0)) * mebibyte);
  measure(state, spawns, [] {
    std::shared_ptr<platform::ProcessHandle> child;
    const double seconds = seconds_of([&] { child = platform::spawn_child({"/bin/true"}); });
    child->wait(std::nullopt);
    return seconds;
  });
}
BENCHMARK(spawn)->UseManualTime()->Arg(0)->Arg(1024)->Iterations(1);

/// What it would be with a copy of the client's memory map.
void fork_in_bare_c(State& state) {
  const Resident resident(static_cast<std::size_t>(state.range(0)) * mebibyte);
  measure(state, forks, [] {
    pid_t child = 0;
    const double seconds = seconds_of([&] {
      child = ::fork();
      if (child == 0) {
        ::execl("/bin/true", "true", nullptr);
        ::_exit(1);
      }
    });
    ::waitpid(child, nullptr, 0);
    return seconds;
  });
}
BENCHMARK(fork_in_bare_c)->UseManualTime()->Arg(0)->Arg(1024)->Iterations(1);

}  // namespace

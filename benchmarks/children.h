#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "utility_manager/platform/child_process.h"

using namespace utility_manager;

/// Children for benchmarks, by the programs that lie beside the benchmark's own.
namespace benchmarks {

/// The path of a program of `programs/`.
std::string program(const std::string& name);

/// A child that has begun to wait for signals, and ends at the first.
std::shared_ptr<platform::ProcessHandle> waiting_child();

/// A tree of so many processes, all of them there.
std::shared_ptr<platform::ProcessHandle> tree_of(int processes);

/// The seconds that `work` takes.
template <typename Work>
double seconds_of(Work work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace benchmarks

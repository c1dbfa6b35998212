#include "utility_manager/platform/process.h"

#include <utility>

#include "utility_manager/platform/failures.h"
#include "utility_manager/platform/system.h"

namespace utility_manager::platform {
namespace {

const ProcessTable*& in_use() {
  static const ProcessTable* current = &bare_processes();
  return current;
}

}  // namespace

void Process::signal(Signal signal) const {
  if (!exists()) throw NoSuchProcess();
  system().signal(pid(), signal);
}

const ProcessTable& processes() {
  return *in_use();
}

void bind_processes(const ProcessTable& table) {
  in_use() = &table;
}

BindProcesses::BindProcesses(const ProcessTable& replacement)
    : previous_(std::exchange(in_use(), &replacement)) {}

BindProcesses::~BindProcesses() {
  in_use() = previous_;
}

}  // namespace utility_manager::platform

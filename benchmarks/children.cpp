#include "benchmarks/children.h"

#include <array>
#include <filesystem>

using namespace utility_manager;

namespace benchmarks {

std::string program(const std::string& name) {
  return std::filesystem::read_symlink("/proc/self/exe").parent_path() / name;
}

std::shared_ptr<platform::ProcessHandle> tree_of(int processes) {
  auto root = platform::spawn_child({program("tree"), std::to_string(processes)});
  std::array<char, 1> ready;
  root->output_stream()->read_some(ready);
  return root;
}

std::shared_ptr<platform::ProcessHandle> waiting_child() {
  return tree_of(1);
}

}  // namespace benchmarks

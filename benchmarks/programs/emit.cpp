// A child that writes lines of 80 bytes to its standard output and standard error, tells in a file
// how many seconds that took, and stays until its parent goes.
// Usage: emit NAME LINES RECORD      (LINES on each of the two; NAME has two characters)

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include <unistd.h>

namespace {

constexpr std::size_t line_size = 80;
constexpr std::size_t block_lines = 800;
constexpr std::size_t number_at = 4;
constexpr int digits = 8;

/// Numbered lines: "AA o00000000 xxx...", with another number in each.
class Block {
 public:
  Block(std::string_view name, char stream) {
    std::string line = std::string(name) + ' ' + stream + std::string(digits, '0') + ' ';
    line.resize(line_size - 1, 'x');
    line += '\n';
    for (std::size_t i = 0; i < block_lines; ++i) bytes_ += line;
  }

  std::string_view numbered(std::size_t first, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
      std::size_t number = first + i;
      char* const end = bytes_.data() + i * line_size + number_at + digits;
      for (char* digit = end; digit != end - digits; number /= 10) {
        *--digit = static_cast<char>('0' + number % 10);
      }
    }
    return std::string_view(bytes_).substr(0, count * line_size);
  }

 private:
  std::string bytes_;
};

void write_all(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
    if (count < 0) std::_Exit(1);
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
}

double seconds_of_writing(const char* name, std::size_t lines) {
  Block output(name, 'o');
  Block error(name, 'e');
  const auto start = std::chrono::steady_clock::now();
  for (std::size_t first = 0; first < lines; first += block_lines) {
    const std::size_t count = std::min(block_lines, lines - first);
    write_all(STDOUT_FILENO, output.numbered(first, count));
    write_all(STDERR_FILENO, error.numbered(first, count));
  }
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/// The file comes into being with its whole content.
void record(const std::string& path, double seconds) {
  const std::string draft = path + ".draft";
  std::FILE* const file = std::fopen(draft.c_str(), "w");
  if (!file) std::_Exit(1);
  std::fprintf(file, "%.9f\n", seconds);
  std::fclose(file);
  std::rename(draft.c_str(), path.c_str());
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 4) return 2;
  const pid_t parent = ::getppid();
  record(arguments[3], seconds_of_writing(arguments[1], std::strtoull(arguments[2], nullptr, 10)));
  while (::getppid() == parent) ::usleep(20'000);
}

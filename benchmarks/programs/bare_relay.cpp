// The relay's loop with nothing around it: what the system's relay is held against. It keeps the
// lines of the error stream, as everything that relays must.
// Usage: bare_relay PROGRAM ARGUMENT ...

#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <thread>

#include <fcntl.h>
#include <spawn.h>
#include <unistd.h>

namespace {

constexpr size_t chunk_size = 64 * 1024;
constexpr size_t lead_size = sizeof "[UTILITY-STDOUT] " - 1;

/// Writes whole lines in pieces of at most PIPE_BUF bytes.
void write_lines(const char* lines, size_t size) {
  while (size > 0) {
    size_t piece = size;
    if (piece > PIPE_BUF) {
      const void* const end = memrchr(lines, '\n', PIPE_BUF);
      piece = static_cast<const char*>(end) + 1 - lines;
    }
    if (write(STDOUT_FILENO, lines, piece) != static_cast<ssize_t>(piece)) _exit(1);
    lines += piece;
    size -= piece;
  }
}

/// Everything that relays must look for bytes that are no UTF-8 and for white space at line ends.
/// They don't occur here, and so they are only looked for.
void look_for_other_than_ascii(const char* bytes, const char* end) {
  uint64_t all = 0;
  for (; end - bytes >= 32; bytes += 32) {
    uint64_t words[4];
    memcpy(words, bytes, sizeof words);
    all |= words[0] | words[1] | words[2] | words[3];
  }
  for (; bytes < end; ++bytes) all |= static_cast<unsigned char>(*bytes);
  if ((all & 0x8080808080808080) != 0) _exit(1);
}

void look_for_white_end(const char* line_feed) {
  if (line_feed[-1] <= ' ') _exit(1);
}

const void* kept = nullptr;  // the last of the blocks that stay

/// Lines that are longer than a chunk don't occur here.
void relay(int descriptor, const char* lead, bool keep) {
  char* const chunk = static_cast<char*>(malloc(chunk_size));
  char* const out = static_cast<char*>(malloc(chunk_size * (lead_size + 1)));
  size_t pending = 0;
  ssize_t count;
  while ((count = read(descriptor, chunk + pending, chunk_size - pending)) > 0) {
    const char* line = chunk;
    const char* const end = chunk + pending + count;
    char* to = out;
    look_for_other_than_ascii(chunk + pending, end);
    while (const void* const found = memchr(line, '\n', end - line)) {
      const char* const line_end = static_cast<const char*>(found) + 1;
      if (line_end - line > 1) {
        look_for_white_end(line_end - 1);
        memcpy(to, lead, lead_size);
        memcpy(to + lead_size, line, line_end - line);
        to += lead_size + (line_end - line);
      }
      line = line_end;
    }
    write_lines(out, to - out);
    if (keep) kept = memcpy(malloc(end - chunk), chunk, end - chunk);
    pending = end - line;
    memmove(chunk, line, pending);
  }
}

}  // namespace

int main(int, char** arguments) {
  int output[2];
  int error[2];
  if (pipe2(output, O_CLOEXEC) != 0 || pipe2(error, O_CLOEXEC) != 0) return 1;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, error[1], STDERR_FILENO);
  pid_t pid;
  if (posix_spawn(&pid, arguments[1], &actions, nullptr, arguments + 1, environ) != 0) return 1;
  close(output[1]);
  close(error[1]);
  std::thread error_relay(relay, error[0], "[UTILITY-STDERR] ", true);
  relay(output[0], "[UTILITY-STDOUT] ", false);
  error_relay.join();
}

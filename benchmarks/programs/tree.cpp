// A tree of processes that wait to be ended: PROCESSES in all, each with up to three children.
// Usage: tree PROCESSES      (writes a byte to its standard output when all of them are there)

#include <cstdlib>

#include <unistd.h>

namespace {

/// Becomes the root of `processes` processes; each tells `ready` that it is there.
void grow(int processes, int ready) {
  int below = processes - 1;
  for (int branches = 3; branches > 0 && below > 0; --branches) {
    const int share = (below + branches - 1) / branches;
    below -= share;
    if (::fork() == 0) return grow(share, ready);
  }
  const char byte = 0;
  if (::write(ready, &byte, 1) != 1) _exit(1);
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 2) return 2;
  const int processes = std::atoi(arguments[1]);
  const pid_t root = ::getpid();
  int ready[2];
  if (::pipe(ready) != 0) return 1;
  grow(processes, ready[1]);
  if (::getpid() == root) {
    char byte = 0;
    for (int i = 0; i < processes; ++i) {
      if (::read(ready[0], &byte, 1) != 1) return 1;
    }
    if (::write(STDOUT_FILENO, &byte, 1) != 1) return 1;
  }
  for (;;) ::pause();
}

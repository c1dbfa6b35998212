#pragma once

#include <atomic>
#include <mutex>
#include <thread>

#include "utility_manager/failures.h"
#include "utility_manager/forked_child.h"

#if defined(__clang__)
#define UM_ANNOTATION(x) __attribute__((x))
#else
#define UM_ANNOTATION(x)
#endif

#define UM_CAPABILITY(x) UM_ANNOTATION(capability(x))
#define UM_SCOPED_CAPABILITY UM_ANNOTATION(scoped_lockable)
#define UM_GUARDED_BY(x) UM_ANNOTATION(guarded_by(x))
#define UM_REQUIRES(...) UM_ANNOTATION(requires_capability(__VA_ARGS__))
#define UM_EXCLUDES(...) UM_ANNOTATION(locks_excluded(__VA_ARGS__))
#define UM_ACQUIRE(...) UM_ANNOTATION(acquire_capability(__VA_ARGS__))
#define UM_RELEASE(...) UM_ANNOTATION(release_capability(__VA_ARGS__))

namespace utility_manager {

/// The manager's mutex. Not reentrant: a thread that holds it and comes again, as a client's
/// service that calls back may do, fails with `RuntimeError`, and so does any thread of a forked
/// child of the client.
class UM_CAPABILITY("mutex") Lock {
 public:
  void acquire() UM_ACQUIRE() {
    refuse_forked_child();
    if (holder_ == std::this_thread::get_id()) {
      throw RuntimeError("the manager can't be called from within one of its own operations");
    }
    mutex_.lock();
    holder_ = std::this_thread::get_id();
  }
  void release() UM_RELEASE() {
    holder_ = std::thread::id();
    mutex_.unlock();
  }

 private:
  std::mutex mutex_;
  std::atomic<std::thread::id> holder_;
};

/// Holds a `Lock` for a scope.
class UM_SCOPED_CAPABILITY LockHeld {
 public:
  explicit LockHeld(Lock& lock) UM_ACQUIRE(lock) : lock_(lock) { lock_.acquire(); }
  LockHeld(const LockHeld&) = delete;
  LockHeld& operator=(const LockHeld&) = delete;
  ~LockHeld() UM_RELEASE() { lock_.release(); }

 private:
  Lock& lock_;
};

}  // namespace utility_manager

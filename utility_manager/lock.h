#pragma once

#include <mutex>

#if defined(__clang__)
#define UM_ANNOTATION(x) __attribute__((x))
#else
#define UM_ANNOTATION(x)
#endif

#define CAPABILITY(x) UM_ANNOTATION(capability(x))
#define SCOPED_CAPABILITY UM_ANNOTATION(scoped_lockable)
#define GUARDED_BY(x) UM_ANNOTATION(guarded_by(x))
#define REQUIRES(...) UM_ANNOTATION(requires_capability(__VA_ARGS__))
#define EXCLUDES(...) UM_ANNOTATION(locks_excluded(__VA_ARGS__))
#define ACQUIRE(...) UM_ANNOTATION(acquire_capability(__VA_ARGS__))
#define RELEASE(...) UM_ANNOTATION(release_capability(__VA_ARGS__))
#define NO_THREAD_SAFETY_ANALYSIS UM_ANNOTATION(no_thread_safety_analysis)

namespace utility_manager {

/// The manager's mutex. Not reentrant: a thread that takes it again hangs for good.
class CAPABILITY("mutex") Lock {
 public:
  void acquire() ACQUIRE() { mutex_.lock(); }
  void release() RELEASE() { mutex_.unlock(); }

 private:
  std::mutex mutex_;
};

/// Holds a `Lock` for a scope.
class SCOPED_CAPABILITY LockHeld {
 public:
  explicit LockHeld(Lock& lock) ACQUIRE(lock) : lock_(lock) { lock_.acquire(); }
  LockHeld(const LockHeld&) = delete;
  LockHeld& operator=(const LockHeld&) = delete;
  ~LockHeld() RELEASE() { lock_.release(); }

 private:
  Lock& lock_;
};

}  // namespace utility_manager

#pragma once

#include <memory>
#include <mutex>
#include <utility>

// Names for clang's lock analysis; other compilers see nothing. The analysis does not know
// std::mutex, hence the wrappers below.
#if defined(__clang__)
#define ZORBEC_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define ZORBEC_THREAD_ATTRIBUTE(x)
#endif
#define ZORBEC_CAPABILITY(x) ZORBEC_THREAD_ATTRIBUTE(capability(x))
#define ZORBEC_SCOPED_CAPABILITY ZORBEC_THREAD_ATTRIBUTE(scoped_lockable)
#define ZORBEC_GUARDED_BY(x) ZORBEC_THREAD_ATTRIBUTE(guarded_by(x))
#define ZORBEC_REQUIRES(...) ZORBEC_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define ZORBEC_ACQUIRE(...) ZORBEC_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define ZORBEC_TRY_ACQUIRE(...) ZORBEC_THREAD_ATTRIBUTE(try_acquire_capability(__VA_ARGS__))
#define ZORBEC_RELEASE(...) ZORBEC_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))

namespace zorbec {

class ZORBEC_CAPABILITY("mutex") Mutex {
 public:
  void lock() ZORBEC_ACQUIRE() { mutex_.lock(); }
  // False, and nothing is done, if it is locked.
  bool try_lock() ZORBEC_TRY_ACQUIRE(true) { return mutex_.try_lock(); }
  void unlock() ZORBEC_RELEASE() { mutex_.unlock(); }

 private:
  std::mutex mutex_;
};

// Holds a Mutex for a scope.
class ZORBEC_SCOPED_CAPABILITY MutexLock {
 public:
  explicit MutexLock(Mutex& mutex) ZORBEC_ACQUIRE(mutex) : mutex_(mutex) { mutex_.lock(); }
  // Takes over a mutex that this thread has locked.
  MutexLock(Mutex& mutex, std::adopt_lock_t) ZORBEC_REQUIRES(mutex) : mutex_(mutex) {}
  ~MutexLock() ZORBEC_RELEASE() { mutex_.unlock(); }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

 private:
  Mutex& mutex_;
};

// A place for one shared object that a thread may replace while others use what was there before:
// whoever took the old object keeps it alive until he lets go of it.
template <typename T>
class SharedSlot {
 public:
  // Empty pointer if nothing is there.
  std::shared_ptr<T> get() const {
    const MutexLock lock(mutex_);
    return object_;
  }
  void set(std::shared_ptr<T> object) {
    {
      const MutexLock lock(mutex_);
      object_.swap(object);
    }
    // The old object may end here, outside the lock.
  }

 private:
  mutable Mutex mutex_;
  std::shared_ptr<T> object_ ZORBEC_GUARDED_BY(mutex_);
};

}  // namespace zorbec

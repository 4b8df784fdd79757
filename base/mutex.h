#pragma once

#include <memory>
#include <mutex>
#include <utility>

// Annotations for clang's thread safety analysis; empty for other compilers. The analysis does not
// know libstdc++'s std::mutex, so Mutex and MutexLock wrap it.
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

// A std::mutex that the analysis knows.
class ZORBEC_CAPABILITY("mutex") Mutex {
 public:
  void lock() ZORBEC_ACQUIRE() { mutex_.lock(); }
  // Returns false at once if it is locked.
  bool try_lock() ZORBEC_TRY_ACQUIRE(true) { return mutex_.try_lock(); }
  void unlock() ZORBEC_RELEASE() { mutex_.unlock(); }

 private:
  std::mutex mutex_;
};

// Locks a Mutex for a scope.
class ZORBEC_SCOPED_CAPABILITY MutexLock {
 public:
  explicit MutexLock(Mutex& mutex) ZORBEC_ACQUIRE(mutex) : mutex_(mutex) { mutex_.lock(); }
  // For a mutex that this thread has already locked: only unlocks it at the end of the scope.
  MutexLock(Mutex& mutex, std::adopt_lock_t) ZORBEC_REQUIRES(mutex) : mutex_(mutex) {}
  ~MutexLock() ZORBEC_RELEASE() { mutex_.unlock(); }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

 private:
  Mutex& mutex_;
};

// Holds one shared object that a thread may replace while others still use the old one. Whoever
// took the old object with get() keeps it alive. Safe from any thread.
template <typename T>
class SharedSlot {
 public:
  // Null if there is no object.
  std::shared_ptr<T> get() const {
    const MutexLock lock(mutex_);
    return object_;
  }
  void set(std::shared_ptr<T> object) {
    {
      const MutexLock lock(mutex_);
      object_.swap(object);
    }
    // `object` is now the old one. Its destructor may run here, outside the lock.
  }

 private:
  mutable Mutex mutex_;
  std::shared_ptr<T> object_ ZORBEC_GUARDED_BY(mutex_);
};

}  // namespace zorbec

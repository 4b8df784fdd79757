#pragma once

#include <exception>
#include <memory>
#include <mutex>
#include <utility>

#include "base/mutex.h"

namespace zorbec {

// An object that many workers need and that is expensive to make. The first worker that asks makes
// it; the others wait for it, because they would only make the same again. Safe from any thread.
//
// make() runs with the lock held. It must not ask for this object itself.
template <typename T>
class MadeOnce {
 public:
  // Returns the object, and makes it if nobody has. Throws what make() throws; the next caller then
  // tries again.
  template <typename Make>
  std::shared_ptr<const T> get(Make make) {
    const MutexLock lock(mutex_);
    if (failure_ != nullptr) std::rethrow_exception(std::exchange(failure_, nullptr));
    if (made_ == nullptr) made_ = std::make_shared<const T>(make());
    return made_;
  }

  // Makes the object before it is needed. Does nothing if it exists or if another worker holds the
  // lock, so it never waits: of several such objects, each can be made by a different worker. Does
  // not throw what make() throws: the next get() throws it, as if it had called make() itself.
  template <typename Make>
  void make_ahead(Make make) {
    if (!mutex_.try_lock()) return;
    const MutexLock lock(mutex_, std::adopt_lock);
    if (made_ != nullptr || failure_ != nullptr) return;
    try {
      made_ = std::make_shared<const T>(make());
    } catch (const std::exception&) {
      failure_ = std::current_exception();
    }
  }

 private:
  Mutex mutex_;
  std::shared_ptr<const T> made_ ZORBEC_GUARDED_BY(mutex_);
  std::exception_ptr failure_ ZORBEC_GUARDED_BY(mutex_);
};

}  // namespace zorbec

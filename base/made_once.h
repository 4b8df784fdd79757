#pragma once

#include <exception>
#include <memory>
#include <mutex>
#include <utility>

#include "base/mutex.h"

namespace zorbec {

// Something that many workers of a phase need alike: made by the first who comes to it. Those who
// need it meanwhile wait: they would only make the same again.
template <typename T>
class MadeOnce {
 public:
  // Throws what make() throws; the next who needs it tries again.
  template <typename Make>
  std::shared_ptr<const T> get(Make make) {
    const MutexLock lock(mutex_);
    if (failure_ != nullptr) std::rethrow_exception(std::exchange(failure_, nullptr));
    if (made_ == nullptr) made_ = std::make_shared<const T>(make());
    return made_;
  }

  // Makes it before it is needed, unless it is made or somebody makes it. So of several things that
  // all workers need, each can be made by a different worker. What make() throws is thrown where it
  // is needed first, as if it had been made there.
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

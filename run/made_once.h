#pragma once

#include <memory>
#include <mutex>

#include "run/mutex.h"

namespace zorbec {

// Something that many workers of a phase need alike: made by the first who asks for it. Those who
// come meanwhile wait: they would only make the same again.
template <typename T>
class MadeOnce {
 public:
  template <typename Make>
  std::shared_ptr<const T> get(Make make) {
    const MutexLock lock(mutex_);
    if (made_ == nullptr) made_ = std::make_shared<const T>(make());
    return made_;
  }

  // Makes it before it is asked for, unless it is made or somebody makes it. So of several things
  // that all workers need, each can be made by another worker.
  template <typename Make>
  void make_ahead(Make make) {
    if (!mutex_.try_lock()) return;
    const MutexLock lock(mutex_, std::adopt_lock);
    if (made_ == nullptr) made_ = std::make_shared<const T>(make());
  }

  // Forgets it; to be called whenever what it was made of may have changed.
  void clear() {
    const MutexLock lock(mutex_);
    made_.reset();
  }

 private:
  Mutex mutex_;
  std::shared_ptr<const T> made_ ZORBEC_GUARDED_BY(mutex_);
};

}  // namespace zorbec

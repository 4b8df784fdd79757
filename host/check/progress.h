#pragma once

#include <atomic>
#include <cstddef>
#include <string>

#include "base/mutex.h"
#include "context/observer.h"
#include "host/facts/worker_places.h"
#include "host/report/report.h"

namespace zorbec {

// Where a check stands, as one line for a person who waits. Safe from any thread.
class Progress {
 public:
  // `places` must outlive it.
  explicit Progress(const WorkerPlaces& places) : places_(places) {}

  // To be called when a check starts; it forgets the one before.
  void begin(Check check);
  // Takes an event of the running check.
  void take(const Event& event);

  // The line, without a line end. It may hold any byte that a command line holds.
  // "interfaces, dump: 12 of 16 nodes done; waiting for node 3: scp root@... (12 s), ..."
  std::string line() const;

 private:
  const WorkerPlaces& places_;
  mutable Mutex mutex_;
  Check check_ ZORBEC_GUARDED_BY(mutex_) = Check::kInterfaces;
  std::string phase_ ZORBEC_GUARDED_BY(mutex_) = "set-up";
  std::size_t nodes_ ZORBEC_GUARDED_BY(mutex_) = 0;    // that can be reached
  std::size_t workers_ ZORBEC_GUARDED_BY(mutex_) = 0;  // of this phase
  std::size_t ended_ ZORBEC_GUARDED_BY(mutex_) = 0;
};

}  // namespace zorbec

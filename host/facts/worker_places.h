#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

#include "base/mutex.h"
#include "context/observer.h"
#include "tables/interface_class.h"

namespace zorbec {

// Where a thread of a run stands. For the main thread `node` and `task` are empty.
struct Place {
  std::string node;
  std::string task;
  std::optional<event::Step> step = {};
  std::optional<InterfaceClass> intf_class = {};     // of the step, if it is about one class
  std::string command = {};                          // the command that runs now; empty: none
  std::chrono::steady_clock::time_point since = {};  // when that command was started
};

// Knows where every thread of a run stands, from the events that the thread reports. Safe from any
// thread.
class WorkerPlaces {
 public:
  // Takes an event that the calling thread reports, and returns where that thread stands with it.
  // For a WorkerEnded that is where the worker ended.
  Place follow(const Event& event);

  // The places of all workers that run now, and of the main thread if it runs a command, sorted by
  // node name.
  std::vector<Place> running() const;

 private:
  mutable Mutex mutex_;
  std::unordered_map<std::thread::id, Place> places_ ZORBEC_GUARDED_BY(mutex_);
};

}  // namespace zorbec

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

// Where a worker stands in its task. That of the main thread has no node.
struct Place {
  std::string node;
  std::string task;
  std::optional<event::Step> step = {};
  std::optional<InterfaceClass> intf_class = {};     // of the step
  std::string command = {};                          // that runs now, empty: none
  std::chrono::steady_clock::time_point since = {};  // when the command was started
};

// Keeps track of every thread of a run by what it tells.
class WorkerPlaces {
 public:
  // Takes an event of the calling thread and returns the place that it belongs to.
  Place follow(const Event& event);

  // The places of all workers that run now, by node name.
  std::vector<Place> running() const;

 private:
  mutable Mutex mutex_;
  std::unordered_map<std::thread::id, Place> places_ ZORBEC_GUARDED_BY(mutex_);
};

}  // namespace zorbec

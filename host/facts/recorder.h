#pragma once

#include <chrono>
#include <exception>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "base/mutex.h"
#include "context/observer.h"
#include "host/facts/facts.h"
#include "host/facts/worker_places.h"

namespace zorbec {

// Collects what a run tells. Reading commands' texts or logs is not its way: all it knows comes in
// events.
class Recorder {
 public:
  // Dumps last changed before this moment are stale. What ends because the check was ended early
  // does so for the reason that `ended_early` then holds.
  Recorder(Check check, const EndedEarly& ended_early);

  // Takes an event; from any thread.
  void take(const Event& event, const Place& place);

  // The nodes that the node table names.
  std::vector<std::string> node_names() const;

  // To be called when the run is over.
  RunFacts facts();

 private:
  // One for each event that says something for the report, and one for all that do not.
  void take_event(const event::RouterProbed& told, const Place& place) ZORBEC_REQUIRES(mutex_);
  void take_event(const event::NodesListed& told, const Place& place) ZORBEC_REQUIRES(mutex_);
  void take_event(const event::NodeIgnored& told, const Place& place) ZORBEC_REQUIRES(mutex_);
  void take_event(const event::NodeReplaced& told, const Place& place) ZORBEC_REQUIRES(mutex_);
  void take_event(const event::WorkerStarted& told, const Place& place) ZORBEC_REQUIRES(mutex_);
  void take_event(const event::WorkerEnded& told, const Place& place) ZORBEC_REQUIRES(mutex_);
  void take_event(const event::CommandEnded& told, const Place& place) ZORBEC_REQUIRES(mutex_);
  void take_event(const event::DumpLoaded& told, const Place& place) ZORBEC_REQUIRES(mutex_);
  void take_event(const event::TunnelsAsked& told, const Place& place) ZORBEC_REQUIRES(mutex_);
  void take_event(const event::ScaleModeProbed& told, const Place& place) ZORBEC_REQUIRES(mutex_);
  void take_event(const event::ClassCompared& told, const Place& place) ZORBEC_REQUIRES(mutex_);
  void take_event(const event::LeaksChecked& told, const Place& place) ZORBEC_REQUIRES(mutex_);
  void take_event(const event::EntriesCollected& told, const Place& place) ZORBEC_REQUIRES(mutex_);
  void take_event(const event::RoutesCompared& told, const Place& place) ZORBEC_REQUIRES(mutex_);
  void take_event(const event::MissingKey& told, const Place& place) ZORBEC_REQUIRES(mutex_);
  void take_event(const event::LeakedKey& told, const Place& place) ZORBEC_REQUIRES(mutex_);
  void take_event(const event::FaultyRoute& told, const Place& place) ZORBEC_REQUIRES(mutex_);
  // Where the run stands, which is no fact of the router.
  static void take_event(const event::RunStarted& /*told*/, const Place& /*place*/) {}
  static void take_event(const event::PhaseStarted& /*told*/, const Place& /*place*/) {}
  static void take_event(const event::PhaseEnded& /*told*/, const Place& /*place*/) {}
  static void take_event(const event::StepStarted& /*told*/, const Place& /*place*/) {}
  static void take_event(const event::CommandStarted& /*told*/, const Place& /*place*/) {}

  void take_shared_addresses() ZORBEC_REQUIRES(mutex_);
  // The finding of that id, which counts once more; made if it is new.
  Finding& finding(FindingKind kind, const std::string& rest_of_id) ZORBEC_REQUIRES(mutex_);

  NodeFacts& node(std::string_view name) ZORBEC_REQUIRES(mutex_);
  NodeFacts& node_at(std::string_view address) ZORBEC_REQUIRES(mutex_);
  // Where problems of a place belong.
  Problems& problems_at(const Place& place) ZORBEC_REQUIRES(mutex_);
  Reason reason_of(const std::exception& error) const;

  const std::chrono::nanoseconds started_;
  const EndedEarly& ended_early_;
  mutable Mutex mutex_;
  RunFacts facts_ ZORBEC_GUARDED_BY(mutex_);
  std::map<std::string, std::size_t, std::less<>> by_name_ ZORBEC_GUARDED_BY(mutex_);
  // Addresses of nodes whose name the node table gave to another one, by that name.
  std::multimap<std::string, std::string> replaced_ ZORBEC_GUARDED_BY(mutex_);
};

}  // namespace zorbec

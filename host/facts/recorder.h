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

// Collects the facts of one run from its events. It reads no output of commands and no logs.
class Recorder {
 public:
  // To be made right before the run: a dump that was last changed before this moment is stale.
  // `ended_early` gives the reason for whatever ends because the check was ended early; it must
  // outlive the recorder.
  Recorder(Check check, const EndedEarly& ended_early);

  // Takes an event that was reported at `place`. Safe from any thread.
  void take(const Event& event, const Place& place);

  // The nodes that the node table names, in its order. Safe from any thread.
  std::vector<std::string> node_names() const;

  // Hands out what was collected. To be called once, when no worker runs any more.
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
  // These say where the run stands, which is no fact about the router.
  static void take_event(const event::RunStarted& /*told*/, const Place& /*place*/) {}
  static void take_event(const event::PhaseStarted& /*told*/, const Place& /*place*/) {}
  static void take_event(const event::PhaseEnded& /*told*/, const Place& /*place*/) {}
  static void take_event(const event::StepStarted& /*told*/, const Place& /*place*/) {}
  static void take_event(const event::CommandStarted& /*told*/, const Place& /*place*/) {}

  void take_shared_addresses() ZORBEC_REQUIRES(mutex_);
  // The finding with that id, with `times` one higher; it is made if it is new.
  Finding& finding(FindingKind kind, const std::string& rest_of_id) ZORBEC_REQUIRES(mutex_);

  // The facts of the node with that name or address; they are made if there are none. The reference
  // is good until the next node is made.
  NodeFacts& node(std::string_view name) ZORBEC_REQUIRES(mutex_);
  NodeFacts& node_at(std::string_view address) ZORBEC_REQUIRES(mutex_);
  // The list for problems that came up at that place.
  Problems& problems_at(const Place& place) ZORBEC_REQUIRES(mutex_);
  Reason reason_of(const std::exception& error) const;

  const std::chrono::nanoseconds started_;
  const EndedEarly& ended_early_;
  mutable Mutex mutex_;
  RunFacts facts_ ZORBEC_GUARDED_BY(mutex_);
  std::map<std::string, std::size_t, std::less<>> by_name_
      ZORBEC_GUARDED_BY(mutex_);  // places in facts_.nodes
  // Addresses of nodes whose short name a later line of the node table has too, by that name.
  std::multimap<std::string, std::string> replaced_ ZORBEC_GUARDED_BY(mutex_);
};

}  // namespace zorbec

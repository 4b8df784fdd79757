#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/report.h"
#include "host/worker_places.h"
#include "run/mutex.h"
#include "run/observer.h"

namespace zorbec {

using Problems = std::vector<Problem>;

// What is known of one class of a node's PIDB.
struct ClassFacts {
  Problems problems;
  std::optional<std::size_t> interfaces;  // that were loaded
  std::optional<std::size_t> expected;    // compared with the node's keys, to the end
};

// What one run told of one node.
struct NodeFacts {
  std::string name;
  std::string address;
  std::string type;
  std::string role;
  bool has_worker = false;  // the node has an address, so somebody was sent to it
  bool dumps_pidb = false;
  std::vector<DumpFile> dumps;

  Problems pidb;  // of all its classes
  std::array<ClassFacts, 6> classes;
  std::optional<bool> has_tunnels;
  Problems pmdb;
  std::optional<std::size_t> programmed;
  Problems verification;
  Problems leak_questions;
  std::optional<event::LeaksChecked> leaks;  // its node is not looked at

  Problems multicast;  // of the collectors
  std::optional<std::size_t> routes;
  std::optional<std::size_t> buds;
  std::optional<std::size_t> routes_compared;
  std::size_t routes_uncompared = 0;
};

// What one run told, and when it was started.
struct RunFacts {
  Check check = Check::kInterfaces;
  std::optional<std::string> run_error;
  std::optional<int> model_code;
  std::optional<int> scale_mode;
  std::vector<NodeFacts> nodes;  // in node-table order, behind them those that are not in service
  Problems set_up;
  Problems multicast_verification;
  std::map<std::string, Finding, std::less<>> findings;  // by id
  std::size_t commands = 0;
  std::size_t commands_failed = 0;
};

// Collects what a run tells. Reading commands' texts or logs is not its way: all it knows comes in
// events.
class Recorder {
 public:
  // Dumps last changed before this moment are stale. What ends because the check was ended early
  // does so for the reason that `ended_early` then holds.
  Recorder(Check check, const std::atomic<int>& ended_early);

  // Takes an event; from any thread.
  void take(const Event& event, const Place& place);

  // The nodes that the node table names.
  std::vector<std::string> node_names() const;

  // To be called when the run is over.
  RunFacts facts();

 private:
  void take_nodes(const NodeInfo& nodes) ZORBEC_REQUIRES(mutex_);
  void take_ignored(std::string_view line) ZORBEC_REQUIRES(mutex_);
  void take_shared_addresses() ZORBEC_REQUIRES(mutex_);
  void take_command(const event::CommandEnded& ended, const Place& place) ZORBEC_REQUIRES(mutex_);
  void take_dump(const event::DumpLoaded& loaded) ZORBEC_REQUIRES(mutex_);
  void take_end(const event::WorkerEnded& ended, const Place& place) ZORBEC_REQUIRES(mutex_);
  void take_missing(const event::MissingKey& missing, const Place& place) ZORBEC_REQUIRES(mutex_);
  void take_leaked(const event::LeakedKey& leaked) ZORBEC_REQUIRES(mutex_);
  void take_route(const event::FaultyRoute& faulty) ZORBEC_REQUIRES(mutex_);

  NodeFacts& node(std::string_view name) ZORBEC_REQUIRES(mutex_);
  NodeFacts& node_at(std::string_view address) ZORBEC_REQUIRES(mutex_);
  // Where problems of a place belong.
  Problems& problems_at(const Place& place) ZORBEC_REQUIRES(mutex_);
  Reason reason_of(const std::exception& error) const;

  const std::chrono::nanoseconds started_;
  const std::atomic<int>& ended_early_;  // a Reason, -1: nobody has ended the check
  mutable Mutex mutex_;
  RunFacts facts_ ZORBEC_GUARDED_BY(mutex_);
  std::map<std::string, std::size_t, std::less<>> by_name_ ZORBEC_GUARDED_BY(mutex_);
  // Addresses of nodes whose name the node table gave to another one, by that name.
  std::multimap<std::string, std::string> replaced_ ZORBEC_GUARDED_BY(mutex_);
};

}  // namespace zorbec

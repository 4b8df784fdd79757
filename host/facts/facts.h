#pragma once

#include <atomic>
#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "base/enums.h"
#include "context/observer.h"
#include "host/report/report.h"
#include "tables/interface_class.h"

namespace zorbec {

// What is known of a run, as plain facts. The recorder fills them from events; the judges derive
// verdicts from them. Nothing here is judged yet. An empty count means that the run did not come
// to that part.

// Why the check was ended early: kInterrupted, kDeadline, or empty if it was not. Set by the thread
// of the Watch, read by workers. Safe from any thread, without a lock.
class EndedEarly {
 public:
  std::optional<Reason> reason() const {
    const std::size_t place = place_;
    if (place == kNotEnded) return std::nullopt;
    return kEnumerators<Reason>[place];
  }
  void set(Reason reason) { place_ = enum_index(reason); }

 private:
  static constexpr std::size_t kNotEnded = kEnumCount<Reason>;
  std::atomic<std::size_t> place_ = kNotEnded;
};

using Problems = std::vector<Problem>;

// What is known of one class of a node's PIDB.
struct ClassFacts {
  Problems problems;
  std::optional<std::size_t> interfaces;  // interfaces in the loaded dump
  // Expected keys of all nodes' interfaces of the class; set when all were compared with this
  // node's programmed keys.
  std::optional<std::size_t> expected;
};

// Something that the reader of a report should know, though it costs no verdict.
struct Note {
  std::optional<ReportClass> report_class;  // empty: of the whole node or run
  std::string detail;
};

// What is known of one node. Each list of problems speaks of one part of the check, in the order in
// which they came up.
struct NodeFacts {
  std::string name;
  std::string address;
  std::string type;
  std::string role;
  bool has_worker = false;  // a worker was started for it: the node has an address
  bool dumps_pidb = false;
  std::vector<DumpFile> dumps;

  Problems pidb;  // of all its classes at once; those of one class are in `classes`
  EnumArray<InterfaceClass, ClassFacts> classes;
  std::optional<bool> has_tunnels;  // GRE tunnels in the running configuration, as this node saw it
  Problems pmdb;
  std::optional<std::size_t> programmed;  // keys in the loaded PMDB
  Problems verification;                  // of the comparison
  Problems leak_questions;                // of the questions to the interface manager
  // Set when the leak check came to its end. The view `node` in it is not valid.
  std::optional<event::LeaksChecked> leaks;

  Problems multicast;                          // of the collectors
  std::optional<std::size_t> routes;           // that this route processor lists
  std::optional<std::size_t> buds;             // bud objects of this card
  std::optional<std::size_t> routes_compared;  // routes that were compared with this node
  std::size_t routes_uncompared = 0;           // and those of them that cannot be compared

  // Worth a line in the report, but nothing that keeps a verdict from being given.
  std::vector<Note> notes;
};

// What is known of one run.
struct RunFacts {
  Check check = Check::kInterfaces;
  std::optional<std::string> run_error;  // why the whole run failed
  std::optional<int> model_code;
  std::optional<int> scale_mode;
  std::vector<NodeFacts> nodes;  // in node-table order, behind them those that are not in service
  std::vector<Note> notes;
  Problems set_up;                  // before the first phase; they put every verdict in doubt
  Problems multicast_verification;  // of the one worker that compares the multicast state
  std::map<std::string, Finding, std::less<>> findings;  // by id
  std::size_t commands = 0;
  std::size_t commands_failed = 0;
};

}  // namespace zorbec

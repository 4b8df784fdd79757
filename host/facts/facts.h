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

// What a run told, as plain facts: the recorder fills them from events, the judges make verdicts of
// them. Nothing here is judged yet.

// Why the check was ended before its time, kInterrupted or kDeadline; empty: it was not. Set by the
// thread that takes signals and keeps time, read by workers.
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
  std::optional<std::size_t> interfaces;  // that were loaded
  std::optional<std::size_t> expected;    // compared with the node's keys, to the end
};

// Something that the reader of a report should know, though it costs no verdict.
struct Note {
  std::optional<ReportClass> report_class;  // empty: of the whole node or run
  std::string detail;
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
  EnumArray<InterfaceClass, ClassFacts> classes;
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

  // Worth a line in the report, but nothing that keeps a verdict from being given.
  std::vector<Note> notes;
};

// What one run told, and when it was started.
struct RunFacts {
  Check check = Check::kInterfaces;
  std::optional<std::string> run_error;
  std::optional<int> model_code;
  std::optional<int> scale_mode;
  std::vector<NodeFacts> nodes;  // in node-table order, behind them those that are not in service
  std::vector<Note> notes;
  Problems set_up;
  Problems multicast_verification;
  std::map<std::string, Finding, std::less<>> findings;  // by id
  std::size_t commands = 0;
  std::size_t commands_failed = 0;
};

}  // namespace zorbec

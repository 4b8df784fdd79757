#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "base/enums.h"
#include "tables/dump_tables.h"
#include "tables/interface_class.h"
#include "tables/node_record.h"

namespace zorbec {

// What a loaded dump contains.
struct DumpContent {
  std::size_t entries = 0;
  bool is_table = true;  // false: valid JSON, but not an object at the top level
  // The number of entries that no dump tool writes like this, and what is wrong with the first one.
  // The check accepts most such entries, but may read something else in them than was meant.
  std::size_t odd_entries = 0;
  std::string first_odd;
};

// The events of a run, for an Observer. Views and references in an event are valid only until
// observe() returns.
//
// A worker reports its events on its own thread, between its WorkerStarted and its WorkerEnded. The
// main thread of the run reports all others.
namespace event {

struct RunStarted {
  std::uint32_t mode;
};
struct RouterProbed {
  int model;
};
struct NodesListed {
  const NodeInfo& nodes;
};
// A line of the node table names a node that is neither active nor standby. It is not checked.
struct NodeIgnored {
  std::string_view line;
};
// A line of the node table replaces an earlier one with the same short name and another address.
// The earlier node is not checked.
struct NodeReplaced {
  std::string_view node;
  std::string_view address;  // of the earlier node
};
enum class Phase { kDump, kVerification };
struct PhaseStarted {
  Phase phase;
};
struct PhaseEnded {
  Phase phase;
};

struct WorkerStarted {
  std::string_view node;
  std::string_view task;
};
// `error` is the exception that ended the task early; null if the task was completed.
struct WorkerEnded {
  std::string_view node;
  std::string_view task;
  const std::exception* error;
};

// A worker begins a step of its task. Its commands and failures up to the next StepStarted belong
// to this step.
enum class Step {
  kPidbTool,    // the node dumps its interface truth database
  kPidbFile,    // one class of it is fetched and loaded
  kTunnels,     // the configuration is searched for GRE tunnels; if it has any, they are dumped
  kKeys,        // expected keys are derived
  kPmdb,        // the node dumps its programmed keys; they are fetched and loaded
  kComparison,  // one class is compared
  kLeaks,       // keys that no interface has claimed are checked
  kRoutes,      // multicast routing entries are collected
  kBuds,        // bud objects are collected
  kHandles,     // the hardware's entries for the tunnels are collected
};
struct StepStarted {
  std::string_view node;
  Step step;
  std::optional<InterfaceClass> intf_class;  // only for kPidbFile and kComparison
};

struct CommandStarted {
  std::string_view command;
};
// `status` is as waitpid() gives it; -1 if it is not known, because the host ignores SIGCHLD.
struct CommandEnded {
  std::string_view command;
  int status;
  std::chrono::nanoseconds took;
  std::size_t output_bytes;
};

// The local copy of a node's dump was loaded. It may be an old copy, if the node sent none:
// `modified` tells. If `bytes` is 0, there was nothing to load.
struct DumpLoaded {
  std::string_view node;
  std::optional<InterfaceClass> intf_class;  // the class of a PIDB dump; empty: the PMDB dump
  std::string_view path;
  std::size_t bytes;
  std::chrono::nanoseconds modified;  // time of the last change since 1970
  DumpContent content;
};
// Whether the running configuration contains GRE tunnels. `answer_bytes` is the size of the
// configuration.
struct TunnelsAsked {
  std::string_view node;
  bool are_configured;
  std::size_t answer_bytes;
};

// The platform was asked for the scale mode; this is the answer.
struct ScaleModeProbed {
  int scale_mode;
};

// The comparison of the step's class with a node's programmed keys is complete.
struct ClassCompared {
  std::string_view node;
  std::size_t expected;  // keys that were looked up
  std::size_t missing;   // those of them that the node does not hold
};
// All keys that no interface has claimed were checked.
struct LeaksChecked {
  std::string_view node;
  std::size_t programmed;          // keys of the node
  std::size_t of_bundles = 0;      // unclaimed, but of a bundle, says the interface manager
  std::size_t marked_in_dump = 0;  // unclaimed, but marked `visited` in the dump itself
  std::size_t leaked = 0;
};
// A multicast collector has read the output of its tool, which may be incomplete.
struct EntriesCollected {
  std::string_view node;
  Step step;
  std::size_t entries;
  std::size_t unreadable = 0;  // answers that are not empty but contain no field of an entry
};
// The comparison of the routes of route processors with a node's entries is complete.
struct RoutesCompared {
  std::string_view address;
  std::size_t routes;
  std::size_t uncompared = 0;  // routes for which a route processor's hardware names another RIF
};

// Findings. Each event comes just before the finding is written. `text` is the text on standard
// output, without the newlines around it.
struct MissingKey {        // in the class of the step
  std::string_view node;   // the node whose hardware does not hold the key
  std::string_view owner;  // the node that reports the interface
  const InterfaceRecord& interface;
  const Integer& handle;
  const Integer& key;
  std::string_view text;
};
struct LeakedKey {
  std::string_view node;
  const Integer& key;
  std::string_view text;
};
enum class RouteFault {
  kProcessorHandle,  // the route processor's hardware holds another handle
  kMissingBud,       // the card has no bud object for the tunnel
  kMissingHandle,    // the card's hardware holds nothing for the tunnel
  kCardHandle,       // the card's hardware holds another RIF or handle
};
constexpr std::string_view fault_name(RouteFault fault) {
  constexpr EnumNames<RouteFault> kNames({
      {RouteFault::kProcessorHandle, "route-handle"},
      {RouteFault::kMissingBud, "missing-bud"},
      {RouteFault::kMissingHandle, "missing-handle"},
      {RouteFault::kCardHandle, "card-handle"},
  });
  return kNames[fault];
}
struct FaultyRoute {
  RouteFault fault;
  std::string_view address;    // of the faulty node
  std::string_view processor;  // address of the route processor
  std::uint32_t number;        // of the route among the processor's
  std::string_view rif;
  std::string_view mdt_handle;  // empty for kMissingBud, which is found before handles are compared
  std::string_view text;
};

}  // namespace event

using Event =
    std::variant<event::RunStarted, event::RouterProbed, event::NodesListed, event::NodeIgnored,
                 event::NodeReplaced, event::PhaseStarted, event::PhaseEnded, event::WorkerStarted,
                 event::WorkerEnded, event::StepStarted, event::CommandStarted, event::CommandEnded,
                 event::DumpLoaded, event::TunnelsAsked, event::ScaleModeProbed,
                 event::ClassCompared, event::LeaksChecked, event::EntriesCollected,
                 event::RoutesCompared, event::MissingKey, event::LeakedKey, event::FaultyRoute>;

// Watches a run. It must not change what the run does. If observe() throws, the exception leaves
// the function that reported the event, and so ends its worker, or the run.
class Observer {
 public:
  Observer() = default;
  virtual ~Observer() = default;
  Observer(const Observer&) = delete;
  Observer& operator=(const Observer&) = delete;

  // Called from many threads at the same time. The run waits for it.
  virtual void observe(const Event& event) = 0;
};

}  // namespace zorbec

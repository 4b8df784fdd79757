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

// What a loaded dump holds.
struct DumpContent {
  std::size_t entries = 0;
  bool is_table = true;  // false: valid JSON, but no object at the top
  // Entries that are not as the dump tools write them, and what is wrong with the first of them.
  // The check takes most of them all the same, for something else than was meant.
  std::size_t odd_entries = 0;
  std::string first_odd;
};

// What a run tells whoever watches it. Views and references in an event are good only until
// observe() returns.
//
// What a worker tells comes on the worker's own thread, between its WorkerStarted and its
// WorkerEnded; everything else is the main thread's.
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
// A line of the node table that names a node, but not as active or standby: it is not checked.
struct NodeIgnored {
  std::string_view line;
};
// A line of the node table takes the place of an earlier one, whose node has the same short name
// and another address: the earlier node is not checked.
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
// `error` is what ended the worker before its task was done, null if nothing did.
struct WorkerEnded {
  std::string_view node;
  std::string_view task;
  const std::exception* error;
};

// What a worker turns to. Commands and failures up to the next step belong to it.
enum class Step {
  kPidbTool,    // the node dumps its interface truth database
  kPidbFile,    // one class of it is fetched and loaded
  kTunnels,     // is a GRE tunnel configured?
  kKeys,        // expected keys are derived
  kPmdb,        // the node dumps its programmed keys, which are fetched and loaded
  kComparison,  // one class is compared
  kLeaks,       // unclaimed keys are looked at
  kRoutes,      // multicast routing entries are collected
  kBuds,        // bud objects are collected
  kHandles,     // the hardware's entries for the tunnels are collected
};
struct StepStarted {
  std::string_view node;
  Step step;
  std::optional<InterfaceClass> intf_class;  // of kPidbFile and kComparison
};

struct CommandStarted {
  std::string_view command;
};
// `status` is what waitpid() gave, -1 if the host ignores SIGCHLD and nobody knows.
struct CommandEnded {
  std::string_view command;
  int status;
  std::chrono::nanoseconds took;
  std::size_t output_bytes;
};

// A node's dump, or the local copy that was there in its stead, was loaded; with no bytes it held
// nothing to load.
struct DumpLoaded {
  std::string_view node;
  std::optional<InterfaceClass> intf_class;  // of a PIDB dump; empty: the PMDB dump
  std::string_view path;
  std::size_t bytes;
  std::chrono::nanoseconds modified;  // time of the last change since 1970
  DumpContent content;
};
// Whether the running configuration holds GRE tunnels. `answer_bytes` is its size.
struct TunnelsAsked {
  std::string_view node;
  bool are_configured;
  std::size_t answer_bytes;
};

// The scale mode was asked for, and the answer.
struct ScaleModeProbed {
  int scale_mode;
};

// The class of the step was compared with a node's programmed keys, to its end.
struct ClassCompared {
  std::string_view node;
  std::size_t expected;  // keys looked up
  std::size_t missing;   // of them
};
// All keys that no interface claimed were looked at.
struct LeaksChecked {
  std::string_view node;
  std::size_t programmed;          // keys of the node
  std::size_t of_bundles = 0;      // unclaimed, but the interface manager takes them for a bundle
  std::size_t marked_in_dump = 0;  // unclaimed, but marked `visited` by the dump itself
  std::size_t leaked = 0;
};
// What a multicast collector found, be it all there is or not.
struct EntriesCollected {
  std::string_view node;
  Step step;
  std::size_t entries;
  std::size_t unreadable = 0;  // answers that hold something, but no field of an entry
};
// The routes of a route processor were compared with what a node has made of them, to the end.
struct RoutesCompared {
  std::string_view address;
  std::size_t routes;
  std::size_t uncompared = 0;  // routes for which a route processor's hardware names another RIF
};

// Findings, each told just before it is reported. `text` is what standard output will show, without
// the line ends around it.
struct MissingKey {        // in the class of the step
  std::string_view node;   // whose hardware lacks it
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
  std::string_view address;    // of the node that is at fault
  std::string_view processor;  // address of the route processor
  std::uint32_t number;
  std::string_view rif;
  std::string_view mdt_handle;  // empty where the comparison did not come to it
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

// Watches a run. It changes nothing of what the run does, unless it throws: an exception leaves the
// function that reported the event, and ends its worker or the run.
class Observer {
 public:
  Observer() = default;
  virtual ~Observer() = default;
  Observer(const Observer&) = delete;
  Observer& operator=(const Observer&) = delete;

  // Called by many threads at once.
  virtual void observe(const Event& event) = 0;
};

}  // namespace zorbec

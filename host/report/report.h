#pragma once

#include <chrono>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/enums.h"
#include "tables/interface_class.h"

namespace zorbec {

// The result of a check, as plain data. The summary and the JSON document are both written from it.
// Everything in it has a fixed order, so that the same router gives the same report.

enum class Check { kInterfaces, kMulticast };
std::string_view check_name(Check check);

// A column of the report: one of the six classes of interfaces, the keys that belong to no
// interface (leaks), or the multicast state.
class ReportClass {
 public:
  static constexpr std::size_t kCount = kEnumCount<InterfaceClass> + 2;
  static const ReportClass kLeak;
  static const ReportClass kMulticast;

  constexpr ReportClass() : ReportClass(InterfaceClass{}) {}
  constexpr ReportClass(InterfaceClass intf_class) : index_(enum_index(intf_class)) {}

  // From 0 in the order of the columns.
  constexpr std::size_t index() const { return index_; }
  // Empty for leaks and multicast.
  constexpr std::optional<InterfaceClass> interface_class() const {
    if (index_ >= kEnumCount<InterfaceClass>) return std::nullopt;
    return static_cast<InterfaceClass>(index_);
  }

  friend constexpr bool operator==(ReportClass a, ReportClass b) { return a.index_ == b.index_; }
  friend constexpr auto operator<=>(ReportClass a, ReportClass b) { return a.index_ <=> b.index_; }

 private:
  constexpr explicit ReportClass(std::size_t index) : index_(index) {}
  std::size_t index_;
};
inline constexpr ReportClass ReportClass::kLeak{kEnumCount<InterfaceClass>};
inline constexpr ReportClass ReportClass::kMulticast{kEnumCount<InterfaceClass> + 1};

// Its name in reports and options, and the heading of its column.
std::string_view class_name(ReportClass report_class);
std::string_view column_heading(ReportClass report_class);
// The classes that a check gives verdicts on.
std::vector<ReportClass> classes_of(Check check);

// Why something was not verified. docs/report.md explains each reason; programs read the texts.
enum class Reason {
  kUnreachable,
  kCommandFailed,
  kCopyMissing,
  kEmpty,
  kStale,
  kTruncated,
  kNotJson,
  kWrongShape,
  kWorkerEnded,
  kNothingToCompare,
  kInterrupted,
  kDeadline
};
std::string_view reason_text(Reason reason);

enum class Verdict {
  kConsistent,
  kInconsistent,
  kNotVerified,
  kNothing,   // no node has an interface of that class
  kByDesign,  // is never checked there
  kRunFailed  // of a whole report only
};
std::string_view verdict_text(Verdict verdict);

// What is wrong.
enum class FindingKind {
  kMissingKey,     // the hardware lacks a key that an interface expects
  kLeakedKey,      // the hardware holds a key that no interface owns
  kRouteHandle,    // the route processor's hardware holds another handle than its route
  kMissingBud,     // the card has no bud object for a route's tunnel
  kMissingHandle,  // the card's hardware holds nothing for the tunnel
  kCardHandle      // the card's hardware holds another RIF or handle
};
// Its name in reports, and in words for a person.
std::string_view kind_name(FindingKind kind);
std::string_view kind_words(FindingKind kind);

// Something that went wrong and kept a part of the check from being verified.
struct Problem {
  Reason reason = Reason::kWorkerEnded;
  std::string where;  // a dump, a tool or a step of a worker
  std::string detail;
};

// One local copy that was read.
struct DumpFile {
  std::string name;  // "pidb_physical"
  std::string path;
  std::size_t bytes = 0;
  std::size_t entries = 0;
  std::chrono::nanoseconds modified{};  // since 1970
  bool is_stale = false;
};

// The verdict on one class of one node.
struct Cell {
  ReportClass report_class;
  Verdict verdict = Verdict::kNotVerified;
  std::optional<Reason> reason = {};  // of kNotVerified
  std::string detail = {};
  std::size_t compared = 0;     // expected keys, programmed keys or routes
  std::size_t findings = 0;     // confirmed ones only
  std::size_t unconfirmed = 0;  // those that depend on something that was not verified
};

// One row of the report.
struct NodeReport {
  std::string name;
  std::string address;
  std::string type;  // empty: not known
  std::string role;  // "Active", "Standby", empty
  bool is_reached = false;
  Verdict verdict = Verdict::kNotVerified;
  std::vector<Problem> problems;
  std::vector<DumpFile> dumps;
  std::vector<Cell> cells;
};

// One difference between what the hardware holds and what it must hold. A finding that the library
// prints several times is one Finding.
struct Finding {
  std::string id;  // "missing-key/3/bundle/0x3c000058/0x3c000058"
  FindingKind kind = FindingKind::kMissingKey;
  Check check = Check::kInterfaces;
  std::string node;
  ReportClass report_class;
  std::string key;  // empty: of a route
  struct Interface {
    std::string handle;
    std::string name;                 // empty: the record has none
    std::vector<std::string> owners;  // the nodes that report the interface
  };
  std::optional<Interface> interface;
  struct Route {
    std::uint32_t number = 0;
    std::string processor;
    std::string rif;
    std::string mdt_handle;  // empty: not compared
  };
  std::optional<Route> route;
  bool is_confirmed = false;  // everything that it depends on was verified
  std::size_t times = 0;      // how often it was printed
  std::string text;           // the line on standard output, without line ends
};

// A UUID in text form, made from the id of a finding alone: the same finding has the same one in
// every run.
std::string fingerprint(std::string_view finding_id);

// A part of the router that the check did not verify: because something went wrong (`reason` says
// what), or because it never does (by design).
struct NotLookedAt {
  std::string node;                         // empty: everywhere
  std::optional<ReportClass> report_class;  // empty: all of the node
  bool is_by_design = false;
  std::optional<Reason> reason;
  std::string detail;
};

// How much was checked, of the whole router, whatever the selection is.
struct Coverage {
  std::size_t nodes = 0;
  std::size_t nodes_reached = 0;
  std::size_t interfaces = 0;
  std::size_t expected_keys = 0;
  std::size_t programmed_keys = 0;
  std::size_t routes = 0;
  std::size_t dumps_failed = 0;
  std::size_t commands = 0;
  std::size_t commands_failed = 0;
};

struct RunError {
  Check check = Check::kInterfaces;
  std::string error;
};

// The nodes and classes that a report is limited to; an empty list means all.
struct Selection {
  std::vector<std::string> nodes;
  std::vector<std::string> classes;
};

struct Report {
  std::chrono::system_clock::time_point started;
  std::chrono::nanoseconds took{};
  std::vector<Check> checks;
  Selection selection;
  Verdict verdict = Verdict::kNotVerified;
  std::optional<Reason> ended_early;  // kInterrupted or kDeadline
  std::vector<RunError> run_errors;
  std::optional<int> model_code;
  std::optional<int> scale_mode;
  Coverage coverage;
  std::vector<NodeReport> nodes;
  std::vector<Finding> findings;
  std::vector<NotLookedAt> not_looked_at;
};

}  // namespace zorbec

#include "host/facts/recorder.h"

#include <sys/wait.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <system_error>
#include <utility>

#include "base/error.h"
#include "base/integer.h"
#include "base/text_lines.h"
#include "context/commands_in_flight.h"
#include "json/parser.h"
#include "keys/interface_records.h"

namespace zorbec {

// How events become facts
//
// Each event carries some of its fields itself; what it does not carry is in the place, which says
// in which step of which node's task the calling thread is:
//
//   event                           place                          fact
//   CommandEnded{status 3}          node 3, step PMDB dump    ->   node 3, pmdb: "command failed"
//   WorkerEnded{JsonError}          node 3, step PIDB copy    ->   node 3, that class: "not JSON"
//   CommandEnded{no output}         main thread, no node      ->   set-up of the run: "empty"
//
// A command that fails does not end its worker: the core does not look at the status. It goes on
// and may read the copy of an earlier run. So a problem is only noted here, and what a verdict
// loses by it is for the judges to say.

namespace {

constexpr int kSshFailed = 255;

// The task of the worker that compares the multicast state of all nodes. It is started in the name
// of the last node, so what happens to it says nothing about that node.
constexpr std::string_view kMulticastVerification = "verify_mcast";

std::string_view step_text(event::Step step) {
  static constexpr EnumNames<event::Step> kTexts({
      {event::Step::kPidbTool, "PIDB dump"},
      {event::Step::kPidbFile, "PIDB copy"},
      {event::Step::kTunnels, "GRE tunnels"},
      {event::Step::kKeys, "expected keys"},
      {event::Step::kPmdb, "PMDB dump"},
      {event::Step::kComparison, "comparison"},
      {event::Step::kLeaks, "leak check"},
      {event::Step::kRoutes, "routes"},
      {event::Step::kBuds, "bud objects"},
      {event::Step::kHandles, "PMDB handles"},
  });
  return kTexts[step];
}

FindingKind kind_of(event::RouteFault fault) {
  static constexpr EnumTable<event::RouteFault, FindingKind> kKinds({
      {event::RouteFault::kProcessorHandle, FindingKind::kRouteHandle},
      {event::RouteFault::kMissingBud, FindingKind::kMissingBud},
      {event::RouteFault::kMissingHandle, FindingKind::kMissingHandle},
      {event::RouteFault::kCardHandle, FindingKind::kCardHandle},
  });
  return kKinds[fault];
}

std::string where(const Place& place) {
  if (!place.step) return place.task.empty() ? "set-up" : place.task;
  std::string text(step_text(*place.step));
  if (place.intf_class) text += " of " + std::string(class_name(*place.intf_class));
  return text;
}

// Below 0 nobody knows the status, and that is no success.
bool has_failed(int status) {
  return status != 0;
}

bool goes_to_node(std::string_view command) {
  return command.starts_with("ssh ") || command.starts_with("scp ");
}

// ssh and scp end with 255 if they themselves failed. A tool on the node that ends with 255 looks
// the same; nothing could tell the two apart.
Problem problem_of(const event::CommandEnded& ended, const Place& place) {
  const bool is_lost = goes_to_node(ended.command) && WIFEXITED(ended.status) &&
                       WEXITSTATUS(ended.status) == kSshFailed;
  const std::string how = ended.status < 0 ? "unknown status"
                          : WIFSIGNALED(ended.status)
                              ? "signal " + std::to_string(WTERMSIG(ended.status))
                              : "status " + std::to_string(WEXITSTATUS(ended.status));
  // A terminal sends Ctrl-C to the commands too, which may notice it first.
  const bool is_interrupted = WIFSIGNALED(ended.status) && WTERMSIG(ended.status) == SIGINT;
  const Reason reason = is_lost          ? Reason::kUnreachable
                        : is_interrupted ? Reason::kInterrupted
                                         : Reason::kCommandFailed;
  return {reason, where(place), how + " of: " + std::string(ended.command)};
}

std::chrono::nanoseconds time_by(clockid_t clock) {
  timespec now{};
  ::clock_gettime(clock, &now);
  return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
}

// The kernel stamps a file by either clock. The coarse one lags some milliseconds behind, so a new
// file may seem older than the moment before it was written. Hence the earlier clock for the start
// of the run and the later one for "in the future".
std::chrono::nanoseconds earliest_stamp() {
  return time_by(CLOCK_REALTIME_COARSE);
}
std::chrono::nanoseconds latest_stamp() {
  return time_by(CLOCK_REALTIME);
}

std::string dump_name(std::optional<InterfaceClass> intf_class) {
  return std::string(intf_class ? kInterfaceClassTable[*intf_class].dump : "pmdb");
}

std::string age(std::chrono::nanoseconds time) {
  constexpr std::int64_t kMinute = 60;
  constexpr std::int64_t kHour = 60 * kMinute;
  constexpr std::int64_t kDay = 24 * kHour;
  const std::int64_t seconds = std::chrono::duration_cast<std::chrono::seconds>(time).count();
  if (seconds >= 2 * kDay) return std::to_string(seconds / kDay) + " days";
  if (seconds >= 2 * kHour) return std::to_string(seconds / kHour) + " hours";
  if (seconds >= 2 * kMinute) return std::to_string(seconds / kMinute) + " minutes";
  return std::to_string(seconds) + " seconds";
}

}  // namespace

Recorder::Recorder(Check check, const EndedEarly& ended_early)
    : started_(earliest_stamp()), ended_early_(ended_early) {
  facts_.check = check;
}

void Recorder::take(const Event& event, const Place& place) {
  const MutexLock lock(mutex_);
  std::visit([&](const auto& told) ZORBEC_REQUIRES(mutex_) { take_event(told, place); }, event);
}

std::vector<std::string> Recorder::node_names() const {
  const MutexLock lock(mutex_);
  std::vector<std::string> names;
  for (const NodeFacts& node : facts_.nodes) names.push_back(node.name);
  return names;
}

RunFacts Recorder::facts() {
  const MutexLock lock(mutex_);
  return std::move(facts_);
}

void Recorder::take_event(const event::RouterProbed& told, const Place& /*place*/) {
  facts_.model_code = told.model;
}

void Recorder::take_event(const event::NodeReplaced& told, const Place& /*place*/) {
  replaced_.emplace(told.node, told.address);
}

void Recorder::take_event(const event::WorkerStarted& told, const Place& /*place*/) {
  if (told.task != kMulticastVerification) node(told.node).has_worker = true;
}

void Recorder::take_event(const event::TunnelsAsked& told, const Place& place) {
  node(told.node).has_tunnels = told.are_configured;
  if (told.answer_bytes != 0) return;
  // The same tool tells the bundle scale, on which the keys of bundle members depend. An empty
  // answer there counts as scale 256, so those keys are in doubt too.
  const Problem empty{Reason::kEmpty, where(place),
                      "the answer with the running configuration is empty"};
  problems_at(place).push_back(empty);
  node(told.node).classes[InterfaceClass::kBundle].problems.push_back(empty);
}

void Recorder::take_event(const event::ScaleModeProbed& told, const Place& /*place*/) {
  facts_.scale_mode = told.scale_mode;
}

void Recorder::take_event(const event::ClassCompared& told, const Place& place) {
  if (place.intf_class) node(told.node).classes[*place.intf_class].expected = told.expected;
}

void Recorder::take_event(const event::LeaksChecked& told, const Place& /*place*/) {
  NodeFacts& facts = node(told.node);
  facts.leaks = told;
  if (told.of_bundles > 0) {
    facts.notes.push_back(
        {ReportClass::kLeak,
         "keys without an owner that belong to a bundle, says the interface manager: " +
             std::to_string(told.of_bundles)});
  }
}

void Recorder::take_event(const event::EntriesCollected& told, const Place& place) {
  if (told.step == event::Step::kRoutes) node(told.node).routes = told.entries;
  if (told.step == event::Step::kBuds) node(told.node).buds = told.entries;
  if (told.unreadable > 0) {
    problems_at(place).push_back(
        {Reason::kWrongShape, where(place),
         std::to_string(told.unreadable) + " answers have none of the fields of an entry"});
  }
}

void Recorder::take_event(const event::RoutesCompared& told, const Place& /*place*/) {
  NodeFacts& compared = node_at(told.address);
  compared.routes_compared = told.routes;
  compared.routes_uncompared = told.uncompared;
}

void Recorder::take_event(const event::NodesListed& told, const Place& /*place*/) {
  // NodeIgnored comes before this event, but in the report these nodes stand behind the others.
  std::vector<NodeFacts> ignored = std::exchange(facts_.nodes, {});
  by_name_.clear();
  for (const auto& [name, record] : told.nodes) {
    // The core has a record for slots without a node. The record of a single-processor model has no
    // type at all, and is a node.
    if (record->nodetype == kNone) continue;
    NodeFacts& facts = node(name);
    facts.address = record->nodeip.value_or("");
    facts.type = record->nodetype.value_or("");
    facts.role = record->act_standby.value_or("");
    facts.dumps_pidb = record->pidb_dump.value_or(0) != 0;
    if (facts.address == kNone) {
      const Problem no_address{Reason::kUnreachable, "node table", "the node has no address"};
      facts.pidb.push_back(no_address);
      facts.pmdb.push_back(no_address);
      facts.multicast.push_back(no_address);
    }
  }
  take_shared_addresses();
  for (NodeFacts& passed_over : ignored) {
    if (!by_name_.contains(passed_over.name)) node(passed_over.name) = std::move(passed_over);
  }
}

void Recorder::take_shared_addresses() {
  const auto add_to_all = [](NodeFacts& facts, const Problem& problem) {
    for (Problems* const problems : {&facts.pidb, &facts.pmdb, &facts.multicast}) {
      problems->push_back(problem);
    }
  };
  for (const auto& [name, address] : replaced_) {
    add_to_all(node(name), {Reason::kUnreachable, "node table",
                            "another node with the same short name, at " + in_quotes(address) +
                                ", was not checked at all"});
  }
  std::map<std::string_view, std::size_t> at_address;
  for (const NodeFacts& facts : facts_.nodes) ++at_address[facts.address];
  for (NodeFacts& facts : facts_.nodes) {
    if (facts.address == kNone || at_address[facts.address] == 1) continue;
    add_to_all(facts, {Reason::kWrongShape, "node table",
                       "another node has the same address " + in_quotes(facts.address)});
  }
}

void Recorder::take_event(const event::NodeIgnored& told, const Place& /*place*/) {
  // "0/3/CPU0 ..." is node 3, as in the core's node table.
  const std::vector<std::string_view> fields = split_at_whitespace(told.line);
  const std::string_view full_name = fields.front();
  const std::string_view rest =
      full_name.substr(std::min(full_name.find('/') + 1, full_name.size()));
  NodeFacts& facts = node(rest.substr(0, rest.find('/')));
  if (fields.size() > 1) facts.type = fields[1];
  const Problem out_of_service{Reason::kUnreachable, "node table",
                               "neither active nor standby: " + in_quotes(told.line)};
  facts.dumps_pidb = facts.type != "RP";
  facts.pidb = facts.pmdb = facts.multicast = {out_of_service};
}

void Recorder::take_event(const event::CommandEnded& ended, const Place& place) {
  ++facts_.commands;
  // Before the first worker every command is a question about the router. The core takes an empty
  // answer for a usual one, so a verdict must not rest on it.
  if (place.node.empty() && ended.output_bytes == 0) {
    facts_.set_up.push_back(
        {Reason::kEmpty, "set-up", "no answer from: " + std::string(ended.command)});
  }
  if (!has_failed(ended.status)) return;
  ++facts_.commands_failed;
  problems_at(place).push_back(problem_of(ended, place));
}

void Recorder::take_event(const event::DumpLoaded& loaded, const Place& /*place*/) {
  NodeFacts& facts = node(loaded.node);
  DumpFile file{.name = dump_name(loaded.intf_class),
                .path = std::string(loaded.path),
                .bytes = loaded.bytes,
                .entries = loaded.content.entries,
                .modified = loaded.modified,
                .is_stale = loaded.modified < started_ || loaded.modified > latest_stamp()};
  Problems* problems = &facts.pmdb;
  if (loaded.intf_class) {
    ClassFacts& of_class = facts.classes[*loaded.intf_class];
    of_class.interfaces = loaded.content.entries;
    problems = &of_class.problems;
  } else {
    facts.programmed = loaded.content.entries;
  }
  const auto add = [&](Reason reason, const std::string& what) {
    problems->push_back({reason, file.name, file.path + " " + what});
  };
  if (file.is_stale) {
    // Put first, as the verdict shows the first problem and this one says most: the dump is not
    // from this run. The problem before it, such as a failed copy, may be the cause, so it is named
    // too.
    const bool is_old = file.modified < started_;
    std::string what =
        file.path + (is_old ? " is older than this run by " + age(started_ - file.modified)
                            : " has a modification time in the future");
    if (!problems->empty()) what += "; " + problems->front().detail;
    problems->insert(problems->begin(), {Reason::kStale, file.name, what});
  }
  if (loaded.bytes == 0) {
    add(Reason::kEmpty, "is empty");
  } else if (!loaded.content.is_table) {
    add(Reason::kWrongShape, "holds no table");
  } else if (!loaded.intf_class && loaded.content.entries == 0) {
    add(Reason::kEmpty, "holds no key at all");
  }
  if (loaded.content.odd_entries > 0) {
    add(Reason::kWrongShape, "has " + std::to_string(loaded.content.odd_entries) +
                                 " entries that differ from what dump tools write, the first: " +
                                 loaded.content.first_odd);
  }
  facts.dumps.push_back(std::move(file));
}

void Recorder::take_event(const event::WorkerEnded& ended, const Place& place) {
  if (ended.error == nullptr) return;
  const Problem problem{reason_of(*ended.error), where(place), ended.error->what()};
  if (ended.task == kMulticastVerification) {
    // It compares all nodes, one after the other: see MulticastJudge.
    facts_.multicast_verification.push_back(problem);
  } else if (!place.step) {
    // It ended before its first step, so nothing of the node was read.
    NodeFacts& facts = node(ended.node);
    for (Problems* const problems : {&facts.pidb, &facts.pmdb, &facts.multicast}) {
      problems->push_back(problem);
    }
  } else {
    problems_at(place).push_back(problem);
  }
}

Finding& Recorder::finding(FindingKind kind, const std::string& rest_of_id) {
  const std::string id = std::string(kind_name(kind)) + "/" + rest_of_id;
  Finding& finding = facts_.findings[id];
  if (finding.times++ == 0) {
    finding.id = id;
    finding.kind = kind;
    finding.check = facts_.check;
  }
  return finding;
}

void Recorder::take_event(const event::MissingKey& missing, const Place& place) {
  // Several nodes may report the same interface, as all members' cards do for a bundle. That is one
  // finding: the node, class, handle and key that name it do not name the reporter.
  const InterfaceClass intf_class = place.intf_class.value_or(InterfaceClass::kPhysical);
  const std::string handle = missing.handle.hexadecimal();
  const std::string key = missing.key.hexadecimal();
  Finding& found = finding(FindingKind::kMissingKey, std::string(missing.node) + "/" +
                                                         std::string(class_name(intf_class)) + "/" +
                                                         handle + "/" + key);
  if (found.times == 1) {
    found.node = missing.node;
    found.report_class = intf_class;
    found.key = key;
    found.interface = {handle, std::string(interface_name(missing.interface)), {}};
    found.text = missing.text;
  }
  std::vector<std::string>& owners = found.interface->owners;
  if (owners.empty() || owners.back() != missing.owner) owners.emplace_back(missing.owner);
}

void Recorder::take_event(const event::LeakedKey& leaked, const Place& /*place*/) {
  const std::string key = leaked.key.hexadecimal();
  Finding& found = finding(FindingKind::kLeakedKey, std::string(leaked.node) + "/" + key);
  found.node = leaked.node;
  found.report_class = ReportClass::kLeak;
  found.key = key;
  found.text = leaked.text;
}

void Recorder::take_event(const event::FaultyRoute& faulty, const Place& /*place*/) {
  const std::string at = node_at(faulty.address).name;
  const std::string processor = node_at(faulty.processor).name;
  Finding& found =
      finding(kind_of(faulty.fault), at + "/" + processor + "/" + std::to_string(faulty.number));
  found.node = at;
  found.report_class = ReportClass::kMulticast;
  found.route = {faulty.number, processor, std::string(faulty.rif), std::string(faulty.mdt_handle)};
  found.text = faulty.text;
}

NodeFacts& Recorder::node(std::string_view name) {
  const auto found = by_name_.find(name);
  if (found != by_name_.end()) return facts_.nodes[found->second];
  by_name_.emplace(name, facts_.nodes.size());
  facts_.nodes.emplace_back().name = name;
  return facts_.nodes.back();
}

NodeFacts& Recorder::node_at(std::string_view address) {
  const auto found = std::ranges::find(facts_.nodes, address, &NodeFacts::address);
  return found == facts_.nodes.end() ? node(address) : *found;
}

Problems& Recorder::problems_at(const Place& place) {
  if (place.node.empty()) return facts_.set_up;
  NodeFacts& facts = node(place.node);
  if (!place.step) return facts.verification;
  switch (*place.step) {
    // One tool writes the dumps of several classes, and keys go from class to class.
    case event::Step::kPidbTool:
    case event::Step::kKeys:
      return facts.pidb;
    case event::Step::kPidbFile:
      return place.intf_class ? facts.classes[*place.intf_class].problems : facts.pidb;
    case event::Step::kTunnels:
      return facts.classes[InterfaceClass::kGre].problems;
    case event::Step::kPmdb:
      return facts.pmdb;
    case event::Step::kComparison:
      return facts.verification;
    case event::Step::kLeaks:
      return facts.leak_questions;
    case event::Step::kRoutes:
    case event::Step::kBuds:
    case event::Step::kHandles:
      return facts.multicast;
  }
  return facts.verification;
}

// From the most special type to the most general one.
Reason Recorder::reason_of(const std::exception& error) const {
  if (dynamic_cast<const Interrupted*>(&error) != nullptr) {
    return ended_early_.reason().value_or(Reason::kInterrupted);
  }
  if (const auto* json = dynamic_cast<const JsonError*>(&error)) {
    return json->is_truncated() ? Reason::kTruncated : Reason::kNotJson;
  }
  if (const auto* system = dynamic_cast<const std::system_error*>(&error)) {
    return system->code().value() == ENOENT ? Reason::kCopyMissing : Reason::kWorkerEnded;
  }
  if (dynamic_cast<const CheckError*>(&error) != nullptr) return Reason::kWrongShape;
  return Reason::kWorkerEnded;
}

}  // namespace zorbec

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
namespace {

constexpr int kSshFailed = 255;

// The task of the worker that compares the multicast state of all nodes; it has no node of its own.
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

// A status that nobody knows is no success.
bool has_failed(int status) {
  return status != 0;
}

bool goes_to_node(std::string_view command) {
  return command.starts_with("ssh ") || command.starts_with("scp ");
}

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

// A file that is written now may be stamped by either clock; the coarse one lags behind the other.
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
  // The same tool says how members' keys are built, and no answer there means 256 bundles.
  const Problem empty{Reason::kEmpty, where(place), "the running configuration came back empty"};
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
         "keys that no interface claims, but that the interface manager takes for "
         "a bundle's: " +
             std::to_string(told.of_bundles)});
  }
}

void Recorder::take_event(const event::EntriesCollected& told, const Place& place) {
  if (told.step == event::Step::kRoutes) node(told.node).routes = told.entries;
  if (told.step == event::Step::kBuds) node(told.node).buds = told.entries;
  if (told.unreadable > 0) {
    problems_at(place).push_back(
        {Reason::kWrongShape, where(place),
         std::to_string(told.unreadable) + " answers hold no field of an entry"});
  }
}

void Recorder::take_event(const event::RoutesCompared& told, const Place& /*place*/) {
  NodeFacts& compared = node_at(told.address);
  compared.routes_compared = told.routes;
  compared.routes_uncompared = told.uncompared;
}

void Recorder::take_event(const event::NodesListed& told, const Place& /*place*/) {
  // Lines that were passed over came first, but stand behind the others.
  std::vector<NodeFacts> ignored = std::exchange(facts_.nodes, {});
  by_name_.clear();
  for (const auto& [name, record] : told.nodes) {
    // A slot that the node table did not name has no node. A record without a type is the one of a
    // single-processor model.
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
                            "another node of this short name, at " + in_quotes(address) +
                                ", is not checked at all"});
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
    // This counts most: what was compared is not this run's. What failed before may be why.
    const bool is_old = file.modified < started_;
    std::string what =
        file.path + (is_old ? " is older than this run by " + age(started_ - file.modified)
                            : " has a time that is yet to come");
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
                                 " entries that no dump tool writes: " + loaded.content.first_odd);
  }
  facts.dumps.push_back(std::move(file));
}

void Recorder::take_event(const event::WorkerEnded& ended, const Place& place) {
  if (ended.error == nullptr) return;
  const Problem problem{reason_of(*ended.error), where(place), ended.error->what()};
  if (ended.task == kMulticastVerification) {
    facts_.multicast_verification.push_back(problem);
  } else if (!place.step) {
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

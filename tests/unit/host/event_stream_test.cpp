#include "host/check/event_stream.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <csignal>
#include <functional>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <system_error>
#include <utility>
#include <variant>
#include <vector>

#include "base/error.h"
#include "base/text_lines.h"
#include "tests/unit/support/captured_stream.h"
#include "tests/unit/support/errors.h"
#include "tests/unit/support/file_size_limit.h"
#include "tests/unit/support/files.h"
#include "tests/unit/support/rows.h"
#include "tests/unit/support/tables.h"
#include "tests/unit/support/threads.h"

namespace zorbec {
namespace {

using event::Step;
using Json = nlohmann::json;
using ::testing::HasSubstr;
using ::testing::StartsWith;

constexpr const char* kEvents = "/tmp/events.jsonl";

// The lines that a stream writes when `tell` tells it something. "t" is held here and left out.
std::vector<Json> lines_of(const std::function<void(EventStream&)>& tell) {
  EventStream stream(kEvents);
  tell(stream);
  EXPECT_EQ(stream.failure(), "");
  const std::string text = unit::read_text(kEvents);
  EXPECT_TRUE(text.ends_with('\n'));
  std::vector<Json> lines;
  for (const std::string_view line : split_lines(text)) {
    if (line.empty()) continue;
    EXPECT_THAT(std::string(line), StartsWith("{\"t\":"));
    Json members = Json::parse(line);
    const double t = members.at("t").get<double>();
    EXPECT_GE(t, 0);
    EXPECT_LT(t, 600);
    members.erase("t");
    lines.push_back(std::move(members));
  }
  return lines;
}

// The only line for an event.
Json line_for(const Event& event, const Place& place = {}) {
  const std::vector<Json> lines = lines_of([&](EventStream& stream) { stream.take(event, place); });
  EXPECT_EQ(lines.size(), 1U);
  return lines.empty() ? Json() : lines.front();
}

// What events of a row refer to.
struct Told {
  InterfaceTable table = unit::interface_table(R"({"7": {"name": "Bundle-Ether6"}})");
  InterfaceRecord interface { table, 0 };
  Integer handle = 7;
  Integer key = 0x100000076U;
  CheckError error{"no number"};
  NodeInfo nodes = [] {
    NodeInfo all;
    for (const auto& [name, address] :
         {std::pair("RP0", "192.0.0.1"), std::pair("1", "None"), std::pair("2", "192.0.2.1")}) {
      const auto record = std::make_shared<NodeRecord>();
      record->nodeip = address;
      all.set(name, record);
    }
    return all;
  }();
};

const Told& told() {
  static const Told everything;
  return everything;
}

struct EventCase : unit::Row {
  std::function<Event()> event;
  Place place;
  std::string line;  // as JSON, without "t"
};

const Place kMain;
const Place kDumping = {"1", "dump", Step::kPmdb};
const Place kComparing = {"1", "verify", Step::kComparison, InterfaceClass::kBundleSubif};

const EventCase kEventCases[] = {
    {{"run_started"},
     [] { return event::RunStarted{1}; },
     kMain,
     R"({"event": "run_started", "mode": 1})"},
    {{"router_probed"},
     [] { return event::RouterProbed{4}; },
     kMain,
     R"({"event": "router_probed", "model_code": 4})"},
    {{"nodes_listed_with_an_address"},
     [] { return event::NodesListed{told().nodes}; },
     kMain,
     R"({"event": "nodes_listed", "nodes": ["RP0", "2"]})"},
    {{"node_ignored"},
     [] { return event::NodeIgnored{"0/3/CPU0 LC FAILED"}; },
     kMain,
     R"({"event": "node_ignored", "line": "0/3/CPU0 LC FAILED"})"},
    {{"node_replaced"},
     [] {
       return event::NodeReplaced{"1", "192.0.1.1"};
     },
     kMain,
     R"({"event": "node_replaced", "node": "1", "address": "192.0.1.1"})"},
    {{"phase_started"},
     [] { return event::PhaseStarted{event::Phase::kDump}; },
     kMain,
     R"({"event": "phase_started", "phase": "dump"})"},
    {{"phase_ended"},
     [] { return event::PhaseEnded{event::Phase::kVerification}; },
     kMain,
     R"({"event": "phase_ended", "phase": "verification"})"},
    {{"worker_started"},
     [] {
       return event::WorkerStarted{"1", "dump"};
     },
     {"1", "dump"},
     R"({"event": "worker_started", "node": "1", "task": "dump"})"},
    {{"worker_ended_well"},
     [] {
       return event::WorkerEnded{"1", "dump", nullptr};
     },
     kDumping,
     R"({"event": "worker_ended", "node": "1", "task": "dump", "error": null})"},
    {{"worker_ended_by_an_error"},
     [] {
       return event::WorkerEnded{"1", "dump", &told().error};
     },
     kDumping,
     R"({"event": "worker_ended", "node": "1", "task": "dump", "error": "no number"})"},
    {{"step_of_a_class_started"},
     [] {
       return event::StepStarted{"1", Step::kComparison, InterfaceClass::kBvi};
     },
     kComparing,
     R"({"event": "step_started", "node": "1", "step": "comparison", "class": "bvi"})"},
    {{"step_of_no_class_started"},
     [] {
       return event::StepStarted{"1", Step::kLeaks, {}};
     },
     {"1", "verify", Step::kLeaks},
     R"({"event": "step_started", "node": "1", "step": "leaks", "class": null})"},
    {{"command_of_a_worker_started"},
     [] { return event::CommandStarted{"ssh 192.0.1.1 hwkey_dump"}; },
     kDumping,
     R"({"event": "command_started", "node": "1", "command": "ssh 192.0.1.1 hwkey_dump"})"},
    {{"command_of_the_main_thread_started"},
     [] { return event::CommandStarted{"relinfo_print"}; },
     kMain,
     R"({"event": "command_started", "node": null, "command": "relinfo_print"})"},
    {{"command_ended"},
     [] {
       return event::CommandEnded{"scp a b", 255 << 8, std::chrono::milliseconds(2500), 12};
     },
     kDumping,
     R"({"event": "command_ended", "node": "1", "command": "scp a b", "exit": 255,
         "seconds": 2.5, "output_bytes": 12})"},
    {{"command_ended_by_a_signal"},
     [] {
       return event::CommandEnded{"scp a b", SIGKILL, std::chrono::seconds(1), 0};
     },
     kMain,
     R"({"event": "command_ended", "node": null, "command": "scp a b", "exit": -9,
         "seconds": 1.0, "output_bytes": 0})"},
    {{"command_ended_and_nobody_knows_how"},
     [] {
       return event::CommandEnded{"scp a b", -1, std::chrono::seconds(1), 0};
     },
     kMain,
     R"({"event": "command_ended", "node": null, "command": "scp a b", "exit": null,
         "seconds": 1.0, "output_bytes": 0})"},
    {{"dump_of_a_class_loaded"},
     [] {
       return event::DumpLoaded{"1",
                                InterfaceClass::kGre,
                                "/tmp/a.dat",
                                90,
                                std::chrono::seconds(1'000'000'000),
                                {.entries = 3, .first_odd = {}}};
     },
     kDumping,
     R"({"event": "dump_loaded", "node": "1", "class": "gre", "path": "/tmp/a.dat", "bytes": 90,
         "entries": 3, "modified": "2001-09-09T01:46:40Z"})"},
    {{"dump_of_keys_loaded"},
     [] { return event::DumpLoaded{"1", {}, "/tmp/pmdb_1.dat", 0, std::chrono::seconds(0), {}}; },
     kDumping,
     R"({"event": "dump_loaded", "node": "1", "class": null, "path": "/tmp/pmdb_1.dat", "bytes": 0,
         "entries": 0, "modified": "1970-01-01T00:00:00Z"})"},
    {{"tunnels_asked"},
     [] {
       return event::TunnelsAsked{"1", true, 500};
     },
     kDumping,
     R"({"event": "tunnels_asked", "node": "1", "configured": true})"},
    {{"scale_mode_probed"},
     [] { return event::ScaleModeProbed{2}; },
     kDumping,
     R"({"event": "scale_mode_probed", "node": "1", "scale_mode": 2})"},
    {{"class_compared"},
     [] {
       return event::ClassCompared{"1", 12, 3};
     },
     kComparing,
     R"({"event": "class_compared", "node": "1", "class": "bundle-subif", "expected": 12,
         "missing": 3})"},
    {{"leaks_checked"},
     [] {
       return event::LeaksChecked{"1", 36, 5, 4, 3};
     },
     kComparing,
     R"({"event": "leaks_checked", "node": "1", "programmed": 36, "of_bundles": 5,
         "marked_in_dump": 4, "leaked": 3})"},
    {{"entries_collected"},
     [] {
       return event::EntriesCollected{"1", Step::kBuds, 7, 2};
     },
     kDumping,
     R"({"event": "entries_collected", "node": "1", "step": "buds", "entries": 7,
         "unreadable": 2})"},
    {{"routes_compared"},
     [] {
       return event::RoutesCompared{"192.0.1.1", 9, 2};
     },
     kMain,
     R"({"event": "routes_compared", "address": "192.0.1.1", "routes": 9, "uncompared": 2})"},
    {{"missing_key"},
     [] {
       return event::MissingKey{"1", "2", told().interface, told().handle, told().key, "Missing"};
     },
     kComparing,
     R"({"event": "missing_key", "node": "1", "class": "bundle-subif", "owner": "2",
         "handle": "0x7", "key": "0x100000076", "text": "Missing"})"},
    {{"leaked_key"},
     [] {
       return event::LeakedKey{"1", told().key, "leaked"};
     },
     kComparing,
     R"({"event": "leaked_key", "node": "1", "key": "0x100000076", "text": "leaked"})"},
    {{"faulty_route"},
     [] {
       return event::FaultyRoute{event::RouteFault::kCardHandle,
                                 "192.0.1.1",
                                 "192.0.0.1",
                                 7,
                                 "0x13bc",
                                 "0x20",
                                 "inconsistent"};
     },
     kMain,
     R"({"event": "faulty_route", "fault": "card-handle", "address": "192.0.1.1",
         "processor": "192.0.0.1", "number": 7, "rif": "0x13bc", "mdt_handle": "0x20",
         "text": "inconsistent"})"},
    {{"faulty_route_without_a_handle"},
     [] {
       return event::FaultyRoute{
           event::RouteFault::kMissingBud, "192.0.1.1", "192.0.0.1", 7, "0x13bc", "", "Missing"};
     },
     kMain,
     R"({"event": "faulty_route", "fault": "missing-bud", "address": "192.0.1.1",
         "processor": "192.0.0.1", "number": 7, "rif": "0x13bc", "mdt_handle": null,
         "text": "Missing"})"},
};

class EventLine : public ::testing::TestWithParam<EventCase> {};

TEST_P(EventLine, says_what_was_told) {
  EXPECT_EQ(line_for(GetParam().event(), GetParam().place), Json::parse(GetParam().line));
}

INSTANTIATE_TEST_SUITE_P(Events, EventLine, ::testing::ValuesIn(kEventCases),
                         unit::row_name<EventCase>);

TEST(EventCases, know_every_event) {
  std::set<std::size_t> known;
  for (const EventCase& row : kEventCases) known.insert(row.event().index());
  EXPECT_EQ(known.size(), std::variant_size_v<Event>);
}

TEST(EventStream, check_begins_and_ends) {
  const std::vector<Json> lines = lines_of([](EventStream& stream) {
    stream.begin(Check::kMulticast);
    stream.end(Verdict::kNotVerified);
  });
  EXPECT_EQ(lines, (std::vector<Json>{
                       {{"event", "check_started"},
                        {"format", "zorbec-events"},
                        {"version", 1},
                        {"check", "multicast"}},
                       {{"event", "check_ended"}, {"verdict", "NOT VERIFIED"}},
                   }));
}

// What docs/events.schema.json says of each event, by its name.
std::map<std::string, Json> described_events() {
  const Json schema = Json::parse(unit::read_text(ZORBEC_SOURCES "/docs/events.schema.json"));
  std::map<std::string, Json> events;
  for (const Json& reference : schema.at("oneOf")) {
    const std::string target = reference.at("$ref");
    const std::string name = target.substr(target.rfind('/') + 1);
    events[name] = schema.at("$defs").at(name);
  }
  return events;
}

// The members of each event that is written, by its name.
std::map<std::string, std::set<std::string>> written_events() {
  std::map<std::string, std::set<std::string>> events;
  for (const Json& line : lines_of([](EventStream& stream) {
         stream.begin(Check::kInterfaces);
         for (const EventCase& row : kEventCases) stream.take(row.event(), row.place);
         stream.end(Verdict::kConsistent);
       })) {
    std::set<std::string> members = {"t"};
    for (const auto& [member, value] : line.items()) members.insert(member);
    const auto [place, is_new] = events.emplace(line.at("event"), members);
    EXPECT_EQ(place->second, members);
  }
  return events;
}

TEST(EventSchema, describes_every_event_and_no_other) {
  std::map<std::string, std::set<std::string>> described;
  for (const auto& [name, schema] : described_events()) {
    EXPECT_EQ(schema.at("properties").at("event").at("const"), name);
    EXPECT_FALSE(schema.at("additionalProperties"));
    const std::set<std::string> required(schema.at("required").begin(),
                                         schema.at("required").end());
    std::set<std::string> properties;
    for (const auto& [member, value] : schema.at("properties").items()) properties.insert(member);
    EXPECT_EQ(properties, required) << name;
    described[name] = required;
  }
  EXPECT_EQ(described, written_events());
}

TEST(EventStream, text_that_is_no_utf_8_stays_one_line_of_json) {
  const Json line = line_for(event::NodeIgnored{"0/3\xff\n\x1b LC"});
  EXPECT_EQ(line["line"], "0/3\xef\xbf\xbd\n\x1b LC");
}

TEST(EventStream, line_is_written_when_it_is_told) {
  EventStream stream(kEvents);
  stream.take(event::RunStarted{0}, {});
  EXPECT_THAT(unit::read_text(kEvents), HasSubstr("run_started"));
}

TEST(EventStream, file_of_an_earlier_check_is_written_anew) {
  unit::write_text(kEvents, std::string(1000, 'x'));
  EXPECT_EQ(lines_of([](EventStream& stream) { stream.end(Verdict::kConsistent); }).size(), 1U);
}

TEST(EventStream, dash_is_standard_output) {
  const unit::CapturedStream output(STDOUT_FILENO);
  EventStream stream("-");
  stream.take(event::RunStarted{0}, {});
  EXPECT_EQ(Json::parse(output.text())["event"], "run_started");
}

TEST(EventStream, file_that_cannot_be_made_is_named) {
  EXPECT_THAT(unit::error_of<std::system_error>([] { EventStream("/tmp/no_such_folder/events"); }),
              HasSubstr("/tmp/no_such_folder/events"));
}

TEST(EventStream, full_disk_ends_the_stream_and_not_the_check) {
  EventStream stream(kEvents);
  stream.take(event::RunStarted{0}, {});
  const std::string before = unit::read_text(kEvents);
  {
    const unit::FileSizeLimit full(before.size());
    EXPECT_NO_THROW(stream.take(event::RunStarted{1}, {}));
    EXPECT_THAT(stream.failure(), HasSubstr(kEvents));
  }
  // A gap in it would not be seen.
  stream.take(event::RunStarted{0}, {});
  EXPECT_EQ(unit::read_text(kEvents), before);
}

TEST(EventStream, lines_of_workers_are_not_mixed) {
  const std::vector<Json> lines = lines_of([](EventStream& stream) {
    unit::in_threads(4, [&](std::size_t number) {
      const std::string node(1000, static_cast<char>('a' + number));
      for (int times = 0; times < 50; ++times) {
        stream.take(event::WorkerStarted{node, "dump"}, {node, "dump"});
      }
    });
  });
  EXPECT_EQ(lines.size(), 200U);
}

}  // namespace
}  // namespace zorbec

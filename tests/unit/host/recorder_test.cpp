#include "host/facts/recorder.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <ctime>
#include <functional>
#include <memory>
#include <new>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "base/error.h"
#include "context/commands_in_flight.h"
#include "json/parser.h"
#include "tests/unit/host/problem_lists.h"
#include "tests/unit/support/rows.h"
#include "tests/unit/support/tables.h"
#include "tests/unit/support/threads.h"

namespace zorbec {
namespace {

using event::Step;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using unit::problem_lines;

using Lines = std::vector<std::string>;

constexpr int exited(int status) {
  return status << 8;
}

class RecorderTest : public ::testing::Test {
 protected:
  void take(const Event& event, const Place& place = {}) { recorder_.take(event, place); }

  // Ends the recorder's work. The result is the same if it is asked again.
  const RunFacts& facts() {
    if (!facts_) facts_ = recorder_.facts();
    return *facts_;
  }
  const NodeFacts& node(const std::string& name) {
    const auto found = std::ranges::find(facts().nodes, name, &NodeFacts::name);
    if (found == facts().nodes.end()) throw std::runtime_error("no node " + name);
    return *found;
  }
  Lines problems() { return problem_lines(facts()); }

  static std::chrono::nanoseconds now() {
    return std::chrono::system_clock::now().time_since_epoch();
  }

  static event::CommandEnded command(std::string_view line, int status = 0,
                                     std::size_t output_bytes = 1) {
    return {line, status, {}, output_bytes};
  }

  EndedEarly ended_early;

 private:
  Recorder recorder_{Check::kInterfaces, ended_early};
  std::optional<RunFacts> facts_;
};

// What the recorder has of a run that told nothing.
TEST_F(RecorderTest, silence_says_nothing) {
  EXPECT_EQ(facts().check, Check::kInterfaces);
  EXPECT_THAT(problems(), IsEmpty());
  EXPECT_THAT(facts().nodes, IsEmpty());
  EXPECT_THAT(facts().findings, IsEmpty());
  EXPECT_EQ(facts().model_code, std::nullopt);
  EXPECT_EQ(facts().scale_mode, std::nullopt);
  EXPECT_EQ(facts().commands, 0U);
}

TEST_F(RecorderTest, where_the_run_stands_is_no_fact) {
  take(event::RunStarted{0});
  take(event::PhaseStarted{event::Phase::kDump});
  take(event::StepStarted{"1", Step::kPmdb, {}}, {"1", "dump"});
  take(event::CommandStarted{"true"}, {"1", "dump"});
  take(event::PhaseEnded{event::Phase::kDump});
  EXPECT_THAT(facts().nodes, IsEmpty());
  EXPECT_THAT(problems(), IsEmpty());
  EXPECT_EQ(facts().commands, 0U);
}

TEST_F(RecorderTest, answers_of_probes_are_kept) {
  take(event::RouterProbed{4});
  take(event::ScaleModeProbed{2}, {"1", "dump"});
  EXPECT_EQ(facts().model_code, 4);
  EXPECT_EQ(facts().scale_mode, 2);
}

// The node table.

NodeRecord record_of_card(const std::string& address) {
  NodeRecord record;
  record.nodetype = "LC";
  record.nodeip = address;
  record.act_standby = "Active";
  record.pidb_dump = 1;
  return record;
}

NodeRecord record_of_processor(const std::string& address) {
  NodeRecord record = record_of_card(address);
  record.nodetype = "RP";
  record.pidb_dump = 0;
  return record;
}

NodeInfo nodes_of(const std::vector<std::pair<std::string, NodeRecord>>& records) {
  NodeInfo nodes;
  for (const auto& [name, record] : records) {
    nodes.set(name, std::make_shared<NodeRecord>(record));
  }
  return nodes;
}

std::vector<std::string> names_of(const RunFacts& facts) {
  std::vector<std::string> names;
  for (const NodeFacts& node : facts.nodes) names.push_back(node.name);
  return names;
}

class NodeTableTold : public RecorderTest {
 protected:
  void take_table(const std::vector<std::pair<std::string, NodeRecord>>& records) {
    take(event::NodesListed{nodes_of(records)});
  }
};

TEST_F(NodeTableTold, nodes_keep_their_order_and_records) {
  NodeRecord standby = record_of_processor("192.0.0.2");
  standby.act_standby = "Standby";
  take_table({{"RP1", standby}, {"2", record_of_card("192.0.2.1")}});
  EXPECT_THAT(names_of(facts()), ElementsAre("RP1", "2"));
  EXPECT_EQ(node("RP1").type, "RP");
  EXPECT_EQ(node("RP1").role, "Standby");
  EXPECT_EQ(node("RP1").address, "192.0.0.2");
  EXPECT_FALSE(node("RP1").dumps_pidb);
  EXPECT_EQ(node("2").type, "LC");
  EXPECT_TRUE(node("2").dumps_pidb);
  EXPECT_FALSE(node("2").has_worker);
  EXPECT_THAT(problems(), IsEmpty());
}

TEST_F(NodeTableTold, slot_without_a_node_is_none) {
  NodeRecord slot;
  slot.nodetype = std::string(kNone);
  slot.nodeip = std::string(kNone);
  take_table({{"0", slot}, {"1", record_of_card("192.0.1.1")}});
  EXPECT_THAT(names_of(facts()), ElementsAre("1"));
}

TEST_F(NodeTableTold, record_of_a_single_processor_has_neither_type_nor_role) {
  NodeRecord only;
  only.nodeip = "127.0.0.1";
  only.is_active = 1;
  take_table({{"RP0", only}});
  EXPECT_EQ(node("RP0").type, "");
  EXPECT_EQ(node("RP0").role, "");
  EXPECT_FALSE(node("RP0").dumps_pidb);
  EXPECT_THAT(problems(), IsEmpty());
}

TEST_F(NodeTableTold, node_without_an_address_is_unreachable) {
  take_table({{"1", record_of_card(std::string(kNone))}});
  EXPECT_THAT(problems(),
              ElementsAre("1 pidb: unreachable, node table: the node has no address",
                          "1 pmdb: unreachable, node table: the node has no address",
                          "1 multicast: unreachable, node table: the node has no address"));
}

TEST_F(NodeTableTold, nodes_without_an_address_do_not_share_one) {
  take_table(
      {{"1", record_of_card(std::string(kNone))}, {"2", record_of_card(std::string(kNone))}});
  EXPECT_EQ(node("1").pidb.size(), 1U);
  EXPECT_EQ(node("2").pidb.size(), 1U);
}

TEST_F(NodeTableTold, shared_address_is_a_problem_of_all_who_have_it) {
  take_table({{"1", record_of_card("192.0.1.1")},
              {"2", record_of_card("192.0.2.1")},
              {"3", record_of_card("192.0.1.1")}});
  const std::string what =
      ": wrong shape, node table: another node has the same address \"192.0.1.1\"";
  EXPECT_THAT(problems(), ElementsAre("1 pidb" + what, "1 pmdb" + what, "1 multicast" + what,
                                      "3 pidb" + what, "3 pmdb" + what, "3 multicast" + what));
}

TEST_F(NodeTableTold, replaced_nodes_are_told_by_the_one_that_took_the_name) {
  take(event::NodeReplaced{"1", "192.0.1.1"});
  take(event::NodeReplaced{"1", "192.0.1.2"});
  take_table({{"1", record_of_card("192.0.1.3")}});
  const auto what = [](const std::string& address) {
    return ": unreachable, node table: another node with the same short name, at \"" + address +
           "\", was not checked at all";
  };
  EXPECT_THAT(problems(),
              ElementsAre("1 pidb" + what("192.0.1.1"), "1 pidb" + what("192.0.1.2"),
                          "1 pmdb" + what("192.0.1.1"), "1 pmdb" + what("192.0.1.2"),
                          "1 multicast" + what("192.0.1.1"), "1 multicast" + what("192.0.1.2")));
}

TEST_F(NodeTableTold, ignored_nodes_stand_behind_the_others) {
  take(event::NodeIgnored{"0/3/CPU0 LC 192.0.3.1 FAILED"});
  take_table({{"1", record_of_card("192.0.1.1")}});
  EXPECT_THAT(names_of(facts()), ElementsAre("1", "3"));
  EXPECT_EQ(node("3").type, "LC");
  EXPECT_TRUE(node("3").dumps_pidb);
  EXPECT_FALSE(node("3").has_worker);
  const std::string what =
      ": unreachable, node table: neither active nor standby: \"0/3/CPU0 LC 192.0.3.1 FAILED\"";
  EXPECT_THAT(problems(), ElementsAre("3 pidb" + what, "3 pmdb" + what, "3 multicast" + what));
}

TEST_F(NodeTableTold, ignored_processor_has_no_interfaces) {
  take(event::NodeIgnored{"0/RP1/CPU0 RP 192.0.0.2 FAILED"});
  take_table({});
  EXPECT_FALSE(node("RP1").dumps_pidb);
}

TEST_F(NodeTableTold, ignored_line_without_a_type_may_be_a_card) {
  take(event::NodeIgnored{"0/7/CPU0"});
  take_table({});
  EXPECT_EQ(node("7").type, "");
  EXPECT_TRUE(node("7").dumps_pidb);
}

TEST_F(NodeTableTold, ignored_name_without_slashes_names_the_node) {
  take(event::NodeIgnored{"D0 LC"});
  EXPECT_THAT(names_of(facts()), ElementsAre("D0"));
}

TEST_F(NodeTableTold, ignored_line_of_a_node_in_service_costs_nothing) {
  take(event::NodeIgnored{"0/1/CPU0 LC 192.0.1.1 BOOTING"});
  take_table({{"1", record_of_card("192.0.1.1")}});
  EXPECT_THAT(names_of(facts()), ElementsAre("1"));
  EXPECT_THAT(problems(), IsEmpty());
}

TEST(Recorder, names_the_nodes_that_were_listed) {
  const EndedEarly ended_early;
  Recorder recorder(Check::kInterfaces, ended_early);
  recorder.take(event::NodeIgnored{"0/3/CPU0 LC 192.0.3.1 FAILED"}, {});
  recorder.take(event::NodesListed{nodes_of({{"1", record_of_card("192.0.1.1")}})}, {});
  EXPECT_THAT(recorder.node_names(), ElementsAre("1", "3"));
}

TEST_F(RecorderTest, worker_shows_that_somebody_went_to_the_node) {
  take(event::WorkerStarted{"1", "dump"}, {"1", "dump"});
  EXPECT_TRUE(node("1").has_worker);
}

TEST_F(RecorderTest, worker_that_compares_multicast_state_has_no_node) {
  take(event::WorkerStarted{"RP0", "verify_mcast"}, {"RP0", "verify_mcast"});
  EXPECT_THAT(facts().nodes, IsEmpty());
}

// Commands.

struct CommandCase : unit::Row {
  std::string line;
  int status;
  std::string problem;
};

class FailedCommand : public RecorderTest, public ::testing::WithParamInterface<CommandCase> {};

TEST_P(FailedCommand, gives_a_reason) {
  take(command(GetParam().line, GetParam().status), {"1", "dump", Step::kPmdb});
  EXPECT_THAT(problems(), ElementsAre("1 pmdb: " + GetParam().problem));
  EXPECT_EQ(facts().commands, 1U);
  EXPECT_EQ(facts().commands_failed, 1U);
}

INSTANTIATE_TEST_SUITE_P(
    Statuses, FailedCommand,
    ::testing::Values(
        CommandCase{"exit_status", "confdump", exited(127),
                    "command failed, PMDB dump: status 127 of: confdump"},
        CommandCase{"ssh_lost", "ssh 192.0.1.1 hwkey_dump", exited(255),
                    "unreachable, PMDB dump: status 255 of: ssh 192.0.1.1 hwkey_dump"},
        CommandCase{"scp_lost", "scp root@192.0.1.1:/tmp/a b", exited(255),
                    "unreachable, PMDB dump: status 255 of: scp root@192.0.1.1:/tmp/a b"},
        CommandCase{"tool_failed_behind_ssh", "ssh 192.0.1.1 hwkey_dump", exited(1),
                    "command failed, PMDB dump: status 1 of: ssh 192.0.1.1 hwkey_dump"},
        CommandCase{"other_command_with_status_255", "sshd -t", exited(255),
                    "command failed, PMDB dump: status 255 of: sshd -t"},
        CommandCase{"signal", "ssh 192.0.1.1 hwkey_dump", SIGKILL,
                    "command failed, PMDB dump: signal 9 of: ssh 192.0.1.1 hwkey_dump"},
        CommandCase{"signal_with_core", "hwkey_dump", SIGSEGV | 0x80,
                    "command failed, PMDB dump: signal 11 of: hwkey_dump"},
        CommandCase{"interrupted_from_the_terminal", "ssh 192.0.1.1 hwkey_dump", SIGINT,
                    "interrupted, PMDB dump: signal 2 of: ssh 192.0.1.1 hwkey_dump"},
        CommandCase{"unknown_status_is_no_success", "ssh 192.0.1.1 hwkey_dump", -1,
                    "command failed, PMDB dump: unknown status of: ssh 192.0.1.1 hwkey_dump"}),
    unit::row_name<CommandCase>);

TEST_F(RecorderTest, command_that_succeeds_is_counted) {
  take(command("ssh 192.0.1.1 hwkey_dump"), {"1", "dump", Step::kPmdb});
  EXPECT_THAT(problems(), IsEmpty());
  EXPECT_EQ(facts().commands, 1U);
  EXPECT_EQ(facts().commands_failed, 0U);
}

TEST_F(RecorderTest, set_up_needs_answers) {
  take(command("relinfo_print", 0, 0));
  take(command("nodemap_query", exited(1), 0));
  EXPECT_THAT(problems(),
              ElementsAre("set_up: empty, set-up: no answer from: relinfo_print",
                          "set_up: empty, set-up: no answer from: nodemap_query",
                          "set_up: command failed, set-up: status 1 of: nodemap_query"));
}

TEST_F(RecorderTest, command_of_a_worker_may_answer_nothing) {
  take(command("ssh 192.0.1.1 iftruth_dump", 0, 0), {"1", "dump", Step::kPidbTool});
  EXPECT_THAT(problems(), IsEmpty());
}

// Whose problem it is.

struct StepCase : unit::Row {
  std::optional<Step> step;
  std::optional<InterfaceClass> intf_class;
  std::string problem;  // up to what failed
};

const StepCase kStepCases[] = {
    {{"pidb_tool"}, Step::kPidbTool, {}, "1 pidb: command failed, PIDB dump"},
    {{"pidb_file_of_a_class"},
     Step::kPidbFile,
     InterfaceClass::kBvi,
     "1 bvi: command failed, PIDB copy of bvi"},
    {{"pidb_file_of_no_class"}, Step::kPidbFile, {}, "1 pidb: command failed, PIDB copy"},
    {{"tunnels"}, Step::kTunnels, {}, "1 gre: command failed, GRE tunnels"},
    {{"keys"}, Step::kKeys, {}, "1 pidb: command failed, expected keys"},
    {{"pmdb"}, Step::kPmdb, {}, "1 pmdb: command failed, PMDB dump"},
    {{"comparison"},
     Step::kComparison,
     InterfaceClass::kGre,
     "1 verification: command failed, comparison of gre"},
    {{"leaks"}, Step::kLeaks, {}, "1 leak_questions: command failed, leak check"},
    {{"routes"}, Step::kRoutes, {}, "1 multicast: command failed, routes"},
    {{"buds"}, Step::kBuds, {}, "1 multicast: command failed, bud objects"},
    {{"handles"}, Step::kHandles, {}, "1 multicast: command failed, PMDB handles"},
    {{"no_step"}, {}, {}, "1 verification: command failed, verify"},
};

class StepOf : public RecorderTest, public ::testing::WithParamInterface<StepCase> {};

TEST_P(StepOf, decides_whose_problem_a_failure_is) {
  take(command("confdump", exited(1)), {"1", "verify", GetParam().step, GetParam().intf_class});
  EXPECT_THAT(problems(), ElementsAre(GetParam().problem + ": status 1 of: confdump"));
}

INSTANTIATE_TEST_SUITE_P(Workers, StepOf, ::testing::ValuesIn(kStepCases),
                         unit::row_name<StepCase>);

TEST(StepCases, know_every_step) {
  std::set<Step> known;
  for (const StepCase& row : kStepCases) {
    if (row.step) known.insert(*row.step);
  }
  EXPECT_EQ(known, std::set<Step>(kEnumerators<Step>.begin(), kEnumerators<Step>.end()));
}

TEST_F(RecorderTest, failure_of_the_main_thread_is_one_of_the_set_up) {
  take(command("confdump", exited(1)), {"", "", Step::kPmdb});
  EXPECT_THAT(problems(), ElementsAre("set_up: command failed, PMDB dump: status 1 of: confdump"));
}

// Workers that ended.

struct ErrorCase : unit::Row {
  std::function<void()> fail;
  std::string reason;
  std::optional<Reason> ended_early = std::nullopt;
};

class WorkerError : public RecorderTest, public ::testing::WithParamInterface<ErrorCase> {};

TEST_P(WorkerError, gives_a_reason) {
  if (GetParam().ended_early) ended_early.set(*GetParam().ended_early);
  try {
    GetParam().fail();
    FAIL() << "no error";
  } catch (const std::exception& error) {
    take(event::WorkerEnded{"1", "dump", &error}, {"1", "dump", Step::kPmdb});
    EXPECT_THAT(problems(),
                ElementsAre("1 pmdb: " + GetParam().reason + ", PMDB dump: " + error.what()));
  }
}

INSTANTIATE_TEST_SUITE_P(
    Errors, WorkerError,
    ::testing::Values(ErrorCase{"interrupted", [] { throw Interrupted(); }, "interrupted"},
                      ErrorCase{"interrupted_by_a_person", [] { throw Interrupted(); },
                                "interrupted", Reason::kInterrupted},
                      ErrorCase{"interrupted_at_the_deadline", [] { throw Interrupted(); },
                                "deadline", Reason::kDeadline},
                      ErrorCase{"other_error_at_the_deadline", [] { throw CheckError("a field"); },
                                "wrong shape", Reason::kDeadline},
                      ErrorCase{"truncated", [] { throw JsonError("byte 7", true); }, "truncated"},
                      ErrorCase{"not_json", [] { throw JsonError("byte 7", false); }, "not JSON"},
                      ErrorCase{"file_is_not_there",
                                [] { throw_error_number(ENOENT, "open", "/tmp/a"); },
                                "copy missing"},
                      ErrorCase{"file_cannot_be_read",
                                [] { throw_error_number(EACCES, "open", "/tmp/a"); },
                                "worker ended"},
                      ErrorCase{"malformed", [] { throw CheckError("a field"); }, "wrong shape"},
                      ErrorCase{"memory", [] { throw std::bad_alloc(); }, "worker ended"}),
    unit::row_name<ErrorCase>);

TEST_F(RecorderTest, worker_that_did_its_task_leaves_no_problem) {
  take(event::WorkerEnded{"1", "dump", nullptr}, {"1", "dump", Step::kPmdb});
  EXPECT_THAT(problems(), IsEmpty());
}

TEST_F(RecorderTest, worker_that_ended_before_its_first_step_leaves_everything_in_doubt) {
  const CheckError error("no slot");
  take(event::WorkerEnded{"1", "dump", &error}, {"1", "dump"});
  EXPECT_THAT(problems(), ElementsAre("1 pidb: wrong shape, dump: no slot",
                                      "1 pmdb: wrong shape, dump: no slot",
                                      "1 multicast: wrong shape, dump: no slot"));
}

TEST_F(RecorderTest, end_of_the_multicast_comparison_is_nobodys_fault) {
  const CheckError error("no number");
  take(event::WorkerEnded{"RP0", "verify_mcast", &error}, {"RP0", "verify_mcast"});
  EXPECT_THAT(problems(),
              ElementsAre("multicast_verification: wrong shape, verify_mcast: no number"));
}

// Dumps.

class DumpTold : public RecorderTest {
 protected:
  // A dump of this run with nothing to say about it.
  static event::DumpLoaded sound(std::optional<InterfaceClass> intf_class = {}) {
    const std::string_view path = intf_class ? "/tmp/pidb.dat" : "/tmp/pmdb_1.dat";
    return {"1", intf_class, path, 100, now(), {.entries = 3, .first_odd = {}}};
  }
};

TEST_F(DumpTold, interfaces_of_a_class_are_counted) {
  event::DumpLoaded dump = sound(InterfaceClass::kBundle);
  take(dump);
  EXPECT_EQ(node("1").classes[InterfaceClass::kBundle].interfaces, 3U);
  EXPECT_EQ(node("1").classes[InterfaceClass::kPhysical].interfaces, std::nullopt);
  EXPECT_EQ(node("1").programmed, std::nullopt);
  ASSERT_EQ(node("1").dumps.size(), 1U);
  const DumpFile& file = node("1").dumps.front();
  EXPECT_EQ(file.name, "pidb_bundle");
  EXPECT_EQ(file.path, "/tmp/pidb.dat");
  EXPECT_EQ(file.bytes, 100U);
  EXPECT_EQ(file.entries, 3U);
  EXPECT_EQ(file.modified, dump.modified);
  EXPECT_FALSE(file.is_stale);
  EXPECT_THAT(problems(), IsEmpty());
}

TEST_F(DumpTold, programmed_keys_are_counted) {
  take(sound());
  EXPECT_EQ(node("1").programmed, 3U);
  EXPECT_EQ(node("1").dumps.front().name, "pmdb");
  EXPECT_THAT(problems(), IsEmpty());
}

TEST_F(DumpTold, dump_of_a_class_goes_by_its_own_class) {
  take(sound(InterfaceClass::kGre), {"1", "dump", Step::kPidbFile, InterfaceClass::kBvi});
  EXPECT_EQ(node("1").classes[InterfaceClass::kGre].interfaces, 3U);
  EXPECT_EQ(node("1").classes[InterfaceClass::kBvi].interfaces, std::nullopt);
}

struct ContentCase : unit::Row {
  std::optional<InterfaceClass> intf_class;
  std::size_t bytes;
  DumpContent content;
  Lines problems;
};

class DumpContentOf : public DumpTold, public ::testing::WithParamInterface<ContentCase> {};

TEST_P(DumpContentOf, is_judged) {
  event::DumpLoaded dump = sound(GetParam().intf_class);
  dump.bytes = GetParam().bytes;
  dump.content = GetParam().content;
  take(dump);
  EXPECT_EQ(problems(), GetParam().problems);
}

INSTANTIATE_TEST_SUITE_P(
    Contents, DumpContentOf,
    ::testing::Values(
        ContentCase{"no_bytes",
                    InterfaceClass::kBvi,
                    0,
                    {},
                    {"1 bvi: empty, pidb_bvi_intf: /tmp/pidb.dat is empty"}},
        ContentCase{"no_bytes_are_no_list",
                    InterfaceClass::kBvi,
                    0,
                    {.is_table = false, .first_odd = {}},
                    {"1 bvi: empty, pidb_bvi_intf: /tmp/pidb.dat is empty"}},
        ContentCase{
            "no_bytes_of_keys", {}, 0, {}, {"1 pmdb: empty, pmdb: /tmp/pmdb_1.dat is empty"}},
        ContentCase{"list",
                    InterfaceClass::kBvi,
                    3,
                    {.entries = 1, .is_table = false, .first_odd = {}},
                    {"1 bvi: wrong shape, pidb_bvi_intf: /tmp/pidb.dat holds no table"}},
        ContentCase{"list_of_no_keys",
                    {},
                    2,
                    {.is_table = false, .first_odd = {}},
                    {"1 pmdb: wrong shape, pmdb: /tmp/pmdb_1.dat holds no table"}},
        ContentCase{"class_without_interfaces", InterfaceClass::kBvi, 2, {}, {}},
        ContentCase{"node_without_keys",
                    {},
                    2,
                    {},
                    {"1 pmdb: empty, pmdb: /tmp/pmdb_1.dat holds no key at all"}},
        ContentCase{"odd_entries",
                    InterfaceClass::kBvi,
                    90,
                    {.entries = 9, .odd_entries = 2, .first_odd = "\"7\": rif is a text"},
                    {"1 bvi: wrong shape, pidb_bvi_intf: /tmp/pidb.dat has 2 entries that differ "
                     "from what dump tools write, the first: \"7\": rif is a text"}},
        ContentCase{"odd_keys",
                    {},
                    90,
                    {.entries = 9, .odd_entries = 1, .first_odd = "\"x\": no number"},
                    {"1 pmdb: wrong shape, pmdb: /tmp/pmdb_1.dat has 1 entries that differ from "
                     "what dump tools write, the first: \"x\": no number"}},
        ContentCase{"list_with_odd_entries",
                    {},
                    90,
                    {.entries = 9, .is_table = false, .odd_entries = 1, .first_odd = "7"},
                    {"1 pmdb: wrong shape, pmdb: /tmp/pmdb_1.dat holds no table",
                     "1 pmdb: wrong shape, pmdb: /tmp/pmdb_1.dat has 1 entries that differ from "
                     "what dump tools write, the first: 7"}}),
    unit::row_name<ContentCase>);

struct AgeCase : unit::Row {
  std::chrono::milliseconds age;
  std::string words;  // as a regular expression
};

class StaleDump : public DumpTold, public ::testing::WithParamInterface<AgeCase> {};

TEST_P(StaleDump, tells_its_age) {
  event::DumpLoaded dump = sound();
  dump.modified = now() - GetParam().age;
  take(dump);
  EXPECT_TRUE(node("1").dumps.front().is_stale);
  EXPECT_THAT(problems(),
              ElementsAre(MatchesRegex("1 pmdb: stale, pmdb: /tmp/pmdb_1.dat is older than this "
                                       "run by " +
                                       GetParam().words)));
}

// Ages lie amid two whole ones, because the run began at a moment that no test knows.
INSTANTIATE_TEST_SUITE_P(
    Ages, StaleDump,
    ::testing::Values(
        AgeCase{"seconds", std::chrono::milliseconds(55'000), "5[0-9] seconds"},
        AgeCase{"nearly_two_minutes", std::chrono::milliseconds(115'000), "11[0-9] seconds"},
        AgeCase{"minutes", std::chrono::seconds(150), "2 minutes"},
        AgeCase{"nearly_two_hours", std::chrono::seconds(119 * 60 + 30), "119 minutes"},
        AgeCase{"hours", std::chrono::minutes(150), "2 hours"},
        AgeCase{"nearly_two_days", std::chrono::minutes(47 * 60 + 30), "47 hours"},
        AgeCase{"days", std::chrono::hours(60), "2 days"},
        AgeCase{"years", std::chrono::hours(24 * 1000 + 12), "1000 days"}),
    unit::row_name<AgeCase>);

TEST_F(DumpTold, file_of_this_very_moment_is_not_stale) {
  // Files are stamped by a clock that lags behind.
  timespec coarse{};
  ::clock_gettime(CLOCK_REALTIME_COARSE, &coarse);
  event::DumpLoaded dump = sound();
  dump.modified = std::chrono::seconds(coarse.tv_sec) + std::chrono::nanoseconds(coarse.tv_nsec);
  take(dump);
  EXPECT_THAT(problems(), IsEmpty());
}

TEST_F(DumpTold, file_of_the_future_is_stale) {
  event::DumpLoaded dump = sound();
  dump.modified = now() + std::chrono::hours(1);
  take(dump);
  EXPECT_TRUE(node("1").dumps.front().is_stale);
  EXPECT_THAT(
      problems(),
      ElementsAre("1 pmdb: stale, pmdb: /tmp/pmdb_1.dat has a modification time in the future"));
}

TEST_F(DumpTold, stale_file_counts_most_and_tells_what_failed_before) {
  take(command("scp root@192.0.1.1:/tmp/pmdb.dat /tmp/pmdb_1.dat", exited(255)),
       {"1", "dump", Step::kPmdb});
  event::DumpLoaded dump = sound();
  dump.modified = now() - std::chrono::hours(60);
  dump.bytes = 0;
  take(dump);
  EXPECT_THAT(
      problems(),
      ElementsAre("1 pmdb: stale, pmdb: /tmp/pmdb_1.dat is older than this run by 2 days; status "
                  "255 of: scp root@192.0.1.1:/tmp/pmdb.dat /tmp/pmdb_1.dat",
                  "1 pmdb: unreachable, PMDB dump: status 255 of: scp "
                  "root@192.0.1.1:/tmp/pmdb.dat /tmp/pmdb_1.dat",
                  "1 pmdb: empty, pmdb: /tmp/pmdb_1.dat is empty"));
}

// What workers found out.

TEST_F(RecorderTest, tunnels_are_asked_for) {
  take(event::TunnelsAsked{"1", true, 500}, {"1", "dump", Step::kTunnels});
  take(event::TunnelsAsked{"2", false, 500}, {"2", "dump", Step::kTunnels});
  EXPECT_EQ(node("1").has_tunnels, true);
  EXPECT_EQ(node("2").has_tunnels, false);
  EXPECT_THAT(problems(), IsEmpty());
}

TEST_F(RecorderTest, empty_configuration_is_in_doubt_for_tunnels_and_bundles) {
  take(event::TunnelsAsked{"1", false, 0}, {"1", "dump", Step::kTunnels});
  EXPECT_EQ(node("1").has_tunnels, false);
  EXPECT_THAT(
      problems(),
      ElementsAre(
          "1 bundle: empty, GRE tunnels: the answer with the running configuration is empty",
          "1 gre: empty, GRE tunnels: the answer with the running configuration is empty"));
}

TEST_F(RecorderTest, comparison_counts_for_the_class_of_the_step) {
  take(event::ClassCompared{"1", 12, 3}, {"1", "verify", Step::kComparison, InterfaceClass::kBvi});
  EXPECT_EQ(node("1").classes[InterfaceClass::kBvi].expected, 12U);
  EXPECT_EQ(node("1").classes[InterfaceClass::kPhysical].expected, std::nullopt);
}

TEST_F(RecorderTest, comparison_of_no_class_counts_for_none) {
  take(event::ClassCompared{"1", 12, 3}, {"1", "verify", Step::kComparison});
  EXPECT_THAT(facts().nodes, IsEmpty());
}

TEST_F(RecorderTest, leak_check_is_kept) {
  take(event::LeaksChecked{.node = "1", .programmed = 36, .marked_in_dump = 4, .leaked = 2});
  ASSERT_TRUE(node("1").leaks.has_value());
  EXPECT_EQ(node("1").leaks->programmed, 36U);
  EXPECT_EQ(node("1").leaks->marked_in_dump, 4U);
  EXPECT_EQ(node("1").leaks->leaked, 2U);
  EXPECT_THAT(node("1").notes, IsEmpty());
}

TEST_F(RecorderTest, keys_that_the_interface_manager_gives_to_bundles_are_noted) {
  take(event::LeaksChecked{.node = "1", .programmed = 36, .of_bundles = 5});
  ASSERT_EQ(node("1").notes.size(), 1U);
  EXPECT_EQ(node("1").notes.front().report_class, ReportClass::kLeak);
  EXPECT_EQ(node("1").notes.front().detail,
            "keys without an owner that belong to a bundle, says the interface manager: "
            "5");
  EXPECT_THAT(problems(), IsEmpty());
}

TEST_F(RecorderTest, collected_entries_are_counted_by_step) {
  take(event::EntriesCollected{"RP0", Step::kRoutes, 7}, {"RP0", "routes", Step::kRoutes});
  take(event::EntriesCollected{"1", Step::kBuds, 5}, {"1", "buds", Step::kBuds});
  take(event::EntriesCollected{"1", Step::kHandles, 4}, {"1", "handles", Step::kHandles});
  EXPECT_EQ(node("RP0").routes, 7U);
  EXPECT_EQ(node("RP0").buds, std::nullopt);
  EXPECT_EQ(node("1").buds, 5U);
  EXPECT_EQ(node("1").routes, std::nullopt);
  EXPECT_THAT(problems(), IsEmpty());
}

TEST_F(RecorderTest, unreadable_answers_are_a_problem) {
  take(event::EntriesCollected{"1", Step::kHandles, 4, 2}, {"1", "handles", Step::kHandles});
  EXPECT_THAT(
      problems(),
      ElementsAre(
          "1 multicast: wrong shape, PMDB handles: 2 answers have none of the fields of an entry"));
}

TEST_F(NodeTableTold, compared_routes_count_for_the_node_of_that_address) {
  take_table({{"RP0", record_of_processor("192.0.0.1")}, {"1", record_of_card("192.0.1.1")}});
  take(event::RoutesCompared{"192.0.1.1", 9, 2});
  EXPECT_EQ(node("1").routes_compared, 9U);
  EXPECT_EQ(node("1").routes_uncompared, 2U);
  EXPECT_EQ(node("RP0").routes_compared, std::nullopt);
}

TEST_F(NodeTableTold, address_of_no_node_stands_for_itself) {
  take_table({{"1", record_of_card("192.0.1.1")}});
  take(event::RoutesCompared{"192.0.9.1", 9, 0});
  EXPECT_THAT(names_of(facts()), ElementsAre("1", "192.0.9.1"));
  EXPECT_EQ(node("1").routes_compared, std::nullopt);
}

// Findings.

class FindingTold : public NodeTableTold {
 protected:
  void take_missing(const std::string& node, const std::string& owner, const Integer& key,
                    std::optional<InterfaceClass> intf_class = InterfaceClass::kBundle) {
    const std::string text = "Missing " + key.hexadecimal();
    take(event::MissingKey{node, owner, interface_, 0x3c000058U, key, text},
         {node, "verify", Step::kComparison, intf_class});
  }
  void take_fault(event::RouteFault fault, std::string_view address, std::string_view handle = {}) {
    take(event::FaultyRoute{fault, address, "192.0.0.1", 7, "0x13bc", handle, "inconsistent"});
  }
  const Finding& only() {
    if (facts().findings.size() != 1) throw std::runtime_error("not one finding");
    return facts().findings.begin()->second;
  }
  std::vector<std::string> ids() {
    std::vector<std::string> all;
    for (const auto& [id, finding] : facts().findings) all.push_back(id);
    return all;
  }

 private:
  InterfaceTable table_ =
      unit::interface_table(R"({"1006633048": {"name": "Bundle-Ether6"}, "7": {}})");
  InterfaceRecord interface_{table_, 0};
};

TEST_F(FindingTold, missing_key_tells_interface_and_key) {
  take_missing("3", "2", 0x76U);
  const Finding& finding = only();
  EXPECT_EQ(finding.id, "missing-key/3/bundle/0x3c000058/0x76");
  EXPECT_EQ(finding.kind, FindingKind::kMissingKey);
  EXPECT_EQ(finding.check, Check::kInterfaces);
  EXPECT_EQ(finding.node, "3");
  EXPECT_EQ(finding.report_class, InterfaceClass::kBundle);
  EXPECT_EQ(finding.key, "0x76");
  EXPECT_EQ(finding.text, "Missing 0x76");
  EXPECT_EQ(finding.times, 1U);
  EXPECT_FALSE(finding.is_confirmed);
  EXPECT_FALSE(finding.route.has_value());
  ASSERT_TRUE(finding.interface.has_value());
  EXPECT_EQ(finding.interface->handle, "0x3c000058");
  EXPECT_EQ(finding.interface->name, "Bundle-Ether6");
  EXPECT_THAT(finding.interface->owners, ElementsAre("2"));
}

TEST_F(FindingTold, key_that_several_owners_miss_is_one_finding) {
  take_missing("3", "2", 0x76U);
  take_missing("3", "2", 0x76U);
  take_missing("3", "4", 0x76U);
  EXPECT_EQ(only().times, 3U);
  EXPECT_THAT(only().interface->owners, ElementsAre("2", "4"));
}

TEST_F(FindingTold, node_class_and_key_tell_findings_apart) {
  take_missing("3", "2", 0x76U);
  take_missing("4", "2", 0x76U);
  take_missing("3", "2", 0x77U);
  take_missing("3", "2", 0x76U, InterfaceClass::kBundleSubif);
  EXPECT_THAT(ids(), ElementsAre("missing-key/3/bundle-subif/0x3c000058/0x76",
                                 "missing-key/3/bundle/0x3c000058/0x76",
                                 "missing-key/3/bundle/0x3c000058/0x77",
                                 "missing-key/4/bundle/0x3c000058/0x76"));
}

TEST_F(FindingTold, interface_need_not_have_a_name) {
  InterfaceTable table = unit::interface_table(R"({"7": {}})");
  const InterfaceRecord nameless(table, 0);
  take(event::MissingKey{"3", "2", nameless, 7, 0x76U, "Missing"},
       {"3", "verify", Step::kComparison, InterfaceClass::kGre});
  EXPECT_EQ(only().interface->name, "");
  EXPECT_EQ(only().interface->handle, "0x7");
}

TEST_F(FindingTold, leaked_key_tells_node_and_key) {
  take(event::LeakedKey{"3", 0x5390d6fbU, "leaked"});
  take(event::LeakedKey{"3", 0x5390d6fbU, "leaked"});
  const Finding& finding = only();
  EXPECT_EQ(finding.id, "leaked-key/3/0x5390d6fb");
  EXPECT_EQ(finding.kind, FindingKind::kLeakedKey);
  EXPECT_EQ(finding.report_class, ReportClass::kLeak);
  EXPECT_EQ(finding.node, "3");
  EXPECT_EQ(finding.key, "0x5390d6fb");
  EXPECT_EQ(finding.text, "leaked");
  EXPECT_EQ(finding.times, 2U);
  EXPECT_FALSE(finding.interface.has_value());
  EXPECT_FALSE(finding.route.has_value());
}

struct FaultCase : unit::Row {
  event::RouteFault fault;
  FindingKind kind;
  std::string id;
};

const FaultCase kFaultCases[] = {
    {{"processor_handle"},
     event::RouteFault::kProcessorHandle,
     FindingKind::kRouteHandle,
     "route-handle/1/RP0/7"},
    {{"missing_bud"},
     event::RouteFault::kMissingBud,
     FindingKind::kMissingBud,
     "missing-bud/1/RP0/7"},
    {{"missing_handle"},
     event::RouteFault::kMissingHandle,
     FindingKind::kMissingHandle,
     "missing-handle/1/RP0/7"},
    {{"card_handle"},
     event::RouteFault::kCardHandle,
     FindingKind::kCardHandle,
     "card-handle/1/RP0/7"},
};

class RouteFaultOf : public FindingTold, public ::testing::WithParamInterface<FaultCase> {};

TEST_P(RouteFaultOf, gives_kind_and_id) {
  take_table({{"RP0", record_of_processor("192.0.0.1")}, {"1", record_of_card("192.0.1.1")}});
  take_fault(GetParam().fault, "192.0.1.1", "0x20040140");
  const Finding& finding = only();
  EXPECT_EQ(finding.kind, GetParam().kind);
  EXPECT_EQ(finding.id, GetParam().id);
  EXPECT_EQ(finding.node, "1");
  EXPECT_EQ(finding.report_class, ReportClass::kMulticast);
  EXPECT_EQ(finding.key, "");
  EXPECT_EQ(finding.text, "inconsistent");
  ASSERT_TRUE(finding.route.has_value());
  EXPECT_EQ(finding.route->number, 7U);
  EXPECT_EQ(finding.route->processor, "RP0");
  EXPECT_EQ(finding.route->rif, "0x13bc");
  EXPECT_EQ(finding.route->mdt_handle, "0x20040140");
}

INSTANTIATE_TEST_SUITE_P(Routes, RouteFaultOf, ::testing::ValuesIn(kFaultCases),
                         unit::row_name<FaultCase>);

TEST(FaultCases, know_every_fault) {
  std::set<event::RouteFault> known;
  for (const FaultCase& row : kFaultCases) known.insert(row.fault);
  EXPECT_EQ(known.size(), kEnumCount<event::RouteFault>);
}

TEST_F(FindingTold, fault_at_an_unknown_address_is_kept_under_it) {
  take_fault(event::RouteFault::kMissingBud, "192.0.9.1");
  EXPECT_THAT(ids(), ElementsAre("missing-bud/192.0.9.1/192.0.0.1/7"));
  EXPECT_EQ(only().route->mdt_handle, "");
}

TEST(Recorder, finding_belongs_to_the_check_that_runs) {
  const EndedEarly ended_early;
  Recorder recorder(Check::kMulticast, ended_early);
  recorder.take(event::FaultyRoute{event::RouteFault::kMissingBud, "192.0.1.1", "192.0.0.1", 7,
                                   "0x13bc", "", "Missing"},
                {});
  const RunFacts facts = recorder.facts();
  EXPECT_EQ(facts.check, Check::kMulticast);
  EXPECT_EQ(facts.findings.begin()->second.check, Check::kMulticast);
}

TEST_F(RecorderTest, workers_tell_at_the_same_time) {
  unit::in_threads(4, [this](std::size_t number) {
    const std::string name = std::to_string(number);
    for (int times = 0; times < 100; ++times) {
      take(command("confdump", exited(1)), {name, "dump", Step::kPmdb});
    }
  });
  EXPECT_EQ(facts().commands_failed, 400U);
  EXPECT_EQ(problems().size(), 400U);
  EXPECT_EQ(node("3").pmdb.size(), 100U);
}

}  // namespace
}  // namespace zorbec

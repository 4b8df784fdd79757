#include "run/run_driver.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "base/text_lines.h"
#include "context/paths.h"
#include "context/run_state.h"
#include "context/this_machine.h"
#include "tests/unit/support/captured_stream.h"
#include "tests/unit/support/files.h"
#include "tests/unit/support/process.h"
#include "tests/unit/support/recorded_commands.h"
#include "tests/unit/support/rows.h"
#include "tests/unit/support/tool_box.h"

namespace zorbec {
namespace {

namespace fs = std::filesystem;

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;
using unit::read_text;
using unit::write_text;

constexpr std::uint32_t kInterfaceCheck = 0;

const std::string kLog3 = "/tmp/debug_logs_3.txt";
const std::string kLog4 = "/tmp/debug_logs_4.txt";
const std::string kLogRp0 = "/tmp/debug_logs_RP0.txt";

// A router of an unknown model on which every tool answers; each dump is an empty table.
class RunDriver : public ::testing::Test {
 protected:
  RunDriver() {
    for (const std::string& path :
         {std::string(paths::kCommandErrors), std::string(paths::kFirstLog),
          std::string(paths::kStaleGreDump), paths::command_output("0"), kLog3, kLog4, kLogRp0,
          paths::node_log("5"), paths::multicast_node_log("3")}) {
      fs::remove_all(path);
    }
    bring_up_run_state(this_machine());
    tools.answer("relinfo_print", "");
    tools.answer("confdump", "");
    tools.install("ssh", "");
    tools.install("scp", "for copy; do :; done; printf '{}' >\"$copy\"");
    list_nodes("");
  }
  ~RunDriver() override { shut_down_run_state(); }

  void list_nodes(std::string_view lines) { tools.answer("nodemap_query", lines); }

  int run(std::uint32_t mode = kInterfaceCheck) {
    error.clear();
    return run_zorbec(mode, error);
  }

  unit::ToolBox tools;
  std::string error;  // of the run
};

constexpr std::string_view kNode3 = "0/3/CPU0 LC (ACTIVE) NONE IMAGE READY 192.0.0.6\n";
constexpr std::string_view kThreeNodes =
    "0/RP0/CPU0 RP (ACTIVE) NONE IMAGE READY 192.0.0.1\n"
    "0/3/CPU0 LC (ACTIVE) NONE IMAGE READY 192.0.0.6\n"
    "0/4/CPU0 LC (ACTIVE) NONE IMAGE READY 192.0.0.8\n";

// The lines of a log that name a thread, each number of a thread or identifier written as N.
std::vector<std::string> thread_lines(const std::string& path) {
  std::vector<std::string> lines;
  const std::string text = read_text(path);
  for (const std::string_view line : split_lines(text)) {
    if (line.find("<Thread(") == std::string_view::npos) continue;
    std::string& shown = lines.emplace_back();
    for (const char c : line.substr(0, line.find(")>"))) {
      const bool digit = c >= '0' && c <= '9';
      if (!digit) {
        shown += c;
      } else if (!shown.ends_with('N')) {
        shown += 'N';
      }
    }
    shown += line.substr(line.find(")>"));
  }
  return lines;
}

// ---------------------------------------------------------------------------------------------

TEST_F(RunDriver, sets_up_in_order_and_then_dumps_and_verifies) {
  list_nodes(kNode3);
  const unit::RecordedCommands commands;
  EXPECT_EQ(run(), 0) << error;
  EXPECT_EQ(error, "");
  const std::vector<std::string> lines = commands.lines();
  ASSERT_GE(lines.size(), 3U);
  EXPECT_EQ(lines[0], "/pkg/bin/relinfo_print");
  EXPECT_EQ(lines[1], "/pkg/bin/nodemap_query -v");
  EXPECT_THAT(lines[2], EndsWith("/pkg/bin/iftruth_dump -g"));
  EXPECT_EQ(run_state().router, 1);
  EXPECT_EQ(read_text(paths::kFirstLog), "");
  EXPECT_THAT(read_text(kLog3), HasSubstr("\nphysical intf verification\n"));
}

struct SetUpCase : unit::Row {
  std::string path;             // where a folder stands in the way
  std::size_t commands;         // that have run when the run fails
  bool stale_gre_dump_is_gone;  // which is removed last
};

class SetUp : public RunDriver, public ::testing::WithParamInterface<SetUpCase> {};

TEST_P(SetUp, ends_the_run_at_the_step_that_fails) {
  list_nodes(kNode3);
  write_text(paths::kStaleGreDump, "{}");
  fs::remove_all(GetParam().path);
  fs::create_directory(GetParam().path);
  const unit::RecordedCommands commands;
  EXPECT_EQ(run(), -2);
  EXPECT_EQ(error, "unlink " + GetParam().path + ": Is a directory");
  EXPECT_EQ(commands.lines().size(), GetParam().commands);
  EXPECT_EQ(!fs::is_regular_file(paths::kStaleGreDump), GetParam().stale_gre_dump_is_gone);
  EXPECT_FALSE(fs::is_regular_file(kLog3));
}

INSTANTIATE_TEST_SUITE_P(
    FolderAt, SetUp,
    ::testing::Values(SetUpCase{"output_file", paths::kCommandErrors, 0, false},
                      SetUpCase{"command_output", paths::command_output("0"), 0, false},
                      SetUpCase{"first_log", paths::kFirstLog, 2, false},
                      SetUpCase{"stale_gre_dump", paths::kStaleGreDump, 2, true},
                      SetUpCase{"log_of_the_first_node", kLog3, 2, true}),
    unit::row_name<SetUpCase>);

TEST_F(RunDriver, node_table_that_cannot_be_read_ends_the_run) {
  list_nodes("0/3/CPU0 LC (ACTIVE) NONE\n");
  EXPECT_EQ(run(), -2);
  EXPECT_THAT(error, StartsWith("/pkg/bin/nodemap_query -v: line "));
  EXPECT_FALSE(fs::exists(paths::kFirstLog));
}

TEST_F(RunDriver, empty_node_table_in_mode_0_starts_no_thread_and_completes) {
  EXPECT_EQ(run(), 0) << error;
  EXPECT_EQ(read_text(paths::kFirstLog), "");
  EXPECT_FALSE(fs::exists(kLog3));
}

TEST_F(RunDriver, node_with_address_none_gets_no_log_and_no_thread) {
  list_nodes(
      "0/3/CPU0 LC (ACTIVE) NONE IMAGE READY 192.0.0.6\n"
      "0/4/CPU0 LC (ACTIVE) NONE IMAGE READY None\n");
  const unit::RecordedCommands commands;
  EXPECT_EQ(run(), 0) << error;
  EXPECT_TRUE(fs::exists(kLog3));
  EXPECT_FALSE(fs::exists(kLog4));
  for (const std::string& line : commands.lines()) EXPECT_THAT(line, Not(HasSubstr("None")));
}

TEST_F(RunDriver, node_with_an_empty_address_counts_as_reachable) {
  list_nodes("0/3/CPU0 LC (ACTIVE) NONE IMAGE READY \n");
  EXPECT_EQ(run(), 0) << error;
  EXPECT_THAT(read_text(kLog3), HasSubstr("\nphysical intf verification\n"));
}

TEST_F(RunDriver, stale_gre_dump_is_gone_when_the_dump_phase_starts_and_other_dumps_are_left) {
  list_nodes(kNode3);
  write_text(paths::kStaleGreDump, "stale");
  write_text("/tmp/pidb_bundle.dat", "left");
  tools.install("ssh", "ls /tmp/pidb_gre_intf.dat /tmp/pidb_bundle.dat >/tmp/seen 2>&1");
  EXPECT_EQ(run(), 0) << error;
  EXPECT_THAT(read_text("/tmp/seen"), HasSubstr("/tmp/pidb_gre_intf.dat': No such file"));
  EXPECT_THAT(read_text("/tmp/seen"), HasSubstr("\n/tmp/pidb_bundle.dat\n"));
  EXPECT_EQ(read_text("/tmp/pidb_bundle.dat"), "left");
}

TEST_F(RunDriver, stale_gre_dump_that_is_a_link_goes_and_what_it_points_at_stays) {
  write_text("/tmp/precious", "precious");
  fs::create_symlink("/tmp/precious", paths::kStaleGreDump);
  EXPECT_EQ(run(), 0) << error;
  EXPECT_FALSE(fs::is_symlink(paths::kStaleGreDump));
  EXPECT_EQ(read_text("/tmp/precious"), "precious");
}

// ---------------------------------------------------------------------------------------------

TEST_F(RunDriver, logs_hold_only_the_verification_and_the_last_one_its_join_lines) {
  list_nodes(kThreeNodes);
  EXPECT_EQ(run(), 0) << error;
  EXPECT_THAT(thread_lines(kLogRp0),
              ElementsAre("Verify Thread : <Thread(Thread-N, initial)> on node: RP0"));
  EXPECT_THAT(thread_lines(kLog3),
              ElementsAre("Verify Thread : <Thread(Thread-N, initial)> on node: 3"));
  const std::vector<std::string> last = thread_lines(kLog4);
  ASSERT_EQ(last.size(), 7U);
  EXPECT_EQ(last[0], "Verify Thread : <Thread(Thread-N, initial)> on node: 4");
  for (std::size_t i = 1; i < last.size(); i += 2) {
    EXPECT_THAT(last[i], StartsWith("Waiting for pid <Thread(Thread-N, st"));
    EXPECT_THAT(last[i], EndsWith("ed N)> to join "));
    // Entries run on: a heading of the worker may stand behind it.
    EXPECT_THAT(last[i + 1], StartsWith("pid <Thread(Thread-N, stopped N)> joined"));
  }
  EXPECT_THAT(read_text(kLog3), StartsWith("\nVerify Thread : <Thread(Thread-"));
  EXPECT_THAT(read_text(kLog4), EndsWith(")> joined"));
}

TEST_F(RunDriver, join_lines_of_the_dump_phase_stand_in_the_log_of_the_last_node) {
  list_nodes(kThreeNodes);
  // Keeps the dump logs by a second name: the verification makes new files under the first.
  tools.install("ssh",
                "for log in RP0 3 4; do ln /tmp/debug_logs_$log.txt /tmp/dump_log_$log; done");
  for (const char* node : {"RP0", "3", "4"}) fs::remove("/tmp/dump_log_" + std::string(node));
  EXPECT_EQ(run(), 0) << error;
  EXPECT_THAT(thread_lines("/tmp/dump_log_RP0"),
              ElementsAre("Thread : <Thread(Thread-N, initial)> on node: RP0"));
  EXPECT_THAT(thread_lines("/tmp/dump_log_3"),
              ElementsAre("Thread : <Thread(Thread-N, initial)> on node: 3"));
  const std::vector<std::string> last = thread_lines("/tmp/dump_log_4");
  ASSERT_EQ(last.size(), 7U);
  EXPECT_EQ(last[0], "Thread : <Thread(Thread-N, initial)> on node: 4");
  for (std::size_t i = 1; i < last.size(); i += 2) {
    EXPECT_THAT(last[i], StartsWith("waiting for pid <Thread(Thread-N, st"));
    // Entries run on: a heading of the worker may stand behind it.
    EXPECT_THAT(last[i + 1], StartsWith("pid <Thread(Thread-N, stopped N)> joined"));
  }
}

TEST_F(RunDriver, all_nodes_are_dumped_at_the_same_time) {
  list_nodes(kThreeNodes);
  fs::remove_all("/tmp/present");
  fs::create_directory("/tmp/present");
  // Each waits for the others, for a while.
  tools.install("ssh",
                "touch /tmp/present/$$; i=0\n"
                "while [ $(ls /tmp/present | wc -l) -lt 3 ] && [ $i -lt 100 ]\n"
                "do sleep 0.05; i=$((i + 1)); done\n"
                "[ $i -lt 100 ] || touch /tmp/present/alone");
  EXPECT_EQ(run(), 0) << error;
  EXPECT_GE(std::distance(fs::directory_iterator("/tmp/present"), {}), 3);
  EXPECT_FALSE(fs::exists("/tmp/present/alone"));
}

TEST_F(RunDriver, failing_worker_ends_alone_and_the_run_completes) {
  list_nodes(kThreeNodes);
  tools.install("scp",
                "for copy; do :; done\n"
                "case $copy in /tmp/pmdb_3.dat) printf '[' >$copy;; *) printf '{}' >$copy;; esac");
  const unit::CapturedStream errors(STDERR_FILENO);
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(error, "");
  const std::string reported = errors.text();
  EXPECT_THAT(reported, StartsWith("zorbec: node 3: dump_task: /tmp/pmdb_3.dat: "));
  EXPECT_EQ(split_lines(reported).size(), 1U) << reported;
  EXPECT_THAT(read_text(kLog4), EndsWith(")> joined"));
}

TEST_F(RunDriver, workers_that_were_started_are_waited_for_when_a_later_log_cannot_be_opened) {
  list_nodes(kThreeNodes);
  fs::create_directory(kLog4);
  tools.install("ssh", "sleep 0.2; touch /tmp/was_dumped");
  fs::remove("/tmp/was_dumped");
  EXPECT_EQ(run(), -2);
  EXPECT_EQ(error, "unlink " + kLog4 + ": Is a directory");
  EXPECT_TRUE(fs::exists("/tmp/was_dumped"));
  EXPECT_TRUE(unit::comes_down_to_one_thread());
  EXPECT_FALSE(unit::has_children());
}

// ---------------------------------------------------------------------------------------------

struct ModeCase : unit::Row {
  std::uint32_t mode;
};

class OtherMode : public RunDriver, public ::testing::WithParamInterface<ModeCase> {};

TEST_P(OtherMode, is_not_the_interface_check) {
  list_nodes(kNode3);
  const unit::RecordedCommands commands;
  run(GetParam().mode);
  for (const std::string& line : commands.lines()) {
    EXPECT_THAT(line, Not(HasSubstr("iftruth_dump")));
  }
  EXPECT_FALSE(fs::exists(kLog3));
}

TEST_P(OtherMode, verifies_multicast_state_even_if_no_node_is_reachable) {
  fs::remove_all(paths::kMulticastVerificationLog);
  EXPECT_EQ(run(GetParam().mode), 0) << error;
  EXPECT_THAT(read_text(paths::kMulticastVerificationLog),
              HasSubstr("\n mrib rif and ifh handle: \n{}\n"));
}

TEST_P(OtherMode, on_a_single_processor_model_fails_for_want_of_a_nodetype) {
  tools.answer("relinfo_print", "K310X processor\n");
  EXPECT_EQ(run(GetParam().mode), -2);
  EXPECT_EQ(error, "the node record has no nodetype");
}

INSTANTIATE_TEST_SUITE_P(Mode, OtherMode,
                         ::testing::Values(ModeCase{"one", 1}, ModeCase{"two", 2},
                                           ModeCase{"largest", 4294967295U}),
                         unit::row_name<ModeCase>);

// ---------------------------------------------------------------------------------------------

constexpr std::uint32_t kMulticastCheck = 1;

constexpr std::string_view kTwoRouteProcessors =
    "0/RP0/CPU0 RP (ACTIVE) NONE IMAGE READY 192.0.0.1\n"
    "0/3/CPU0 LC (ACTIVE) NONE IMAGE READY 192.0.0.6\n"
    "0/RP1/CPU0 RP (STANDBY) NONE IMAGE READY 192.0.0.2\n";

// The multicast check. A test says what the tools print: "$4" is the tool, "$3" the node's address.
class MulticastRun : public RunDriver {
 protected:
  MulticastRun() {
    for (const char* node : {"RP0", "RP1", "3", "4", "15"}) {
      fs::remove_all(paths::multicast_node_log(node));
    }
    fs::remove_all(paths::kMulticastVerificationLog);
  }

  int run() { return RunDriver::run(kMulticastCheck); }
};

TEST_F(MulticastRun, announces_and_joins_its_workers) {
  list_nodes(kThreeNodes);
  EXPECT_EQ(run(), 0) << error;
  EXPECT_THAT(thread_lines(paths::multicast_node_log("RP0")),
              ElementsAre("Verify Thread : <Thread(Thread-N, initial)> on node: RP0"));
  EXPECT_THAT(thread_lines(paths::multicast_node_log("3")),
              ElementsAre("Verify Thread : <Thread(Thread-N, initial)> on node: 3"));
  const std::vector<std::string> last = thread_lines(paths::multicast_node_log("4"));
  ASSERT_EQ(last.size(), 7U);
  EXPECT_EQ(last[0], "Verify Thread : <Thread(Thread-N, initial)> on node: 4");
  for (std::size_t i = 1; i < last.size(); i += 2) {
    EXPECT_THAT(last[i], StartsWith("Waiting for pid <Thread(Thread-N, st"));
    EXPECT_THAT(last[i], EndsWith("ed N)> to join "));
    // Entries run on: a heading of the worker may stand behind it.
    EXPECT_THAT(last[i + 1], StartsWith("pid <Thread(Thread-N, stopped N)> joined"));
  }
  EXPECT_THAT(read_text(paths::multicast_node_log("4")), EndsWith(")> joined"));
}

TEST_F(MulticastRun, verification_has_a_log_of_its_own) {
  list_nodes(kThreeNodes);
  EXPECT_EQ(run(), 0) << error;
  const std::vector<std::string> lines = thread_lines(paths::kMulticastVerificationLog);
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_THAT(lines[0], StartsWith("Verify Thread : <Thread(Thread-N, initial)> on node: "));
  EXPECT_THAT(lines[1], StartsWith("Waiting for pid <Thread(Thread-N, st"));
  EXPECT_EQ(lines[2], "pid <Thread(Thread-N, stopped N)> joined");
  const std::string log = read_text(paths::kMulticastVerificationLog);
  EXPECT_THAT(log, StartsWith("\nVerify Thread : <Thread(Thread-"));
  EXPECT_THAT(log, HasSubstr("\n mrib rif and ifh handle: \n{\"192.0.0.1\": {}}\n"));
  EXPECT_FALSE(fs::exists(kLog3));
}

// The node table ends with the highest slot, whatever is in it.
TEST_F(MulticastRun, node_with_address_none_gets_no_worker_but_names_the_verification) {
  list_nodes(
      "0/3/CPU0 LC (ACTIVE) NONE IMAGE READY 192.0.0.6\n"
      "0/15/CPU0 LC (ACTIVE) NONE IMAGE READY None\n");
  const unit::RecordedCommands commands;
  EXPECT_EQ(run(), 0) << error;
  EXPECT_FALSE(fs::exists(paths::multicast_node_log("15")));
  for (const std::string& line : commands.lines()) EXPECT_THAT(line, Not(HasSubstr("None")));
  const std::string log = read_text(paths::kMulticastVerificationLog);
  EXPECT_THAT(log, HasSubstr(", initial)> on node: 15\n"));
}

// The second route processor is the faster one.
TEST_F(MulticastRun, rifs_stand_in_node_table_order_and_every_node_is_asked_for_all) {
  list_nodes(kTwoRouteProcessors);
  tools.install("ssh",
                "case $4-$3 in *mcroute_print-192.0.0.1)\n"
                "  sleep 0.3; echo 'RPF-ID: 1, Tunnel RIF: 1';;\n"
                "*mcroute_print-192.0.0.2) echo 'RPF-ID: 1, Tunnel RIF: 2';; esac");
  const unit::RecordedCommands commands;
  EXPECT_EQ(run(), 0) << error;
  EXPECT_THAT(run_state().rifs.list(), ElementsAre("0x1", "0x2"));
  for (const std::string address : {"192.0.0.1", "192.0.0.2", "192.0.0.6"}) {
    std::vector<std::string> asked;
    for (const std::string& line : commands.lines()) {
      const std::string question = " " + address + " /pkg/bin/hwkey_dump -r ";
      const std::size_t at = line.find(question);
      if (at != std::string::npos) asked.push_back(line.substr(at + question.size()));
    }
    EXPECT_THAT(asked, ElementsAre("0x1", "0x2")) << address;
  }
}

TEST_F(MulticastRun, failed_route_processor_holds_nobody_up) {
  list_nodes(kTwoRouteProcessors);
  tools.install("ssh",
                "case $4-$3 in *mcroute_print-192.0.0.1) echo 'Tunnel RIF: 1';;\n"
                "*mcroute_print-192.0.0.2) echo 'RPF-ID: 1, Tunnel RIF: 2';; esac");
  const unit::CapturedStream errors(STDERR_FILENO);
  EXPECT_EQ(run(), 0) << error;
  const std::string reported = errors.text();
  EXPECT_THAT(reported, StartsWith("zorbec: node RP0: mcast_dump_task: "));
  EXPECT_THAT(run_state().rifs.list(), ElementsAre("0x2"));
  EXPECT_THAT(read_text(paths::kMulticastVerificationLog), EndsWith(")> joined"));
}

// The first route processor waits for the second, whose worker is never started.
TEST_F(MulticastRun, fails_while_workers_wait_and_leaves_none_waiting) {
  list_nodes(kTwoRouteProcessors);
  fs::create_directory(paths::multicast_node_log("RP1"));
  tools.install("ssh", "case $4 in *mcroute_print) echo 'RPF-ID: 1, Tunnel RIF: 1';; esac");
  const unit::RecordedCommands commands;
  EXPECT_EQ(run(), -2);
  EXPECT_EQ(error, "unlink " + paths::multicast_node_log("RP1") + ": Is a directory");
  EXPECT_TRUE(unit::comes_down_to_one_thread());
  EXPECT_FALSE(unit::has_children());
  run_state().rifs.wait();  // nor anybody who comes later
  EXPECT_THAT(run_state().rifs.list(), ElementsAre("0x1"));
  EXPECT_EQ(run_state().mcastpmdbkeys.nodes().size(), 1U);
  EXPECT_FALSE(fs::exists(paths::kMulticastVerificationLog));

  fs::remove(paths::multicast_node_log("RP1"));
  EXPECT_EQ(run(), 0) << error;
  EXPECT_THAT(run_state().rifs.list(), ElementsAre("0x1", "0x1", "0x1"));
}

// Card 3 waits for the route processor, which is still busy when card 4 fails the run.
TEST_F(MulticastRun, fails_while_a_route_processor_is_busy_and_waits_for_its_worker) {
  list_nodes(kThreeNodes);
  fs::create_directory(paths::multicast_node_log("4"));
  tools.install("ssh",
                "case $4 in *mcroute_print) sleep 0.3; echo 'RPF-ID: 1, Tunnel RIF: 1';; esac");
  EXPECT_EQ(run(), -2);
  EXPECT_EQ(error, "unlink " + paths::multicast_node_log("4") + ": Is a directory");
  EXPECT_TRUE(unit::comes_down_to_one_thread());
  EXPECT_FALSE(unit::has_children());
  EXPECT_THAT(run_state().rifs.list(), ElementsAre("0x1"));
  const auto nodes = run_state().mcastpmdbkeys.nodes();
  ASSERT_EQ(nodes.size(), 2U);
  EXPECT_EQ(nodes[0].first, "192.0.0.1");
  EXPECT_EQ(nodes[1].first, "192.0.0.6");
}

TEST_F(MulticastRun, later_run_keeps_the_rifs_of_an_earlier_one) {
  list_nodes(kThreeNodes);
  tools.install("ssh", "case $4 in *mcroute_print) echo 'RPF-ID: 1, Tunnel RIF: 1';; esac");
  EXPECT_EQ(run(), 0) << error;
  EXPECT_EQ(run(), 0) << error;
  EXPECT_THAT(run_state().rifs.list(), ElementsAre("0x1", "0x1"));
  EXPECT_EQ(run_state().mribkeys.nodes().size(), 1U);
}

TEST_F(MulticastRun, tables_keep_their_nodes_in_node_table_order_whichever_answers_first) {
  list_nodes(kThreeNodes);
  tools.install("ssh", "case $4-$3 in *fwdobj_print-192.0.0.6) sleep 0.2;; esac");
  EXPECT_EQ(run(), 0) << error;
  const auto nodes = run_state().mplsmdtbudobj.nodes();
  ASSERT_EQ(nodes.size(), 2U);
  EXPECT_EQ(nodes[0].first, "192.0.0.6");
  EXPECT_EQ(nodes[1].first, "192.0.0.8");
}

TEST_F(MulticastRun, failing_verification_ends_alone_and_the_run_completes) {
  list_nodes(kThreeNodes);
  tools.install("ssh", "case $4 in *mcroute_print) echo 'RPF-ID: 1, Tunnel RIF: 1';; esac");
  const unit::CapturedStream errors(STDERR_FILENO);
  EXPECT_EQ(run(), 0) << error;
  EXPECT_EQ(errors.text(),
            "zorbec: node 15: verify_mcast: mcastpmdbkeys of 192.0.0.1: entry 0 is not there\n");
}

// ---------------------------------------------------------------------------------------------

TEST_F(RunDriver, leaves_no_file_open_and_no_thread_or_child_behind) {
  list_nodes(kThreeNodes);
  const std::map<std::string, std::string> before = unit::open_descriptors();
  EXPECT_EQ(run(), 0) << error;
  EXPECT_EQ(run_state().db_file.get(), nullptr);
  EXPECT_EQ(run_state().dl_fd.get(), nullptr);
  EXPECT_EQ(unit::open_descriptors(), before);
  EXPECT_TRUE(unit::comes_down_to_one_thread());
  EXPECT_FALSE(unit::has_children());
}

TEST_F(RunDriver, leaves_no_file_open_when_it_fails) {
  list_nodes(kThreeNodes);
  fs::create_directory(kLog3);
  const std::map<std::string, std::string> before = unit::open_descriptors();
  EXPECT_EQ(run(), -2);
  EXPECT_EQ(run_state().db_file.get(), nullptr);
  EXPECT_EQ(run_state().dl_fd.get(), nullptr);
  EXPECT_EQ(unit::open_descriptors(), before);
}

TEST_F(RunDriver, later_run_adds_to_what_an_earlier_one_left) {
  list_nodes(kThreeNodes);
  EXPECT_EQ(run(), 0) << error;
  EXPECT_EQ(run_state().vmcnt, 3);
  list_nodes(kNode3);
  EXPECT_EQ(run(), 0) << error;
  EXPECT_EQ(run_state().vmcnt, 4);
  EXPECT_EQ(run_state().pmdb_keys.nodes().size(), 3U);
}

TEST_F(RunDriver, model_is_probed_once_per_process) {
  const unit::RecordedCommands commands;
  run();
  run();
  EXPECT_THAT(commands.lines(), ElementsAre("/pkg/bin/relinfo_print", "/pkg/bin/nodemap_query -v",
                                            "/pkg/bin/nodemap_query -v"));
}

TEST_F(RunDriver, can_run_again_after_it_failed) {
  list_nodes(kNode3);
  fs::create_directory(paths::kFirstLog);
  EXPECT_EQ(run(), -2);
  fs::remove(paths::kFirstLog);
  EXPECT_EQ(run(), 0) << error;
  EXPECT_EQ(error, "");
}

TEST_F(RunDriver, errors_of_commands_of_an_earlier_run_are_gone) {
  tools.install("nodemap_query", "echo \"run $RANDOM\" >/dev/null; echo failed >&2");
  run();
  run();
  EXPECT_EQ(read_text(paths::kCommandErrors), "failed\n");
}

TEST_F(RunDriver, tables_keep_their_nodes_in_node_table_order_whichever_is_dumped_first) {
  list_nodes(
      "0/10/CPU0 LC (ACTIVE) NONE IMAGE READY 192.0.0.10\n"
      "0/3/CPU0 LC (ACTIVE) NONE IMAGE READY 192.0.0.6\n");
  tools.install("ssh", "case \"$*\" in *192.0.0.6*) sleep 0.2;; esac");
  EXPECT_EQ(run(), 0) << error;
  const auto nodes = run_state().pidb_bundle_ifh.nodes();
  ASSERT_EQ(nodes.size(), 2U);
  EXPECT_EQ(nodes[0].first, "3");
  EXPECT_EQ(nodes[1].first, "10");
}

}  // namespace
}  // namespace zorbec

// The sandbox: what a command sees in it, and what is left when it ends.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>

#include <chrono>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <thread>

#include "lab_process.h"

namespace zorbec::lab {
namespace {

namespace fs = std::filesystem;

// The folder below /tmp that has to stay visible when `path` is there; empty if it is elsewhere.
std::string first_below_tmp(const fs::path& path) {
  const fs::path below = fs::canonical(path).lexically_relative("/tmp");
  return below.empty() || *below.begin() == ".." ? "" : *below.begin();
}

class Sandbox : public ::testing::Test {
 protected:
  Sandbox() { router.write("banner.txt", "the banner\n"); }

  TestFolder router;
};

struct StatusCase {
  const char* name;
  const char* script;
  int status;
};

void PrintTo(const StatusCase& row, std::ostream* stream) {
  *stream << row.name;
}

class SandboxStatus : public Sandbox, public ::testing::WithParamInterface<StatusCase> {};

TEST_P(SandboxStatus, is_the_commands_own) {
  EXPECT_EQ(run_on(router.path(), GetParam().script).status, GetParam().status);
}

const StatusCase kStatuses[] = {
    {"success", "exit 0", 0},
    {"failure", "exit 3", 3},
    {"largest", "exit 255", 255},
    {"killed", "kill -KILL $$", 128 + SIGKILL},
    {"terminated", "kill -TERM $$", 128 + SIGTERM},
};

INSTANTIATE_TEST_SUITE_P(All, SandboxStatus, ::testing::ValuesIn(kStatuses),
                         [](const auto& row) { return row.param.name; });

struct RefusalCase {
  const char* name;
  std::vector<std::string> arguments;
};

void PrintTo(const RefusalCase& row, std::ostream* stream) {
  *stream << row.name;
}

class LabRefuses : public ::testing::TestWithParam<RefusalCase> {};

TEST_P(LabRefuses, with_one_line_and_status_125) {
  const Ended ended = run_lab(GetParam().arguments);
  EXPECT_EQ(ended.status, 125);
  EXPECT_EQ(ended.out, "");
  EXPECT_EQ(ended.err.find('\n'), ended.err.size() - 1) << ended.err;
}

const RefusalCase kRefusals[] = {
    {"no_subcommand", {}},
    {"unknown_subcommand", {"walk"}},
    {"no_router", {"run", "--", "true"}},
    {"no_command", {"run", "/"}},
    {"empty_command", {"run", "/", "--"}},
    {"router_missing", {"run", "/no/such/router", "--", "true"}},
    {"command_missing", {"run", "/usr/share", "--", "no-such-command"}},
    {"tmp_not_empty", {"run", "/usr/share", "--tmp", "/usr", "--", "true"}},
    {"calls_not_writable", {"run", "/usr/share", "--calls", "/no/such/folder/x", "--", "true"}},
    {"generate_without_folder", {"generate"}},
    {"generate_into_full_folder", {"generate", "/usr"}},
    {"generate_unknown_model", {"generate", "/no/x", "--model", "10"}},
    {"generate_unknown_defect", {"generate", "/no/x", "--defect", "rust"}},
    {"generate_bad_count", {"generate", "/no/x", "--defect", "leaked:0"}},
    {"generate_too_many_missing", {"generate", "/no/x", "--defect", "missing-gre:1000"}},
    {"generate_too_many_bundles", {"generate", "/no/x", "--bundles", "256"}},
    {"generate_subifs_without_ports",
     {"generate", "/no/x", "--physical", "0", "--physical-subifs", "1"}},
    {"generate_cards_on_one_processor", {"generate", "/no/x", "--model", "5", "--line-cards", "2"}},
};

INSTANTIATE_TEST_SUITE_P(All, LabRefuses, ::testing::ValuesIn(kRefusals),
                         [](const auto& row) { return row.param.name; });

TEST_F(Sandbox, command_gets_its_arguments_unchanged) {
  const Ended ended =
      run_lab({"run", router.path(), "--", "printf", "<%s>", "[a,b]", "", "--tmp", "--", "a b"});
  EXPECT_EQ(ended.out, "<[a,b]><><--tmp><--><a b>");
}

TEST_F(Sandbox, tmp_is_empty_and_open_to_all) {
  const Ended ended = run_lab({"run", router.path(), "--", "/bin/sh", "-c",
                               "LC_ALL=C ls -A /tmp; stat -c %a /tmp; touch /tmp/left-behind"});
  std::string visible;
  for (const std::string& name :
       std::set<std::string>{first_below_tmp(router.path()), first_below_tmp(ZORBEC_LAB),
                             first_below_tmp(fs::current_path())}) {
    if (!name.empty()) visible += name + "\n";
  }
  EXPECT_EQ(ended.out, visible + "1777\n");
  EXPECT_FALSE(fs::exists("/tmp/left-behind"));
}

TEST_F(Sandbox, tmp_starts_with_what_the_router_holds) {
  router.write("tmp/pidb_gre_intf.dat", "stale\n");
  router.write("tmp/folder/file", "deep\n");
  EXPECT_EQ(run_on(router.path(), "cat /tmp/pidb_gre_intf.dat /tmp/folder/file").out,
            "stale\ndeep\n");
}

TEST_F(Sandbox, runs_do_not_see_each_other) {
  router.write("nodes/192.0.16.1/dumps/pmdb.dat", "{}");
  EXPECT_EQ(run_on(router.path(), "ssh 192.0.16.1 /pkg/bin/hwkey_dump -g").status, 0);
  EXPECT_EQ(run_on(router.path(), "scp root@192.0.16.1:/tmp/pmdb.dat /tmp/x").status, 1);
  EXPECT_FALSE(fs::exists(router.path() / "nodes/192.0.16.1/tmp"));
}

TEST_F(Sandbox, keeps_tmp_on_request) {
  router.write("tmp/given", "before\n");
  const TestFolder kept;
  const fs::path tmp = kept.path() / "made" / "tmp";
  const Ended ended = run_lab({"run", router.path(), "--tmp", tmp, "--", "sh", "-c",
                               "stat -c %a /tmp; echo after > /tmp/new"});
  EXPECT_EQ(ended.out, "1777\n");
  EXPECT_EQ(file_text(tmp / "given"), "before\n");
  EXPECT_EQ(file_text(tmp / "new"), "after\n");
  EXPECT_EQ(std::distance(fs::directory_iterator(tmp), fs::directory_iterator()), 2);
}

TEST_F(Sandbox, stays_in_the_callers_folder) {
  EXPECT_EQ(run_on(router.path(), "pwd").out, fs::current_path().string() + "\n");
}

TEST_F(Sandbox, command_below_tmp_is_found) {
  const TestFolder elsewhere;
  elsewhere.write("deep/command", "#!/bin/sh\nrelinfo_print\n");
  const fs::path command = elsewhere.path() / "deep" / "command";
  fs::permissions(command, fs::perms::owner_all);
  EXPECT_EQ(run_lab({"run", router.path(), "--", command}).out, "the banner\n");
}

TEST_F(Sandbox, records_every_call) {
  router.write("nodes/192.0.16.1/uptime", "1.0 2.0\n");
  const TestFolder folder;
  const fs::path calls = folder.path() / "calls";
  folder.write("calls", "kept\n");
  run_lab({"run", router.path(), "--calls", calls, "--", "sh", "-c",
           "/pkg/bin/relinfo_print; ssh -o 'A=\"b\" ' 192.0.16.1 cat /proc/uptime;"
           "ssh 192.0.99.1 x; ifmgr_print \"$(printf '\\303\\244 \\377')\"; true"});

  std::istringstream lines(file_text(calls));
  std::string line;
  ASSERT_TRUE(std::getline(lines, line));
  EXPECT_EQ(line, "kept");
  std::vector<nlohmann::json> records;
  while (std::getline(lines, line)) records.push_back(nlohmann::json::parse(line));
  ASSERT_EQ(records.size(), 4U);
  const std::vector<std::pair<std::vector<std::string>, int>> expected = {
      {{"/pkg/bin/relinfo_print"}, 0},
      {{"ssh", "-o", "A=\"b\" ", "192.0.16.1", "cat", "/proc/uptime"}, 0},
      {{"ssh", "192.0.99.1", "x"}, 255},
      {{"ifmgr_print", "\u00e4 \ufffd"}, 2},
  };
  double earliest = 0;
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(records[i].at("argv"), expected[i].first);
    EXPECT_EQ(records[i].at("exit"), expected[i].second);
    EXPECT_GE(records[i].at("start").get<double>(), earliest);
    EXPECT_GE(records[i].at("end"), records[i].at("start"));
    earliest = records[i].at("end").get<double>();
  }
  EXPECT_LT(earliest, 60.0);
}

TEST_F(Sandbox, passes_signals_on) {
  const fs::path ready = router.path() / "ready";
  const pid_t lab =
      start_lab({"run", router.path(), "--", "sh", "-c",
                 "trap 'exit 7' TERM; touch " + ready.string() + "; while :; do sleep 0.01; done"});
  for (int i = 0; i < 1000 && !fs::exists(ready); ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  ASSERT_EQ(::kill(lab, SIGTERM), 0);
  int status = 0;
  ASSERT_EQ(::waitpid(lab, &status, 0), lab);
  EXPECT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 7);
}

TEST_F(Sandbox, ends_what_the_command_leaves_running) {
  const TestFolder folder;
  const fs::path calls = folder.path() / "calls";
  const auto begin = std::chrono::steady_clock::now();
  const Ended ended = run_lab({"run", router.path(), "--calls", calls, "--", "sh", "-c",
                               "(setsid sh -c 'sleep 30; relinfo_print') & echo $!"});
  EXPECT_EQ(ended.status, 0);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20));
  EXPECT_NE(::kill(std::stoi(ended.out), 0), 0);
  EXPECT_EQ(file_text(calls), "");
}

TEST_F(Sandbox, works_though_the_host_ignores_children) {
  struct sigaction ignore {};
  struct sigaction old {};
  ignore.sa_handler = SIG_IGN;
  ::sigaction(SIGCHLD, &ignore, &old);
  const TestFolder folder;
  const pid_t lab = start_lab(
      {"run", router.path(), "--tmp", folder.path() / "t", "--", "sh", "-c", "exit 5 > /tmp/ran"});
  ::sigaction(SIGCHLD, &old, nullptr);
  int status = 0;
  ASSERT_EQ(::waitpid(lab, &status, 0), lab);
  EXPECT_EQ(WEXITSTATUS(status), 5);
  EXPECT_TRUE(fs::exists(folder.path() / "t" / "ran"));
}

}  // namespace
}  // namespace zorbec::lab

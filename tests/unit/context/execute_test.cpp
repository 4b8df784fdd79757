#include "context/execute.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstddef>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <system_error>

#include "base/error.h"
#include "base/text_lines.h"
#include "tests/unit/support/errors.h"
#include "tests/unit/support/files.h"
#include "tests/unit/support/process.h"
#include "tests/unit/support/run_state_test.h"
#include "tests/unit/support/threads.h"

namespace zorbec {
namespace {

namespace fs = std::filesystem;

using ::testing::HasSubstr;
using unit::error_of;
using unit::read_text;

const std::string kDefaultOutput = "/tmp/zorbec0.log";

class Execute : public unit::RunStateTest {
 protected:
  Execute() { fs::remove_all(kDefaultOutput); }
};

TEST_F(Execute, echo_x_without_suffix_writes_zorbec0_log_and_returns_it) {
  EXPECT_EQ(execute("echo x"), "x\n");
  EXPECT_EQ(read_text(kDefaultOutput), "x\n");
}

TEST_F(Execute, suffix_names_the_file) {
  EXPECT_EQ(execute("echo y", "pmdb_RP0"), "y\n");
  EXPECT_EQ(read_text("/tmp/zorbecpmdb_RP0.log"), "y\n");
  EXPECT_FALSE(fs::exists(kDefaultOutput));
}

TEST_F(Execute, error_text_alone_returns_nothing_and_is_appended_to_output_file) {
  EXPECT_EQ(execute("echo first >&2"), "");
  EXPECT_EQ(execute("echo second >&2; echo out", "other"), "out\n");
  EXPECT_EQ(execute("echo third >&2"), "");
  EXPECT_EQ(read_text(paths::kCommandErrors), "first\nsecond\nthird\n");
}

TEST_F(Execute, second_command_with_the_same_suffix_truncates_the_file_of_the_first) {
  const std::string first = execute("echo a long first output");
  const std::string second = execute("echo 2");
  EXPECT_EQ(first, "a long first output\n");
  EXPECT_EQ(second, "2\n");
  EXPECT_EQ(read_text(kDefaultOutput), "2\n");
}

TEST_F(Execute, non_zero_exit_status_is_not_reported) {
  EXPECT_EQ(execute("echo x; exit 3"), "x\n");
  EXPECT_EQ(execute("false"), "");
  EXPECT_EQ(read_text(paths::kCommandErrors), "");
}

TEST_F(Execute, command_that_a_signal_ends_is_not_reported) {
  EXPECT_EQ(execute("echo x; kill -KILL $$"), "x\n");
}

TEST_F(Execute, missing_command_returns_nothing_and_its_error_is_in_output_file) {
  EXPECT_EQ(execute("/pkg/bin/no_such_tool -v"), "");
  EXPECT_THAT(read_text(paths::kCommandErrors),
              HasSubstr("/pkg/bin/no_such_tool: No such file or directory"));
}

TEST_F(Execute, line_goes_to_the_shell_as_one_text) {
  EXPECT_EQ(execute("echo 'a  b' \"$(echo c)\" | tr a-z A-Z; (exit 1) || echo d"), "A  B C\nd\n");
}

TEST_F(Execute, redirection_of_both_outputs_to_a_file_works) {
  EXPECT_EQ(execute("{ echo out; echo error >&2; } >& /tmp/log", "pidb_3"), "");
  EXPECT_EQ(read_text("/tmp/log"), "out\nerror\n");
  EXPECT_EQ(read_text(paths::kCommandErrors), "");
}

TEST_F(Execute, output_is_returned_byte_for_byte) {
  EXPECT_EQ(execute(R"(printf 'a\0b\377\r\n\n')"), std::string("a\0b\xff\r\n\n", 7));
}

TEST_F(Execute, output_of_10_mb_is_whole) {
  const std::string output = execute("head -c 10485760 /dev/zero | tr '\\0' x");
  EXPECT_EQ(output.size(), 10'485'760U);
  EXPECT_EQ(output.find_first_not_of('x'), std::string::npos);
}

TEST_F(Execute, waits_for_the_shell_and_not_for_what_it_left_in_the_background) {
  EXPECT_EQ(execute("sleep 60 & echo x"), "x\n");
}

TEST_F(Execute, command_that_sends_its_output_elsewhere_returns_nothing) {
  EXPECT_EQ(execute("exec >/dev/null; echo x"), "");
}

// ---------------------------------------------------------------------------------------------

TEST_F(Execute, threads_on_the_default_suffix_each_read_back_their_own_output) {
  constexpr std::size_t kThreads = 16;
  const std::map<std::string, std::string> before = unit::open_descriptors();
  unit::in_threads(kThreads, [](std::size_t number) {
    for (int i = 0; i < 8; ++i) {
      const std::string own = std::to_string(number) + ":" + std::to_string(i);
      EXPECT_EQ(execute("echo " + own + "; echo error >&2"), own + "\n");
    }
  });
  EXPECT_EQ(unit::open_descriptors(), before);
  EXPECT_FALSE(unit::has_children());
  EXPECT_EQ(split_lines(read_text(paths::kCommandErrors)).size(), kThreads * 8);
}

TEST_F(Execute, leaves_no_descriptor_behind_when_it_fails) {
  fs::create_directory(kDefaultOutput);
  const std::map<std::string, std::string> before = unit::open_descriptors();
  EXPECT_THROW(execute("echo x"), std::system_error);
  EXPECT_EQ(unit::open_descriptors(), before);
}

TEST_F(Execute, child_is_waited_for) {
  execute("true");
  EXPECT_FALSE(unit::has_children());
}

TEST_F(Execute, command_inherits_no_other_descriptor_of_ours) {
  execute("true");
  const std::string open = execute("readlink /proc/$$/fd/*");
  std::map<std::string_view, int> times;
  for (const std::string_view target : split_lines(open)) ++times[target];
  EXPECT_EQ(times[kDefaultOutput], 1) << open;
  EXPECT_EQ(times[paths::kCommandErrors], 1) << open;
}

TEST_F(Execute, standard_input_is_inherited) {
  unit::write_text("/tmp/standard_input", "from the host\n");
  EXPECT_EQ(unit::in_child([] {
              const int input = ::open("/tmp/standard_input", O_RDONLY | O_CLOEXEC);
              ::dup2(input, STDIN_FILENO);
              return execute("cat") == "from the host\n" ? 0 : 1;
            }),
            0);
}

TEST_F(Execute, works_in_a_host_that_closed_its_standard_streams) {
  EXPECT_EQ(unit::in_child([] {
              for (const int fd : {0, 1, 2}) ::close(fd);
              run_state().db_file.set(
                  std::make_shared<UniqueFd>(create_fresh_file(paths::kCommandErrors)));
              return execute("echo x; echo error >&2") == "x\n" ? 0 : 1;
            }),
            0);
  EXPECT_EQ(read_text(paths::kCommandErrors), "error\n");
}

// ---------------------------------------------------------------------------------------------

TEST_F(Execute, planted_link_is_not_followed) {
  unit::write_text("/tmp/precious", "precious");
  fs::create_symlink("/tmp/precious", kDefaultOutput);
  EXPECT_EQ(execute("echo x"), "x\n");
  EXPECT_EQ(read_text("/tmp/precious"), "precious");
  EXPECT_EQ(read_text(kDefaultOutput), "x\n");
}

TEST_F(Execute, planted_fifo_does_not_stop_it) {
  ASSERT_EQ(::mkfifo(kDefaultOutput.c_str(), 0666), 0);
  EXPECT_EQ(execute("echo x"), "x\n");
}

TEST_F(Execute, folder_in_the_place_of_its_file_is_an_error_that_names_the_path) {
  fs::create_directory(kDefaultOutput);
  EXPECT_EQ(error_of<std::system_error>([] { execute("touch /tmp/was_run"); }),
            "unlink /tmp/zorbec0.log: Is a directory");
  EXPECT_FALSE(fs::exists("/tmp/was_run"));
}

TEST_F(Execute, nul_byte_in_a_command_is_refused_before_anything_runs) {
  EXPECT_EQ(error_of<CheckError>([] { execute(std::string("touch /tmp/was_run\0 x", 21)); }),
            R"(command holds a NUL byte: "touch /tmp/was_run\x00 x")");
  EXPECT_FALSE(fs::exists("/tmp/was_run"));
}

TEST_F(Execute, command_that_no_shell_can_take_is_an_error_that_names_it) {
  EXPECT_EQ(error_of<std::system_error>([] { execute(std::string(200'000, 'x')); }),
            "posix_spawn /bin/bash -c \"" + std::string(80, 'x') +
                "\"... (200000 bytes): Argument list too long");
  EXPECT_FALSE(unit::has_children());
}

TEST_F(Execute, without_a_file_for_errors_nothing_runs) {
  run_state().db_file.set(nullptr);
  EXPECT_EQ(error_of<CheckError>([] { execute("touch /tmp/was_run"); }),
            "no file is open for the errors of commands");
  EXPECT_FALSE(fs::exists("/tmp/was_run"));
}

// ---------------------------------------------------------------------------------------------

TEST_F(Execute, works_in_a_host_that_ignores_sigchld) {
  EXPECT_EQ(unit::in_child([] {
              ::signal(SIGCHLD, SIG_IGN);
              return execute("sleep 0.05; echo x") == "x\n" && execute("echo y") == "y\n" ? 0 : 1;
            }),
            0);
}

// The line of /proc/self/status as a command finds it, its digits as a number.
unsigned long signals_of_a_command(const std::string& line) {
  const std::string status = execute("grep " + line + " /proc/self/status");
  return std::stoul(status.substr(status.find(':') + 1), nullptr, 16);
}

constexpr unsigned long bit_of(int signal) {
  return 1UL << static_cast<unsigned>(signal - 1);
}

TEST_F(Execute, blocked_signals_are_not_inherited) {
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  ::pthread_sigmask(SIG_SETMASK, &all, &before);
  const unsigned long blocked = signals_of_a_command("SigBlk");
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
  EXPECT_EQ(blocked, 0U);
}

TEST_F(Execute, ignored_sigpipe_and_sigchld_are_not_inherited) {
  EXPECT_EQ(unit::in_child([] {
              ::signal(SIGPIPE, SIG_IGN);
              ::signal(SIGCHLD, SIG_IGN);
              const unsigned long ignored = signals_of_a_command("SigIgn");
              return (ignored & (bit_of(SIGPIPE) | bit_of(SIGCHLD))) == 0 ? 0 : 1;
            }),
            0);
}

TEST_F(Execute, command_that_writes_to_a_closed_pipe_ends_quietly) {
  EXPECT_EQ(unit::in_child([] {
              ::signal(SIGPIPE, SIG_IGN);
              return execute("yes | head -n 1") == "y\n" ? 0 : 1;
            }),
            0);
  EXPECT_EQ(read_text(paths::kCommandErrors), "");
}

}  // namespace
}  // namespace zorbec

#include "verify/findings.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <climits>
#include <csignal>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "base/files.h"
#include "tests/unit/support/captured_stream.h"
#include "tests/unit/support/errors.h"
#include "tests/unit/support/file_size_limit.h"
#include "tests/unit/verify/node_log_test.h"

namespace zorbec::unit {
namespace {

using Finding = NodeLogTest;

const std::string kNode = "3";

TEST_F(Finding, goes_to_the_log_at_once_and_in_its_own_wording_to_standard_output) {
  {
    Findings findings(kNode, dl_fd);
    findings.report("for the operator\n", "\nfor the log");
    findings.report("once more\n", "\nand once more");
    EXPECT_EQ(log_text(), "\nfor the log\nand once more");
    EXPECT_EQ(standard_output.text(), "for the operator\n");
  }
  EXPECT_EQ(standard_output.text(), "for the operator\nonce more\n");
  EXPECT_EQ(log_text(), "\nfor the log\nand once more");
}

// For its lifetime, standard output is `fd`, or closed if that is none.
class StandardOutputIs {
 public:
  explicit StandardOutputIs(const UniqueFd& fd) : before_(::dup(STDOUT_FILENO)) {
    const int done = fd.get() < 0 ? ::close(STDOUT_FILENO) : ::dup2(fd.get(), STDOUT_FILENO);
    if (done < 0) throw std::runtime_error("dup2");
  }
  StandardOutputIs(const StandardOutputIs&) = delete;
  StandardOutputIs& operator=(const StandardOutputIs&) = delete;
  ~StandardOutputIs() { ::dup2(before_.get(), STDOUT_FILENO); }

 private:
  const UniqueFd before_;
};

int errno_of_report(LogStream& log) {
  try {
    Findings(kNode, log).report("for the operator\n", "\nfor the log");
  } catch (const std::system_error& error) {
    return error.code().value();
  }
  return 0;
}

TEST_F(Finding, is_in_the_log_if_standard_output_is_on_a_full_disk) {
  int error = 0;
  {
    const StandardOutputIs full(UniqueFd(::open("/dev/full", O_WRONLY | O_CLOEXEC)));
    error = errno_of_report(dl_fd);
  }
  EXPECT_EQ(error, ENOSPC);
  EXPECT_EQ(log_text(), "\nfor the log");
}

TEST_F(Finding, is_in_the_log_if_standard_output_is_closed) {
  int error = 0;
  {
    const StandardOutputIs closed(UniqueFd(-1));
    error = errno_of_report(dl_fd);
  }
  EXPECT_EQ(error, EBADF);
  EXPECT_EQ(log_text(), "\nfor the log");
}

TEST_F(Finding, is_in_the_log_if_the_reader_of_standard_output_is_gone) {
  const auto before = std::signal(SIGPIPE, SIG_IGN);  // as a worker, which has it blocked
  int error = 0;
  {
    int ends[2];
    ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
    ::close(ends[0]);
    const StandardOutputIs broken((UniqueFd(ends[1])));
    error = errno_of_report(dl_fd);
  }
  std::signal(SIGPIPE, before);
  EXPECT_EQ(error, EPIPE);
  EXPECT_EQ(log_text(), "\nfor the log");
}

TEST_F(Finding, is_not_for_the_operator_alone_if_the_log_is_closed) {
  dl_fd.close();
  EXPECT_NE(errno_of_report(dl_fd), 0);
  EXPECT_EQ(standard_output.text(), "");
}

// Standard output for its lifetime, on which every write can be told from the next.
class SeparateWrites {
 public:
  SeparateWrites() {
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends) != 0) {
      throw std::runtime_error("socketpair");
    }
    reader_ = UniqueFd(ends[0]);
    output_.emplace(UniqueFd(ends[1]));
  }

  // What was written so far and not taken yet.
  std::vector<std::string> take() const {
    std::vector<std::string> writes;
    std::string text(std::size_t{4} * PIPE_BUF, '\0');
    ssize_t got = 0;
    while ((got = ::recv(reader_.get(), text.data(), text.size(), 0)) > 0) {
      writes.push_back(text.substr(0, static_cast<std::size_t>(got)));
    }
    return writes;
  }

 private:
  UniqueFd reader_;
  std::optional<StandardOutputIs> output_;
};

TEST_F(Finding, first_goes_at_once_and_the_others_share_writes_that_a_pipe_takes_as_a_whole) {
  const SeparateWrites output;
  std::string all;
  Findings findings(kNode, dl_fd);
  for (int number = 1000; number < 1200; ++number) {
    const std::string text = "finding " + std::to_string(number) + " for the operator\n";
    findings.report(text, "");
    all += text;
  }
  findings.flush();

  const std::vector<std::string> writes = output.take();
  EXPECT_EQ(writes.size(), 3);
  EXPECT_EQ(writes.front(), "finding 1000 for the operator\n");
  std::string written;
  for (const std::string& text : writes) {
    EXPECT_LE(text.size(), PIPE_BUF);
    EXPECT_EQ(text.back(), '\n');
    written += text;
  }
  EXPECT_EQ(written, all);
}

TEST_F(Finding, longer_than_a_pipe_takes_as_a_whole_goes_by_itself) {
  const SeparateWrites output;
  const std::string large(PIPE_BUF + 1, '1');
  Findings findings(kNode, dl_fd);
  for (const std::string& text :
       {std::string("first\n"), std::string("before\n"), large, std::string("behind\n")}) {
    findings.report(text, "");
  }
  findings.flush();
  EXPECT_EQ(output.take(), (std::vector<std::string>{"first\n", "before\n", large, "behind\n"}));
}

TEST_F(Finding, is_written_whatever_ends_the_comparison) {
  EXPECT_EQ(error_of<std::runtime_error>([&] {
              Findings findings(kNode, dl_fd);
              findings.report("first\n", "");
              findings.report("second\n", "");
              throw std::runtime_error("comparison failed");
            }),
            "comparison failed");
  EXPECT_EQ(standard_output.text(), "first\nsecond\n");
}

TEST_F(Finding, is_written_at_the_end_if_an_earlier_write_failed) {
  const std::string large(PIPE_BUF, '1');
  {
    Findings findings(kNode, dl_fd);
    findings.report("first\n", "");
    findings.report("second\n", "");
    const StandardOutputIs full(UniqueFd(::open("/dev/full", O_WRONLY | O_CLOEXEC)));
    EXPECT_THROW(findings.report(large, "\nlarge for the log"), std::system_error);
  }
  EXPECT_EQ(standard_output.text(), "first\nsecond\n" + large);
  EXPECT_EQ(log_text(), "\nlarge for the log");
}

TEST_F(Finding, written_in_part_is_gone_on_with) {
  {
    Findings findings(kNode, dl_fd);
    findings.report("first\n", "");
    findings.report("second\n", "");
    const FileSizeLimit disk(9);
    EXPECT_THROW(findings.flush(), std::system_error);
    EXPECT_EQ(standard_output.text(), "first\nsec");
  }
  EXPECT_EQ(standard_output.text(), "first\nsecond\n");
}

TEST_F(Finding, that_nobody_flushed_is_missed_on_standard_error_if_it_cannot_be_written) {
  const CapturedStream standard_error(STDERR_FILENO);
  std::optional<StandardOutputIs> full;
  {
    Findings findings(kNode, dl_fd);
    findings.report("first\n", "");
    findings.report("second\n", "");
    full.emplace(UniqueFd(::open("/dev/full", O_WRONLY | O_CLOEXEC)));
  }
  full.reset();
  EXPECT_EQ(standard_output.text(), "first\n");
  EXPECT_EQ(standard_error.text(),
            "zorbec: node 3: write standard output: No space left on device\n");
}

}  // namespace
}  // namespace zorbec::unit

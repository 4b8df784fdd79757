#include "verify/finding.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>
#include <stdexcept>
#include <string>
#include <system_error>

#include "run/files.h"
#include "tests/unit/verify/node_log_test.h"

namespace zorbec::unit {
namespace {

using Finding = NodeLogTest;

TEST_F(Finding, GoesToStandardOutputAndInItsOwnWordingToTheLog) {
  report_finding("for the operator\n", "\nfor the log", dl_fd);
  report_finding("once more\n", "\nand once more", dl_fd);
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
    report_finding("for the operator\n", "\nfor the log", log);
  } catch (const std::system_error& error) {
    return error.code().value();
  }
  return 0;
}

TEST_F(Finding, IsInTheLogIfStandardOutputIsOnAFullDisk) {
  int error = 0;
  {
    const StandardOutputIs full(UniqueFd(::open("/dev/full", O_WRONLY | O_CLOEXEC)));
    error = errno_of_report(dl_fd);
  }
  EXPECT_EQ(error, ENOSPC);
  EXPECT_EQ(log_text(), "\nfor the log");
}

TEST_F(Finding, IsInTheLogIfStandardOutputIsClosed) {
  int error = 0;
  {
    const StandardOutputIs closed(UniqueFd(-1));
    error = errno_of_report(dl_fd);
  }
  EXPECT_EQ(error, EBADF);
  EXPECT_EQ(log_text(), "\nfor the log");
}

TEST_F(Finding, IsInTheLogIfTheReaderOfStandardOutputIsGone) {
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

TEST_F(Finding, IsNotForTheOperatorAloneIfTheLogIsClosed) {
  dl_fd.close();
  EXPECT_NE(errno_of_report(dl_fd), 0);
  EXPECT_EQ(standard_output.text(), "");
}

}  // namespace
}  // namespace zorbec::unit

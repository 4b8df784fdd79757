#include "host/check/check_lock.h"

#include <gmock/gmock.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <optional>
#include <string>
#include <system_error>

#include "base/error.h"
#include "tests/unit/support/errors.h"
#include "tests/unit/support/files.h"
#include "tests/unit/support/process.h"

namespace zorbec {
namespace {

using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using unit::error_of;

bool never_wait(const std::string& who) {
  ADD_FAILURE() << "asked whether to wait for " << who;
  return false;
}

class CheckLockTest : public ::testing::Test {
 protected:
  CheckLockTest() { std::filesystem::remove_all(kPath); }
  ~CheckLockTest() override { std::filesystem::remove_all(kPath); }

  // Somebody who holds the file's lock and says `text` about himself.
  static UniqueFd hold(const std::string& text) {
    unit::write_text(kPath, text);
    UniqueFd file(::open(kPath, O_RDWR | O_CLOEXEC));
    EXPECT_EQ(::flock(file.get(), LOCK_EX | LOCK_NB), 0);
    return file;
  }
  // What the error says if nobody wants to wait.
  static std::string refusal() {
    return error_of<CheckError>(
        [] { const CheckLock lock(kPath, [](const auto&) { return false; }); });
  }

  static constexpr const char* kPath = "/tmp/check_test.lock";
};

TEST_F(CheckLockTest, holder_says_who_it_is) {
  const CheckLock lock(kPath, never_wait);
  EXPECT_THAT(unit::read_text(kPath),
              MatchesRegex("process " + std::to_string(::getpid()) + " of user " +
                           std::to_string(::getuid()) +
                           ", since [0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}Z\n"));
}

TEST_F(CheckLockTest, what_an_earlier_holder_said_is_gone) {
  unit::write_text(kPath, std::string(1000, 'x') + "\n");
  const CheckLock lock(kPath, never_wait);
  EXPECT_THAT(unit::read_text(kPath), MatchesRegex("process [^\n]*\n"));
}

TEST_F(CheckLockTest, lock_is_free_again_when_its_holder_goes) {
  { const CheckLock lock(kPath, never_wait); }
  EXPECT_NO_THROW(CheckLock(kPath, never_wait));
}

TEST_F(CheckLockTest, commands_do_not_inherit_the_lock) {
  const auto before = unit::open_descriptors();
  const CheckLock lock(kPath, never_wait);
  for (const auto& [number, target] : unit::open_descriptors()) {
    if (before.contains(number)) continue;
    EXPECT_EQ(target, kPath);
    EXPECT_EQ(::fcntl(std::stoi(number), F_GETFD), FD_CLOEXEC);
  }
}

TEST_F(CheckLockTest, second_holder_is_refused_and_told_of_the_first) {
  const CheckLock first(kPath, never_wait);
  const std::string holder = unit::read_text(kPath);
  EXPECT_EQ(refusal(), "another check is running: \"" + holder.substr(0, holder.size() - 1) + "\"");
  EXPECT_EQ(unit::read_text(kPath), holder);
}

TEST_F(CheckLockTest, holder_in_another_process_counts) {
  const CheckLock first(kPath, never_wait);
  EXPECT_EQ(unit::in_child([] {
              try {
                const CheckLock second(kPath, [](const auto&) { return false; });
              } catch (const CheckError&) {
                return 7;
              }
              return 0;
            }),
            7);
}

TEST_F(CheckLockTest, second_holder_waits_as_long_as_it_is_willing) {
  std::optional<CheckLock> first(std::in_place, kPath, never_wait);
  int asked = 0;
  const CheckLock second(kPath, [&](const std::string& who) {
    EXPECT_THAT(who, HasSubstr("process " + std::to_string(::getpid())));
    if (++asked == 2) first.reset();
    return true;
  });
  EXPECT_EQ(asked, 2);
}

TEST_F(CheckLockTest, holder_may_have_said_nothing_yet) {
  const UniqueFd holder = hold("");
  EXPECT_EQ(refusal(), "another check is running: an unknown process");
}

TEST_F(CheckLockTest, what_a_holder_says_is_no_text_for_a_terminal) {
  const UniqueFd holder = hold("process\x1b[2J\n\n");
  EXPECT_THAT(refusal(), HasSubstr("process\\"));
  EXPECT_EQ(refusal().find('\x1b'), std::string::npos);
  EXPECT_EQ(refusal().find('\n'), std::string::npos);
}

TEST_F(CheckLockTest, long_text_of_a_holder_is_cut) {
  const UniqueFd holder = hold(std::string(100'000, 'x'));
  EXPECT_LT(refusal().size(), 300U);
}

// Somebody else's file of that name.

TEST_F(CheckLockTest, fifo_is_refused_at_once) {
  ASSERT_EQ(::mkfifo(kPath, 0666), 0);
  EXPECT_EQ(error_of<CheckError>([] { const CheckLock lock(kPath, never_wait); }),
            std::string(kPath) + " is not a regular file");
}

TEST_F(CheckLockTest, link_is_not_followed) {
  unit::write_text("/tmp/check_test.target", "somebody's\n");
  std::filesystem::create_symlink("/tmp/check_test.target", kPath);
  EXPECT_THAT(error_of<std::system_error>([] { const CheckLock lock(kPath, never_wait); }),
              HasSubstr(kPath));
  EXPECT_EQ(unit::read_text("/tmp/check_test.target"), "somebody's\n");
}

TEST_F(CheckLockTest, second_name_of_a_file_is_refused) {
  unit::write_text("/tmp/check_test.target", "somebody's\n");
  std::filesystem::create_hard_link("/tmp/check_test.target", kPath);
  EXPECT_EQ(error_of<CheckError>([] { const CheckLock lock(kPath, never_wait); }),
            std::string(kPath) + " is a file with more than one name (hard links)");
  EXPECT_EQ(unit::read_text("/tmp/check_test.target"), "somebody's\n");
}

TEST_F(CheckLockTest, folder_is_refused) {
  std::filesystem::create_directory(kPath);
  EXPECT_THAT(error_of<std::system_error>([] { const CheckLock lock(kPath, never_wait); }),
              HasSubstr(kPath));
}

}  // namespace
}  // namespace zorbec

#include "base/files.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstddef>
#include <filesystem>
#include <set>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "tests/unit/support/errors.h"
#include "tests/unit/support/files.h"
#include "tests/unit/support/process.h"
#include "tests/unit/support/threads.h"

namespace zorbec {
namespace {

namespace fs = std::filesystem;

using unit::error_of;
using unit::read_text;
using unit::write_text;

constexpr std::size_t kMost = 100'000'000;  // bytes to be read

// A folder of its own for each test.
class FilesTest : public ::testing::Test {
 protected:
  FilesTest() { fs::create_directory(folder); }
  ~FilesTest() override { fs::remove_all(folder); }

  const std::string folder = "/tmp/files_test";
  const std::string path = folder + "/file";
  const std::string other = folder + "/other";
};

struct Pipe {
  Pipe() {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("pipe");
    reader = UniqueFd(ends[0]);
    writer = UniqueFd(ends[1]);
  }
  UniqueFd reader;
  UniqueFd writer;
};

std::string read_to_end(int fd) {
  std::string all;
  std::array<char, 4096> piece{};
  ssize_t got = 0;
  while ((got = ::read(fd, piece.data(), piece.size())) > 0) {
    all.append(piece.data(), static_cast<std::size_t>(got));
  }
  return all;
}

ino_t inode_of(int fd) {
  struct stat status {};
  return ::fstat(fd, &status) == 0 ? status.st_ino : 0;
}

// ---------------------------------------------------------------------------------------------

class CreateFreshFile : public FilesTest {};

TEST_F(CreateFreshFile, is_empty_and_open_for_reading_and_writing_at_its_beginning) {
  const UniqueFd fd = create_fresh_file(path);
  write_all(fd.get(), "text", path);
  EXPECT_EQ(read_from_start(fd, path), "text");
  EXPECT_EQ(read_text(path), "text");
}

TEST_F(CreateFreshFile, replaces_an_old_file) {
  write_text(path, "old text, longer than the new one");
  const UniqueFd fd = create_fresh_file(path);
  EXPECT_EQ(read_text(path), "");
}

TEST_F(CreateFreshFile, over_a_link_leaves_what_the_link_points_at) {
  write_text(other, "precious");
  fs::create_symlink(other, path);
  const UniqueFd fd = create_fresh_file(path);
  write_all(fd.get(), "text", path);
  EXPECT_FALSE(fs::is_symlink(path));
  EXPECT_EQ(read_text(path), "text");
  EXPECT_EQ(read_text(other), "precious");
}

TEST_F(CreateFreshFile, over_a_link_to_nothing_makes_nothing_there) {
  fs::create_symlink(other, path);
  const UniqueFd fd = create_fresh_file(path);
  EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(path)));
  EXPECT_FALSE(fs::exists(other));
}

TEST_F(CreateFreshFile, over_a_hard_link_leaves_the_other_name_its_bytes) {
  write_text(other, "precious");
  fs::create_hard_link(other, path);
  const UniqueFd fd = create_fresh_file(path);
  write_all(fd.get(), "text", path);
  EXPECT_EQ(read_text(other), "precious");
}

TEST_F(CreateFreshFile, over_a_fifo_does_not_wait_for_its_other_end) {
  ASSERT_EQ(::mkfifo(path.c_str(), 0644), 0);
  const UniqueFd fd = create_fresh_file(path);
  EXPECT_TRUE(fs::is_regular_file(path));
}

TEST_F(CreateFreshFile, over_a_folder_fails) {
  fs::create_directory(path);
  EXPECT_EQ(error_of<std::system_error>([&] { create_fresh_file(path); }),
            "unlink " + path + ": Is a directory");
  EXPECT_TRUE(fs::is_directory(path));
}

TEST_F(CreateFreshFile, in_a_folder_that_is_not_there_fails) {
  EXPECT_EQ(error_of<std::system_error>([&] { create_fresh_file(folder + "/none/file"); }),
            "open " + folder + "/none/file: No such file or directory");
}

TEST_F(CreateFreshFile, honours_the_umask) {
  const mode_t before = ::umask(027);
  const UniqueFd fd = create_fresh_file(path);
  ::umask(before);
  EXPECT_EQ(fs::status(path).permissions(), fs::perms{0640});
}

TEST_F(CreateFreshFile, is_closed_on_exec) {
  const UniqueFd fd = create_fresh_file(path);
  EXPECT_EQ(::fcntl(fd.get(), F_GETFD), FD_CLOEXEC);
}

TEST_F(CreateFreshFile, gives_each_of_many_threads_a_file_of_its_own) {
  constexpr std::size_t kThreads = 8;
  std::vector<std::vector<UniqueFd>> files(kThreads);
  unit::in_threads(kThreads, [&](std::size_t number) {
    for (int i = 0; i < 50; ++i) files[number].push_back(create_fresh_file(path));
  });
  std::set<ino_t> inodes;
  for (const auto& own : files) {
    for (const UniqueFd& fd : own) inodes.insert(inode_of(fd.get()));
  }
  EXPECT_EQ(inodes.size(), kThreads * 50);
}

// ---------------------------------------------------------------------------------------------

class CommandsFile : public FilesTest {};

TEST_F(CommandsFile, stays_as_it_is_if_it_is_ours_alone) {
  write_text(path, "old");
  EXPECT_FALSE(remove_what_is_not_ours(path));
  keep_for_ourselves(path);
  EXPECT_EQ(read_text(path), "old");
}

TEST_F(CommandsFile, is_made_only_where_it_is_to_be_kept) {
  EXPECT_TRUE(remove_what_is_not_ours(path));
  EXPECT_FALSE(fs::exists(path));
  keep_for_ourselves(path);
  EXPECT_EQ(read_text(path), "");
}

TEST_F(CommandsFile, loses_its_name_if_it_has_another) {
  write_text(other, "precious");
  fs::create_hard_link(other, path);
  EXPECT_TRUE(remove_what_is_not_ours(path));
  EXPECT_FALSE(fs::exists(path));
  EXPECT_EQ(read_text(other), "precious");
}

TEST_F(CommandsFile, is_no_link_and_no_fifo) {
  fs::create_symlink(other, path);
  EXPECT_TRUE(remove_what_is_not_ours(path));
  EXPECT_FALSE(fs::is_symlink(path));
  ASSERT_EQ(::mkfifo(path.c_str(), 0644), 0);
  keep_for_ourselves(path);
  EXPECT_TRUE(fs::is_regular_file(path));
  EXPECT_FALSE(fs::exists(other));
}

TEST_F(CommandsFile, is_no_folder) {
  fs::create_directory(path);
  EXPECT_EQ(error_of<std::system_error>([&] { remove_what_is_not_ours(path); }),
            "unlink " + path + ": Is a directory");
}

TEST_F(CommandsFile, that_cannot_be_looked_at_is_an_error) {
  write_text(path, "no folder");
  EXPECT_EQ(error_of<std::system_error>([&] { remove_what_is_not_ours(path + "/file"); }),
            "lstat " + path + "/file: Not a directory");
}

// ---------------------------------------------------------------------------------------------

TEST_F(FilesTest, descriptor_is_closed_when_its_owner_goes) {
  int number = -1;
  {
    const UniqueFd fd = create_fresh_file(path);
    number = fd.get();
    EXPECT_GE(::fcntl(number, F_GETFD), 0);
  }
  EXPECT_LT(::fcntl(number, F_GETFD), 0);
}

TEST_F(FilesTest, descriptor_that_is_given_away_stays_open_and_is_closed_once) {
  UniqueFd first = create_fresh_file(path);
  const int number = first.get();
  UniqueFd second(std::move(first));
  EXPECT_EQ(second.get(), number);
  EXPECT_GE(::fcntl(number, F_GETFD), 0);
  second = UniqueFd();
  EXPECT_LT(::fcntl(number, F_GETFD), 0);
}

TEST_F(FilesTest, size_is_in_bytes) {
  write_text(path, std::string("a\0\xc3\xa9", 4));
  EXPECT_EQ(file_size(path), 4U);
  write_text(path, "");
  EXPECT_EQ(file_size(path), 0U);
}

TEST_F(FilesTest, size_of_a_missing_file_fails) {
  EXPECT_EQ(error_of<std::system_error>([&] { file_size(path); }),
            "stat " + path + ": No such file or directory");
}

TEST_F(FilesTest, read_gives_every_byte) {
  std::string text("a\0\n\xff", 4);
  for (int i = 0; i < 18; ++i) text += text;
  write_text(path, text);
  const FileText read = read_file(path, kMost);
  EXPECT_EQ(read.size, text.size());
  EXPECT_TRUE(read.view() == text);
}

TEST_F(FilesTest, read_of_a_file_larger_than_allowed_fails) {
  write_text(path, "12345");
  EXPECT_EQ(read_file(path, 5).view(), "12345");
  EXPECT_EQ(error_of<std::system_error>([&] { read_file(path, 4); }),
            "read " + path + ": File too large");
}

TEST_F(FilesTest, read_of_an_empty_file_gives_nothing) {
  write_text(path, "");
  EXPECT_EQ(read_file(path, kMost).view(), "");
}

TEST_F(FilesTest, read_of_a_missing_file_fails) {
  EXPECT_EQ(error_of<std::system_error>([&] { read_file(path, kMost); }),
            "open " + path + ": No such file or directory");
}

TEST_F(FilesTest, read_of_a_folder_fails) {
  EXPECT_EQ(error_of<std::system_error>([&] { read_file(folder, kMost); }),
            "read " + folder + ": Is a directory");
}

TEST_F(FilesTest, read_of_a_fifo_does_not_wait_for_its_other_end) {
  ASSERT_EQ(::mkfifo(path.c_str(), 0644), 0);
  EXPECT_EQ(read_file(path, kMost).view(), "");
}

TEST_F(FilesTest, read_from_the_start_gives_everything_wherever_the_offset_is) {
  const UniqueFd fd = create_fresh_file(path);
  EXPECT_EQ(read_from_start(fd, path), "");
  const std::string text(100'000, 'x');
  write_all(fd.get(), text, path);
  EXPECT_TRUE(read_from_start(fd, path) == text);
  EXPECT_TRUE(read_from_start(fd, path) == text);
}

TEST_F(FilesTest, read_from_the_start_of_what_has_none_fails) {
  const Pipe pipe;
  EXPECT_EQ(error_of<std::system_error>([&] { read_from_start(pipe.reader, "pipe"); }),
            "lseek pipe: Illegal seek");
}

// ---------------------------------------------------------------------------------------------

class WriteAll : public FilesTest {};

TEST_F(WriteAll, to_a_pipe_writes_more_than_it_holds) {
  Pipe pipe;
  const std::string text(1'000'000, 'x');
  std::string got;
  std::thread reader([&] { got = read_to_end(pipe.reader.get()); });
  write_all(pipe.writer.get(), text, "pipe");
  pipe.writer = UniqueFd();
  reader.join();
  EXPECT_TRUE(got == text);
}

TEST_F(WriteAll, waits_where_the_descriptor_does_not_block) {
  Pipe pipe;
  ASSERT_EQ(::fcntl(pipe.writer.get(), F_SETFL, O_NONBLOCK), 0);
  const std::string text(1'000'000, 'x');
  std::string got;
  std::thread reader([&] { got = read_to_end(pipe.reader.get()); });
  write_all(pipe.writer.get(), text, "pipe");
  pipe.writer = UniqueFd();
  reader.join();
  EXPECT_TRUE(got == text);
}

TEST_F(WriteAll, goes_on_after_a_signal) {
  Pipe pipe;
  struct sigaction action {};
  struct sigaction before {};
  action.sa_handler = [](int) {};  // and no SA_RESTART
  ASSERT_EQ(::sigaction(SIGUSR1, &action, &before), 0);
  const std::string text(1'000'000, 'x');
  const pthread_t writer = ::pthread_self();
  std::string got;
  std::thread reader([&] {
    for (int i = 0; i < 20; ++i) {
      ::pthread_kill(writer, SIGUSR1);
      std::array<char, 4096> piece{};
      const ssize_t size = ::read(pipe.reader.get(), piece.data(), piece.size());
      got.append(piece.data(), static_cast<std::size_t>(size));
    }
    got += read_to_end(pipe.reader.get());
  });
  write_all(pipe.writer.get(), text, "pipe");
  pipe.writer = UniqueFd();
  reader.join();
  ::sigaction(SIGUSR1, &before, nullptr);
  EXPECT_TRUE(got == text);
}

TEST_F(WriteAll, of_nothing_does_nothing) {
  EXPECT_NO_THROW(write_all(-1, "", path));
}

TEST_F(WriteAll, to_a_closed_descriptor_fails) {
  EXPECT_EQ(error_of<std::system_error>([&] { write_all(-1, "text", path); }),
            "write " + path + ": Bad file descriptor");
}

TEST_F(WriteAll, to_a_pipe_that_nobody_reads_fails) {
  EXPECT_EQ(unit::in_child([] {
              ::signal(SIGPIPE, SIG_IGN);
              Pipe pipe;
              pipe.reader = UniqueFd();
              return error_of<std::system_error>([&] {
                       write_all(pipe.writer.get(), "text", "pipe");
                     }) == "write pipe: Broken pipe"
                         ? 0
                         : 1;
            }),
            0);
}

}  // namespace
}  // namespace zorbec

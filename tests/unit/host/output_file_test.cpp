#include "host/report/output_file.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "base/files.h"
#include "tests/unit/support/errors.h"
#include "tests/unit/support/files.h"

namespace zorbec {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using unit::read_text;
using unit::write_text;

// A folder of its own for each test.
class OutputFile : public ::testing::Test {
 protected:
  OutputFile() { fs::create_directory(folder); }
  ~OutputFile() override { fs::remove_all(folder); }

  std::vector<std::string> names() const {
    std::vector<std::string> all;
    for (const auto& entry : fs::directory_iterator(folder)) all.push_back(entry.path().filename());
    return all;
  }

  const std::string folder = "/tmp/output_file_test";
  const std::string path = folder + "/report";
};

TEST_F(OutputFile, is_made_and_nothing_else_is_left) {
  write_output_file(path, "one");
  EXPECT_EQ(read_text(path), "one");
  EXPECT_THAT(names(), ElementsAre("report"));
}

TEST_F(OutputFile, takes_the_place_of_the_old_one_which_its_readers_keep) {
  write_text(path, "old and longer");
  const UniqueFd reader(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  write_output_file(path, "new");
  EXPECT_EQ(read_text(path), "new");
  EXPECT_EQ(read_from_start(reader, path), "old and longer");
}

TEST_F(OutputFile, has_the_mode_that_the_umask_gives) {
  const mode_t before = ::umask(027);
  write_output_file(path, "one");
  ::umask(before);
  EXPECT_EQ(fs::status(path).permissions(), fs::perms(0640));
}

TEST_F(OutputFile, link_of_its_name_is_replaced_and_not_followed) {
  const std::string target = folder + "/target";
  write_text(target, "somebody's");
  fs::create_symlink(target, path);
  write_output_file(path, "ours");
  EXPECT_EQ(read_text(target), "somebody's");
  EXPECT_FALSE(fs::is_symlink(path));
  EXPECT_EQ(read_text(path), "ours");
}

TEST_F(OutputFile, device_stays_and_is_written_to) {
  write_output_file("/dev/null", "nothing");
  EXPECT_TRUE(fs::is_character_file("/dev/null"));
  EXPECT_EQ(unit::error_of<std::system_error>([] { write_output_file("/dev/full", "text"); }),
            "write /dev/full: No space left on device");
}

TEST_F(OutputFile, device_is_replaced_where_a_file_is_wanted_in_any_case) {
  fs::create_symlink("/dev/full", path);
  replace_file(path, "ours");
  EXPECT_EQ(read_text(path), "ours");
}

TEST_F(OutputFile, fifo_gets_the_text) {
  ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
  std::string read;
  std::thread reader([&] { read = read_text(path); });
  write_output_file(path, "text");
  reader.join();
  EXPECT_EQ(read, "text");
}

TEST_F(OutputFile, stream_is_a_new_file_whose_texts_are_seen_at_once) {
  write_text(path, "old");
  const UniqueFd reader(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  const UniqueFd stream = open_output_stream(path);
  write_all(stream.get(), "one\n", path);
  EXPECT_EQ(read_text(path), "one\n");
  EXPECT_EQ(read_from_start(reader, path), "old");
}

TEST_F(OutputFile, stream_to_a_device_is_no_file) {
  const UniqueFd stream = open_output_stream("/dev/null");
  write_all(stream.get(), "one", "/dev/null");
  EXPECT_TRUE(fs::is_character_file("/dev/null"));
  EXPECT_EQ(unit::error_of<std::system_error>([&] { open_output_stream(folder + "/no/events"); }),
            "open " + folder + "/no/events: No such file or directory");
}

TEST_F(OutputFile, failure_names_the_file_and_leaves_the_old_one) {
  EXPECT_EQ(
      unit::error_of<std::system_error>([&] { write_output_file(folder + "/no/report", ""); }),
      "open " + folder + "/no/report: No such file or directory");
  fs::create_directory(path);
  EXPECT_EQ(unit::error_of<std::system_error>([&] { replace_file(path, "text"); }),
            "rename " + path + ": Is a directory");
  EXPECT_THAT(names(), ElementsAre("report"));
}

}  // namespace
}  // namespace zorbec

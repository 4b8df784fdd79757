#include "base/log_stream.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "base/text_lines.h"
#include "tests/unit/support/captured_stream.h"
#include "tests/unit/support/errors.h"
#include "tests/unit/support/file_size_limit.h"
#include "tests/unit/support/files.h"
#include "tests/unit/support/process.h"
#include "tests/unit/support/threads.h"

namespace zorbec {
namespace {

using unit::error_of;
using unit::read_text;

const std::string kPath = "/tmp/log_stream_test.txt";

// A line that tells whether anything of it is missing or foreign.
std::string message(std::size_t writer, std::size_t number, std::size_t size) {
  return std::to_string(writer) + ":" + std::to_string(number) + ":" +
         std::string(size, static_cast<char>('a' + writer)) + "\n";
}

// Whether the text is, in some order, the messages of all writers, those of one in their order.
bool holds_whole_messages(std::string_view text, std::size_t writers,
                          const std::function<std::size_t(std::size_t number)>& size_of,
                          std::size_t messages) {
  std::vector<std::size_t> next(writers, 0);
  for (const std::string_view line : split_lines(text)) {
    const std::size_t writer = static_cast<std::size_t>(line.front() - '0');
    if (writer >= writers) return false;
    const std::size_t number = next[writer]++;
    if (std::string(line) + "\n" != message(writer, number, size_of(number))) return false;
  }
  return next == std::vector<std::size_t>(writers, messages);
}

TEST(LogStream, messages_are_in_the_file_once_it_is_flushed) {
  LogStream log(kPath);
  log.write("\nfirst");
  log.write("\nsecond");
  log.flush();
  EXPECT_EQ(read_text(kPath), "\nfirst\nsecond");
  log.write("\nthird");
  log.close();
  EXPECT_EQ(read_text(kPath), "\nfirst\nsecond\nthird");
}

TEST(LogStream, large_message_does_not_overtake_those_that_wait) {
  LogStream log(kPath);
  const std::string large(200'000, 'x');
  log.write("small");
  log.write(large);
  log.write("small");
  log.close();
  EXPECT_TRUE(read_text(kPath) == "small" + large + "small");
}

TEST(LogStream, writes_what_waits_when_it_goes) {
  { LogStream(kPath).write("text"); }
  EXPECT_EQ(read_text(kPath), "text");
}

TEST(LogStream, can_be_closed_twice) {
  LogStream log(kPath);
  log.write("text");
  log.close();
  EXPECT_NO_THROW(log.close());
  EXPECT_NO_THROW(log.flush());
  EXPECT_EQ(read_text(kPath), "text");
}

TEST(LogStream, cannot_be_written_once_it_is_closed) {
  LogStream log(kPath);
  log.close();
  EXPECT_EQ(error_of<std::system_error>([&] { log.write("text"); }),
            "write " + kPath + ": Bad file descriptor");
  EXPECT_EQ(error_of<std::system_error>(
                [&] { log.write_pieces([](const auto& sink) { sink("text"); }); }),
            "write " + kPath + ": Bad file descriptor");
}

TEST(LogStream, reopened_after_close_holds_only_what_was_written_since) {
  LogStream dump_log(kPath);
  dump_log.write("dump phase");
  dump_log.close();
  LogStream verification_log(kPath);
  verification_log.write("verification");
  verification_log.close();
  EXPECT_EQ(read_text(kPath), "verification");
}

TEST(LogStream, late_text_of_an_earlier_stream_does_not_reach_the_file_of_the_later_one) {
  auto early = std::make_unique<LogStream>(kPath);
  early->write("early");
  LogStream later(kPath);
  later.write("later");
  later.close();
  early.reset();
  EXPECT_EQ(read_text(kPath), "later");
}

TEST(LogStream, does_not_follow_a_link) {
  const std::string precious = "/tmp/log_stream_precious";
  unit::write_text(precious, "precious");
  std::filesystem::remove(kPath);
  std::filesystem::create_symlink(precious, kPath);
  LogStream(kPath).write("text");
  EXPECT_EQ(read_text(precious), "precious");
  EXPECT_EQ(read_text(kPath), "text");
}

TEST(LogStream, cannot_be_made_over_a_folder) {
  const std::string folder = "/tmp/log_stream_folder";
  std::filesystem::create_directory(folder);
  EXPECT_EQ(error_of<std::system_error>([&] { LogStream log(folder); }),
            "unlink " + folder + ": Is a directory");
}

TEST(LogStream, messages_of_several_writers_are_whole) {
  constexpr std::size_t kWriters = 8;
  constexpr std::size_t kMessages = 300;
  const auto size_of = [](std::size_t number) { return number % 100 == 7 ? 70'000 : number; };
  LogStream log(kPath);
  unit::in_threads(kWriters, [&](std::size_t writer) {
    for (std::size_t i = 0; i < kMessages; ++i) log.write(message(writer, i, size_of(i)));
  });
  log.close();
  EXPECT_TRUE(holds_whole_messages(read_text(kPath), kWriters, size_of, kMessages));
}

TEST(LogStream, message_in_pieces_is_whole_among_those_of_other_writers) {
  constexpr std::size_t kMessages = 200;
  const auto size_of = [](std::size_t) { return std::size_t{500}; };
  LogStream log(kPath);
  unit::in_threads(2, [&](std::size_t writer) {
    for (std::size_t i = 0; i < kMessages; ++i) {
      const std::string text = message(writer, i, size_of(i));
      if (writer == 0) {
        log.write(text);
      } else {
        log.write_pieces([&](const auto& sink) {
          for (const char& c : text) sink(std::string_view(&c, 1));
        });
      }
    }
  });
  log.close();
  EXPECT_TRUE(holds_whole_messages(read_text(kPath), 2, size_of, kMessages));
}

TEST(LogStream, full_disk_is_an_error_once_and_the_text_is_not_written_later) {
  LogStream log(kPath);
  log.write("lost");
  {
    const unit::FileSizeLimit disk(0);
    EXPECT_EQ(error_of<std::system_error>([&] { log.flush(); }),
              "write " + kPath + ": File too large");
  }
  log.write("kept");
  log.close();
  EXPECT_EQ(read_text(kPath), "kept");
}

// ---------------------------------------------------------------------------------------------

TEST(OutputStream, nothing_waits_in_memory) {
  const UniqueFd file = create_fresh_file(kPath);
  OutputStream output(file.get(), "standard output");
  output.write("line\n");
  EXPECT_EQ(read_text(kPath), "line\n");
}

TEST(OutputStream, lines_of_several_threads_are_whole) {
  constexpr std::size_t kWriters = 8;
  constexpr std::size_t kMessages = 200;
  const auto size_of = [](std::size_t number) { return number * 10; };
  const UniqueFd file = create_fresh_file(kPath);
  OutputStream output(file.get(), "standard output");
  unit::in_threads(kWriters, [&](std::size_t writer) {
    for (std::size_t i = 0; i < kMessages; ++i) output.write(message(writer, i, size_of(i)));
  });
  EXPECT_TRUE(holds_whole_messages(read_text(kPath), kWriters, size_of, kMessages));
}

TEST(OutputStream, cannot_be_written_if_the_host_closed_it) {
  OutputStream output(-1, "standard output");
  EXPECT_EQ(error_of<std::system_error>([&] { output.write("text"); }),
            "write standard output: Bad file descriptor");
}

TEST(ReportError, is_one_line_on_standard_error) {
  const unit::CapturedStream errors(STDERR_FILENO);
  report_error({"node ", "3", ": it failed"});
  EXPECT_EQ(errors.text(), "zorbec: node 3: it failed\n");
}

TEST(ReportError, does_nothing_if_the_host_closed_standard_error) {
  EXPECT_EQ(unit::in_child([] {
              ::close(STDERR_FILENO);
              report_error({"nobody hears it"});
              return 0;
            }),
            0);
}

TEST(ReportError, to_a_broken_pipe_ends_nobody_and_leaves_no_signal_behind) {
  EXPECT_EQ(unit::in_child([] {
              std::array<int, 2> ends{};
              if (::pipe(ends.data()) != 0) return 2;
              ::dup2(ends[1], STDERR_FILENO);
              ::close(ends[0]);
              ::close(ends[1]);
              ::signal(SIGPIPE, SIG_DFL);
              report_error({"nobody hears it"});
              sigset_t pending;
              ::sigpending(&pending);
              sigset_t blocked;
              ::pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
              return sigismember(&pending, SIGPIPE) + sigismember(&blocked, SIGPIPE);
            }),
            0);
}

}  // namespace
}  // namespace zorbec

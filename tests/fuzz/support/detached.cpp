#include "tests/fuzz/support/detached.h"

#include <fcntl.h>
#include <sys/mman.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <utility>

#include "base/error.h"
#include "base/files.h"
#include "context/run_state.h"

namespace zorbec::fuzz {
namespace {

UniqueFd create_memory_file(const std::string& path) {
  UniqueFd file(::memfd_create(path.c_str(), MFD_CLOEXEC));
  if (file.get() < 0) throw_errno("memfd_create", path);
  return file;
}

// Answers commands by a function of the target.
class AnsweringRunner : public CommandRunner {
 public:
  explicit AnsweringRunner(DetachedRun::Answer answer) : answer_(std::move(answer)) {}

  CommandResult run(const Command& command, const std::function<void()>& started) override {
    require(answer_ != nullptr, "no command: " + command.line);
    started();
    return {answer_(command.line), 0};
  }
  void end(int /*signal*/) override {}

 private:
  const DetachedRun::Answer answer_;
};

// Each file is made anew in memory, and there is none to be read.
class MemoryFiles : public RunFiles {
 public:
  UniqueFd create_fresh(const std::string& path) override { return create_memory_file(path); }
  void remove_what_is_not_ours(const std::string& /*path*/) override {}
  void keep_for_ourselves(const std::string& /*path*/) override {}
  std::size_t size(const std::string& path) override { fail(path); }
  std::chrono::nanoseconds modification_time(const std::string& path) override { fail(path); }
  FileText read(const std::string& path, std::size_t /*most_bytes*/) override { fail(path); }
  void remove(const std::string& /*path*/) override {}

 private:
  [[noreturn]] static void fail(const std::string& path) {
    throw_error_number(ENOENT, "open", path);
  }
};

}  // namespace

void require(bool holds, std::string_view what) {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %.*s\n", static_cast<int>(what.size()), what.data());
  std::abort();
}

void require_equal(std::string_view found, std::string_view expected, std::string_view what) {
  if (found == expected) return;
  std::fprintf(stderr, "found:\n%.*s\nexpected:\n%.*s\n", static_cast<int>(found.size()),
               found.data(), static_cast<int>(expected.size()), expected.data());
  require(false, what);
}

DetachedRun::DetachedRun(Answer answer)
    : log_(create_memory_file("log")), standard_output_(create_memory_file("standard output")) {
  bring_up_run_state(
      {std::make_unique<AnsweringRunner>(std::move(answer)), std::make_unique<MemoryFiles>()});
  run_state().standard_output.redirect(standard_output_.get());
}

DetachedRun::~DetachedRun() {
  shut_down_run_state();
}

std::string DetachedRun::printed() const {
  return read_from_start(standard_output_, "standard output");
}

LogStream DetachedRun::log() const {
  UniqueFd same(::fcntl(log_.get(), F_DUPFD_CLOEXEC, 0));
  if (same.get() < 0) throw_errno("fcntl", "log");
  return LogStream("log", std::move(same));
}

std::string DetachedRun::logged() const {
  return read_from_start(log_, "log");
}

std::string failure_of(const std::function<void()>& operation) {
  try {
    operation();
    return {};
  } catch (const CheckError& error) {
    return error.what();
  }
}

}  // namespace zorbec::fuzz

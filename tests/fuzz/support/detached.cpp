#include "tests/fuzz/support/detached.h"

#include <fcntl.h>

#include <cstdio>
#include <cstdlib>
#include <utility>

#include "run/command_runner.h"
#include "run/error.h"
#include "run/files.h"
#include "run/run_state.h"

namespace zorbec {
namespace fuzz {

// What the functions of the product below work on.
struct Current {
  static inline DetachedRun* run = nullptr;
  static inline std::unique_ptr<RunState> state;

  static std::string answer(const std::string& command) {
    require(run != nullptr && run->answer_, "no command: " + command);
    return run->answer_(command);
  }
  static void write(const std::string& path, std::string_view text) {
    if (run != nullptr) run->written_[path] += text;
  }
};

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

DetachedRun::DetachedRun(Answer answer) : answer_(std::move(answer)) {
  Current::run = this;
  bring_up_run_state();
}

DetachedRun::~DetachedRun() {
  shut_down_run_state();
  Current::run = nullptr;
}

const std::string& DetachedRun::written(const std::string& path) const {
  static const std::string kNothing;
  const auto found = written_.find(path);
  return found == written_.end() ? kNothing : found->second;
}

std::string failure_of(const std::function<void()>& operation) {
  try {
    operation();
    return {};
  } catch (const CheckError& error) {
    return error.what();
  }
}

}  // namespace fuzz

using fuzz::Current;

std::string execute(const std::string& cmd, std::string_view /*suffix*/) {
  return Current::answer(cmd);
}

UniqueFd create_fresh_file(const std::string& /*path*/) {
  return UniqueFd(::open("/dev/null", O_RDWR | O_CLOEXEC));
}

void write_all(int /*fd*/, std::string_view text, const std::string& path) {
  Current::write(path, text);
}

void write_from(int /*fd*/, std::string_view& text, const std::string& path) {
  Current::write(path, text);
  text = {};
}

// Without the pattern of node table lines, which nobody reads and which takes longer to compile
// than everything else that a target does.
RunState::RunState() = default;

RunState& run_state() {
  return *Current::state;
}

void bring_up_run_state() {
  Current::state = std::make_unique<RunState>();
}

void shut_down_run_state() {
  Current::state.reset();
}

bool run_state_is_up() {
  return Current::state != nullptr;
}

Observer* the_observer() {
  return run_state_is_up() ? run_state().observer : nullptr;
}

}  // namespace zorbec

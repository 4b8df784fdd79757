#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "base/mutex.h"
#include "context/machine.h"
#include "context/run_files.h"

namespace zorbec::unit {

// A command as the runner was given it.
struct Asked {
  std::string line;
  std::string suffix;
  std::string node;

  explicit Asked(const Command& command)
      : line(command.line), suffix(command.suffix), node(command.node) {}
  friend bool operator==(const Asked&, const Asked&) = default;
};

// Starts nothing: a command is answered by a function, and written down.
class AnsweringRunner : public CommandRunner {
 public:
  using Answer = std::function<std::string(const Asked& command)>;

  explicit AnsweringRunner(Answer answer) : answer_(std::move(answer)) {}

  CommandResult run(const Command& command, const std::function<void()>& started) override {
    started();
    const Asked asked(command);
    const MutexLock lock(mutex_);
    asked_.push_back(asked);
    return {answer_(asked), status};
  }
  void announce(const std::function<void(const Visit&)>& each) override {
    const MutexLock lock(mutex_);
    each([this](const Command& command)
             ZORBEC_REQUIRES(mutex_) { announced_.emplace_back(command); });
  }
  void end(int /*signal*/) override {}

  std::vector<Asked> asked() const {
    const MutexLock lock(mutex_);
    return asked_;
  }
  std::vector<Asked> announced() const {
    const MutexLock lock(mutex_);
    return announced_;
  }

  int status = 0;  // of all commands

 private:
  const Answer answer_;
  mutable Mutex mutex_;
  std::vector<Asked> asked_ ZORBEC_GUARDED_BY(mutex_);
  std::vector<Asked> announced_ ZORBEC_GUARDED_BY(mutex_);
};

}  // namespace zorbec::unit

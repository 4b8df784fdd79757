#include "host/progress.h"

#include <fmt/format.h>

#include <chrono>
#include <iterator>

namespace zorbec {
namespace {

std::string waiting_text(const Place& place) {
  const auto waits = std::chrono::steady_clock::now() - place.since;
  return fmt::format("{}{} ({} s)", place.node.empty() ? "" : place.node + " ", place.command,
                     std::chrono::duration_cast<std::chrono::seconds>(waits).count());
}

}  // namespace

void Progress::begin(Check check) {
  const MutexLock lock(mutex_);
  check_ = check;
  phase_ = "set-up";
  started_ = ended_ = 0;
}

void Progress::take(const Event& event) {
  const MutexLock lock(mutex_);
  if (const auto* phase = std::get_if<event::PhaseStarted>(&event)) {
    phase_ = phase->phase == event::Phase::kDump ? "dump" : "verification";
    started_ = ended_ = 0;
  } else if (std::holds_alternative<event::WorkerStarted>(event)) {
    ++started_;
  } else if (std::holds_alternative<event::WorkerEnded>(event)) {
    ++ended_;
  }
}

std::string Progress::line() const {
  std::string text;
  {
    const MutexLock lock(mutex_);
    text = fmt::format("{}, {}", check_name(check_), phase_);
    if (started_ > 0) text += fmt::format(": {} of {} nodes done", ended_, started_);
  }
  bool is_first = true;
  for (const Place& place : places_.running()) {
    if (place.command.empty()) continue;
    fmt::format_to(std::back_inserter(text), "{}{}", is_first ? "; waiting: " : ", ",
                   waiting_text(place));
    is_first = false;
  }
  return text;
}

}  // namespace zorbec

#include "host/check/progress.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <iterator>

#include "tables/node_record.h"

namespace zorbec {
namespace {

std::string waiting_text(const Place& place) {
  const auto waits = std::chrono::steady_clock::now() - place.since;
  return fmt::format("{}{} ({} s)", place.node.empty() ? "" : "node " + place.node + ": ",
                     place.command,
                     std::chrono::duration_cast<std::chrono::seconds>(waits).count());
}

}  // namespace

void Progress::begin(Check check) {
  const MutexLock lock(mutex_);
  check_ = check;
  phase_ = "set-up";
  nodes_ = workers_ = ended_ = 0;
}

void Progress::take(const Event& event) {
  const MutexLock lock(mutex_);
  if (const auto* listed = std::get_if<event::NodesListed>(&event)) {
    // Not counted from workers that began: before the last one has started, the line would show too
    // few nodes.
    nodes_ = static_cast<std::size_t>(std::ranges::count_if(
        listed->nodes, [](const auto& node) { return node.second->nodeip.value_or("") != kNone; }));
  } else if (const auto* phase = std::get_if<event::PhaseStarted>(&event)) {
    const bool is_dump = phase->phase == event::Phase::kDump;
    phase_ = is_dump ? "dump" : "verification";
    // Multicast state is compared by one worker.
    workers_ = is_dump || check_ == Check::kInterfaces ? nodes_ : 1;
    ended_ = 0;
  } else if (std::holds_alternative<event::WorkerEnded>(event)) {
    ++ended_;
  }
}

std::string Progress::line() const {
  std::string text;
  // The lock is not held while the places are asked: they have their own.
  {
    const MutexLock lock(mutex_);
    text = fmt::format("{}, {}", check_name(check_), phase_);
    if (workers_ > 1) text += fmt::format(": {} of {} nodes done", ended_, workers_);
  }
  bool is_first = true;
  for (const Place& place : places_.running()) {
    if (place.command.empty()) continue;
    fmt::format_to(std::back_inserter(text), "{}{}", is_first ? "; waiting for " : ", ",
                   waiting_text(place));
    is_first = false;
  }
  return text;
}

}  // namespace zorbec

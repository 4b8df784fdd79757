#include "host/facts/worker_places.h"

#include <algorithm>

namespace zorbec {

Place WorkerPlaces::follow(const Event& event) {
  const MutexLock lock(mutex_);
  const auto [found, is_new] = places_.try_emplace(std::this_thread::get_id());
  Place& place = found->second;
  if (const auto* started = std::get_if<event::WorkerStarted>(&event)) {
    place = Place{std::string(started->node), std::string(started->task)};
  } else if (const auto* step = std::get_if<event::StepStarted>(&event)) {
    place.step = step->step;
    place.intf_class = step->intf_class;
  } else if (const auto* command = std::get_if<event::CommandStarted>(&event)) {
    place.command = command->command;
    place.since = std::chrono::steady_clock::now();
  } else if (std::holds_alternative<event::CommandEnded>(event)) {
    place.command.clear();
  } else if (std::holds_alternative<event::WorkerEnded>(event)) {
    // A later thread may get the same identifier.
    Place last = place;
    places_.erase(found);
    return last;
  }
  return place;
}

std::vector<Place> WorkerPlaces::running() const {
  std::vector<Place> places;
  {
    const MutexLock lock(mutex_);
    for (const auto& [thread, place] : places_) {
      if (!place.node.empty() || !place.command.empty()) places.push_back(place);
    }
  }
  std::ranges::sort(places, {}, &Place::node);
  return places;
}

}  // namespace zorbec

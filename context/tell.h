#pragma once

#include "context/observer.h"
#include "context/run_state.h"

namespace zorbec {

// Tells the observer of the run state that is up what make() returns; without an observer nothing
// is made. Throws what the observer throws.
template <typename Make>
void tell(Make make) {
  if (!run_state_is_up()) return;
  if (Observer* const observer = run_state().observer) observer->observe(make());
}

// Whether somebody watches, so that it pays to find out what can be told.
inline bool is_watched() {
  return run_state_is_up() && run_state().observer != nullptr;
}

}  // namespace zorbec

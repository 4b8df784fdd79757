#pragma once

#include "context/observer.h"
#include "context/run_state.h"

namespace zorbec {

// Reports an event: calls make() and passes its result to the observer of the run state. Without a
// run state or an observer, make() is not called. Throws what make() and the observer throw. Safe
// from any thread.
template <typename Make>
void tell(Make make) {
  if (!run_state_is_up()) return;
  if (Observer* const observer = run_state().observer) observer->observe(make());
}

// Whether there is an observer. For callers that would have to do extra work for an event.
inline bool is_watched() {
  return run_state_is_up() && run_state().observer != nullptr;
}

}  // namespace zorbec

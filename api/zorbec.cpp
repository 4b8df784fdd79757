#include "api/zorbec.h"

#include <cstdlib>
#include <ctime>
#include <exception>
#include <string>

#include "base/log_stream.h"
#include "base/mutex.h"
#include "context/run_state.h"
#include "context/this_machine.h"
#include "run/run_driver.h"

namespace {

constexpr std::uint32_t kFailed = 4294967294U;  // -2 as an unsigned number

// Every entry point holds this lock: two runs at the same time would overwrite each other's files
// in /tmp.
zorbec::Mutex& entry_lock() {
  static zorbec::Mutex lock;
  return lock;
}

}  // namespace

void* zorbec_init() {
  try {
    const zorbec::MutexLock lock(entry_lock());
    if (zorbec::run_state_is_up()) {
      zorbec::report_error({"zorbec_init: the checker is up already"});
    } else {
      zorbec::bring_up_run_state(zorbec::this_machine());
    }
    return &zorbec::run_state();
  } catch (const std::exception& error) {
    // The handle is always valid, so there is no other way to fail. This is required.
    zorbec::report_error({"zorbec_init: the checker cannot be brought up: ", error.what()});
    std::abort();
  }
}

std::uint32_t zorbec_run(std::uint32_t mode) {
  try {
    const zorbec::MutexLock lock(entry_lock());
    if (!zorbec::run_state_is_up()) {
      zorbec::report_error({"zorbec_run: the checker is not up, call zorbec_init first"});
      return kFailed;
    }
    // The results are not used. Hosts may interpose clock() to see where a run begins and ends.
    static_cast<void>(std::clock());
    std::string pending_error;
    const auto status = static_cast<std::uint32_t>(zorbec::run_zorbec(mode, pending_error));
    static_cast<void>(std::clock());
    if (status == kFailed) zorbec::report_error({"run failed: ", pending_error});
    return status;
  } catch (const std::exception& error) {
    zorbec::report_error({"run failed: ", error.what()});
    return kFailed;
  }
}

void zorbec_finalize() {
  try {
    const zorbec::MutexLock lock(entry_lock());
    if (!zorbec::run_state_is_up()) {
      zorbec::report_error({"zorbec_finalize: the checker is not up"});
      return;
    }
    zorbec::shut_down_run_state();
  } catch (const std::exception& error) {
    zorbec::report_error({"zorbec_finalize: ", error.what()});
  }
}

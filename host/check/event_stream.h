#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "base/files.h"
#include "base/mutex.h"
#include "context/observer.h"
#include "host/facts/worker_places.h"
#include "host/report/report.h"

namespace zorbec {

// Writes what a run tells to a file as it happens, one JSON object a line.
class EventStream {
 public:
  // "-" is standard output. Throws std::system_error if the file cannot be made.
  explicit EventStream(const std::string& path);

  void begin(Check check);
  void take(const Event& event, const Place& place);
  void end(Verdict verdict);

  // Why the stream is not whole, empty if it is. What cannot be written does not end the check.
  std::string failure() const;

 private:
  void write(const std::string& line);

  const std::string path_;
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  UniqueFd file_;
  int fd_;
  mutable Mutex mutex_;
  std::string failure_ ZORBEC_GUARDED_BY(mutex_);
};

}  // namespace zorbec

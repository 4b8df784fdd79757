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

// Writes the events of a run to a file as they happen, one JSON object per line, in the form of
// docs/events.schema.json. Lines of several threads never mix. Safe from any thread; the calling
// worker waits for the write.
class EventStream {
 public:
  // "-" is standard output. Anything else is opened as open_output_stream() does, and throws what
  // it throws.
  explicit EventStream(const std::string& path);

  // The line "check_started"; one for each check.
  void begin(Check check);
  // The line of the event; `place` is that of the thread that reported it.
  void take(const Event& event, const Place& place);
  // The line "check_ended"; the last one.
  void end(Verdict verdict);

  // What the first failed write said; empty if none failed. A failed write does not end the check:
  // no further line is written.
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

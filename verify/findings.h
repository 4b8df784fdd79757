#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "base/log_stream.h"

namespace zorbec {

// Reports the findings of one comparison of a node, each to the node's log at once and, in another
// wording, on standard output. There can be hundreds of thousands with nothing slow between them:
// the first is written at once, and of the others those share a write that a pipe takes together as
// a whole.
class Findings {
 public:
  // Of node `nodename`. Both outlive this.
  Findings(const std::string& nodename, LogStream& log) : nodename_(nodename), log_(log) {}
  // Writes what waits, whatever ended the comparison, even an earlier write that failed. An error
  // of which nobody knows yet goes to standard error.
  ~Findings();
  Findings(const Findings&) = delete;
  Findings& operator=(const Findings&) = delete;

  // `for_operator` may wait for the next flush(). Both throw std::system_error if standard output
  // cannot be written; what was not written waits on, and is in the log.
  void report(std::string_view for_operator, std::string_view for_log);
  void flush();

 private:
  // The first `size` bytes of what waits.
  void write(std::size_t size);

  const std::string& nodename_;
  LogStream& log_;
  std::string waiting_;
  bool is_first_ = true;
  bool has_failed_ = false;
};

}  // namespace zorbec

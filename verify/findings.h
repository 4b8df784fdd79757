#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "base/log_stream.h"

namespace zorbec {

// Writes the findings of one comparison of one node to the node's log and to standard output.
//
// There can be hundreds of thousands of findings, with nothing slow between them. So standard
// output is buffered here: the first finding is written at once, the others in blocks of at most
// PIPE_BUF bytes, because a pipe takes such a write as a whole and does not mix it with others.
//
// An object belongs to one thread. Several objects may be used at the same time.
class Findings {
 public:
  // `nodename` is the node. Both arguments must outlive the object.
  Findings(const std::string& nodename, LogStream& log) : nodename_(nodename), log_(log) {}
  // Writes what is still in the buffer, also after an exception, and also if an earlier write has
  // failed. An error is reported on standard error, unless an earlier write has thrown already.
  ~Findings();
  Findings(const Findings&) = delete;
  Findings& operator=(const Findings&) = delete;

  // Writes `for_log` to the log, and `for_operator` to standard output, perhaps only at the next
  // flush(). Both functions throw std::system_error if the log or standard output cannot be
  // written. What was not written to standard output stays in the buffer.
  void report(std::string_view for_operator, std::string_view for_log);
  void flush();

 private:
  // Writes the first `size` bytes of the buffer.
  void write(std::size_t size);

  const std::string& nodename_;
  LogStream& log_;
  std::string waiting_;
  bool is_first_ = true;
  bool has_failed_ = false;
};

}  // namespace zorbec

#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "base/files.h"
#include "base/log_stream.h"

// The checker without a router and without a disk: a fuzz target runs the product on a machine on
// which a command is answered by a function of the target, and files are kept in memory.
namespace zorbec::fuzz {

// Ends the process unless `holds`, so that the fuzzer keeps the input; `what` ought to have held.
void require(bool holds, std::string_view what);

// The same for two texts, which are shown if they differ.
void require_equal(std::string_view found, std::string_view expected, std::string_view what);

// A fresh run state on such a machine, up as long as this lives.
class DetachedRun {
 public:
  // Gets a command line and returns what it prints on standard output.
  using Answer = std::function<std::string(const std::string& command)>;

  // Without an answer, no command may be run.
  explicit DetachedRun(Answer answer = nullptr);
  ~DetachedRun();
  DetachedRun(const DetachedRun&) = delete;
  DetachedRun& operator=(const DetachedRun&) = delete;

  // A log for the operations. All logs of a run are one file.
  LogStream log() const;

  // What was written to logs, as far as they were flushed, and on standard output.
  std::string logged() const;
  std::string printed() const;

 private:
  const UniqueFd log_;
  const UniqueFd standard_output_;
};

// Calls operation(); returns what the CheckError that ended it says, empty if none did. Any other
// exception is nobody's to throw and ends the process.
std::string failure_of(const std::function<void()>& operation);

}  // namespace zorbec::fuzz

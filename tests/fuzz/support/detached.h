#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>

// The checker without a router and without a disk. A fuzz target is linked with this instead of the
// command runner, the files and the run state of the product: a command is answered by a function
// of the target, and what is written to a file is kept in memory.
namespace zorbec::fuzz {

// Ends the process unless `holds`, so that the fuzzer keeps the input; `what` ought to have held.
void require(bool holds, std::string_view what);

// The same for two texts, which are shown if they differ.
void require_equal(std::string_view found, std::string_view expected, std::string_view what);

// A fresh run state, up as long as this lives.
class DetachedRun {
 public:
  // Gets a command line and returns what it prints on standard output.
  using Answer = std::function<std::string(const std::string& command)>;

  // Without an answer, no command may be run.
  explicit DetachedRun(Answer answer = nullptr);
  ~DetachedRun();
  DetachedRun(const DetachedRun&) = delete;
  DetachedRun& operator=(const DetachedRun&) = delete;

  // Everything that was written to the file, or to "standard output".
  const std::string& written(const std::string& path) const;

 private:
  friend struct Current;
  Answer answer_;
  std::map<std::string, std::string> written_;
};

// Calls operation(); returns what the CheckError that ended it says, empty if none did. Any other
// exception is nobody's to throw and ends the process.
std::string failure_of(const std::function<void()>& operation);

}  // namespace zorbec::fuzz

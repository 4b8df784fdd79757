#pragma once

#include <chrono>
#include <cstddef>
#include <string>

#include "base/file_text.h"
#include "base/files.h"

namespace zorbec {

// Access to the files of a run: its logs, and its copies of dumps. Paths are the real ones, mostly
// in /tmp; an implementation may keep the files elsewhere. The run state gets it from outside;
// SystemFiles is the one for this machine. All functions must be safe from any thread, and throw
// std::system_error (errno, failed call, path).
class RunFiles {
 public:
  RunFiles() = default;
  virtual ~RunFiles() = default;
  RunFiles(const RunFiles&) = delete;
  RunFiles& operator=(const RunFiles&) = delete;

  // These do what the functions of the same names in base/files.h do.
  virtual UniqueFd create_fresh(const std::string& path) = 0;
  virtual void remove_what_is_not_ours(const std::string& path) = 0;
  virtual void keep_for_ourselves(const std::string& path) = 0;
  virtual std::size_t size(const std::string& path) = 0;
  virtual std::chrono::nanoseconds modification_time(const std::string& path) = 0;
  virtual FileText read(const std::string& path, std::size_t most_bytes) = 0;
  // Removes the file. No error if it does not exist.
  virtual void remove(const std::string& path) = 0;
};

// The files of this machine.
class SystemFiles : public RunFiles {
 public:
  UniqueFd create_fresh(const std::string& path) override;
  void remove_what_is_not_ours(const std::string& path) override;
  void keep_for_ourselves(const std::string& path) override;
  std::size_t size(const std::string& path) override;
  std::chrono::nanoseconds modification_time(const std::string& path) override;
  FileText read(const std::string& path, std::size_t most_bytes) override;
  void remove(const std::string& path) override;
};

}  // namespace zorbec

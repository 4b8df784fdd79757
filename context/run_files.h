#pragma once

#include <chrono>
#include <cstddef>
#include <string>

#include "base/file_text.h"
#include "base/files.h"

namespace zorbec {

// The files of a run: its logs and copies of dumps, under the names that they have in /tmp. A run
// gets them from outside; SystemFiles are those of this machine. All functions may be called from
// any thread, and throw std::system_error (errno, failed call, path).
class RunFiles {
 public:
  RunFiles() = default;
  virtual ~RunFiles() = default;
  RunFiles(const RunFiles&) = delete;
  RunFiles& operator=(const RunFiles&) = delete;

  // See the functions of these names in base/files.h.
  virtual UniqueFd create_fresh(const std::string& path) = 0;
  virtual void remove_what_is_not_ours(const std::string& path) = 0;
  virtual void keep_for_ourselves(const std::string& path) = 0;
  virtual std::size_t size(const std::string& path) = 0;
  virtual std::chrono::nanoseconds modification_time(const std::string& path) = 0;
  virtual FileText read(const std::string& path, std::size_t most_bytes) = 0;
  // Removes the file if it is there.
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

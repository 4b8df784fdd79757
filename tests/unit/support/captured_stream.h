#pragma once

#include <unistd.h>

#include <stdexcept>
#include <string>

#include "base/files.h"

namespace zorbec::unit {

// For its lifetime, what is written on one of the process's standard streams goes to a file.
class CapturedStream {
 public:
  explicit CapturedStream(int fd)
      : fd_(fd),
        path_("/tmp/captured_" + std::to_string(fd)),
        file_(create_fresh_file(path_)),
        before_(::dup(fd)) {
    if (before_.get() < 0 || ::dup2(file_.get(), fd) < 0) throw std::runtime_error("dup");
  }
  CapturedStream(const CapturedStream&) = delete;
  CapturedStream& operator=(const CapturedStream&) = delete;
  ~CapturedStream() {
    ::dup2(before_.get(), fd_);
    ::unlink(path_.c_str());
  }

  // Everything that was written so far.
  std::string text() const {
    std::string all;
    char piece[4096];
    ssize_t got = 0;
    while ((got = ::pread(file_.get(), piece, sizeof piece, static_cast<off_t>(all.size()))) > 0) {
      all.append(piece, static_cast<std::size_t>(got));
    }
    return all;
  }

 private:
  const int fd_;
  const std::string path_;
  const UniqueFd file_;
  const UniqueFd before_;
};

}  // namespace zorbec::unit

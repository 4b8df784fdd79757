#pragma once

#include <sys/resource.h>

#include <csignal>
#include <stdexcept>

namespace zorbec::unit {

// For its lifetime, what would make a file longer than this fails, as on a disk that is full.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) : action_before_(std::signal(SIGXFSZ, SIG_IGN)) {
    if (::getrlimit(RLIMIT_FSIZE, &before_) != 0) throw std::runtime_error("getrlimit");
    const rlimit limit{bytes, before_.rlim_max};
    if (::setrlimit(RLIMIT_FSIZE, &limit) != 0) throw std::runtime_error("setrlimit");
  }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;
  ~FileSizeLimit() {
    ::setrlimit(RLIMIT_FSIZE, &before_);
    std::signal(SIGXFSZ, action_before_);
  }

 private:
  rlimit before_{};
  void (*const action_before_)(int);
};

}  // namespace zorbec::unit

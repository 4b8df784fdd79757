#include "context/run_files.h"

#include <unistd.h>

#include <cerrno>

#include "base/error.h"

namespace zorbec {

UniqueFd SystemFiles::create_fresh(const std::string& path) {
  return create_fresh_file(path);
}

void SystemFiles::remove_what_is_not_ours(const std::string& path) {
  zorbec::remove_what_is_not_ours(path);
}

void SystemFiles::keep_for_ourselves(const std::string& path) {
  zorbec::keep_for_ourselves(path);
}

std::size_t SystemFiles::size(const std::string& path) {
  return file_size(path);
}

std::chrono::nanoseconds SystemFiles::modification_time(const std::string& path) {
  return zorbec::modification_time(path);
}

FileText SystemFiles::read(const std::string& path, std::size_t most_bytes) {
  return read_file(path, most_bytes);
}

void SystemFiles::remove(const std::string& path) {
  if (::unlink(path.c_str()) != 0 && errno != ENOENT) throw_errno("unlink", path);
}

}  // namespace zorbec

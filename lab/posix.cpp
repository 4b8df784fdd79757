#include "lab/posix.h"

#include <fcntl.h>
#include <sys/sendfile.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>

namespace zorbec::lab {

void throw_errno(const char* call, const std::string& subject) {
  throw std::system_error(errno, std::generic_category(), std::string(call) + " " + subject);
}

UniqueFd open_file(const std::string& path, int flags, mode_t mode) {
  UniqueFd fd(::open(path.c_str(), flags | O_CLOEXEC, mode));
  if (!fd) throw_errno("open", path);
  return fd;
}

UniqueFd open_if_present(const std::string& path) {
  UniqueFd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!fd && errno != ENOENT && errno != ENOTDIR) throw_errno("open", path);
  return fd;
}

std::string read_text(const std::string& path) {
  std::string text;
  const UniqueFd fd = open_if_present(path);
  if (!fd) return text;
  std::array<char, 16384> part;
  for (;;) {
    const ssize_t got = ::read(fd.get(), part.data(), part.size());
    if (got == 0) return text;
    if (got > 0) {
      text.append(part.data(), static_cast<std::size_t>(got));
    } else if (errno != EINTR) {
      throw_errno("read", path);
    }
  }
}

void write_text(const std::string& path, std::string_view text) {
  const UniqueFd fd = open_file(path, O_WRONLY | O_CREAT | O_TRUNC, 0644);
  write_all(fd.get(), text);
}

void write_all(int fd, std::string_view text) {
  while (!text.empty()) {
    const ssize_t put = ::write(fd, text.data(), text.size());
    if (put >= 0) {
      text.remove_prefix(static_cast<std::size_t>(put));
    } else if (errno != EINTR) {
      throw_errno("write", "to descriptor " + std::to_string(fd));
    }
  }
}

std::uint64_t size_of(int fd) {
  struct stat status {};
  if (::fstat(fd, &status) != 0) throw_errno("fstat", "descriptor " + std::to_string(fd));
  return static_cast<std::uint64_t>(status.st_size);
}

void copy_bytes(int from, int to, std::uint64_t length) {
  constexpr std::uint64_t kMostAtOnce = 0x40000000;
  while (length > 0) {
    const ssize_t sent = ::sendfile(to, from, nullptr, std::min(length, kMostAtOnce));
    if (sent == 0) return;
    if (sent > 0) {
      length -= static_cast<std::uint64_t>(sent);
    } else if (errno == EINVAL || errno == ENOSYS) {
      break;  // the kernel does not copy to every target, such as one that is open for appending
    } else if (errno != EINTR) {
      throw_errno("sendfile", "to descriptor " + std::to_string(to));
    }
  }
  std::array<char, 65536> part;
  while (length > 0) {
    const ssize_t got = ::read(from, part.data(), std::min<std::uint64_t>(length, part.size()));
    if (got == 0) return;
    if (got > 0) {
      write_all(to, {part.data(), static_cast<std::size_t>(got)});
      length -= static_cast<std::uint64_t>(got);
    } else if (errno != EINTR) {
      throw_errno("read", "from descriptor " + std::to_string(from));
    }
  }
}

void report(std::string_view line) {
  write_all(STDERR_FILENO, std::string(line) + "\n");
}

}  // namespace zorbec::lab

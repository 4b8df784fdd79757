#include "base/files.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>

#include <cerrno>

#include "base/error.h"

namespace zorbec {
namespace {

constexpr mode_t kNewFileMode = 0666;  // the umask of the host is applied to it

// O_EXCL: fails with EEXIST if anything has the name, even a dangling link.
int create_exclusively(const std::string& path) {
  return ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, kNewFileMode);
}

// One read(), repeated after EINTR. Returns 0 at the end of the file.
std::size_t read_some(int fd, char* to, std::size_t size, const std::string& path) {
  for (;;) {
    const ssize_t got = ::read(fd, to, size);
    if (got >= 0) return static_cast<std::size_t>(got);
    if (errno != EINTR) throw_errno("read", path);
  }
}

}  // namespace

UniqueFd create_fresh_file(const std::string& path) {
  // Several workers may create the same name at once: the output file of the default suffix. One of
  // them may create it between our unlink() and our open(). Then we try again. The loop ends: each
  // failed round means that another worker has succeeded.
  for (;;) {
    if (::unlink(path.c_str()) != 0 && errno != ENOENT) throw_errno("unlink", path);
    UniqueFd fd(create_exclusively(path));
    if (fd.get() >= 0) return fd;
    if (errno != EEXIST && errno != EINTR) throw_errno("open", path);
  }
}

bool remove_what_is_not_ours(const std::string& path) {
  struct stat status {};
  if (::lstat(path.c_str(), &status) != 0) {
    if (errno != ENOENT) throw_errno("lstat", path);
    return true;
  }
  if (S_ISREG(status.st_mode) && status.st_uid == ::geteuid() && status.st_nlink == 1) return false;
  if (::unlink(path.c_str()) != 0 && errno != ENOENT) throw_errno("unlink", path);
  return true;
}

void keep_for_ourselves(const std::string& path) {
  while (remove_what_is_not_ours(path)) {
    const UniqueFd fd(create_exclusively(path));
    if (fd.get() >= 0) return;
    // EEXIST: somebody took the free name. Look again at what is there.
    if (errno != EEXIST) throw_errno("open", path);
  }
}

namespace {

struct stat status_of(const std::string& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) throw_errno("stat", path);
  return status;
}

}  // namespace

std::size_t file_size(const std::string& path) {
  return static_cast<std::size_t>(status_of(path).st_size);
}

std::chrono::nanoseconds modification_time(const std::string& path) {
  const timespec time = status_of(path).st_mtim;
  // Times are 64-bit nanoseconds, which overflow after 292 years. A file may claim any time, so
  // later ones are cut to this.
  constexpr std::chrono::seconds kLatest = std::chrono::hours(24 * 365 * 200);
  if (std::chrono::seconds(time.tv_sec) > kLatest) return kLatest;
  return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

FileText read_file(const std::string& path, std::size_t most_bytes) {
  // O_NONBLOCK: opening a FIFO must not wait for a writer.
  const UniqueFd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (fd.get() < 0) throw_errno("open", path);
  struct stat status {};
  if (::fstat(fd.get(), &status) != 0) throw_errno("fstat", path);

  const auto expected = static_cast<std::size_t>(status.st_size);
  if (expected > most_bytes) throw_error_number(EFBIG, "read", path);
  FileText text(expected);
  for (std::size_t done = 0; done < expected;) {
    const std::size_t got = read_some(fd.get(), text.bytes.get() + done, expected - done, path);
    if (got == 0) {
      text.shorten(done);  // the file became shorter while it was read
      break;
    }
    done += got;
  }
  return text;
}

std::string read_from_start(const UniqueFd& fd, const std::string& path) {
  if (::lseek(fd.get(), 0, SEEK_SET) < 0) throw_errno("lseek", path);
  struct stat status {};
  if (::fstat(fd.get(), &status) != 0) throw_errno("fstat", path);

  // One byte more than the file's size. So the read() that reports the end of the file still has
  // room, and the text is not doubled for it.
  std::string text(static_cast<std::size_t>(status.st_size) + 1, '\0');
  std::size_t size = 0;
  while (const std::size_t got =
             read_some(fd.get(), text.data() + size, text.size() - size, path)) {
    size += got;
    if (size == text.size()) text.resize(text.size() * 2);
  }
  text.resize(size);
  return text;
}

void write_from(int fd, std::string_view& text, const std::string& path) {
  while (!text.empty()) {
    const ssize_t done = ::write(fd, text.data(), text.size());
    if (done >= 0) {
      text.remove_prefix(static_cast<std::size_t>(done));
    } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
      // The host may have made its standard output non-blocking.
      pollfd wait{fd, POLLOUT, 0};
      if (::poll(&wait, 1, -1) < 0 && errno != EINTR) throw_errno("poll", path);
    } else if (errno != EINTR) {
      throw_errno("write", path);
    }
  }
}

void write_all(int fd, std::string_view text, const std::string& path) {
  write_from(fd, text, path);
}

}  // namespace zorbec

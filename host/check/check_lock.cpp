#include "host/check/check_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <thread>

#include "base/error.h"
#include "host/report/report_json.h"

namespace zorbec {
namespace {

constexpr std::chrono::milliseconds kBetweenTries{200};
// A command that a killed check was starting holds the lock too, until its exec() closes the
// descriptor. So the first tries are made without asking anybody: one second.
constexpr int kTriesAtOnce = 5;

UniqueFd open_lock(const std::string& path) {
  // Somebody's link, FIFO or device of that name is neither followed nor waited for.
  UniqueFd file(::open(path.c_str(),
                       O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY, 0644));
  if (file.get() < 0) throw_errno("open", path);
  struct stat status {};
  if (::fstat(file.get(), &status) != 0) throw_errno("fstat", path);
  if (!S_ISREG(status.st_mode)) throw CheckError(path + " is not a regular file");
  // With a second name it may be somebody's file, and we would write into that.
  if (status.st_nlink != 1)
    throw CheckError(path + " is a file with more than one name (hard links)");
  return file;
}

bool take_lock(const UniqueFd& file, const std::string& path) {
  while (::flock(file.get(), LOCK_EX | LOCK_NB) != 0) {
    if (errno == EWOULDBLOCK) return false;
    if (errno != EINTR) throw_errno("flock", path);
  }
  return true;
}

std::string holder(const UniqueFd& file, const std::string& path) {
  std::string who = read_from_start(file, path).substr(0, 200);
  while (!who.empty() && who.back() == '\n') who.pop_back();
  return who.empty() ? "an unknown process" : in_quotes(who);
}

}  // namespace

CheckLock::CheckLock(const std::string& path,
                     const std::function<bool(const std::string& who)>& should_wait)
    : file_(open_lock(path)) {
  for (int tries = 1; !take_lock(file_, path); ++tries) {
    if (tries >= kTriesAtOnce) {
      const std::string who = holder(file_, path);
      if (!should_wait(who)) throw CheckError("another check is running: " + who);
    }
    std::this_thread::sleep_for(kBetweenTries);
  }
  // The text is for people only. The lock itself is the flock, which goes with its last holder.
  if (::ftruncate(file_.get(), 0) != 0) throw_errno("ftruncate", path);
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  const std::string who = "process " + std::to_string(::getpid()) + " of user " +
                          std::to_string(::getuid()) + ", since " + utc_text(now) + "\n";
  if (::lseek(file_.get(), 0, SEEK_SET) < 0) throw_errno("lseek", path);
  write_all(file_.get(), who, path);
}

}  // namespace zorbec

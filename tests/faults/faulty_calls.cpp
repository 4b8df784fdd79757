#include "tests/faults/faulty_calls.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <string_view>

namespace {

// Fixed arrays: calls are counted inside operator new.
std::array<char, 64> the_call{};
std::array<char, 4096> the_place{};
std::atomic<bool> is_armed{false};
std::atomic<bool> was_injected{false};
std::atomic<long> count{0};
long the_nth = 0;
int the_error = 0;

enum class Habit { kNone, kInterrupted, kShort, kWaiting, kTrapped };

Habit habit() {
  static const Habit kHabit = [] {
    const char* const text = std::getenv("FAULTY_CALLS");
    const std::string_view name = text == nullptr ? "" : text;
    if (name == "interrupted") return Habit::kInterrupted;
    if (name == "short") return Habit::kShort;
    if (name == "waiting") return Habit::kWaiting;
    if (name == "trapped") return Habit::kTrapped;
    return Habit::kNone;
  }();
  return kHabit;
}

// Every other time in each thread, from the first.
bool is_turn() {
  thread_local bool turn = false;
  turn = !turn;
  return turn;
}

bool fails_by_habit(Habit of, int error) {
  if (habit() != of || !is_turn()) return false;
  errno = error;
  return true;
}

// Whether the call is the one that is to fail. Whoever gets true says where it was.
bool is_the_one(const char* call) {
  if (!is_armed || std::strcmp(call, the_call.data()) != 0) return false;
  if (++count != the_nth) return false;
  was_injected = true;
  return true;
}

bool fails(const char* call, const char* where) {
  if (!is_the_one(call)) return false;
  std::strncpy(the_place.data(), where, the_place.size() - 1);
  errno = the_error;
  return true;
}

bool fails(const char* call, int fd) {
  if (!is_the_one(call)) return false;
  if (fd <= STDERR_FILENO) {
    constexpr std::array<const char*, 3> kNames = {"standard input", "standard output",
                                                   "standard error"};
    std::strcpy(the_place.data(), kNames[static_cast<std::size_t>(fd)]);
  } else {
    const std::string link = "/proc/self/fd/" + std::to_string(fd);
    syscall(SYS_readlink, link.c_str(), the_place.data(), the_place.size() - 1);
  }
  errno = the_error;
  return true;
}

template <typename Function>
Function next(Function /*same*/, const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

void* allocate(std::size_t bytes) {
  if (fails("operator new", "memory")) throw std::bad_alloc();
  void* const memory = std::malloc(bytes == 0 ? 1 : bytes);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

}  // namespace

namespace zorbec::faults {

void arm(const std::string& call, long nth, int error) {
  std::strncpy(the_call.data(), call.c_str(), the_call.size() - 1);
  the_place = {};
  the_nth = nth;
  the_error = error;
  count = 0;
  was_injected = false;
  is_armed = true;
}

Counted disarm() {
  is_armed = false;
  std::string where = the_place.data();
  constexpr std::string_view kGone = " (deleted)";
  if (where.ends_with(kGone)) where.erase(where.size() - kGone.size());
  return {count, was_injected, where};
}

}  // namespace zorbec::faults

// Calls the C library's own function of that name.
#define NEXT(name, ...)                                \
  ([&] {                                               \
    static const auto next_one = next(&::name, #name); \
    return next_one(__VA_ARGS__);                      \
  }())

extern "C" {

int open(const char* path, int flags, ...) {
  mode_t mode = 0;
  if ((flags & O_CREAT) != 0) {
    va_list arguments;
    va_start(arguments, flags);
    mode = va_arg(arguments, mode_t);
    va_end(arguments);
  }
  if (fails("open", path)) return -1;
  const int fd = NEXT(open, path, flags, mode);
  const bool is_taken_for_stream = fd >= 0 && fd <= STDERR_FILENO && (flags & O_PATH) == 0;
  if (is_taken_for_stream && habit() == Habit::kTrapped) std::abort();
  return fd;
}

// What it is to close is closed all the same, as close() does on Linux.
int close(int fd) {
  const bool is_to_fail = fails("close", fd);
  const int result = NEXT(close, fd);
  if (!is_to_fail) return result;
  errno = the_error;
  return -1;
}

ssize_t read(int fd, void* to, size_t size) {
  if (fails("read", fd) || fails_by_habit(Habit::kInterrupted, EINTR)) return -1;
  return NEXT(read, fd, to, habit() == Habit::kShort ? std::min<size_t>(size, 1) : size);
}

ssize_t write(int fd, const void* from, size_t size) {
  if (fails("write", fd) || fails_by_habit(Habit::kInterrupted, EINTR) ||
      fails_by_habit(Habit::kWaiting, EAGAIN)) {
    return -1;
  }
  return NEXT(write, fd, from, habit() == Habit::kShort ? std::min<size_t>(size, 1) : size);
}

off_t lseek(int fd, off_t offset, int whence) noexcept {
  return fails("lseek", fd) ? -1 : NEXT(lseek, fd, offset, whence);
}

int stat(const char* path, struct stat* to) noexcept {
  return fails("stat", path) ? -1 : NEXT(stat, path, to);
}

int lstat(const char* path, struct stat* to) noexcept {
  return fails("lstat", path) ? -1 : NEXT(lstat, path, to);
}

int fstat(int fd, struct stat* to) noexcept {
  return fails("fstat", fd) ? -1 : NEXT(fstat, fd, to);
}

int unlink(const char* path) noexcept {
  return fails("unlink", path) ? -1 : NEXT(unlink, path);
}

int poll(pollfd* fds, nfds_t size, int timeout) {
  if (fails("poll", fds->fd) || fails_by_habit(Habit::kInterrupted, EINTR)) return -1;
  return NEXT(poll, fds, size, timeout);
}

int waitid(idtype_t type, id_t id, siginfo_t* info, int options) {
  if (fails("waitid", "/bin/bash") || fails_by_habit(Habit::kInterrupted, EINTR)) return -1;
  return NEXT(waitid, type, id, info, options);
}

pid_t waitpid(pid_t pid, int* status, int options) {
  if (fails("waitpid", "/bin/bash") || fails_by_habit(Habit::kInterrupted, EINTR)) return -1;
  return NEXT(waitpid, pid, status, options);
}

int posix_spawn(pid_t* pid, const char* path, const posix_spawn_file_actions_t* actions,
                const posix_spawnattr_t* attributes, char* const argv[], char* const envp[]) {
  if (fails("posix_spawn", argv[2])) return the_error;
  return NEXT(posix_spawn, pid, path, actions, attributes, argv, envp);
}

int posix_spawn_file_actions_init(posix_spawn_file_actions_t* actions) noexcept {
  if (fails("posix_spawn_file_actions_init", "/bin/bash")) return the_error;
  return NEXT(posix_spawn_file_actions_init, actions);
}

int posix_spawn_file_actions_adddup2(posix_spawn_file_actions_t* actions, int from,
                                     int to) noexcept {
  if (fails("posix_spawn_file_actions_adddup2", "/bin/bash")) return the_error;
  return NEXT(posix_spawn_file_actions_adddup2, actions, from, to);
}

int posix_spawnattr_init(posix_spawnattr_t* attributes) noexcept {
  if (fails("posix_spawnattr_init", "/bin/bash")) return the_error;
  return NEXT(posix_spawnattr_init, attributes);
}

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*start)(void*),
                   void* argument) noexcept {
  if (fails("pthread_create", "worker")) return the_error;
  return NEXT(pthread_create, thread, attributes, start, argument);
}

void* aligned_alloc(size_t alignment, size_t size) noexcept {
  // Where a sanitizer's free() is linked in, the next aligned_alloc() need not be its counterpart.
  void* memory = nullptr;
  if (!fails("aligned_alloc", "memory")) posix_memalign(&memory, alignment, size);
  return memory;
}

}  // extern "C"

void* operator new(std::size_t bytes) {
  return allocate(bytes);
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t /*bytes*/) noexcept {
  std::free(memory);
}

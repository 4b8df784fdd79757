#include "lab/call_log.h"

#include <fcntl.h>

#include <cerrno>
#include <charconv>
#include <ctime>
#include <nlohmann/json.hpp>

#include "lab/layout.h"
#include "lab/posix.h"

namespace zorbec::lab {
namespace {

std::int64_t lab_start_ns() {
  const std::string text = read_text(kStartFile);
  std::int64_t value = 0;
  std::from_chars(text.data(), text.data() + text.size(), value);
  return value;
}

}  // namespace

std::int64_t monotonic_ns() {
  timespec now{};
  ::clock_gettime(CLOCK_MONOTONIC, &now);
  return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

void log_call(const std::vector<std::string>& argv, std::int64_t start_ns, std::int64_t end_ns,
              int exit_status) {
  const UniqueFd file(::open(kCallFile, O_WRONLY | O_APPEND | O_CLOEXEC));
  if (!file) {
    if (errno == ENOENT) return;
    throw_errno("open", kCallFile);
  }
  const std::int64_t lab_start = lab_start_ns();
  nlohmann::ordered_json line;
  line["argv"] = argv;
  line["start"] = static_cast<double>(start_ns - lab_start) / 1e9;
  line["end"] = static_cast<double>(end_ns - lab_start) / 1e9;
  line["exit"] = exit_status;
  // An argument need not be UTF-8, JSON must be: a wrong byte is replaced, not an error.
  write_all(file.get(),
            line.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n");
}

}  // namespace zorbec::lab

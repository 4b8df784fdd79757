// Reads the same dumps into memory as a check, and writes logs of the same sizes. It looks at no
// byte: no check that reads and writes as much can take less.
//
//   zorbec-bench-io-floor LIST
//
// LIST has a line for each file: "read PATH" for a dump, "write PATH BYTES" for a log. Dumps are
// held until the end. Prints what that took.

#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <exception>
#include <fstream>
#include <string>
#include <vector>

#include "base/file_text.h"
#include "base/files.h"

namespace zorbec {
namespace {

constexpr std::size_t kMostBytes = std::size_t{1} << 32U;

void write_log(const std::string& path, std::size_t bytes) {
  static const std::string kText(std::size_t{1} << 16U, '.');
  const UniqueFd log = create_fresh_file(path);
  while (bytes > 0) {
    const std::size_t size = std::min(bytes, kText.size());
    write_all(log.get(), std::string_view(kText).substr(0, size), path);
    bytes -= size;
  }
}

void run(const char* list) {
  const auto begin = std::chrono::steady_clock::now();
  std::vector<FileText> dumps;
  std::ifstream lines(list);
  std::size_t bytes = 0;
  for (std::string what, path; lines >> what >> path;) {
    if (what == "read") {
      dumps.push_back(read_file(path, kMostBytes));
    } else if (lines >> bytes) {
      write_log(path, bytes);
    }
  }
  const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - begin;
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
  };
  std::printf("wall %.3f s, CPU %.3f s, peak %.0f MB\n", wall.count(),
              seconds(usage.ru_utime) + seconds(usage.ru_stime),
              static_cast<double>(usage.ru_maxrss) * 1024 / 1e6);
}

}  // namespace
}  // namespace zorbec

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s LIST\n", argv[0]);
    return 2;
  }
  try {
    zorbec::run(argv[1]);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}

#pragma once

#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>

namespace zorbec::unit {

// Everything in the file at `path`. Throws if it cannot be read.
inline std::string read_text(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("cannot read " + path);
  return {std::istreambuf_iterator<char>(file), {}};
}

// Makes the file at `path` hold `text` and nothing else. What stood there before is removed first,
// so that a link is replaced and not followed. Throws if that fails.
inline void write_text(const std::string& path, std::string_view text, mode_t mode = 0644) {
  std::filesystem::remove_all(path);
  std::ofstream file(path, std::ios::binary);
  file << text << std::flush;
  if (!file || ::chmod(path.c_str(), mode) != 0) throw std::runtime_error("cannot write " + path);
}

}  // namespace zorbec::unit

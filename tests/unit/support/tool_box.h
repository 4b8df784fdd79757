#pragma once

#include <filesystem>
#include <set>
#include <string>
#include <string_view>

#include "tests/unit/support/files.h"

namespace zorbec::unit {

// The platform's tools, as /pkg/bin holds them: a test puts shell scripts in their place. The tools
// that were there come back at the end.
class ToolBox {
 public:
  ToolBox() = default;
  ToolBox(const ToolBox&) = delete;
  ToolBox& operator=(const ToolBox&) = delete;
  ~ToolBox() {
    std::error_code ignored;
    for (const std::string& name : replaced_) {
      const std::string path = kFolder + name;
      std::filesystem::rename(path + kOriginal, path, ignored);
    }
  }

  // Replaces a tool by `script`, lines of shell.
  void install(const std::string& name, std::string_view script) {
    const std::string path = kFolder + name;
    if (replaced_.insert(name).second) std::filesystem::rename(path, path + kOriginal);
    write_text(path, "#!/bin/sh\n" + std::string(script) + "\n", 0755);
  }

  // Replaces a tool by one that prints `answer`, byte for byte, whatever it is asked.
  void answer(const std::string& name, std::string_view answer) {
    const std::string file = kFolder + name + ".answer";
    write_text(file, answer);
    install(name, "cat " + file);
  }

 private:
  static inline const std::string kFolder = "/pkg/bin/";
  static inline const std::string kOriginal = ".original";

  std::set<std::string> replaced_;
};

}  // namespace zorbec::unit

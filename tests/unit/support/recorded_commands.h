#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "tests/unit/support/files.h"

namespace zorbec::unit {

// For its lifetime, writes down every command that the checker gives to the shell, to the byte: a
// tool sees only its arguments, in which blanks and quotes no longer show. Bash reads the file that
// BASH_ENV names before it runs the command of its -c option.
class RecordedCommands {
 public:
  RecordedCommands() {
    write_text(kRecord, "");
    write_text(kScript, "unset BASH_ENV\nprintf '%s\\0' \"$(readlink /proc/$$/fd/1)\" " +
                            ("\"$BASH_EXECUTION_STRING\" >>" + kRecord + "\n"));
    ::setenv("BASH_ENV", kScript.c_str(), 1);
  }
  RecordedCommands(const RecordedCommands&) = delete;
  RecordedCommands& operator=(const RecordedCommands&) = delete;
  ~RecordedCommands() {
    ::unsetenv("BASH_ENV");
    std::error_code ignored;
    std::filesystem::remove(kScript, ignored);
    std::filesystem::remove(kRecord, ignored);
  }

  // The command lines so far, in the order in which they were started.
  std::vector<std::string> lines() const { return every_second(1); }
  // The file that took the standard output of each.
  std::vector<std::string> outputs() const { return every_second(0); }

 private:
  static std::vector<std::string> every_second(std::size_t first) {
    std::vector<std::string> texts;
    std::ifstream record(kRecord);
    std::string text;
    for (std::size_t number = 0; std::getline(record, text, '\0'); ++number) {
      if (number % 2 == first) texts.push_back(text);
    }
    return texts;
  }

  static inline const std::string kScript = "/tmp/record_commands.sh";
  static inline const std::string kRecord = "/tmp/recorded_commands";
};

}  // namespace zorbec::unit

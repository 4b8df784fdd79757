#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>
#include <vector>

namespace zorbec::lab {

// A folder of its own for one test, removed with everything in it.
class TestFolder {
 public:
  TestFolder();
  ~TestFolder();
  TestFolder(const TestFolder&) = delete;
  TestFolder& operator=(const TestFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }

  // Writes a file below the folder, with the folders it needs.
  void write(const std::string& file, const std::string& text) const;

 private:
  std::filesystem::path path_;
};

std::string file_text(const std::filesystem::path& file);

struct Ended {
  int status = 0;  // exit status; -N if signal N ended the process
  std::string out;
  std::string err;
};

// Runs zorbec-lab with these arguments to its end.
Ended run_lab(const std::vector<std::string>& arguments);

// Runs a shell script on a router.
Ended run_on(const std::filesystem::path& router, const std::string& script);

// Starts zorbec-lab and returns its process id; the caller waits for it.
pid_t start_lab(const std::vector<std::string>& arguments);

}  // namespace zorbec::lab

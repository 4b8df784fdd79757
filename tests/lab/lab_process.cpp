#include "lab_process.h"

#include <fcntl.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

namespace zorbec::lab {
namespace {

pid_t spawn_lab(const std::vector<std::string>& arguments,
                const posix_spawn_file_actions_t* files) {
  std::vector<std::string> words = {ZORBEC_LAB};
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::vector<char*> argv;
  for (std::string& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);
  pid_t pid = 0;
  const int error = ::posix_spawn(&pid, ZORBEC_LAB, files, nullptr, argv.data(), environ);
  if (error != 0) throw std::system_error(error, std::generic_category(), ZORBEC_LAB);
  return pid;
}

}  // namespace

TestFolder::TestFolder() {
  std::string name = (std::filesystem::temp_directory_path() / "zorbec-lab-test-XXXXXX").string();
  if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("mkdtemp failed for " + name);
  path_ = name;
}

TestFolder::~TestFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

void TestFolder::write(const std::string& file, const std::string& text) const {
  const std::filesystem::path path = path_ / file;
  std::filesystem::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << text;
}

std::string file_text(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  if (!stream) throw std::runtime_error("cannot read " + file.string());
  return {std::istreambuf_iterator<char>(stream), {}};
}

Ended run_lab(const std::vector<std::string>& arguments) {
  const TestFolder folder;
  const std::string out = folder.path() / "out";
  const std::string err = folder.path() / "err";
  posix_spawn_file_actions_t files;
  ::posix_spawn_file_actions_init(&files);
  constexpr int kWrite = O_WRONLY | O_CREAT | O_TRUNC;
  ::posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, out.c_str(), kWrite, 0600);
  ::posix_spawn_file_actions_addopen(&files, STDERR_FILENO, err.c_str(), kWrite, 0600);
  const pid_t pid = spawn_lab(arguments, &files);
  ::posix_spawn_file_actions_destroy(&files);
  int status = 0;
  ::waitpid(pid, &status, 0);
  return {WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status), file_text(out),
          file_text(err)};
}

Ended run_on(const std::filesystem::path& router, const std::string& script) {
  return run_lab({"run", router, "--", "sh", "-c", script});
}

pid_t start_lab(const std::vector<std::string>& arguments) {
  return spawn_lab(arguments, nullptr);
}

}  // namespace zorbec::lab

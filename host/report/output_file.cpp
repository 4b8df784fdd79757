#include "host/report/output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

#include "base/error.h"
#include "base/files.h"

namespace zorbec {
namespace {

// Whether the name leads to something that must not be replaced by a file.
bool is_no_plain_file(const std::string& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) return false;
  return !S_ISREG(status.st_mode);
}

UniqueFd open_device(const std::string& path) {
  UniqueFd file(::open(path.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY));
  if (file.get() < 0) throw_errno("open", path);
  return file;
}

// A new file with a temporary name. It is removed again unless it takes the name that it is for.
class NewFile {
 public:
  // Throws std::system_error if it cannot be made, naming the file that it is to become.
  explicit NewFile(const std::string& becomes)
      : becomes_(becomes), path_(becomes + ".new-" + std::to_string(::getpid())) {
    ::unlink(path_.c_str());
    file_ =
        UniqueFd(::open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666));
    if (file_.get() < 0) throw_errno("open", becomes_);
  }
  ~NewFile() {
    if (!has_name_) ::unlink(path_.c_str());
  }
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;

  void write(std::string_view text) { write_all(file_.get(), text, becomes_); }
  void take_name() {
    if (::rename(path_.c_str(), becomes_.c_str()) != 0) throw_errno("rename", becomes_);
    has_name_ = true;
  }

 private:
  const std::string becomes_;
  const std::string path_;
  UniqueFd file_;
  bool has_name_ = false;
};

}  // namespace

void replace_file(const std::string& path, std::string_view text) {
  NewFile file(path);
  file.write(text);
  file.take_name();
}

void write_output_file(const std::string& path, std::string_view text) {
  if (is_no_plain_file(path)) {
    write_all(open_device(path).get(), text, path);
  } else {
    replace_file(path, text);
  }
}

UniqueFd open_output_stream(const std::string& path) {
  return is_no_plain_file(path) ? open_device(path) : create_fresh_file(path);
}

}  // namespace zorbec

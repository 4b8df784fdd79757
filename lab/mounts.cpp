#include "lab/mounts.h"

#include <sys/mount.h>

#include "lab/posix.h"

namespace zorbec::lab {

void bind_mount(const std::filesystem::path& source, const std::filesystem::path& target) {
  if (::mount(source.c_str(), target.c_str(), nullptr, MS_BIND | MS_REC, nullptr) != 0) {
    throw_errno("bind mount", target);
  }
}

void mount_tmpfs(const std::filesystem::path& target, const std::string& options) {
  constexpr unsigned long kFlags = MS_NOSUID | MS_NODEV;
  if (::mount("zorbec-lab", target.c_str(), "tmpfs", kFlags, options.c_str()) != 0) {
    throw_errno("mount tmpfs on", target);
  }
}

}  // namespace zorbec::lab

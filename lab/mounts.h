#pragma once

#include <filesystem>
#include <string>

// Mounts in the private namespaces. Both functions throw std::system_error with the target's path.
namespace zorbec::lab {

// Makes `source`, with everything mounted below it, appear at `target` too. The target must exist
// and be of the same kind, a folder or a file.
void bind_mount(const std::filesystem::path& source, const std::filesystem::path& target);

// Mounts an empty file system in memory. `options` are those of tmpfs, such as "mode=1777".
void mount_tmpfs(const std::filesystem::path& target, const std::string& options);

}  // namespace zorbec::lab

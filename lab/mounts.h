#pragma once

#include <filesystem>
#include <string>

// Mounts of the private namespaces. All throw std::system_error.
namespace zorbec::lab {

// Shows `source`, with what is mounted below it, at `target` too.
void bind_mount(const std::filesystem::path& source, const std::filesystem::path& target);

// An empty file system in memory; `options` are those of tmpfs.
void mount_tmpfs(const std::filesystem::path& target, const std::string& options);

}  // namespace zorbec::lab

#pragma once

#include <string>
#include <string_view>

#include "base/files.h"

namespace zorbec {

// Replaces the file at `path` in one step: writes `text` to a new file in the same folder and
// renames it. So a reader sees the old file or the whole new one. A symbolic link of that name is
// replaced, not followed. The mode of the new file is 0666 less the umask.
//
// Throws std::system_error (errno, failed call, path). Then the old file is still there, and the
// new one is removed.
void replace_file(const std::string& path, std::string_view text);

// The same for a file that a user names. If that is a device, a FIFO or anything else but a regular
// file, it is not replaced: `text` is written to it. A FIFO blocks until somebody reads it.
void write_output_file(const std::string& path, std::string_view text);

// Opens a file that a user names for output that comes bit by bit, with which nobody wants to wait:
// a new file takes the name at once. A device or a FIFO is written to, as above.
//
// Throws std::system_error (errno, failed call, path).
UniqueFd open_output_stream(const std::string& path);

}  // namespace zorbec

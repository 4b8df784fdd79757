#pragma once

#include <string>
#include <string_view>

namespace zorbec {

// Writes `text` to a new file beside `path`, which then takes its name: readers see what was there
// before or the whole new file. A link of that name is replaced, not followed. The new file has the
// mode that the process's umask gives.
//
// Throws std::system_error (errno, failed call, path); what was there before is left then, and
// nothing of the new file.
void replace_file(const std::string& path, std::string_view text);

// The same for a file that a user names. A device, a FIFO or another thing that is no plain file
// stays where it is, and is written to.
void write_output_file(const std::string& path, std::string_view text);

}  // namespace zorbec

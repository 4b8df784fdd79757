#pragma once

#include <functional>
#include <string>

#include "base/files.h"

namespace zorbec {

// The one check that may run on a route processor at a time: two would mix their files in /tmp.
// Held as long as the object lives, and if the process is killed until a command that it was
// starting has begun.
class CheckLock {
 public:
  // Takes the lock, at `path`. If another process holds it for more than a moment, asks
  // should_wait(who) what to do, `who` being what that process wrote about itself: goes on asking,
  // a few times a second, as long as the answer is true, and else throws CheckError saying who it
  // is.
  //
  // Throws std::system_error if the file cannot be opened, CheckError if it is no regular file.
  CheckLock(const std::string& path,
            const std::function<bool(const std::string& who)>& should_wait);

 private:
  UniqueFd file_;
};

}  // namespace zorbec

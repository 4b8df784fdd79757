#pragma once

#include <string>

// Stands between the checker and the C library. A program that is linked with these definitions of
// open(), read() and so on has the libraries that it loads call them too, so that a call can be
// made to fail which never fails on a sound machine. Processes that the program starts are left
// alone.
namespace zorbec::faults {

// From now on counts all calls of the function `call` and has the nth of them, from 1, fail with an
// error number. "operator new" fails by throwing std::bad_alloc, whatever the number.
void arm(const std::string& call, long nth, int error);

struct Counted {
  long calls = 0;
  bool was_injected = false;
  std::string where;  // the failed call's path, or what it was to do; "(deleted)" left out
};

// Ends that, and tells what came of it.
Counted disarm();

// A program whose environment holds FAULTY_CALLS has habits instead, for as long as it lives:
//
//     interrupted  read, write, waitid, waitpid and poll fail with EINTR in each thread, every
//     other
//                  time
//     short        read and write take one byte at a time
//     waiting      write fails with EAGAIN in each thread, every other time
//     trapped      the process ends if a file that is opened gets the number of a standard stream

}  // namespace zorbec::faults

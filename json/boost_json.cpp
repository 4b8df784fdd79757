// Compiles Boost.JSON into our library, so no shared library of it is needed at run time. It has a
// source of its own because it takes long to compile and never changes.
#include <boost/json/src.hpp>  // seconds of compiling

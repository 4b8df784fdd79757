// Boost.JSON, compiled once, here: nothing has to be there at run time, and a change of a file
// beside this one does not compile it again.
#include <boost/json/src.hpp>

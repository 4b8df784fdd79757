#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace zorbec {

// What was found in a folder with the dumps of a check: pidb_<class>_<node>.dat, pmdb_<node>.dat.
struct DumpFolder {
  // The nodes whose programmed keys were loaded.
  std::vector<std::string> pmdb_nodes;
  // What could not be looked at, and why; a short sentence each.
  std::vector<std::string> not_looked_at;
  // How many dumps could be read, empty ones included.
  int dumps_read = 0;
};

// The nodes that have a dump in `folder`, by the names of the files: line cards in the order of
// their slot numbers, then the others by name. Throws std::system_error if the folder cannot be
// listed.
std::vector<std::string> nodes_with_dumps(const std::string& folder);

// Loads the dumps of `nodes` in the folder into the run state and derives the expected keys. With
// `pmdb_node`, programmed keys are loaded of that node only. The run state must be up; if it knows
// the router model and the scale mode, no command is run. Writes no file.
//
// A dump that cannot be used is left out: complain(line) is called for it, and `not_looked_at`
// names it.
DumpFolder load_dump_folder(const std::string& folder, const std::vector<std::string>& nodes,
                            const std::optional<std::string>& pmdb_node,
                            const std::function<void(const std::string&)>& complain);

}  // namespace zorbec

#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace zorbec {

// A folder with the dumps that a check left: pidb_<class>_<node>.dat and pmdb_<node>.dat.
struct DumpFolder {
  // The nodes whose programmed keys were loaded.
  std::vector<std::string> pmdb_nodes;
  // What could not be looked at, and why; one sentence each.
  std::vector<std::string> not_looked_at;
  // Dumps that could be read, empty ones included.
  int dumps_read = 0;
};

// Every node that a dump in `folder` is named after: line cards by slot number, then the others by
// name. Throws std::system_error if it cannot be listed.
std::vector<std::string> nodes_with_dumps(const std::string& folder);

// Loads the folder's dumps of `nodes` into the run state, the programmed keys only of `pmdb_node`
// if there is one, and derives the expected keys. Runs no command if the run state knows the router
// model and the scale mode, and writes no file.
//
// A dump that cannot be used is left out: `complain` gets a line for it.
DumpFolder load_dump_folder(const std::string& folder, const std::vector<std::string>& nodes,
                            const std::optional<std::string>& pmdb_node,
                            const std::function<void(const std::string&)>& complain);

}  // namespace zorbec

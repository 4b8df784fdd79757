#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "lab/defects.h"
#include "lab/interfaces.h"

// Dump files as a node's dump tools write them: one JSON object, one member a line.
namespace zorbec::lab {

// The table of the interfaces of one class.
std::string pidb_text(const std::vector<Interface>& interfaces, InterfaceClass interface_class);

// The complete PMDB as text, from which each node's own is cut.
class PmdbText {
 public:
  // `keys` in the order in which they are to stand in the file.
  explicit PmdbText(const std::vector<std::uint64_t>& keys);

  // The file of a node with these missing and leaked keys.
  std::string with(const PmdbChange& change) const;

 private:
  std::vector<std::uint64_t> keys_;
  std::vector<std::size_t> ends_;  // where each key's line ends in lines_
  std::string lines_;
};

}  // namespace zorbec::lab

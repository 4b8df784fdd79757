#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "lab/defects.h"
#include "lab/interfaces.h"

// Dump files as a node's dump tools write them: one JSON object with one member on each line.
namespace zorbec::lab {

// The PIDB file with the interfaces of one class; `{}` without any.
std::string pidb_text(const std::vector<Interface>& interfaces, InterfaceClass interface_class);

// The text of the complete PMDB, made once for all nodes: it is large, and the nodes' own differ
// from it by a few keys.
class PmdbText {
 public:
  // `keys` are in the order of the file.
  explicit PmdbText(const std::vector<std::uint64_t>& keys);

  // The file of a node that has these missing and leaked keys. Leaked keys come last.
  std::string with(const PmdbChange& change) const;

 private:
  std::vector<std::uint64_t> keys_;
  std::vector<std::size_t> ends_;  // where each key's line ends in lines_
  std::string lines_;
};

}  // namespace zorbec::lab

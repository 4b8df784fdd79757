#pragma once

#include <memory>
#include <string>

#include "base/enums.h"
#include "base/made_once.h"
#include "tables/interface_class.h"
#include "verify/expected_index.h"

namespace zorbec {

// What the verification workers of all nodes need alike, made of the interface truth tables: each
// thing once, by the first worker that comes to it. Lives for one verification phase, in which the
// tables do not change. May be used from any thread.
class SharedTruth {
 public:
  // The index of all expected keys.
  std::shared_ptr<const ExpectedIndex> index();
  // The rendering of one class's table, which stands in the log of every node.
  std::shared_ptr<const std::string> rendering(InterfaceClass intf_class);

  // Makes what no other worker makes at the moment: all workers begin at the same time, and would
  // otherwise wait for one of them at each table in turn. What fails is thrown where it is needed.
  void make_ahead();

 private:
  MadeOnce<ExpectedIndex> index_;
  EnumArray<InterfaceClass, MadeOnce<std::string>> renderings_;
};

}  // namespace zorbec

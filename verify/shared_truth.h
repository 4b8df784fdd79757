#pragma once

#include <memory>
#include <string>

#include "base/enums.h"
#include "base/made_once.h"
#include "tables/interface_class.h"
#include "verify/expected_index.h"

namespace zorbec {

// What the verification workers of all nodes share: the index of expected keys, and the texts of
// the interface truth tables. Each is made once, by the first worker that needs it; the others wait
// for it. Lives for one verification phase, in which the tables do not change. Safe from any
// thread.
//
// index() and rendering() throw what making the object throws, such as std::bad_alloc.
class SharedTruth {
 public:
  // The index of all expected keys.
  std::shared_ptr<const ExpectedIndex> index();
  // The text of one class's table. It goes to the log of every node.
  std::shared_ptr<const std::string> rendering(InterfaceClass intf_class);

  // Makes those objects that no other worker is making. All workers begin at the same time: without
  // this, all of them would wait for one worker at each object in turn. Never waits, and does not
  // throw what making an object throws: the function above that is called for it does.
  void make_ahead();

 private:
  MadeOnce<ExpectedIndex> index_;
  EnumArray<InterfaceClass, MadeOnce<std::string>> renderings_;
};

}  // namespace zorbec

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "lab/tool_names.h"
#include "tables/interface_class.h"

namespace zorbec {
namespace {

// The lab shares no code with the checker. What it writes must be what the checker fetches.
TEST(DumpFiles, are_those_that_a_check_fetches) {
  std::set<std::string> fetched = {"pmdb.dat"};
  for (const InterfaceClass intf_class : kEnumerators<InterfaceClass>) {
    fetched.insert(std::string(kInterfaceClassTable[intf_class].dump) + ".dat");
  }
  std::set<std::string> written;
  for (const lab::DumpOfTool& dump : lab::kDumpsOfTools) written.emplace(dump.name);
  EXPECT_EQ(written, fetched);
}

}  // namespace
}  // namespace zorbec

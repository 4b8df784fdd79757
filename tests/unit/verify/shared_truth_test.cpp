#include "verify/shared_truth.h"

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <vector>

#include "context/run_state.h"
#include "tests/unit/support/run_state_test.h"
#include "tests/unit/support/tables.h"
#include "tests/unit/support/threads.h"

namespace zorbec {
namespace {

using ::testing::Each;
using unit::interface_table;

class SharedTruthTest : public unit::RunStateTest {
 protected:
  SharedTruthTest() { run_state().pidb_bundle_ifh.set("3", interface_table(R"({"9": {"a": 1}})")); }
  SharedTruth truth;
};

TEST_F(SharedTruthTest, each_class_has_the_rendering_of_its_own_table) {
  EXPECT_EQ(*truth.rendering(InterfaceClass::kBundle), "{\"3\": {\"9\": {\"a\": 1}}}\n");
  EXPECT_EQ(*truth.rendering(InterfaceClass::kBundleSubif), "{}\n");
}

TEST_F(SharedTruthTest, rendering_and_index_are_the_same_for_all_workers) {
  std::vector<std::shared_ptr<const std::string>> renderings(8);
  std::vector<std::shared_ptr<const ExpectedIndex>> indices(8);
  unit::in_threads(renderings.size(), [&](std::size_t worker) {
    truth.make_ahead();
    renderings[worker] = truth.rendering(InterfaceClass::kBundle);
    indices[worker] = truth.index();
  });
  EXPECT_THAT(renderings, Each(renderings.front()));
  EXPECT_THAT(indices, Each(indices.front()));
}

TEST_F(SharedTruthTest, index_holds_what_every_class_expects) {
  for (const InterfaceClass intf_class : kEnumerators<InterfaceClass>) {
    InterfaceTable& table =
        run_state().interfaces(intf_class).set("3", interface_table(R"({"9": {}})"));
    table.additions[0].key_list = KeyList{Integer(1 + static_cast<int>(intf_class))};
  }
  const std::shared_ptr<const ExpectedIndex> index = truth.index();
  for (const InterfaceClass intf_class : kEnumerators<InterfaceClass>) {
    ASSERT_EQ(index->of(intf_class).keys.size(), 1U);
    EXPECT_EQ(index->key(index->of(intf_class).keys[0].number), 1U + enum_index(intf_class));
  }
}

}  // namespace
}  // namespace zorbec

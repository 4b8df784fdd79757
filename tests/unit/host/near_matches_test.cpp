#include "host/words/near_matches.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "tests/unit/support/rows.h"

namespace zorbec {
namespace {

using ::testing::ElementsAreArray;

struct NearCase : unit::Row {
  std::string typed;
  std::vector<std::string> near;
};

class NearMatches : public ::testing::TestWithParam<NearCase> {};

TEST_P(NearMatches, are_those_that_may_have_been_meant) {
  const std::vector<std::string> known = {"2", "3", "12", "RP0", "RP1", "physical-subif"};
  EXPECT_THAT(near_matches(GetParam().typed, known), ElementsAreArray(GetParam().near));
}

INSTANTIATE_TEST_SUITE_P(
    Names, NearMatches,
    ::testing::Values(NearCase{"other_letter_case", "rp1", {"RP1"}},
                      NearCase{"wrong_digit", "RP2", {"RP0", "RP1"}},
                      NearCase{"letters_before_a_slot", "LC3", {"3"}},
                      NearCase{"two_as_near", "13", {"3", "12"}},
                      NearCase{"nothing_in_common", "7", {}},
                      NearCase{"letter_missing", "physicl-subif", {"physical-subif"}},
                      NearCase{"letter_too_many", "physical-subiff", {"physical-subif"}},
                      NearCase{"three_wrong", "physical-subXYZ", {}},
                      NearCase{"far_too_long", std::string(100'000, 'R'), {}},
                      NearCase{"empty", "", {}}),
    unit::row_name<NearCase>);

}  // namespace
}  // namespace zorbec

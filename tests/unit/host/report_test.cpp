#include "host/report/report.h"

#include <gmock/gmock.h>

#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "host/report/exit_code.h"
#include "tests/unit/support/rows.h"

namespace zorbec {
namespace {

using ::testing::ElementsAre;

std::vector<std::string_view> names_of_classes(Check check) {
  std::vector<std::string_view> names;
  for (const ReportClass of : classes_of(check)) names.push_back(class_name(of));
  return names;
}

std::vector<std::string_view> columns_of(Check check) {
  std::vector<std::string_view> headings;
  for (const ReportClass of : classes_of(check)) headings.push_back(column_heading(of));
  return headings;
}

TEST(ReportClass, interface_check_has_classes_and_leaks) {
  EXPECT_THAT(
      names_of_classes(Check::kInterfaces),
      ElementsAre("physical", "physical-subif", "bundle", "bundle-subif", "bvi", "gre", "leak"));
  EXPECT_THAT(columns_of(Check::kInterfaces),
              ElementsAre("port", "port-sub", "bundle", "bundle-sub", "BVI", "GRE", "leaks"));
}

TEST(ReportClass, multicast_check_has_one) {
  EXPECT_THAT(names_of_classes(Check::kMulticast), ElementsAre("multicast"));
  EXPECT_THAT(columns_of(Check::kMulticast), ElementsAre("multicast"));
}

TEST(ReportClass, columns_are_numbered_through_both_checks) {
  std::size_t next = 0;
  for (const Check check : kEnumerators<Check>) {
    for (const ReportClass of : classes_of(check)) EXPECT_EQ(of.index(), next++);
  }
  EXPECT_EQ(next, ReportClass::kCount);
}

TEST(ReportClass, knows_its_class_of_interfaces) {
  EXPECT_EQ(ReportClass(InterfaceClass::kGre).interface_class(), InterfaceClass::kGre);
  EXPECT_EQ(ReportClass::kLeak.interface_class(), std::nullopt);
  EXPECT_EQ(ReportClass::kMulticast.interface_class(), std::nullopt);
  EXPECT_EQ(ReportClass(), InterfaceClass::kPhysical);
  EXPECT_LT(ReportClass(InterfaceClass::kGre), ReportClass::kLeak);
  EXPECT_LT(ReportClass::kLeak, ReportClass::kMulticast);
}

// Whoever reads a report tells them apart by these.
template <typename E>
std::set<std::string_view> texts_of_all(std::string_view (*text)(E)) {
  std::set<std::string_view> texts;
  for (const E value : kEnumerators<E>) texts.insert(text(value));
  return texts;
}

TEST(ReportNames, differ) {
  EXPECT_EQ(texts_of_all<Check>(check_name).size(), kEnumCount<Check>);
  EXPECT_EQ(texts_of_all<Reason>(reason_text).size(), kEnumCount<Reason>);
  EXPECT_EQ(texts_of_all<Verdict>(verdict_text).size(), kEnumCount<Verdict>);
  EXPECT_EQ(texts_of_all<FindingKind>(kind_name).size(), kEnumCount<FindingKind>);
}

struct CodeCase : unit::Row {
  Verdict verdict;
  int code;
};

const CodeCase kCodeCases[] = {
    {{"consistent"}, Verdict::kConsistent, 0},    {{"inconsistent"}, Verdict::kInconsistent, 1},
    {{"not_verified"}, Verdict::kNotVerified, 2}, {{"nothing"}, Verdict::kNothing, 2},
    {{"by_design"}, Verdict::kByDesign, 2},       {{"run_failed"}, Verdict::kRunFailed, 3},
};

class ExitCodeOf : public ::testing::TestWithParam<CodeCase> {};

TEST_P(ExitCodeOf, verdict) {
  EXPECT_EQ(static_cast<int>(exit_code(GetParam().verdict)), GetParam().code);
}

INSTANTIATE_TEST_SUITE_P(Verdicts, ExitCodeOf, ::testing::ValuesIn(kCodeCases),
                         unit::row_name<CodeCase>);

TEST(ExitCode, only_one_verdict_is_a_pass) {
  for (const Verdict verdict : kEnumerators<Verdict>) {
    EXPECT_EQ(exit_code(verdict) == ExitCode::kConsistent, verdict == Verdict::kConsistent);
  }
}

// Reports are compared by it, from one version of the checker to the next.
TEST(Fingerprint, of_an_id_never_changes) {
  EXPECT_EQ(fingerprint("missing-key/3/bundle/0x3c000058/0x3c000058"),
            "a74198cf-176f-58a7-b885-4bf953e9f7e3");
  EXPECT_EQ(fingerprint(""), "ffb983a9-8d32-5904-98b8-46a73dd01ef9");
}

}  // namespace
}  // namespace zorbec

#include "host/diff/report_diff.h"

#include <gmock/gmock.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "base/error.h"
#include "tests/unit/support/errors.h"
#include "tests/unit/support/rows.h"

namespace zorbec {
namespace {

using nlohmann::json;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using unit::error_of;

json finding(const std::string& fingerprint, const std::string& node = "3",
             const std::string& intf_class = "bundle") {
  return {{"fingerprint", fingerprint}, {"node", node}, {"class", intf_class}, {"text", "Missing"}};
}

// A report of node 3, which was reached, with this verdict for its bundles.
json report(std::vector<json> findings, const std::string& verdict = "INCONSISTENT") {
  const json cell = {{"class", "bundle"}, {"verdict", verdict}};
  const json node = {{"name", "3"}, {"reached", true}, {"classes", json::array({cell})}};
  return {{"nodes", json::array({node})}, {"findings", std::move(findings)}};
}

std::vector<std::string> names(const std::vector<json>& findings) {
  std::vector<std::string> fingerprints;
  for (const json& one : findings) fingerprints.push_back(one["fingerprint"]);
  return fingerprints;
}

TEST(ReportDiff, findings_are_matched_by_fingerprint) {
  const ReportDiff diff =
      diff_reports(report({finding("a"), finding("b")}), report({finding("c"), finding("b")}));
  EXPECT_THAT(names(diff.fresh), ElementsAre("c"));
  EXPECT_THAT(names(diff.still), ElementsAre("b"));
  EXPECT_THAT(names(diff.cleared), ElementsAre("a"));
  EXPECT_THAT(diff.not_looked_at_again, IsEmpty());
}

TEST(ReportDiff, repeated_finding_is_one) {
  const ReportDiff diff = diff_reports(report({}), report({finding("a"), finding("a")}));
  EXPECT_THAT(names(diff.fresh), ElementsAre("a"));
}

TEST(ReportDiff, finding_that_is_still_there_is_shown_as_the_new_report_has_it) {
  json later = finding("a");
  later["text"] = "later";
  const ReportDiff diff = diff_reports(report({finding("a")}), report({later}, "NOT VERIFIED"));
  ASSERT_THAT(names(diff.still), ElementsAre("a"));
  EXPECT_EQ(diff.still[0]["text"], "later");
}

TEST(ReportDiff, nothing_is_cleared_where_nothing_was_verified) {
  const json before = report({finding("a")});
  json unreached = report({}, "CONSISTENT");
  unreached["nodes"][0]["reached"] = false;
  json without_class = report({});
  without_class["nodes"][0]["classes"] = json::array();
  json without_node = report({});
  without_node["nodes"] = json::array();
  for (const json& after : {report({}, "NOT VERIFIED"), unreached, without_class, without_node}) {
    const ReportDiff diff = diff_reports(before, after);
    EXPECT_THAT(names(diff.not_looked_at_again), ElementsAre("a")) << after;
    EXPECT_THAT(diff.cleared, IsEmpty()) << after;
  }
}

TEST(ReportDiff, consistent_cell_clears) {
  EXPECT_THAT(names(diff_reports(report({finding("a")}), report({}, "CONSISTENT")).cleared),
              ElementsAre("a"));
}

TEST(ReportDiff, document_holds_the_findings_of_each_group) {
  const nlohmann::ordered_json document =
      diff_document(diff_reports(report({finding("a")}), report({finding("b")})));
  EXPECT_EQ(document["format"], "zorbec-diff");
  EXPECT_EQ(document["version"], 1);
  EXPECT_EQ(document["new"][0]["fingerprint"], "b");
  EXPECT_EQ(document["cleared"][0]["fingerprint"], "a");
  EXPECT_EQ(document["still"], nlohmann::ordered_json::array());
  EXPECT_EQ(document["not_looked_at_again"], nlohmann::ordered_json::array());
}

struct DamageCase : unit::Row {
  std::string pointer;  // what of the report is replaced
  std::string value;
  std::string error;
};

class DamagedReport : public ::testing::TestWithParam<DamageCase> {};

TEST_P(DamagedReport, is_refused) {
  json damaged = report({finding("a")});
  damaged[json::json_pointer(GetParam().pointer)] = json::parse(GetParam().value);
  EXPECT_EQ(error_of<CheckError>([&] { diff_reports(damaged, damaged); }), GetParam().error);
  EXPECT_EQ(error_of<CheckError>([&] { require_comparable(damaged); }), GetParam().error);
}

INSTANTIATE_TEST_SUITE_P(
    Members, DamagedReport,
    ::testing::Values(
        DamageCase{"findings", "/findings", "{}", "\"findings\" of the report is not a list"},
        DamageCase{"finding", "/findings/0", "[]", "finding 1 is not a record"},
        DamageCase{"finding_without_members", "/findings/0", "{}", "finding 1 has no \"node\""},
        DamageCase{"fingerprint", "/findings/0/fingerprint", "7",
                   "\"fingerprint\" of finding 1 is not a text"},
        DamageCase{"nodes", "/nodes", "null", "\"nodes\" of the report is not a list"},
        DamageCase{"node", "/nodes/0", "\"3\"", "a node is not a record"},
        DamageCase{"reached", "/nodes/0/reached", "1",
                   "\"reached\" of node \"3\" is not true or false"},
        DamageCase{"classes", "/nodes/0/classes", "3", "\"classes\" of node \"3\" is not a list"},
        DamageCase{"verdict", "/nodes/0/classes/0/verdict", "[]",
                   "\"verdict\" of a class of node \"3\" is not a text"}),
    unit::row_name<DamageCase>);

}  // namespace
}  // namespace zorbec

#include "host/report/report_file.h"

#include <gmock/gmock.h>

#include <nlohmann/json.hpp>
#include <string>
#include <system_error>

#include "base/error.h"
#include "tests/unit/support/errors.h"
#include "tests/unit/support/files.h"
#include "tests/unit/support/rows.h"

namespace zorbec {
namespace {

using ::testing::HasSubstr;
using unit::error_of;

constexpr const char* kReport = "/tmp/report.json";

struct ReportCase : unit::Row {
  std::string text;
  std::string error;
};

class NoReport : public ::testing::TestWithParam<ReportCase> {};

TEST_P(NoReport, is_refused) {
  unit::write_text(kReport, GetParam().text);
  const std::string error = error_of<CheckError>([] { read_report(kReport); });
  EXPECT_EQ(error, std::string(kReport) + ": " + GetParam().error);
}

INSTANTIATE_TEST_SUITE_P(
    Files, NoReport,
    ::testing::Values(
        ReportCase{"empty", "", "not valid JSON"},
        ReportCase{"half", R"({"format": "zorbec-rep)", "not valid JSON"},
        ReportCase{"not_utf_8", "{\"format\": \"\xff\"}", "not valid JSON"},
        ReportCase{"list", "[]", "not a report of zorbec check"},
        ReportCase{"other_format", R"({"format": "zorbec-diff", "version": 1})",
                   "not a report of zorbec check"},
        ReportCase{"other_version", R"({"format": "zorbec-report", "version": 2})",
                   "a report of another version than 1, the only version that this zorbec reads"},
        ReportCase{"version_is_text", R"({"format": "zorbec-report", "version": "1"})",
                   "a report of another version than 1, the only version that this zorbec reads"},
        ReportCase{"without_version", R"({"format": "zorbec-report"})",
                   "a report of another version than 1, the only version that this zorbec reads"},
        ReportCase{"a_million_levels", std::string(1'000'000, '['), "nested too deeply"}),
    unit::row_name<ReportCase>);

TEST(JsonFile, missing_file_is_named) {
  EXPECT_THAT(error_of<std::system_error>([] { read_report("/tmp/no_such.json"); }),
              HasSubstr("/tmp/no_such.json"));
}

TEST(JsonFile, report_is_read) {
  unit::write_text(kReport, R"({"format": "zorbec-report", "version": 1, "findings": [7]})");
  EXPECT_EQ(read_report(kReport)["findings"][0], 7);
}

}  // namespace
}  // namespace zorbec

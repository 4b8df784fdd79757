#include "host/report/report_json.h"

#include <gtest/gtest.h>

#include <chrono>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace zorbec {
namespace {

using Json = nlohmann::json;

// The document of a report, read back.
Json document_of(const Report& report) {
  return Json::parse(to_json(report));
}

// A report that says as little as one can.
Report smallest_report() {
  Report report;
  report.checks = {Check::kInterfaces};
  return report;
}

TEST(ReportJson, report_about_nothing) {
  Report report = smallest_report();
  report.started = std::chrono::system_clock::time_point(std::chrono::seconds(1'000'000'000));
  EXPECT_EQ(document_of(report), Json::parse(R"({
      "format": "zorbec-report", "version": 1, "checker": ")" ZORBEC_VERSION R"(",
      "started": "2001-09-09T01:46:40Z", "seconds": 0.0, "checks": ["interfaces"],
      "selection": {"nodes": null, "classes": null},
      "verdict": "NOT VERIFIED", "exit_code": 2, "ended_early": null, "run_errors": [],
      "router": {"model_code": null, "scale_mode": null},
      "coverage": {"nodes": 0, "nodes_reached": 0, "interfaces": 0, "expected_keys": 0,
                   "programmed_keys": 0, "routes": 0, "dumps_failed": 0, "commands": 0,
                   "commands_failed": 0},
      "nodes": [], "findings": [], "not_looked_at": []})"));
}

TEST(ReportJson, members_of_the_whole) {
  Report report = smallest_report();
  report.took = std::chrono::microseconds(1'234'567);
  report.checks = {Check::kInterfaces, Check::kMulticast};
  report.selection = {{"1", "2"}, {"leak"}};
  report.verdict = Verdict::kRunFailed;
  report.ended_early = Reason::kDeadline;
  report.run_errors = {{Check::kMulticast, "no node table"}};
  report.model_code = 4;
  report.scale_mode = 0;
  report.coverage = {.nodes = 1,
                     .nodes_reached = 2,
                     .interfaces = 3,
                     .expected_keys = 4,
                     .programmed_keys = 5,
                     .routes = 6,
                     .dumps_failed = 7,
                     .commands = 8,
                     .commands_failed = 9};
  const Json document = document_of(report);
  EXPECT_EQ(document["seconds"], 1.235);
  EXPECT_EQ(document["checks"], Json::parse(R"(["interfaces", "multicast"])"));
  EXPECT_EQ(document["selection"], Json::parse(R"({"nodes": ["1", "2"], "classes": ["leak"]})"));
  EXPECT_EQ(document["verdict"], "RUN FAILED");
  EXPECT_EQ(document["exit_code"], 3);
  EXPECT_EQ(document["ended_early"], "deadline");
  EXPECT_EQ(document["run_errors"],
            Json::parse(R"([{"check": "multicast", "error": "no node table"}])"));
  EXPECT_EQ(document["router"], Json::parse(R"({"model_code": 4, "scale_mode": 0})"));
  EXPECT_EQ(document["coverage"], Json::parse(R"({
      "nodes": 1, "nodes_reached": 2, "interfaces": 3, "expected_keys": 4, "programmed_keys": 5,
      "routes": 6, "dumps_failed": 7, "commands": 8, "commands_failed": 9})"));
}

TEST(ReportJson, node_with_all_that_is_known_of_it) {
  Report report = smallest_report();
  NodeReport& node = report.nodes.emplace_back();
  node.name = "1";
  node.address = "192.0.1.1";
  node.type = "LC";
  node.role = "Active";
  node.is_reached = true;
  node.verdict = Verdict::kInconsistent;
  node.problems = {{Reason::kNotJson, "pidb_bvi_intf", "byte 7"}};
  node.dumps = {{"pmdb", "/tmp/pmdb_1.dat", 90, 3, std::chrono::seconds(1'000'000'000), true}};
  node.cells = {{InterfaceClass::kBvi, Verdict::kNotVerified, Reason::kNotJson, "byte 7", 0, 0, 2},
                {ReportClass::kLeak, Verdict::kInconsistent, {}, {}, 36, 3, 0}};
  EXPECT_EQ(document_of(report)["nodes"], Json::parse(R"([{
      "name": "1", "address": "192.0.1.1", "type": "LC", "role": "Active", "reached": true,
      "verdict": "INCONSISTENT",
      "problems": [{"reason": "not JSON", "where": "pidb_bvi_intf", "detail": "byte 7"}],
      "dumps": [{"name": "pmdb", "path": "/tmp/pmdb_1.dat", "bytes": 90, "entries": 3,
                 "modified": "2001-09-09T01:46:40Z", "stale": true}],
      "classes": [
        {"class": "bvi", "verdict": "NOT VERIFIED", "reason": "not JSON", "detail": "byte 7",
         "compared": 0, "findings": 0, "unconfirmed": 2},
        {"class": "leak", "verdict": "INCONSISTENT", "reason": null, "detail": null,
         "compared": 36, "findings": 3, "unconfirmed": 0}]}])"));
}

TEST(ReportJson, node_of_which_nothing_is_known) {
  Report report = smallest_report();
  report.nodes.emplace_back().name = "1";
  EXPECT_EQ(document_of(report)["nodes"], Json::parse(R"([{
      "name": "1", "address": null, "type": null, "role": null, "reached": false,
      "verdict": "NOT VERIFIED", "problems": [], "dumps": [], "classes": []}])"));
}

Finding missing_key_finding() {
  Finding finding;
  finding.id = "missing-key/3/bundle/0x3c000058/0x76";
  finding.kind = FindingKind::kMissingKey;
  finding.node = "3";
  finding.report_class = InterfaceClass::kBundle;
  finding.key = "0x76";
  finding.interface = {"0x3c000058", "Bundle-Ether6", {"2", "3"}};
  finding.is_confirmed = true;
  finding.times = 2;
  finding.text = "Missing PMDB Key";
  return finding;
}

TEST(ReportJson, missing_key) {
  Report report = smallest_report();
  report.findings = {missing_key_finding()};
  EXPECT_EQ(document_of(report)["findings"],
            Json::array({{{"id", "missing-key/3/bundle/0x3c000058/0x76"},
                          {"fingerprint", fingerprint("missing-key/3/bundle/0x3c000058/0x76")},
                          {"kind", "missing-key"},
                          {"check", "interfaces"},
                          {"node", "3"},
                          {"class", "bundle"},
                          {"key", "0x76"},
                          {"interface",
                           {{"handle", "0x3c000058"},
                            {"name", "Bundle-Ether6"},
                            {"owners", Json::array({"2", "3"})}}},
                          {"confirmed", true},
                          {"times", 2},
                          {"text", "Missing PMDB Key"}}}));
}

TEST(ReportJson, interface_without_a_name) {
  Report report = smallest_report();
  report.findings = {missing_key_finding()};
  report.findings.front().interface->name.clear();
  EXPECT_EQ(document_of(report)["findings"][0]["interface"]["name"], nullptr);
}

TEST(ReportJson, leaked_key_has_no_interface) {
  Finding finding = missing_key_finding();
  finding.kind = FindingKind::kLeakedKey;
  finding.report_class = ReportClass::kLeak;
  finding.interface.reset();
  finding.is_confirmed = false;
  Report report = smallest_report();
  report.findings = {finding};
  const Json document = document_of(report)["findings"][0];
  EXPECT_EQ(document["kind"], "leaked-key");
  EXPECT_EQ(document["class"], "leak");
  EXPECT_EQ(document["key"], "0x76");
  EXPECT_EQ(document.at("interface"), nullptr);
  EXPECT_EQ(document["confirmed"], false);
  EXPECT_FALSE(document.contains("route"));
}

TEST(ReportJson, faulty_route_has_no_key) {
  Finding finding;
  finding.id = "card-handle/3/RP0/7";
  finding.kind = FindingKind::kCardHandle;
  finding.check = Check::kMulticast;
  finding.node = "3";
  finding.report_class = ReportClass::kMulticast;
  finding.route = {7, "RP0", "0x13bc", "0x20040140"};
  finding.times = 1;
  finding.text = "inconsistent";
  Report report = smallest_report();
  report.findings = {finding, finding};
  report.findings[1].route->mdt_handle.clear();
  const Json document = document_of(report)["findings"];
  EXPECT_EQ(
      document[0],
      Json(
          {{"id", "card-handle/3/RP0/7"},
           {"fingerprint", fingerprint("card-handle/3/RP0/7")},
           {"kind", "card-handle"},
           {"check", "multicast"},
           {"node", "3"},
           {"class", "multicast"},
           {"key", nullptr},
           {"interface", nullptr},
           {"route",
            {{"number", 7}, {"processor", "RP0"}, {"rif", "0x13bc"}, {"mdt_handle", "0x20040140"}}},
           {"confirmed", false},
           {"times", 1},
           {"text", "inconsistent"}}));
  EXPECT_EQ(document[1]["route"].at("mdt_handle"), nullptr);
}

TEST(ReportJson, what_was_not_looked_at) {
  Report report = smallest_report();
  report.not_looked_at = {{"1", InterfaceClass::kGre, false, Reason::kStale, "old"},
                          {"", std::nullopt, true, std::nullopt, "not asked for"}};
  EXPECT_EQ(document_of(report)["not_looked_at"], Json::parse(R"([
      {"node": "1", "class": "gre", "by_design": false, "reason": "stale", "detail": "old"},
      {"node": null, "class": null, "by_design": true, "reason": null,
       "detail": "not asked for"}])"));
}

TEST(ReportJson, same_report_gives_the_same_text_in_the_same_order) {
  Report report = smallest_report();
  report.findings = {missing_key_finding()};
  const std::string text = to_json(report);
  EXPECT_EQ(text, to_json(report));
  EXPECT_TRUE(text.starts_with("{\n \"format\": \"zorbec-report\",\n \"version\": 1,\n"));
  EXPECT_TRUE(text.ends_with("\n}\n"));
  EXPECT_LT(text.find("\"nodes\": []"), text.find("\"findings\""));
  EXPECT_LT(text.find("\"findings\": ["), text.find("\"not_looked_at\""));
}

TEST(ReportJson, text_of_a_router_that_is_no_utf_8_is_mended) {
  Report report = smallest_report();
  report.run_errors = {{Check::kInterfaces, "node \xff\"\x1b"}};
  EXPECT_EQ(document_of(report)["run_errors"][0]["error"], "node \xef\xbf\xbd\"\x1b");
}

TEST(UtcText, is_rounded_down_to_seconds) {
  EXPECT_EQ(utc_text(std::chrono::seconds(0)), "1970-01-01T00:00:00Z");
  EXPECT_EQ(utc_text(std::chrono::milliseconds(1999)), "1970-01-01T00:00:01Z");
  EXPECT_EQ(utc_text(std::chrono::milliseconds(-1)), "1969-12-31T23:59:59Z");
}

}  // namespace
}  // namespace zorbec

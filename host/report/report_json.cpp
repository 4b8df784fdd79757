#include "host/report/report_json.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <nlohmann/json.hpp>  // seconds of compiling

#include "host/report/exit_code.h"

namespace zorbec {
namespace {

using OrderedJson = nlohmann::ordered_json;

// A member without a value is null, so programs need not test whether it is there. Only `route` is
// left out, in findings about keys.
OrderedJson or_null(const std::string& text) {
  return text.empty() ? OrderedJson() : OrderedJson(text);
}
template <typename T>
OrderedJson or_null(const std::optional<T>& value) {
  return value ? OrderedJson(*value) : OrderedJson();
}
OrderedJson or_null(const std::optional<Reason>& reason) {
  return reason ? OrderedJson(reason_text(*reason)) : OrderedJson();
}
OrderedJson names_or_null(const std::vector<std::string>& names) {
  return names.empty() ? OrderedJson() : OrderedJson(names);
}

double rounded_seconds(std::chrono::nanoseconds time) {
  return std::chrono::duration<double>(std::chrono::round<std::chrono::milliseconds>(time)).count();
}

template <typename T, typename Write>
OrderedJson list_of(const std::vector<T>& values, Write write) {
  OrderedJson list = OrderedJson::array();
  for (const T& value : values) list.push_back(write(value));
  return list;
}

OrderedJson problem_json(const Problem& problem) {
  return {{"reason", reason_text(problem.reason)},
          {"where", problem.where},
          {"detail", problem.detail}};
}

OrderedJson dump_json(const DumpFile& dump) {
  return {{"name", dump.name},
          {"path", dump.path},
          {"bytes", dump.bytes},
          {"entries", dump.entries},
          {"modified", utc_text(dump.modified)},
          {"stale", dump.is_stale}};
}

OrderedJson cell_json(const Cell& cell) {
  return {{"class", class_name(cell.report_class)},
          {"verdict", verdict_text(cell.verdict)},
          {"reason", or_null(cell.reason)},
          {"detail", or_null(cell.detail)},
          {"compared", cell.compared},
          {"findings", cell.findings},
          {"unconfirmed", cell.unconfirmed}};
}

OrderedJson node_json(const NodeReport& node) {
  return {{"name", node.name},
          {"address", or_null(node.address)},
          {"type", or_null(node.type)},
          {"role", or_null(node.role)},
          {"reached", node.is_reached},
          {"verdict", verdict_text(node.verdict)},
          {"problems", list_of(node.problems, problem_json)},
          {"dumps", list_of(node.dumps, dump_json)},
          {"classes", list_of(node.cells, cell_json)}};
}

OrderedJson finding_json(const Finding& finding) {
  OrderedJson json = {{"id", finding.id},
                      {"fingerprint", fingerprint(finding.id)},
                      {"kind", kind_name(finding.kind)},
                      {"check", check_name(finding.check)},
                      {"node", finding.node},
                      {"class", class_name(finding.report_class)},
                      {"key", or_null(finding.key)},
                      {"interface", nullptr}};
  if (finding.interface) {
    json["interface"] = {{"handle", finding.interface->handle},
                         {"name", or_null(finding.interface->name)},
                         {"owners", finding.interface->owners}};
  }
  if (finding.route) {
    json["route"] = {{"number", finding.route->number},
                     {"processor", finding.route->processor},
                     {"rif", finding.route->rif},
                     {"mdt_handle", or_null(finding.route->mdt_handle)}};
  }
  json["confirmed"] = finding.is_confirmed;
  json["times"] = finding.times;
  json["text"] = finding.text;
  return json;
}

OrderedJson place_json(const NotLookedAt& place) {
  return {
      {"node", or_null(place.node)},
      {"class", place.report_class ? OrderedJson(class_name(*place.report_class)) : OrderedJson()},
      {"by_design", place.is_by_design},
      {"reason", or_null(place.reason)},
      {"detail", place.detail}};
}

OrderedJson coverage_json(const Coverage& coverage) {
  return {{"nodes", coverage.nodes},
          {"nodes_reached", coverage.nodes_reached},
          {"interfaces", coverage.interfaces},
          {"expected_keys", coverage.expected_keys},
          {"programmed_keys", coverage.programmed_keys},
          {"routes", coverage.routes},
          {"dumps_failed", coverage.dumps_failed},
          {"commands", coverage.commands},
          {"commands_failed", coverage.commands_failed}};
}

}  // namespace

std::string utc_text(std::chrono::nanoseconds since_1970) {
  const auto whole = std::chrono::floor<std::chrono::seconds>(since_1970);
  return fmt::format("{:%Y-%m-%dT%H:%M:%SZ}", fmt::gmtime(static_cast<std::time_t>(whole.count())));
}

std::string to_json(const Report& report) {
  const OrderedJson json = {
      {"format", "zorbec-report"},
      {"version", 1},
      {"checker", ZORBEC_VERSION},
      {"started", utc_text(report.started.time_since_epoch())},
      {"seconds", rounded_seconds(report.took)},
      {"checks", list_of(report.checks, check_name)},
      {"selection",
       {{"nodes", names_or_null(report.selection.nodes)},
        {"classes", names_or_null(report.selection.classes)}}},
      {"verdict", verdict_text(report.verdict)},
      {"exit_code", static_cast<int>(exit_code(report.verdict))},
      {"ended_early", or_null(report.ended_early)},
      {"run_errors",
       list_of(report.run_errors,
               [](const RunError& error) {
                 return OrderedJson{{"check", check_name(error.check)}, {"error", error.error}};
               })},
      {"router",
       {{"model_code", or_null(report.model_code)}, {"scale_mode", or_null(report.scale_mode)}}},
      {"coverage", coverage_json(report.coverage)},
      {"nodes", list_of(report.nodes, node_json)},
      {"findings", list_of(report.findings, finding_json)},
      {"not_looked_at", list_of(report.not_looked_at, place_json)}};
  // A text from a router may be no UTF-8.
  return json.dump(1, ' ', false, OrderedJson::error_handler_t::replace) + "\n";
}

}  // namespace zorbec

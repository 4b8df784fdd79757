#include "host/diff/report_diff.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <nlohmann/json.hpp>  // seconds of compiling
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include "base/error.h"

namespace zorbec {
namespace {

using Json = nlohmann::json;

// The member of that name. `what` says whose it is, for messages.
const Json& member(const Json& object, const char* name, const std::string& what) {
  if (!object.is_object()) throw CheckError(what + " is not a record");
  const auto found = object.find(name);
  if (found == object.end()) throw CheckError(fmt::format("{} has no \"{}\"", what, name));
  return *found;
}

const std::string& text(const Json& object, const char* name, const std::string& what) {
  const Json& value = member(object, name, what);
  if (!value.is_string()) throw CheckError(fmt::format("\"{}\" of {} is not a text", name, what));
  return value.get_ref<const std::string&>();
}

const Json& list(const Json& object, const char* name, const std::string& what) {
  const Json& value = member(object, name, what);
  if (!value.is_array()) throw CheckError(fmt::format("\"{}\" of {} is not a list", name, what));
  return value;
}

// The node and the class of a finding.
using NodeAndClass = std::pair<std::string, std::string>;

// The nodes and classes that the check has verified. Only there does a finding that is gone mean
// that the fault is gone.
std::set<NodeAndClass> verified_cells(const Json& report) {
  std::set<NodeAndClass> cells;
  for (const Json& node : list(report, "nodes", "the report")) {
    const std::string& name = text(node, "name", "a node");
    const std::string what = "node " + in_quotes(name);
    const Json& reached = member(node, "reached", what);
    if (!reached.is_boolean()) throw CheckError("\"reached\" of " + what + " is not true or false");
    for (const Json& entry : list(node, "classes", what)) {
      const std::string& intf_class = text(entry, "class", "a class of " + what);
      const std::string& verdict = text(entry, "verdict", "a class of " + what);
      if (reached.get<bool>() && verdict != "NOT VERIFIED") cells.emplace(name, intf_class);
    }
  }
  return cells;
}

// Whether a check that verified these cells would have seen the finding. For that it must have
// looked at the class on the node, and must have known the interface: from one of the nodes that
// reported it in the old report. What the report does not say is taken as known.
bool is_looked_at(const Json& finding, const std::set<NodeAndClass>& verified) {
  const auto& of_class = finding["class"].get_ref<const std::string&>();
  if (!verified.contains(NodeAndClass(finding["node"], of_class))) return false;
  const auto interface = finding.find("interface");
  if (interface == finding.end() || !interface->is_object()) return true;
  const auto owners = interface->find("owners");
  if (owners == interface->end() || !owners->is_array()) return true;
  return std::ranges::any_of(*owners, [&](const Json& owner) {
    return owner.is_string() && verified.contains(NodeAndClass(owner, of_class));
  });
}

bool is_unconfirmed(const Json& finding) {
  const auto confirmed = finding.find("confirmed");
  return confirmed != finding.end() && *confirmed == false;
}

// Calls visit(finding, fingerprint) for each finding, a repeated one only once. All members that
// the visitors or the summary use were checked before: they are there and are texts.
template <typename Visit>
void for_each_finding(const Json& report, Visit visit) {
  std::set<std::string, std::less<>> seen;
  std::size_t number = 0;
  for (const Json& finding : list(report, "findings", "the report")) {
    const std::string what = fmt::format("finding {}", ++number);
    for (const char* name : {"node", "class", "text"}) text(finding, name, what);
    const std::string& fingerprint = text(finding, "fingerprint", what);
    if (seen.insert(fingerprint).second) visit(finding, fingerprint);
  }
}

std::set<std::string, std::less<>> fingerprints(const Json& report) {
  std::set<std::string, std::less<>> found;
  for_each_finding(report,
                   [&](const Json&, const std::string& fingerprint) { found.insert(fingerprint); });
  return found;
}

}  // namespace

void require_comparable(const Json& report) {
  verified_cells(report);
  fingerprints(report);
}

ReportDiff diff_reports(const Json& old_report, const Json& new_report) {
  const std::set<std::string, std::less<>> in_old = fingerprints(old_report);
  const std::set<std::string, std::less<>> in_new = fingerprints(new_report);
  const std::set<NodeAndClass> verified = verified_cells(new_report);

  ReportDiff diff;
  for_each_finding(new_report, [&](const Json& finding, const std::string& fingerprint) {
    if (in_old.contains(fingerprint)) {
      diff.still.push_back(finding);
    } else {
      (is_unconfirmed(finding) ? diff.unconfirmed : diff.fresh).push_back(finding);
    }
  });
  for_each_finding(old_report, [&](const Json& finding, const std::string& fingerprint) {
    if (in_new.contains(fingerprint)) return;
    (is_looked_at(finding, verified) ? diff.cleared : diff.not_looked_at_again).push_back(finding);
  });
  return diff;
}

nlohmann::ordered_json diff_document(const ReportDiff& diff) {
  return {{"format", "zorbec-diff"},
          {"version", 1},
          {"new", diff.fresh},
          {"new_unconfirmed", diff.unconfirmed},
          {"still", diff.still},
          {"cleared", diff.cleared},
          {"not_looked_at_again", diff.not_looked_at_again}};
}

}  // namespace zorbec

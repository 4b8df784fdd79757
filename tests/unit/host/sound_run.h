#pragma once

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "host/facts/facts.h"

// Facts of an interface check that found nothing wrong, and what a test adds to them.
namespace zorbec::unit {

// A node whose interfaces and keys were all read and compared, and nothing was wrong.
inline NodeFacts sound_node(const std::string& name, bool dumps_pidb) {
  NodeFacts node;
  node.name = name;
  node.address = "192.0.16." + name;
  node.type = dumps_pidb ? "LC" : "RP";
  node.role = "Active";
  node.has_worker = true;
  node.dumps_pidb = dumps_pidb;
  for (ClassFacts& of_class : node.classes) {
    if (dumps_pidb) of_class.interfaces = 2;
    of_class.expected = 6;
  }
  if (dumps_pidb) node.has_tunnels = true;
  node.programmed = 36;
  node.leaks = event::LeaksChecked{.node = {}, .programmed = 36};
  return node;
}

// The interface check of RP0 and two cards.
inline RunFacts sound_run() {
  RunFacts run;
  run.model_code = 4;
  run.nodes = {sound_node("RP0", false), sound_node("1", true), sound_node("2", true)};
  return run;
}

// A key of a class that is missing on a node, of an interface that `owners` report.
inline void add_missing(RunFacts& run, const std::string& node, ReportClass of,
                        std::vector<std::string> owners) {
  const std::string id = "missing-key/" + node + "/" + std::to_string(run.findings.size());
  Finding& finding = run.findings[id];
  finding.id = id;
  finding.kind = FindingKind::kMissingKey;
  finding.node = node;
  finding.report_class = of;
  finding.interface = {"0x8", "", std::move(owners)};
  finding.times = 1;
}

inline void add_leaked(RunFacts& run, const std::string& node) {
  const std::string id = "leaked-key/" + node + "/" + std::to_string(run.findings.size());
  Finding& finding = run.findings[id];
  finding.id = id;
  finding.kind = FindingKind::kLeakedKey;
  finding.node = node;
  finding.report_class = ReportClass::kLeak;
  finding.times = 1;
}

// A node of a multicast check whose entries were collected and compared, and nothing was wrong. A
// route processor (RP) lists routes, a line card (LC) has bud objects.
inline NodeFacts sound_multicast_node(const std::string& name, const std::string& type) {
  NodeFacts node;
  node.name = name;
  node.address = "192.0.16." + name;
  node.type = type;
  node.role = "Active";
  node.has_worker = true;
  if (type == "RP") node.routes = 5;
  if (type == "LC") node.buds = 5;
  node.routes_compared = 5;
  return node;
}

// The multicast check of RP0 and two cards.
inline RunFacts sound_multicast_run() {
  RunFacts run;
  run.check = Check::kMulticast;
  run.model_code = 4;
  run.nodes = {sound_multicast_node("RP0", "RP"), sound_multicast_node("1", "LC"),
               sound_multicast_node("2", "LC")};
  return run;
}

// A route that is wrong on a node.
inline void add_faulty_route(RunFacts& run, const std::string& node) {
  const std::string id = "missing-bud/" + node + "/" + std::to_string(run.findings.size());
  Finding& finding = run.findings[id];
  finding.id = id;
  finding.kind = FindingKind::kMissingBud;
  finding.check = Check::kMulticast;
  finding.node = node;
  finding.report_class = ReportClass::kMulticast;
  finding.route = {7, "RP0", "0x13bc", ""};
  finding.times = 1;
}

// The node of that name, which must be there.
inline NodeFacts& node_of(RunFacts& run, const std::string& name) {
  for (NodeFacts& node : run.nodes) {
    if (node.name == name) return node;
  }
  throw std::out_of_range("no node " + name);
}

}  // namespace zorbec::unit

#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/facts/facts.h"

// What went wrong in a run as lines of text, so that a test can hold all of it at once.
namespace zorbec::unit {

// "pmdb: stale, pidb_physical: /tmp/... is older": the list, the reason, where and what.
inline std::string line_of(const std::string& list, const Problem& problem) {
  return list + ": " + std::string(reason_text(problem.reason)) + ", " + problem.where + ": " +
         problem.detail;
}

inline void append_lines(std::vector<std::string>& lines, const std::string& list,
                         const Problems& problems) {
  for (const Problem& problem : problems) lines.push_back(line_of(list, problem));
}

// All problems of a run: its own first, then each node's, which begin with the node's name.
inline std::vector<std::string> problem_lines(const RunFacts& run) {
  std::vector<std::string> lines;
  append_lines(lines, "set_up", run.set_up);
  append_lines(lines, "multicast_verification", run.multicast_verification);
  for (const NodeFacts& node : run.nodes) {
    append_lines(lines, node.name + " pidb", node.pidb);
    for (const InterfaceClass intf_class : kEnumerators<InterfaceClass>) {
      append_lines(lines, node.name + " " + std::string(class_name(intf_class)),
                   node.classes[intf_class].problems);
    }
    append_lines(lines, node.name + " pmdb", node.pmdb);
    append_lines(lines, node.name + " verification", node.verification);
    append_lines(lines, node.name + " leak_questions", node.leak_questions);
    append_lines(lines, node.name + " multicast", node.multicast);
  }
  return lines;
}

}  // namespace zorbec::unit

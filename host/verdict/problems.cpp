#include "host/verdict/problems.h"

#include <string>

namespace zorbec {
namespace {

std::string shown(const Problem& problem) {
  return problem.where.empty() ? problem.detail : problem.where + ": " + problem.detail;
}

}  // namespace

const Problem kNotReached{Reason::kWorkerEnded, "",
                          "the check of this node ended before this part of it"};

const Problem* first_of(std::initializer_list<const Problems*> lists) {
  for (const Problems* const list : lists) {
    if (!list->empty()) return &list->front();
  }
  return nullptr;
}

void set_not_verified(Cell& cell, const Problem& problem) {
  cell.verdict = Verdict::kNotVerified;
  cell.reason = problem.reason;
  cell.detail = shown(problem);
}

}  // namespace zorbec

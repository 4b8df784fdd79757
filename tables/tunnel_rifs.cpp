#include "tables/tunnel_rifs.h"

#include <algorithm>

namespace zorbec {

void TunnelRifs::expect(const std::vector<std::string>& nodes) {
  const MutexLock lock(mutex_);
  expected_.clear();
  for (const std::string& node : nodes) expected_.emplace_back(node, std::nullopt);
  // So that report() need not allocate.
  rifs_.reserve(rifs_.size() + nodes.size());
}

void TunnelRifs::report(const std::string& node, std::vector<std::string> found) {
  const MutexLock lock(mutex_);
  const auto place = std::ranges::find(expected_, node, [](const auto& one) { return one.first; });
  if (place == expected_.end()) {
    rifs_.push_back(std::move(found));
  } else {
    place->second = std::move(found);
    append_reported();
  }
}

void TunnelRifs::abandon() {
  const MutexLock lock(mutex_);
  for (auto& [node, found] : expected_) {
    if (!found) found.emplace();
  }
  append_reported();
}

void TunnelRifs::append_reported() {
  const auto missing =
      std::ranges::find_if(expected_, [](const auto& one) { return !one.second.has_value(); });
  for (auto reported = expected_.begin(); reported != missing; ++reported) {
    if (!reported->second->empty()) rifs_.push_back(*std::move(reported->second));
  }
  expected_.erase(expected_.begin(), missing);
  if (expected_.empty()) all_reported_.notify_all();
}

void TunnelRifs::wait() const {
  const MutexLock lock(mutex_);
  while (!expected_.empty()) all_reported_.wait(mutex_);
}

std::vector<std::string> TunnelRifs::list() const {
  std::vector<std::string> all;
  const MutexLock lock(mutex_);
  for (const std::vector<std::string>& of_node : rifs_) {
    all.insert(all.end(), of_node.begin(), of_node.end());
  }
  return all;
}

}  // namespace zorbec

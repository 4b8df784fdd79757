#pragma once

#include <condition_variable>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/mutex.h"

namespace zorbec {

// The tunnel RIFs of all route processors, which every node is asked for. The list only grows, also
// from run to run.
//
// Route processors report at different times, yet their RIFs stand in node-table order, and nobody
// is to ask before all have reported: a line card that asks too early would miss healthy entries.
class TunnelRifs {
 public:
  // A phase begins in which these nodes, in this order, will each report once.
  void expect(const std::vector<std::string>& nodes);
  // What a node found, even if it is nothing or less than there is. Of a node that nobody expects,
  // it is appended at once. Of one that is expected it does not throw.
  void report(const std::string& node, std::vector<std::string> found);
  // Nobody reports any more: whoever waits goes on with what there is.
  void abandon();

  // Waits until every expected node has reported.
  void wait() const;
  // The list as it stands.
  std::vector<std::string> list() const;

 private:
  // Appends what was reported as far as nobody is missing before it.
  void append_reported() ZORBEC_REQUIRES(mutex_);

  mutable Mutex mutex_;
  mutable std::condition_variable_any all_reported_;
  // As they were reported, one list each. There is room for all who are expected: a report comes
  // from workers that fail too, and must not need memory then.
  std::vector<std::vector<std::string>> rifs_ ZORBEC_GUARDED_BY(mutex_);
  // Those who have not been appended yet, in order.
  std::vector<std::pair<std::string, std::optional<std::vector<std::string>>>> expected_
      ZORBEC_GUARDED_BY(mutex_);
};

}  // namespace zorbec

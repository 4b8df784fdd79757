#pragma once

#include <condition_variable>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/mutex.h"

namespace zorbec {

// The list of the tunnel RIFs of all route processors. The hardware of every node is asked for each
// of them. The list only grows, also from one run to the next. Safe from any thread.
//
// Route processors report their RIFs at different times, but the list is always in node-table
// order. A worker must wait() until all have reported: if it asks its line card too early, it asks
// for too few RIFs, and the card's entries for the others are reported as missing.
class TunnelRifs {
 public:
  // Begins a phase in which each of these nodes will report once. RIFs are listed in the order of
  // `nodes`.
  void expect(const std::vector<std::string>& nodes);
  // Called for each expected node when its collector has ended, even if it has failed: `found` is
  // what it found until then. Does not throw for an expected node. What another node reports is
  // appended at once.
  void report(const std::string& node, std::vector<std::string> found);
  // Ends the phase early: nodes that have not reported are taken to have found nothing, and wait()
  // returns.
  void abandon();

  // Blocks until every expected node has reported, without time limit.
  void wait() const;
  // A copy of the list as it is now.
  std::vector<std::string> list() const;

 private:
  // Appends the reports up to the first node that has not reported.
  void append_reported() ZORBEC_REQUIRES(mutex_);

  mutable Mutex mutex_;
  mutable std::condition_variable_any all_reported_;
  // One list for each report. Memory for all expected reports is reserved beforehand, because
  // report() is called from destructors of workers that may have failed, and must not throw.
  std::vector<std::vector<std::string>> rifs_ ZORBEC_GUARDED_BY(mutex_);
  // The nodes whose reports are not in rifs_ yet, in order, each with its report if it has come.
  std::vector<std::pair<std::string, std::optional<std::vector<std::string>>>> expected_
      ZORBEC_GUARDED_BY(mutex_);
};

}  // namespace zorbec

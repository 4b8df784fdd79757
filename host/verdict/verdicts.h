#pragma once

#include <optional>
#include <vector>

#include "host/facts/facts.h"
#include "host/report/report.h"

namespace zorbec {

// Judges what the runs told, one run for each check that was asked for.
//
// A class of a node is CONSISTENT only if all of it was compared, both sides were read from what
// the node dumped in this run, and nothing is missing. It is INCONSISTENT only if a finding stands
// on such ground too. Everything else is NOT VERIFIED, but for what there is none of and what is
// never checked by design.
Report judge(std::vector<RunFacts> runs, Selection selection, std::optional<Reason> ended_early);

}  // namespace zorbec

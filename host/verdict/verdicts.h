#pragma once

#include <optional>
#include <vector>

#include "host/facts/facts.h"
#include "host/report/report.h"

namespace zorbec {

// Makes the report from the facts of the runs, one run for each check that was asked for. The times
// `started` and `took` are left to the caller. `selection` limits what is in the report and what
// the verdict rests on; `ended_early` says why the check was ended early, if it was.
//
// A class of a node is CONSISTENT only if all of it was compared, both sides come from dumps of
// this run, and nothing is missing. It is INCONSISTENT only if a finding rests on dumps of this
// run. Otherwise it is NOT VERIFIED, except where there is nothing of that class (NONE) and where a
// check never looks (BY DESIGN).
Report judge(std::vector<RunFacts> runs, Selection selection, std::optional<Reason> ended_early);

}  // namespace zorbec

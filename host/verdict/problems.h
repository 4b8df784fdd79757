#pragma once

#include <initializer_list>

#include "host/facts/facts.h"
#include "host/report/report.h"

namespace zorbec {

// Turning problems into verdicts. Pointers to problems point into the facts that are judged, or to
// kNotReached, and are never to be deleted.

// For a part of the check that was not reached, when nothing else says why.
extern const Problem kNotReached;

// The first problem of the first list that has one; null if none has.
const Problem* first_of(std::initializer_list<const Problems*> lists);

// Makes the cell NOT VERIFIED for this problem.
void set_not_verified(Cell& cell, const Problem& problem);

}  // namespace zorbec

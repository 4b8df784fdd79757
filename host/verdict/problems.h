#pragma once

#include <initializer_list>

#include "host/facts/facts.h"
#include "host/report/report.h"

namespace zorbec {

// How problems on the way to a verdict are turned into one. Pointers to problems belong to the
// facts that are judged.

// Stands for a part of the check that nobody came to.
extern const Problem kNotReached;

// The first problem of the first list that has one; null if none has.
const Problem* first_of(std::initializer_list<const Problems*> lists);

// Makes the cell NOT VERIFIED for this problem.
void set_not_verified(Cell& cell, const Problem& problem);

}  // namespace zorbec

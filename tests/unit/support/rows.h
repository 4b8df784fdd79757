#pragma once

#include <gtest/gtest.h>

#include <ostream>
#include <string>

namespace zorbec::unit {

// What a row of a table of cases derives from: its name, which says which case it is.
struct Row {
  Row(const char* row_name) : name(row_name) {}
  const char* name;
};
inline std::ostream& operator<<(std::ostream& out, const Row& row) {
  return out << row.name;
}

// For INSTANTIATE_TEST_SUITE_P.
template <typename Case>
std::string row_name(const ::testing::TestParamInfo<Case>& row) {
  return row.param.name;
}

}  // namespace zorbec::unit

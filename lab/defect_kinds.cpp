#include "lab/defect_kinds.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>

namespace zorbec::lab {

const DefectKindRow& row_of(DefectKind kind) {
  return kDefectKinds[static_cast<std::size_t>(kind)];
}

std::string name_of(DefectKind kind) {
  return std::string(row_of(kind).name);
}

bool is_multicast_defect(DefectKind kind) {
  return std::holds_alternative<WrongRoute>(row_of(kind).what);
}

DefectOrder parse_defect(const std::string& text) {
  constexpr int kMost = 1'000'000;
  const std::string_view whole = text;
  const std::size_t colon = whole.find(':');
  const auto* const row = std::find_if(
      kDefectKinds.begin(), kDefectKinds.end(),
      [&](const DefectKindRow& candidate) { return candidate.name == whole.substr(0, colon); });
  bool valid = row != kDefectKinds.end();
  int count = 1;
  if (colon != std::string_view::npos) {
    const char* end_of_text = whole.data() + whole.size();
    const auto [end, error] = std::from_chars(whole.data() + colon + 1, end_of_text, count);
    valid = valid && error == std::errc() && end == end_of_text && count > 0 && count <= kMost;
  }
  if (!valid) throw std::invalid_argument("no defect: " + text);
  return {row->kind, count};
}

}  // namespace zorbec::lab

#include "context/node_table_pattern.h"

namespace zorbec {

std::shared_ptr<const NodeTablePattern> node_table_pattern() {
  static const auto kPattern = std::make_shared<const NodeTablePattern>();
  return kPattern;
}

}  // namespace zorbec

#include "lab/tool_names.h"

#include <algorithm>

namespace zorbec::lab {

bool is_router_tool(std::string_view name) {
  return std::find(kRouterTools.begin(), kRouterTools.end(), name) != kRouterTools.end();
}

bool is_dump_file(std::string_view name) {
  return std::any_of(kDumpsOfTools.begin(), kDumpsOfTools.end(),
                     [&](const DumpOfTool& file) { return file.name == name; });
}

}  // namespace zorbec::lab

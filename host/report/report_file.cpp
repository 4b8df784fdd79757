#include "host/report/report_file.h"

#include <cstddef>
#include <new>
#include <nlohmann/json.hpp>  // seconds of compiling
#include <string_view>

#include "base/error.h"
#include "base/files.h"

namespace zorbec {
namespace {

constexpr std::size_t kMostBytes = std::size_t{1} << 30;
// Writing a document takes one stack frame for each level.
constexpr int kMostLevels = 64;

}  // namespace

nlohmann::json read_json_file(const std::string& path) {
  try {
    const FileText file = read_file(path, kMostBytes);
    const std::string_view text = file.view();
    return nlohmann::json::parse(text.begin(), text.end(),
                                 [&](int depth, nlohmann::json::parse_event_t, nlohmann::json&) {
                                   if (depth > kMostLevels)
                                     throw CheckError(path + ": nested too deeply");
                                   return true;
                                 });
  } catch (const nlohmann::json::exception&) {
    throw CheckError(path + ": not valid JSON");
  } catch (const std::bad_alloc&) {
    throw CheckError(path + ": not enough memory to load it");
  }
}

nlohmann::json read_report(const std::string& path) {
  nlohmann::json report = read_json_file(path);
  const auto holds = [&](const char* name, const nlohmann::json& value) {
    const auto found = report.find(name);
    return found != report.end() && *found == value;
  };
  if (!report.is_object() || !holds("format", "zorbec-report")) {
    throw CheckError(path + ": not a report of zorbec check");
  }
  if (!holds("version", 1)) {
    throw CheckError(
        path + ": a report of another version than 1, the only version that this zorbec reads");
  }
  return report;
}

}  // namespace zorbec

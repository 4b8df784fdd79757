#include "host/report/report.h"

#include <boost/uuid/name_generator_sha1.hpp>
#include <boost/uuid/uuid.hpp>
#include <boost/uuid/uuid_io.hpp>

namespace zorbec {
namespace {

// The namespace of our name-based UUIDs. It must never change: with another one, no finding of an
// old report would be the same as one of a new report.
constexpr boost::uuids::uuid kFindings = {{0x7a, 0x6f, 0x72, 0x62, 0x65, 0x63, 0x40, 0x1d, 0x9c,
                                           0x52, 0x66, 0x69, 0x6e, 0x64, 0x69, 0x6e}};

}  // namespace

std::string_view check_name(Check check) {
  static constexpr EnumNames<Check> kNames(
      {{Check::kInterfaces, "interfaces"}, {Check::kMulticast, "multicast"}});
  return kNames[check];
}

std::string_view class_name(ReportClass report_class) {
  if (const auto intf_class = report_class.interface_class()) return class_name(*intf_class);
  return report_class == ReportClass::kLeak ? "leak" : "multicast";
}

std::string_view column_heading(ReportClass report_class) {
  if (const auto of = report_class.interface_class()) return kInterfaceClassTable[*of].column;
  return report_class == ReportClass::kLeak ? "leaks" : "multicast";
}

std::vector<ReportClass> classes_of(Check check) {
  if (check == Check::kMulticast) return {ReportClass::kMulticast};
  const auto& all = kEnumerators<InterfaceClass>;
  std::vector<ReportClass> classes(all.begin(), all.end());
  classes.push_back(ReportClass::kLeak);
  return classes;
}

std::string_view reason_text(Reason reason) {
  static constexpr EnumNames<Reason> kTexts({
      {Reason::kUnreachable, "unreachable"},
      {Reason::kCommandFailed, "command failed"},
      {Reason::kCopyMissing, "copy missing"},
      {Reason::kEmpty, "empty"},
      {Reason::kStale, "stale"},
      {Reason::kTruncated, "truncated"},
      {Reason::kNotJson, "not JSON"},
      {Reason::kWrongShape, "wrong shape"},
      {Reason::kWorkerEnded, "worker ended"},
      {Reason::kNothingToCompare, "nothing to compare"},
      {Reason::kInterrupted, "interrupted"},
      {Reason::kDeadline, "deadline"},
  });
  return kTexts[reason];
}

std::string_view verdict_text(Verdict verdict) {
  static constexpr EnumNames<Verdict> kTexts({
      {Verdict::kConsistent, "CONSISTENT"},
      {Verdict::kInconsistent, "INCONSISTENT"},
      {Verdict::kNotVerified, "NOT VERIFIED"},
      {Verdict::kNothing, "NONE"},
      {Verdict::kByDesign, "BY DESIGN"},
      {Verdict::kRunFailed, "RUN FAILED"},
  });
  return kTexts[verdict];
}

std::string_view kind_name(FindingKind kind) {
  static constexpr EnumNames<FindingKind> kNames({
      {FindingKind::kMissingKey, "missing-key"},
      {FindingKind::kLeakedKey, "leaked-key"},
      {FindingKind::kRouteHandle, "route-handle"},
      {FindingKind::kMissingBud, "missing-bud"},
      {FindingKind::kMissingHandle, "missing-handle"},
      {FindingKind::kCardHandle, "card-handle"},
  });
  return kNames[kind];
}

std::string_view kind_words(FindingKind kind) {
  static constexpr EnumNames<FindingKind> kWords({
      {FindingKind::kMissingKey, "missing key"},
      {FindingKind::kLeakedKey, "leaked key"},
      {FindingKind::kRouteHandle, "wrong handle"},
      {FindingKind::kMissingBud, "missing bud object"},
      {FindingKind::kMissingHandle, "missing handle"},
      {FindingKind::kCardHandle, "wrong handle"},
  });
  return kWords[kind];
}

std::string fingerprint(std::string_view finding_id) {
  const boost::uuids::name_generator_sha1 generator(kFindings);
  return to_string(generator(finding_id.data(), finding_id.size()));
}

}  // namespace zorbec

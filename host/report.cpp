#include "host/report.h"

#include <boost/uuid/name_generator_sha1.hpp>
#include <boost/uuid/uuid.hpp>
#include <boost/uuid/uuid_io.hpp>

namespace zorbec {
namespace {

// Ours alone: another namespace would give the same findings other fingerprints.
constexpr boost::uuids::uuid kFindings = {{0x7a, 0x6f, 0x72, 0x62, 0x65, 0x63, 0x40, 0x1d, 0x9c,
                                           0x52, 0x66, 0x69, 0x6e, 0x64, 0x69, 0x6e}};

}  // namespace

std::string_view check_name(Check check) {
  return check == Check::kInterfaces ? "interfaces" : "multicast";
}

std::string_view class_name(ReportClass report_class) {
  constexpr std::array<std::string_view, kReportClasses> kNames = {
      "physical", "physical-subif", "bundle", "bundle-subif", "bvi", "gre", "leak", "multicast"};
  return kNames[static_cast<std::size_t>(report_class)];
}

std::vector<ReportClass> classes_of(Check check) {
  if (check == Check::kMulticast) return {ReportClass::kMulticast};
  return {ReportClass::kPhysical,    ReportClass::kPhysicalSubif, ReportClass::kBundle,
          ReportClass::kBundleSubif, ReportClass::kBvi,           ReportClass::kGre,
          ReportClass::kLeak};
}

std::string_view reason_text(Reason reason) {
  constexpr std::array<std::string_view, 12> kTexts = {
      "unreachable",  "command failed",     "copy missing", "empty",
      "stale",        "truncated",          "not JSON",     "wrong shape",
      "worker ended", "nothing to compare", "interrupted",  "deadline"};
  return kTexts[static_cast<std::size_t>(reason)];
}

std::string_view verdict_text(Verdict verdict) {
  constexpr std::array<std::string_view, 6> kTexts = {"CONSISTENT", "INCONSISTENT", "NOT VERIFIED",
                                                      "NONE",       "BY DESIGN",    "RUN FAILED"};
  return kTexts[static_cast<std::size_t>(verdict)];
}

std::string fingerprint(std::string_view finding_id) {
  const boost::uuids::name_generator_sha1 generator(kFindings);
  return to_string(generator(finding_id.data(), finding_id.size()));
}

int exit_code(Verdict verdict) {
  switch (verdict) {
    case Verdict::kConsistent:
      return 0;
    case Verdict::kInconsistent:
      return 1;
    case Verdict::kRunFailed:
      return 3;
    case Verdict::kNotVerified:
    case Verdict::kNothing:
    case Verdict::kByDesign:
      return 2;
  }
  return 2;
}

}  // namespace zorbec

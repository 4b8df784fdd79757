#include "host/diff/diff_command.h"

#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>  // seconds of compiling
#include <exception>
#include <memory>
#include <nlohmann/json.hpp>  // seconds of compiling
#include <string>
#include <string_view>
#include <vector>

#include "base/error.h"
#include "base/log_stream.h"
#include "host/diff/report_diff.h"
#include "host/report/output_file.h"
#include "host/report/report_file.h"
#include "host/words/wrapped_text.h"

namespace zorbec {
namespace {

struct DiffOptions {
  std::string old_report;
  std::string new_report;
  std::string json;
};

void say_report(std::string& out, std::string_view label, const std::string& path,
                const nlohmann::json& report) {
  const auto started = report.find("started");
  const bool is_dated = started != report.end() && started->is_string();
  append_wrapped(out, label,
                 path + (is_dated ? ", " + started->get_ref<const std::string&>() : ""));
}

void say_group(std::string& out, std::string_view title,
               const std::vector<nlohmann::json>& findings) {
  out += fmt::format("\n{}: {}\n", title, findings.size());
  for (const nlohmann::json& finding : findings) {
    const auto text = [&](const char* name) -> const std::string& {
      return finding[name].get_ref<const std::string&>();
    };
    append_wrapped(out, "  ",
                   fmt::format("node {}, {}: {}", text("node"), text("class"), text("text")));
  }
}

std::string summary(const DiffOptions& options, const nlohmann::json& old_report,
                    const nlohmann::json& new_report, const ReportDiff& diff) {
  std::string out;
  say_report(out, "Old  ", options.old_report, old_report);
  say_report(out, "New  ", options.new_report, new_report);
  say_group(out, "New", diff.fresh);
  if (!diff.unconfirmed.empty()) say_group(out, "New, but unconfirmed", diff.unconfirmed);
  say_group(out, "Still there", diff.still);
  say_group(out, "Cleared", diff.cleared);
  if (!diff.not_looked_at_again.empty()) {
    say_group(out, "Not looked at again", diff.not_looked_at_again);
  }
  return out;
}

nlohmann::json read_comparable(const std::string& path) {
  nlohmann::json report = read_report(path);
  try {
    require_comparable(report);
  } catch (const CheckError& error) {
    throw CheckError(path + ": " + error.what());
  }
  return report;
}

ExitCode diff(const DiffOptions& options) {
  try {
    const nlohmann::json old_report = read_comparable(options.old_report);
    const nlohmann::json new_report = read_comparable(options.new_report);
    const ReportDiff found = diff_reports(old_report, new_report);
    OutputStream standard_output(STDOUT_FILENO, "standard output");
    if (!options.json.empty()) {
      const std::string document = diff_document(found).dump(2) + "\n";
      if (options.json == "-") {
        standard_output.write(document);
      } else {
        write_output_file(options.json, document);
      }
    }
    if (options.json != "-") {
      standard_output.write(summary(options, old_report, new_report, found));
    }
    return found.fresh.empty() ? ExitCode::kConsistent : ExitCode::kInconsistent;
  } catch (const std::exception& error) {
    report_error({printable(error.what())});
    return ExitCode::kNotCarriedOut;
  }
}

}  // namespace

void add_diff_command(CLI::App& app, ExitCode& exit_code) {
  CLI::App* const command = app.add_subcommand("diff", "Show what changed between two reports");
  const auto options = std::make_shared<DiffOptions>();
  command->add_option("OLD", options->old_report, "Report of the earlier check")
      ->required()
      ->type_name("");
  command->add_option("NEW", options->new_report, "Report of the later check")
      ->required()
      ->type_name("");
  command
      ->add_option("--json", options->json, "Write the result as JSON to FILE; -: standard output")
      ->type_name("FILE");
  command->callback([options, &exit_code] { exit_code = diff(*options); });
}

}  // namespace zorbec

#include "bench/answered_commands.h"

#include <filesystem>
#include <string_view>
#include <utility>

#include "base/files.h"

namespace zorbec {

AnsweredCommands::AnsweredCommands(std::string router) : router_(std::move(router)) {}

CommandResult AnsweredCommands::run(const Command& command, const std::function<void()>& started) {
  started();
  return {answer(command), 0};
}

std::string AnsweredCommands::answer(const Command& command) const {
  const std::string& line = command.line;
  const auto holds = [&](std::string_view text) { return line.find(text) != std::string::npos; };
  if (holds("relinfo_print")) return file("banner.txt");
  if (holds("nodemap_query")) return file("nodemap.txt");
  if (holds("bundle-scale")) return file("bundle-scale.txt");
  if (holds("confdump")) return file("config.txt");

  const std::string node = "nodes/" + std::string(command.node);
  if (holds("mcroute_print")) return file(node + "/out/mcroute_print");
  if (holds("fwdobj_print")) return file(node + "/out/fwdobj_print");
  if (holds("hwkey_dump -r ")) return file(node + "/rifs/" + line.substr(line.rfind(' ') + 1));
  return {};
}

std::string AnsweredCommands::file(const std::string& name) const {
  constexpr std::size_t kMostBytes = std::size_t{1} << 30U;
  const std::string path = router_ + "/" + name;
  if (!std::filesystem::exists(path)) return {};
  return std::string(read_file(path, kMostBytes).view());
}

}  // namespace zorbec

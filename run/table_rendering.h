#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "run/dump_tables.h"
#include "run/json_writer.h"
#include "run/made_once.h"

namespace zorbec {

// Pretty-printed renderings for the logs, each ended by a newline. What the checker added to a
// record (`key_list`, `subiflist`, `visited`) is shown as a member of it.

// One class's whole table, all nodes.
std::string render(const InterfaceTables& tables);

std::string render(const InterfaceRecord& record);
std::string render(const SubifList& handles);

// A node's key map, in pieces: it is the largest thing that a log holds.
void render(const PmdbTable& pmdb, const JsonWriter::Sink& sink);

// The rendering of one interface truth table, which stands in the verification log of every node:
// made once, by the first worker that comes to it, and shared by all.
class SharedRendering {
 public:
  // `tables` must not change until clear().
  std::shared_ptr<const std::string> get(const InterfaceTables& tables) {
    return text_.get([&] { return render(tables); });
  }

  // The same ahead of need, unless another worker does it.
  void make_ahead(const InterfaceTables& tables) {
    text_.make_ahead([&] { return render(tables); });
  }

  // Forgets it; to be called whenever the tables may have changed.
  void clear() { text_.clear(); }

 private:
  MadeOnce<std::string> text_;
};

}  // namespace zorbec

#pragma once

#include <string>
#include <string_view>

#include "json/writer.h"
#include "tables/dump_tables.h"

namespace zorbec {

// Pretty-printed renderings for the logs, each ended by a newline. What the checker added to a
// record (`key_list`, `subiflist`, `visited`) is shown as a member of it.

// One class's whole table, all nodes.
std::string render(const InterfaceTables& tables);

std::string render(const InterfaceRecord& record);
std::string render(const SubifList& handles);

// A node's key map, in pieces: it is the largest thing that a log holds.
void render(const PmdbTable& pmdb, const JsonWriter::Sink& sink);

}  // namespace zorbec

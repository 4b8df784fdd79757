#pragma once

#include <string>
#include <string_view>

#include "json/writer.h"
#include "tables/dump_tables.h"

namespace zorbec {

// Texts for the logs: JSON as JsonWriter writes it, with a newline at the end. What the checker has
// added to a record (`key_list`, `subiflist`, `inconsistent`, `visited`) is shown as a member of
// it, and hides a member of the same name in the dump.
//
// May be called from any thread while nobody changes what is rendered. Throws std::bad_alloc.

// One class's table with all nodes, sorted by node.
std::string render(const InterfaceTables& tables);

std::string render(const InterfaceRecord& record);
std::string render(const SubifList& handles);

// A node's key map, the largest part of a log. The sink gets it in pieces; what it throws leaves
// this function.
void render(const PmdbTable& pmdb, const JsonWriter::Sink& sink);

}  // namespace zorbec

#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "base/files.h"
#include "context/observer.h"
#include "context/tell.h"
#include "keys/dump_content.h"
#include "tables/dump_tables.h"

namespace zorbec {

// Copies the file `remote` of a node to the local path `local`, with scp. Does not check whether
// that worked: an old copy that belongs to us stays if the node sent nothing. Anything else under
// the local name is removed first (see remove_what_is_not_ours()), so that scp does not follow a
// link or wait for a FIFO, and another user's file is not taken for a dump.
//
// Throws std::system_error if the old file cannot be removed, and what execute() throws.
void copy_from_node(const std::string& nodeip, std::string_view remote, const std::string& local);

// Reads and parses the file at `path`. Throws std::system_error if it cannot be read or is larger
// than 4 GB, JsonError if it is not valid JSON, and CheckError if there is not enough memory. The
// texts of both contain the path.
JsonDocument parse_dump(const std::string& path);

// Loads the local copy of a node's dump into the node's place in `table`. If the copy is empty,
// `table` is not changed. Else the place gets an empty table first, and keeps it if the copy cannot
// be parsed. `intf_class` is the class of a PIDB dump; it is only for the observer.
//
// Only one thread at a time may work on a node's tables. Throws std::system_error if there is no
// copy, and what parse_dump() and the observer throw.
template <typename T>
void load_dump(NodeTable<T>& table, const std::string& nodename, const std::string& path,
               std::optional<InterfaceClass> intf_class = std::nullopt) {
  const std::size_t bytes = run_state().files().size(path);
  DumpContent content;
  if (bytes != 0) {
    // Replaces the table of an earlier run, which must not stay if this copy cannot be parsed.
    table.set(nodename, T(path));
    const T& loaded = table.set(nodename, T(path, parse_dump(path)));
    if (is_watched()) content = look_into(loaded, intf_class);
  }
  tell([&] {
    return event::DumpLoaded{
        nodename, intf_class, path, bytes, run_state().files().modification_time(path), content};
  });
}

}  // namespace zorbec

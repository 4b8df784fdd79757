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

// Copies the file `remote` of a node to the local file `local`. Whether it came is seen only when
// the copy is loaded; an old copy of ours stays if none did. Anything else under the local name is
// removed first: the copy must neither follow a link nor wait for a FIFO, and what another user has
// put there must not be taken for a node's dump.
// Throws std::system_error if that fails.
void copy_from_node(const std::string& nodeip, std::string_view remote, const std::string& local);

// The parsed content of the file at `path`. Throws std::system_error if it cannot be read,
// JsonError with the path if it is not valid JSON, CheckError if there is not memory enough.
JsonDocument parse_dump(const std::string& path);

// Loads the local copy of a node's dump into its place of `table`. An empty copy is nothing to load
// and changes nothing. Otherwise the place becomes an empty table first, and stays so if the copy
// cannot be parsed. `intf_class` is what a PIDB dump is of, for the observer.
//
// Throws std::system_error if there is no copy, and what parse_dump() throws.
template <typename T>
void load_dump(NodeTable<T>& table, const std::string& nodename, const std::string& path,
               std::optional<InterfaceClass> intf_class = std::nullopt) {
  const std::size_t bytes = run_state().files().size(path);
  DumpContent content;
  if (bytes != 0) {
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

#pragma once

#include <string>
#include <string_view>

#include "tables/dump_tables.h"

namespace zorbec {

// Derives the keys that the hardware must hold for one interface, and stores them in its record as
// `key_list`: first the interface's own handle, then the keys. Duplicates are kept.
//
// `intftype` is "bundle", "bvi", "gre", "bundle-subif", "physical" or "physical-subif"; with any
// other text the record does not change. `ifhvalue` is the handle in decimal. `nodename` is the
// node that reports the interface.
//
// A physical port that is a bundle member gets no `key_list`. Its keys, without the handle, are
// added to the list of its bundle, and each sub-interface of the bundle gets one more key. So this
// function must be called for all bundles and bundle sub-interfaces of a node before its first
// physical port: the call for a bundle replaces its list. The bundle as it then is goes to the log
// in `dl_fd` of the run state, if one is open.
//
// Only one thread at a time may work on a node's tables. For each bundle member the function asks
// for the scale mode, which may run a command. Throws CheckError if a field that the class needs is
// missing or is not a number of the right kind, or if the bundle is not in the node's table; and
// what get_router_type(), get_spa_mode() (and so execute()) and the log throw. What was stored
// before stays.
void construct_key_db(InterfaceRecord key_inputs, std::string_view intftype,
                      std::string_view ifhvalue, const std::string& nodename);

}  // namespace zorbec

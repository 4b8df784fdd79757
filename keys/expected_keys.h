#pragma once

#include <string>
#include <string_view>

#include "tables/dump_tables.h"

namespace zorbec {

// Derives the keys that the hardware must hold for one interface and stores them in its record as
// `key_list`: the interface's own handle first, then the keys, duplicates kept.
//
// `intftype` is "bundle", "bvi", "gre", "bundle-subif", "physical" or "physical-subif"; any other
// class leaves the record as it is. `ifhvalue` is the handle in decimal, `nodename` the node whose
// tables the record is from.
//
// A physical port that is a bundle member gets no `key_list`: its keys, without the handle, extend
// the list of its bundle, and each sub-interface of the bundle gets one key more. So all bundles
// and bundle sub-interfaces of a node must have had their call before its first physical port; a
// bundle's call replaces the list. What became of the bundle goes to the log in `dl_fd`, if one is
// open.
//
// Throws CheckError if a field that the class needs is missing or is not the number it must be, or
// if the bundle is not in the node's table; what was stored before stays. Runs the platform's scale
// probe once for every bundle member.
void construct_key_db(InterfaceRecord key_inputs, std::string_view intftype,
                      std::string_view ifhvalue, const std::string& nodename);

}  // namespace zorbec

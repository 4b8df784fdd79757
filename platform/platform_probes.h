#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "base/integer.h"

namespace zorbec {

// Questions to the platform, one command each at most. All throw CheckError where an answer cannot
// be read, and what execute() throws. Safe from any thread.

// Router model codes that more than one place asks for.
inline constexpr int kModelUnknown =
    1;  // a banner without a known name: taken for a standard model
inline constexpr int kModelKvr330 = 2;
inline constexpr int kModelK310 = 5;
inline constexpr int kModelKvr78q4 = 7;
inline constexpr int kModelDdc = 8;
inline constexpr int kModelK310x = 9;

// Whether models of that code have a single processor, and so no node table.
constexpr bool is_single_processor(int model) {
  return model == kModelK310 || model == kModelKvr78q4 || model == kModelK310x;
}

// The router model code, from the version banner: 2 to 9 for a model that is known, else 1. Also
// stored in `router`; once it is there no command runs any more.
int get_router_type();

// A line card's switching-processor index: the slot number modulo 64, or 0 on the models that have
// one processor for all slots, where the slot is not looked at: `read_slot` is not called then.
// Throws what it throws, and CheckError if a node name is no decimal number.
Integer get_rack_slot_ssp(std::string_view node);
Integer get_rack_slot_ssp(const std::function<Integer()>& read_slot);

// Seconds since the node was started.
double get_node_uptime(const std::string& nodeip);

// The configured bundle scale as the configuration writes it, "256" if it holds none.
std::string get_bundle_scale();

// The scale mode: 0, 1 or 2 for a bundle scale of 256, 512 or 1024, 10 for any other. No command
// runs if `known_scale_mode` says it.
int get_spa_mode();

// The scale mode of a bundle scale that is known.
int spa_mode_of(std::string_view scale);

}  // namespace zorbec

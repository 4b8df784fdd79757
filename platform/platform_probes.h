#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "base/integer.h"

namespace zorbec {

// Questions to the platform. Each runs at most one command. All throw CheckError if the answer
// cannot be understood, and what execute() throws. Safe from any thread.

// The router model codes that are used in more than one place. kModelUnknown is for a banner
// without a known name: such a router is checked like a standard model.
inline constexpr int kModelUnknown = 1;
inline constexpr int kModelKvr330 = 2;
inline constexpr int kModelK310 = 5;
inline constexpr int kModelKvr78q4 = 7;
inline constexpr int kModelDdc = 8;
inline constexpr int kModelK310x = 9;

// Whether the model has a single processor, and so no node table.
constexpr bool is_single_processor(int model) {
  return model == kModelK310 || model == kModelKvr78q4 || model == kModelK310x;
}

// The router model code, taken from the version banner: 2 to 9 for a known model, else 1. Stores it
// in `router`; later calls run no command.
int get_router_type();

// The switching-processor index of a line card: its slot number modulo 64. Models that have one
// processor for all slots always give 0; for them `node` is not read and read_slot() is not called.
// Throws CheckError if `node` is not a decimal number, and what read_slot() throws.
Integer get_rack_slot_ssp(std::string_view node);
Integer get_rack_slot_ssp(const std::function<Integer()>& read_slot);

// The seconds since the node with this address was started.
double get_node_uptime(const std::string& nodeip);

// The bundle scale, as the configuration writes it; "256" if the configuration has none.
std::string get_bundle_scale();

// The scale mode: 0, 1 or 2 for a bundle scale of 256, 512 or 1024, and 10 for any other. If
// `known_scale_mode` is set, returns that and runs no command. Else asks at every call.
int get_spa_mode();

// The scale mode for a bundle scale.
int spa_mode_of(std::string_view scale);

}  // namespace zorbec

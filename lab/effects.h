#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "lab/damage.h"

// What the router's damage.txt does to a tool. All functions run in the process of the tool.
//
// All throw std::invalid_argument if damage.txt is wrong and std::system_error if it cannot be
// read.
namespace zorbec::lab {

// The exit status of ssh when it does not reach the node.
constexpr int kTransportFailed = 255;

// The exit status of a shell that does not find the tool.
constexpr int kNotFound = 127;

// The damages that hit `what` at the place `where` (see Damage), in file order. The process reads
// damage.txt once.
std::vector<Damage> damages_at(std::string_view where, std::string_view what);

// Sleeps for all delays that hit the tool. Returns the damage that decides its outcome: the last
// one that is no delay, because each damage replaces the answer that the ones before it left.
std::optional<Damage> suffer_damage(std::string_view where, std::string_view tool);

// The exit status of a tool that the damage keeps from answering. Such a tool writes no file and
// prints no answer; its error line, if it has one, is printed here. Nothing if the tool answers.
std::optional<int> status_without_answer(const Damage& damage, std::string_view tool);

// The same for ssh and scp on the way to the node with this address. Nothing without damage.
std::optional<int> status_of_hindered(std::string_view address, std::string_view tool,
                                      const std::optional<Damage>& damage);

}  // namespace zorbec::lab

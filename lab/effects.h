#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "lab/damage.h"

// What the router's damage.txt does to a tool, where the tool runs.
namespace zorbec::lab {

// How ssh ends when it does not get through, and a shell when there is no such tool.
constexpr int kTransportFailed = 255;
constexpr int kNotFound = 127;

// The damages that hit `what` at the place `where`, in file order. damage.txt is read once in a
// process. Throws std::invalid_argument if it is wrong.
std::vector<Damage> damages_at(std::string_view where, std::string_view what);

// Lets a tool's delays pass and returns the damage that decides its outcome: the last of the
// others, since each one replaces what the tool would have answered until then.
std::optional<Damage> suffer_damage(std::string_view where, std::string_view tool);

// The status of a tool that, damaged so, neither prints nor writes anything but an error line,
// which this prints. Nothing if the tool goes on.
std::optional<int> status_without_answer(const Damage& damage, std::string_view tool);

// The same for ssh and scp on their way to the node that owns `address`.
std::optional<int> status_of_hindered(std::string_view address, std::string_view tool,
                                      const std::optional<Damage>& damage);

}  // namespace zorbec::lab

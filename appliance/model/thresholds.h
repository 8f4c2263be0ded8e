// The four levels that a node's current is held against.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

#include "appliance/model/result.h"

// From the highest to the lowest; each is at least what the next one is.
enum class level : size_t { high_critical, high_warning, low_warning, low_critical };
inline constexpr size_t level_count = 4;

// No high critical level lies below this, whatever the node can carry.
inline constexpr int lowest_alarm = 10; // tenths of an ampere

struct thresholds {
    std::array<int, level_count> tenths{}; // of an ampere, by level
    int most = 0;                          // what the node can carry, in tenths; no level lies above it

    int at(level which) const { return tenths[static_cast<size_t>(which)]; }
};

// What stands where nobody has set anything: high critical at what the node can carry, high warning at four fifths of
// it, the low levels at nothing.
thresholds default_thresholds(double most_amperes);

// result_bad_value where the level would leave its range or rise above the one before it. Levels behind it that would
// stand above it come down with it: whoever sets all four sets one after another, from the highest, and could not move
// them down otherwise.
result_code set_threshold(thresholds &limits, level which, double amperes);

// Whether all four stand in their ranges and in order.
bool are_sound(const thresholds &limits);

// Where a current stands among the levels; a low level of nothing is never fallen below.
enum class standing { normal, low_critical, low_warning, high_warning, high_critical };
standing standing_of(const thresholds &limits, double amperes);

// "normal", "low critical" and so on.
std::string_view standing_word(standing where);

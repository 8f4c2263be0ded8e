// What can be set at a unit and at its parts, one row each, whatever then becomes of it. To add a setting, add a row to
// the table of its kind of node.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "appliance/model/result.h"

struct envmon;
struct meter;
struct outlet;
struct unit;

// How the setting reads as a text, nothing where the node has no such setting; and how a text changes it:
// result_bad_value, with the old value in place, for one that it does not take.
template <class Node> struct setting_row {
    std::string_view name;
    std::optional<std::string> (*read)(const Node &);
    result_code (*write)(Node &, std::string_view value);
};

extern const std::span<const setting_row<unit>> unit_rows; // in the order of unit_setting
extern const std::span<const setting_row<outlet>> outlet_rows;

// Levels stand from the highest on, to be written in that order: one that moves down takes those below it along.
extern const std::span<const setting_row<meter>> meter_rows;
extern const std::span<const setting_row<envmon>> envmon_rows;

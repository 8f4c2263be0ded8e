// What one poll of the control tree found, in the tree's own numbers and in the units of the segment: the hand-over
// from the poll to the image.
#pragma once

#include <array>
#include <cstdint>
#include <iterator>
#include <string>
#include <vector>

#include "core/shm_layout.h"

inline constexpr size_t value_count = std::size(shm_values);

// The electrical values of one node, in the order of shm_values. A value whose bit is clear is 0.
struct elecmon_status {
    uint32_t available = 0;
    std::array<int64_t, value_count> values{};
};

// A phase or a circuit.
struct elem_status {
    int number = 0;
    std::string sys_name;
    elecmon_status values;
};

struct outlet_status {
    int number = 0;
    uint32_t capabilities = 0; // which of the four below the tree has, by the bits of shm_outlet
    int32_t ctrl_status = 0;   // codes
    int32_t mod_status = 0;
    int32_t post_on = 0; // tenths of a second, as post_off
    int32_t post_off = 0;
    std::string name;
    std::string sys_name;
    elecmon_status values;
};

struct unit_status {
    int number = 0;
    bool local = false; // the appliance's own unit
    std::string id;
    std::string model;
    int32_t model_code = 0;
    std::vector<elem_status> phases;
    std::vector<elem_status> circuits;
    std::vector<outlet_status> outlets;
    elecmon_status values;
};

// Numbers are ascending and unique, in this list and in all those inside it.
struct port_status {
    int number = 0;
    std::string name;
    std::string device;
    std::vector<unit_status> units;
};

using chain_status = std::vector<port_status>;

// The tables of a chain file, and the keys that each may have, as a list for whoever writes about them.
#pragma once

#include <span>
#include <string_view>
#include <vector>

#include "appliance/morvd/key_rule.h"

struct chain_file_table {
    std::string_view place; // "port.unit": the table [[port.unit]]; empty: the file itself
    size_t most;            // of such tables under the one above; 0: any number
    std::span<const key_rule> keys;
    std::span<const key_rule> further;
};

// In the order in which a file has them.
std::vector<chain_file_table> chain_file_tables();

// The same of one unit and what stands below it.
extern const std::span<const chain_file_table> unit_tables;

extern const std::span<const key_rule> sensor_table_keys;

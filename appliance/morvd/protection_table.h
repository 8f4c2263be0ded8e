// What a unit's table in the chain file says of fuses and hardware over-current protection.
#pragma once

#include "appliance/model/chain.h"
#include "appliance/morvd/toml_rules.h"

inline constexpr std::string_view hwocp_words[] = {"unit", "phase", "outlet"};
inline constexpr key_rule hwocp_rule = {"hwocp", value_kind::texts, 1, 15, "", hwocp_words};
inline constexpr key_rule fuse_rule = {"fuse", value_kind::real, 1, 1000, "amperes"};

// The unit's parts are there by now. Throws file_fault.
void read_hwocp(unit &made, const toml::table &unit_table);

// What a circuit's fuse bears, as the table under which it stands has it; a circuit that says nothing has its unit's.
void read_fuse(circuit &made, const toml::table &table);

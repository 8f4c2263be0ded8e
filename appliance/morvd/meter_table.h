// What a unit's table in the chain file says of loads and meters.
#pragma once

#include "appliance/model/chain.h"
#include "appliance/morvd/toml_rules.h"

// The keys that the table of a unit, of a phase or circuit, and of an outlet may have besides its own.
extern const std::span<const key_rule> unit_meter_keys;
extern const std::span<const key_rule> element_meter_keys;
extern const std::span<const key_rule> outlet_meter_keys;

// A unit's feed and its own meter. Its greatest current and its phases are known by now. Throws file_fault, as all of
// these.
void read_unit_meter(unit &made, const toml::table &unit_table);

// The meter of a part as the table of its unit has it for all the parts of that kind.
meter part_meter(const unit &of, node_kind kind, const toml::table &unit_table);

// The load of an outlet, likewise.
load outlet_load(const toml::table &unit_table);

// What the part's own table says beyond that.
void describe_meter(meter &made, const toml::table &table);
void describe_load(load &made, const toml::table &table);

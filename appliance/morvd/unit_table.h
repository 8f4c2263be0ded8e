// One unit as the chain file describes it.
#pragma once

#include "appliance/model/chain.h"
#include "appliance/morvd/toml_rules.h"

// `so_far` holds the units before it, whose IDs and outlet names it may not take. Throws file_fault.
unit read_unit(const chain &so_far, const toml::table &table);

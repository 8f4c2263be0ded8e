// The environment monitors of a unit as the chain file describes them.
#pragma once

#include "appliance/model/chain.h"
#include "appliance/morvd/toml_rules.h"

// What the table of one monitor says; `number` is its place, from 1. Throws file_fault.
envmon read_envmon(const toml::table &table, size_t number);

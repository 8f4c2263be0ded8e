// What the leaves of protection read and do; the leaves stand among the others of units, phases, circuits and outlets.
#pragma once

#include "appliance/morvd/writers.h"

// The state of the hardware over-current protection of the unit, phase or outlet that the path leads to.
std::optional<std::string> hwocp_state(const target &to);
bool has_hwocp(const target &to);

// Makes it ready again, with that of all the unit's parts. No word. A unit takes it where any of them has one.
result_code write_hwocp_reset(const target &to, word_span words);
bool has_any_hwocp(const target &to);

// The state of the fuse of the circuit that the path leads to.
std::optional<std::string> fuse_state(const target &to);
bool has_fuse(const target &to);

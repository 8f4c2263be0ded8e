// How current flows through a chain: loads draw it from the feed, and what the meters at outlets, circuits, phases and
// units read follows from that.
//
// A unit's phases lie 120 degrees apart. An outlet's load stands at the voltage of its circuit, or at the first phase's
// where it is on none. Powers, real and reactive, add up from outlets to circuits; currents add up by size and angle
// from circuits to the phases at both of their ends, so that a phase in delta carries less than the plain sum. A unit's
// power is that of all its phases, its current the plain sum of theirs, its voltage their mean. At every node the power
// is voltage times current times power factor.
//
// Loads and the feed waver a little, by the chain's seed and the time alone, so that the same times give the same
// readings whoever asked for them and how often.
#pragma once

#include <cstdint>

#include "appliance/model/chain.h"

// Takes a reading at every node. What breaks by it, a fuse or a hardware protection, does so at once.
void measure(chain &units, int64_t at_ms);

// What stands at the outlet, one of that unit, where the feed does not waver: V.
double nominal_volts(const unit &unit, const outlet &outlet);

// Every count of energy begins, at that local date, and a first reading is taken.
void start_meters(chain &units, int64_t at_ms, int64_t date);

// What the unit's meters keep of their values, but for energy, begins anew with the next reading.
void forget_extremes(unit &holder);

// Lets time go on, with readings on the way. A long time has them farther apart.
void run_meters(chain &units, int64_t from_ms, int64_t to_ms);

// What stands between the loads and the wiring of a unit: hardware over-current protection of the unit, its phases and
// its outlets, and the fuses of its circuits.
//
// A protection trips, and a fuse blows, when the current goes beyond what the node can carry; where several are in the
// way, the one nearest to the load goes first and may save the others. A protection that trips takes the outlets behind
// it off, and they stay off until it is reset and they are told to come on; a fixed outlet loses its current all the
// same. A fuse that blows leaves the relays alone: outlets behind it keep their state and get no current.
#pragma once

struct chain;
struct circuit;
struct outlet;
struct unit;

// Where a hardware protection can be.
enum class guarded { unit, phase, outlet };

// Whether current reaches the outlet, one of that unit, up to its relay.
bool is_fed(const unit &unit, const outlet &outlet);

// Whether a hardware protection of the unit, of a phase that feeds the outlet, or of the outlet itself has tripped.
bool is_tripped(const unit &unit, const outlet &outlet);

// Whether the fuse of its circuit has blown.
bool has_blown_fuse(const unit &unit, const outlet &outlet);

// Trips the protection at that node of the unit, which has one; `number` counts phases and outlets from 1.
void trip(unit &unit, guarded where, int number);

// Every protection of the unit is ready again.
void reset_protection(unit &unit);

// Breaks what the present readings overload, in each unit nearest to the loads only. Whether anything broke: what is
// farther from the loads is to be looked at once readings have been taken again.
bool break_overloads(chain &units);

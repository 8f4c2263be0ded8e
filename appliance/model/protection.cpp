// Trips, fuses, and what lies behind them.

#include "appliance/model/protection.h"

#include <algorithm>

#include "appliance/model/chain.h"

// --- What lies behind -----------------------------------------------------------------------------------------------

static bool feeds(const unit &unit, int phase, const outlet &outlet)
{
    if (outlet.circuit == 0)
        return phase == 1;
    const circuit &on = unit.circuits[static_cast<size_t>(outlet.circuit - 1)];
    return on.from_phase == phase || on.to_phase == phase;
}

bool is_tripped(const unit &unit, const outlet &outlet)
{
    if (unit.tripped.value_or(false) || outlet.tripped.value_or(false))
        return true;
    for (size_t i = 0; i < unit.phases.size(); i++)
        if (unit.phases[i].tripped.value_or(false) && feeds(unit, static_cast<int>(i) + 1, outlet))
            return true;
    return false;
}

bool has_blown_fuse(const unit &unit, const outlet &outlet)
{
    if (outlet.circuit == 0)
        return false;
    const std::optional<fuse> &fuse = unit.circuits[static_cast<size_t>(outlet.circuit - 1)].fuse;
    return fuse && fuse->blown;
}

bool is_fed(const unit &unit, const outlet &outlet)
{
    return !has_blown_fuse(unit, outlet) && !is_tripped(unit, outlet);
}

// --- Trips ----------------------------------------------------------------------------------------------------------

void trip(unit &unit, guarded where, int number)
{
    size_t index = static_cast<size_t>(number - 1);
    if (where == guarded::unit)
        unit.tripped = true;
    else if (where == guarded::phase)
        unit.phases[index].tripped = true;
    else
        unit.outlets[index].tripped = true;

    for (outlet &one : unit.outlets)
        if (is_tripped(unit, one) && !one.fixed) {
            one.on = false;
            one.pending = {};
        }
}

static void make_ready(std::optional<bool> &tripped)
{
    if (tripped)
        tripped = false;
}

void reset_protection(unit &unit)
{
    make_ready(unit.tripped);
    for (phase &one : unit.phases)
        make_ready(one.tripped);
    for (outlet &one : unit.outlets)
        make_ready(one.tripped);
}

// --- Overloads ------------------------------------------------------------------------------------------------------

// A protection that is ready and reads more than its node can carry.
template <class Node> static bool has_to_trip(const Node &node)
{
    bool ready = node.tripped && !*node.tripped;
    return ready && node.measured.now[quantity::current] * 10 > node.measured.limits.most;
}

template <class Part> static bool trip_parts(unit &unit, guarded where, const std::vector<Part> &parts)
{
    bool any = false;
    for (size_t i = 0; i < parts.size(); i++)
        if (has_to_trip(parts[i])) {
            trip(unit, where, static_cast<int>(i) + 1);
            any = true;
        }
    return any;
}

static bool blow_fuses(unit &unit)
{
    bool any = false;
    for (circuit &one : unit.circuits)
        if (one.fuse && !one.fuse->blown && one.measured.now[quantity::current] > one.fuse->amperes)
            any = one.fuse->blown = true;
    return any;
}

static bool break_nearest(unit &unit)
{
    if (trip_parts(unit, guarded::outlet, unit.outlets) || blow_fuses(unit) ||
        trip_parts(unit, guarded::phase, unit.phases))
        return true;
    if (!has_to_trip(unit))
        return false;
    trip(unit, guarded::unit, 0);
    return true;
}

bool break_overloads(chain &units)
{
    bool any = false;
    for (port_line &port : units.ports)
        for (unit &one : port.units)
            any = break_nearest(one) || any;
    return any;
}

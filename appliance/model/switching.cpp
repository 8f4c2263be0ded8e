// The plan of an action, and its steps as they fall due.

#include "appliance/model/switching.h"

#include <algorithm>
#include <set>

// --- Plans ----------------------------------------------------------------------------------------------------------

// When the next outlet of the action may switch.
struct turns {
    int64_t on;
    int64_t off;
};

static int64_t interval_ms(const std::optional<int> &tenths)
{
    return tenths.value_or(0) * int64_t{100};
}

static void plan_on(const unit &holder, outlet &one, turns &next)
{
    if (one.on || is_held_off(holder, one))
        return;
    one.pending = {.what = waiting::to_come_on, .at = next.on};
    next.on += interval_ms(one.post_power_on);
}

static void plan_off(outlet &one, turns &next)
{
    if (!one.on)
        return;
    one.pending = {.what = waiting::to_go_off, .at = next.off};
    next.off += interval_ms(one.post_power_off);
}

static void plan_cycle(const unit &holder, outlet &one, turns &next, int64_t now_ms)
{
    int64_t off_at = one.on ? next.off : now_ms;
    if (one.on)
        next.off += interval_ms(one.post_power_off);
    int64_t rest_until = off_at + holder.cycle_interval.value_or(0) * int64_t{1000};
    int64_t on_at = std::max(rest_until, next.on);
    next.on = on_at + interval_ms(one.post_power_on);
    one.pending = {.what = waiting::to_cycle, .at = off_at, .rest_until = rest_until, .on_at = on_at};
}

static void plan(const unit &holder, outlet &one, outlet_action action, turns &next, int64_t now_ms)
{
    if (!holder.switched || one.fixed)
        return;
    if (action == outlet_action::lock || action == outlet_action::unlock) {
        one.locked = action == outlet_action::lock;
        if (one.locked)
            one.pending = {};
        return;
    }
    if (one.locked)
        return;

    one.pending = {};
    turns at_once = {now_ms, now_ms};
    if (action == outlet_action::on || action == outlet_action::ion)
        plan_on(holder, one, action == outlet_action::on ? next : at_once);
    else if (action == outlet_action::off || action == outlet_action::ioff)
        plan_off(one, action == outlet_action::off ? next : at_once);
    else
        plan_cycle(holder, one, next, now_ms);
}

void begin_action(chain &units, outlet_action action, std::span<const place> outlets, int64_t now_ms)
{
    turns next = {now_ms, now_ms};
    std::set<place> seen;
    for (const place &at : outlets)
        if (seen.insert(at).second)
            plan(*unit_at(units, at), *outlet_at(units, at), action, next, now_ms);
}

// --- Steps ----------------------------------------------------------------------------------------------------------

static void turn_relay(const unit &holder, outlet &one, bool on)
{
    if (!one.stuck && !(on && is_held_off(holder, one)))
        one.on = on;
}

static void take_step(const unit &holder, outlet &one)
{
    pending_switch &pending = one.pending;
    switch (pending.what) {
    case waiting::nothing:
        return;
    case waiting::to_come_on:
    case waiting::turn_in_cycle:
        turn_relay(holder, one, true);
        pending = {};
        return;
    case waiting::to_go_off:
        turn_relay(holder, one, false);
        pending = {};
        return;
    case waiting::to_cycle:
        turn_relay(holder, one, false);
        if (one.on) { // a relay that sticks: there is nothing to come back from
            pending = {};
            return;
        }
        pending.what = waiting::in_cycle;
        pending.at = pending.rest_until;
        return;
    case waiting::in_cycle:
        pending.what = waiting::turn_in_cycle;
        pending.at = pending.on_at;
        return;
    }
}

std::optional<int64_t> do_what_is_due(chain &units, int64_t now_ms)
{
    std::optional<int64_t> next;
    for (port_line &port : units.ports)
        for (unit &holder : port.units)
            for (outlet &one : holder.outlets) {
                while (one.pending.what != waiting::nothing && one.pending.at <= now_ms)
                    take_step(holder, one);
                if (one.pending.what != waiting::nothing)
                    next = std::min(next.value_or(one.pending.at), one.pending.at);
            }
    return next;
}

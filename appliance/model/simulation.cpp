// What the simulated units do when they are told something.

#include "appliance/model/simulation.h"

static chain &chain_of(void *self)
{
    return static_cast<simulation *>(self)->units;
}

// --- Units ----------------------------------------------------------------------------------------------------------

static result_code set_unit_id(void *self, int port, int pdu, std::string_view id)
{
    chain &units = chain_of(self);
    unit &unit = *unit_at(units, {port, pdu});
    std::string wanted(id.empty() ? std::string_view(unit.default_id) : id);
    if (result_code refused = check_unit_id(wanted))
        return refused;

    place holder = find_unit(units, wanted);
    if (holder.port && !(holder.port == port && holder.pdu == pdu))
        return result_taken;
    unit.id = std::move(wanted);
    return result_done;
}

static result_code set_cycle_interval(void *self, int port, int pdu, int seconds)
{
    if (seconds < shortest_cycle_interval || seconds > longest_cycle_interval)
        return result_bad_value;
    unit_at(chain_of(self), {port, pdu})->cycle_interval = seconds;
    return result_done;
}

static result_code set_overcurrent(void *self, int port, int pdu, bool on)
{
    unit_at(chain_of(self), {port, pdu})->overcurrent = on;
    return result_done;
}

// --- Outlets --------------------------------------------------------------------------------------------------------

static result_code set_outlet_name(void *self, const place &at, std::string_view name)
{
    chain &units = chain_of(self);
    if (result_code refused = check_outlet_name(name))
        return refused;
    place holder = find_outlet(units, name);
    if (holder.port && holder != at)
        return result_taken;
    outlet_at(units, at)->name = name;
    return result_done;
}

static result_code set_interval(std::optional<int> &interval, int tenths)
{
    if (tenths < 0 || tenths > longest_post_power)
        return result_bad_value;
    interval = tenths;
    return result_done;
}

static result_code set_post_power_on(void *self, const place &at, int tenths)
{
    return set_interval(outlet_at(chain_of(self), at)->post_power_on, tenths);
}

static result_code set_post_power_off(void *self, const place &at, int tenths)
{
    return set_interval(outlet_at(chain_of(self), at)->post_power_off, tenths);
}

static result_code act(void *self, outlet_action action, std::span<const place> outlets)
{
    simulation &desk = *static_cast<simulation *>(self);
    for (const place &at : outlets)
        if (!outlet_at(desk.units, at))
            return result_no_such_part;
    int64_t now = desk.clock.now_ms();
    begin_action(desk.units, action, outlets, now);
    desk.next_due = do_what_is_due(desk.units, now);
    return result_done;
}

// --- Time -----------------------------------------------------------------------------------------------------------

static void settle(void *self)
{
    simulation &desk = *static_cast<simulation *>(self);
    if (!desk.next_due)
        return;
    int64_t now = desk.clock.now_ms();
    if (now >= *desk.next_due)
        desk.next_due = do_what_is_due(desk.units, now);
}

static std::optional<int64_t> next_due(const void *self)
{
    return static_cast<const simulation *>(self)->next_due;
}

device simulated_device(simulation &simulation)
{
    return {.units = &simulation.units,
            .self = &simulation,
            .set_unit_id = set_unit_id,
            .set_cycle_interval = set_cycle_interval,
            .set_overcurrent = set_overcurrent,
            .set_outlet_name = set_outlet_name,
            .set_post_power_on = set_post_power_on,
            .set_post_power_off = set_post_power_off,
            .act = act,
            .settle = settle,
            .next_due = next_due};
}

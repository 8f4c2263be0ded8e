// What the simulated units do when they are told something.

#include "appliance/model/simulation.h"

#include <algorithm>

#include "appliance/model/electricity.h"
#include "appliance/model/firmware.h"
#include "appliance/model/flash.h"
#include "appliance/model/sampling.h"
#include "appliance/model/simulated_environment.h"

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

static result_code set_setting(void *self, int port, int pdu, unit_setting which, std::string_view value)
{
    return change_setting(*unit_at(chain_of(self), {port, pdu}), which, value);
}

// --- What flows -----------------------------------------------------------------------------------------------------

static void run_to(simulation &desk, int64_t at_ms)
{
    if (!desk.metered_to || at_ms <= *desk.metered_to)
        return;
    run_meters(desk.units, *desk.metered_to, at_ms);
    run_envmons(desk.units, *desk.metered_to, at_ms);
    desk.metered_to = at_ms;
}

void close_readings(simulation &simulation)
{
    run_to(simulation, simulation.clock.now_ms());
}

void open_readings(simulation &simulation)
{
    measure(simulation.units, simulation.clock.now_ms());
}

// --- Tasks ----------------------------------------------------------------------------------------------------------

static unit *own_unit(chain &units)
{
    return units.ports.empty() || !is_local(units.ports[0], 1) ? nullptr : unit_at(units, {1, 1});
}

void start_own_unit(simulation &simulation)
{
    firmware written;
    std::string fault;
    unit *own = own_unit(simulation.units);
    if (own && own->version && read_firmware(simulation.own_image_file, &written, &fault))
        own->version = written.version;
}

// A unit that is back plans its outlets, which may be due by now, hence the order.
static void do_all_due(simulation &desk, int64_t now)
{
    run_to(desk, now);
    const unit *own = own_unit(desk.units);
    bool was_away = own && is_away(*own);
    std::optional<int64_t> task = end_tasks(desk.units, desk.flash, now);
    if (was_away && !is_away(*own))
        start_own_unit(desk);
    std::optional<int64_t> step = do_what_is_due(desk.units, now);
    desk.next_due = task && step ? std::min(*task, *step) : task ? task : step;
    measure(desk.units, now);
}

static result_code begin_unit_task(void *self, int port, int pdu, unit_task task)
{
    simulation &desk = *static_cast<simulation *>(self);
    int64_t now = desk.clock.now_ms();
    run_to(desk, now); // relays drop at once
    result_code code = begin_task(desk.units, desk.flash, {port, pdu}, task, now);
    do_all_due(desk, now);
    return code;
}

static result_code can_upgrade(chain &units, const place &at)
{
    const unit *found = unit_at(units, at);
    if (!found || is_away(*found) || !found->upgradable)
        return result_no_such_part;
    return found->task == unit_task::none ? result_done : result_busy;
}

static result_code upgrade(void *self, std::span<const place> units)
{
    simulation &desk = *static_cast<simulation *>(self);
    for (const place &at : units)
        if (result_code refused = can_upgrade(desk.units, at))
            return refused;
    firmware image;
    std::string fault;
    if (!read_firmware(desk.image_file, &image, &fault))
        return result_bad_image;
    for (const place &at : units)
        unit_at(desk.units, at)->version = image.version;
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
        if (!outlet_at(desk.units, at) || is_away(*unit_at(desk.units, at)))
            return result_no_such_part;
    int64_t now = desk.clock.now_ms();
    begin_action(desk.units, action, outlets, now);
    do_all_due(desk, now);
    return result_done;
}

// --- Meters ---------------------------------------------------------------------------------------------------------

static result_code set_threshold(void *self, node_kind kind, const place &at, level which, double amperes)
{
    return set_threshold(meter_at(chain_of(self), kind, at)->limits, which, amperes);
}

static result_code reset_statistic(void *self, node_kind kind, const place &at, quantity which)
{
    simulation &desk = *static_cast<simulation *>(self);
    close_readings(desk);
    reset_statistic(*meter_at(desk.units, kind, at), which);
    return result_done;
}

static result_code reset_energy(void *self, node_kind kind, const place &at)
{
    simulation &desk = *static_cast<simulation *>(self);
    close_readings(desk);
    reset_energy(*meter_at(desk.units, kind, at), desk.clock.date());
    return result_done;
}

// --- Time -----------------------------------------------------------------------------------------------------------

// What falls due is done at its own time, so that the meters count what flowed before it and after it. Besides that
// they run from one sample to the next only: requests in between are many and are to cost nothing, and what they read
// agrees.
static void settle(void *self)
{
    simulation &desk = *static_cast<simulation *>(self);
    int64_t now = desk.clock.now_ms();
    if (!desk.metered_to) {
        start_meters(desk.units, now, desk.clock.date());
        start_envmons(desk.units, now);
        desk.metered_to = now;
    }
    while (desk.next_due && *desk.next_due <= now)
        do_all_due(desk, *desk.next_due);
    run_to(desk, now - now % sample_ms);
}

static std::optional<int64_t> next_due(const void *self)
{
    return static_cast<const simulation *>(self)->next_due;
}

device simulated_device(simulation &simulation)
{
    return {.units = &simulation.units,
            .self = &simulation,
            .network = &simulation.network,
            .account = &simulation.account,
            .set_unit_id = set_unit_id,
            .set_cycle_interval = set_cycle_interval,
            .set_overcurrent = set_overcurrent,
            .set_setting = set_setting,
            .begin_task = begin_unit_task,
            .upgrade = upgrade,
            .set_outlet_name = set_outlet_name,
            .set_post_power_on = set_post_power_on,
            .set_post_power_off = set_post_power_off,
            .act = act,
            .set_threshold = set_threshold,
            .reset_statistic = reset_statistic,
            .reset_energy = reset_energy,
            .set_envmon_name = set_envmon_name,
            .set_envmon_unit = set_envmon_unit,
            .set_envmon_level = set_envmon_level,
            .reset_envmon = reset_envmon,
            .reset_hwocp = reset_hwocp,
            .settle = settle,
            .next_due = next_due};
}

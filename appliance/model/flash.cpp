// Saving, restoring, defaults and restarts.

#include "appliance/model/flash.h"

#include <algorithm>

#include "appliance/model/electricity.h"

static const std::string &line_of(const chain &units, const place &at)
{
    return units.ports[static_cast<size_t>(at.port - 1)].name;
}

static std::optional<configuration> saved_of(chain &units, const flash_store *flash, const place &at)
{
    std::optional<configuration> saved = flash ? flash->load(line_of(units, at), at.pdu) : std::nullopt;
    return saved ? std::optional(filled_up(std::move(*saved), unit_at(units, at)->as_made)) : std::nullopt;
}

// --- Relays ---------------------------------------------------------------------------------------------------------

static bool has_relay(const unit &of, const outlet &one)
{
    return of.switched && !one.fixed && !one.stuck;
}

static void drop_relays(unit &of)
{
    for (outlet &one : of.outlets) {
        one.pending = {};
        if (has_relay(of, one))
            one.on = false;
    }
}

static void plan_start(unit &of, const configuration &saved, int64_t from_ms)
{
    int64_t at = from_ms + of.cold_start_delay.value_or(0) * int64_t{1000};
    int number = 0;
    for (outlet &one : of.outlets) {
        bool comes_on = saved_state(saved, ++number).value_or(false);
        if (!comes_on || one.on || !of.switched)
            continue;
        one.pending = {.what = waiting::to_come_on, .at = at};
        at += one.post_power_on.value_or(0) * int64_t{100};
    }
}

static void set_relays(unit &of, const configuration &saved)
{
    int number = 0;
    for (outlet &one : of.outlets)
        if (std::optional<bool> on = saved_state(saved, ++number); on && has_relay(of, one))
            one.on = *on;
}

// --- Memory ---------------------------------------------------------------------------------------------------------

// Extremes and averages are in memory that a restart empties; energy is counted in one that lasts.
static void forget_recorded(unit &of)
{
    forget_extremes(of);
    for (envmon &one : of.envmons)
        reset_statistic(one);
}

// --- Tasks ----------------------------------------------------------------------------------------------------------

static result_code save(chain &units, flash_store *flash, const place &at)
{
    bool saved = flash && flash->save(line_of(units, at), at.pdu, settings_of(*unit_at(units, at)));
    return saved ? result_done : result_flash_fault;
}

static result_code restore(chain &units, flash_store *flash, const place &at)
{
    std::optional<configuration> saved = saved_of(units, flash, at);
    if (!saved)
        return flash ? result_nothing_saved : result_flash_fault;
    apply_settings(units, at, *saved);
    return result_done;
}

static result_code go_to_defaults(chain &units, flash_store *flash, const place &at)
{
    if (!flash || !flash->erase(line_of(units, at), at.pdu))
        return result_flash_fault;
    apply_settings(units, at, unit_at(units, at)->as_made);
    return result_done;
}

static result_code carry_out(chain &units, flash_store *flash, const place &at, unit_task task)
{
    switch (task) {
    case unit_task::none:
        break;
    case unit_task::save:
        return save(units, flash, at);
    case unit_task::restore:
        return restore(units, flash, at);
    case unit_task::factory_default:
        return go_to_defaults(units, flash, at);
    case unit_task::reboot:
        drop_relays(*unit_at(units, at));
        break;
    }
    return result_done;
}

result_code begin_task(chain &units, flash_store *flash, const place &at, unit_task task, int64_t now_ms)
{
    unit &of = *unit_at(units, at);
    if (of.task != unit_task::none)
        return result_busy;
    if (result_code refused = carry_out(units, flash, at, task))
        return refused;
    of.task = task;
    of.busy_until = now_ms + (task == unit_task::reboot ? of.reboot_time : of.flash_time).value_or(0);
    return result_done;
}

static void end_task(chain &units, const flash_store *flash, const place &at)
{
    unit &of = *unit_at(units, at);
    if (of.task == unit_task::reboot) {
        forget_recorded(of);
        configuration found = saved_of(units, flash, at).value_or(of.as_made);
        apply_settings(units, at, found);
        plan_start(of, found, of.busy_until);
    }
    of.task = unit_task::none;
}

// Calls `visit` with each unit and its place.
template <class Visit> static void each_unit(chain &units, Visit visit)
{
    place at = {0, 0, 0};
    for (port_line &port : units.ports) {
        at.port++;
        at.pdu = 0;
        for (unit &of : port.units) {
            at.pdu++;
            visit(of, at);
        }
    }
}

std::optional<int64_t> end_tasks(chain &units, const flash_store *flash, int64_t now_ms)
{
    std::optional<int64_t> next;
    each_unit(units, [&](unit &of, const place &at) {
        if (of.task != unit_task::none && of.busy_until <= now_ms)
            end_task(units, flash, at);
        if (of.task != unit_task::none)
            next = std::min(next.value_or(of.busy_until), of.busy_until);
    });
    return next;
}

// --- The start of the chain -----------------------------------------------------------------------------------------

// Every unit gives its ID and names up before the first takes what it saved, so that two that changed places find
// theirs free.
void start_units(chain &units, const flash_store &flash)
{
    std::vector<std::pair<place, configuration>> found;
    each_unit(units, [&](unit &of, const place &at) {
        std::optional<configuration> saved = saved_of(units, &flash, at);
        if (!saved)
            return;
        of.id.clear();
        for (outlet &one : of.outlets)
            one.name.clear();
        found.emplace_back(at, std::move(*saved));
    });
    for (const auto &[at, saved] : found) {
        apply_settings(units, at, saved);
        set_relays(*unit_at(units, at), saved);
    }
}

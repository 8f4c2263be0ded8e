// Each change stands between two readings, so that what was counted before it and after it is counted rightly.

#include "appliance/model/simulated_environment.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <span>

static simulation &desk_of(void *self)
{
    return *static_cast<simulation *>(self);
}

static envmon &monitor(void *self, const place &at)
{
    return *envmon_at(desk_of(self).units, at);
}

// --- Environment monitors -------------------------------------------------------------------------------------------

result_code set_envmon_name(void *self, const place &at, std::string_view name)
{
    if (result_code refused = check_envmon_name(name))
        return refused;
    monitor(self, at).name = name;
    return result_done;
}

result_code set_envmon_unit(void *self, const place &at, std::string_view word)
{
    envmon &one = monitor(self, at);
    const envmon_unit *unit = find_envmon_unit(*one.kind, word);
    if (!unit)
        return result_bad_value;
    one.unit = unit;
    return result_done;
}

result_code set_envmon_level(void *self, const place &at, level which, double shown)
{
    return set_envmon_level(monitor(self, at), which, shown);
}

result_code reset_envmon(void *self, const place &at)
{
    close_readings(desk_of(self));
    reset_statistic(monitor(self, at));
    return result_done;
}

// The value on the scale that the text stands for, or nothing.
static std::optional<double> read_value(const envmon &one, std::string_view text)
{
    if (one.kind->scale == scale::state) {
        auto state = std::find(one.kind->states.begin(), one.kind->states.end(), text);
        return state == one.kind->states.end() ? std::nullopt : std::optional<double>(state - one.kind->states.begin());
    }
    double shown = 0;
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), shown);
    double value = value_on_scale(one, shown);
    bool sound =
        error == std::errc() && end == text.data() + text.size() && value >= one.kind->low && value <= one.kind->high;
    return sound ? std::optional(value) : std::nullopt;
}

result_code hold_value(simulation &desk, const place &at, std::string_view value)
{
    envmon *one = envmon_at(desk.units, at);
    if (!one || one->pulled)
        return result_no_such_part;
    std::optional<double> wanted = read_value(*one, value);
    if (!wanted)
        return result_bad_value;
    close_readings(desk);
    one->held = wanted;
    take_value(*one, *wanted);
    return result_done;
}

result_code plug_probe(simulation &desk, const place &at, bool plugged)
{
    envmon *one = envmon_at(desk.units, at);
    if (!one)
        return result_no_such_part;
    close_readings(desk);
    bool comes_in = plugged && one->pulled;
    one->pulled = !plugged;
    if (comes_in) {
        one->held.reset();
        one->now = one->usual;
        reset_statistic(*one);
    }
    return result_done;
}

// --- Protection -----------------------------------------------------------------------------------------------------

result_code reset_hwocp(void *self, int port, int pdu)
{
    simulation &desk = desk_of(self);
    close_readings(desk);
    reset_protection(*unit_at(desk.units, {port, pdu}));
    open_readings(desk);
    return result_done;
}

static const std::optional<bool> *protection_at(chain &units, guarded where, const place &at)
{
    if (where == guarded::unit) {
        unit *found = unit_at(units, at);
        return found ? &found->tripped : nullptr;
    }
    if (where == guarded::phase) {
        phase *found = phase_at(units, at);
        return found ? &found->tripped : nullptr;
    }
    outlet *found = outlet_at(units, at);
    return found ? &found->tripped : nullptr;
}

result_code trip_hwocp(simulation &desk, guarded where, const place &at)
{
    const std::optional<bool> *tripped = protection_at(desk.units, where, at);
    if (!tripped || !*tripped)
        return result_no_such_part;
    close_readings(desk);
    trip(*unit_at(desk.units, at), where, at.part);
    open_readings(desk);
    return result_done;
}

result_code set_fuse(simulation &desk, const place &at, bool blown)
{
    circuit *one = circuit_at(desk.units, at);
    if (!one || !one->fuse)
        return result_no_such_part;
    close_readings(desk);
    one->fuse->blown = blown;
    open_readings(desk);
    return result_done;
}

// --- Links ----------------------------------------------------------------------------------------------------------

result_code set_link(simulation &desk, const place &at, bool broken, bool with_those_behind)
{
    if (!unit_at(desk.units, at))
        return result_no_such_part;
    port_line &line = desk.units.ports[static_cast<size_t>(at.port - 1)];
    if (is_local(line, at.pdu))
        return result_no_such_part;
    size_t first = static_cast<size_t>(at.pdu - 1), end = with_those_behind ? line.units.size() : first + 1;
    for (unit &one : std::span(line.units).subspan(first, end - first))
        one.adrift = broken;
    return result_done;
}

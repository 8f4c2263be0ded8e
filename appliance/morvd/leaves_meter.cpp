// What the meter of a unit, a phase, a circuit or an outlet serves, all four alike. A node without a meter has none of
// it, and a unit outside the current family knows present and maximum current, voltage and the high critical level.

#include <cmath>
#include <cstdio>
#include <ctime>

#include "appliance/morvd/leaves.h"
#include "appliance/morvd/writers.h"

using text = std::optional<std::string>;

// --- What there is --------------------------------------------------------------------------------------------------

static bool is_metered(const target &to)
{
    return to.meter->present;
}

static bool is_metered_fully(const target &to)
{
    return is_metered(to) && is_current_family(*to.unit);
}

// --- Readings -------------------------------------------------------------------------------------------------------

// What rounds to nothing has no sign.
static text figure(double value, int decimals)
{
    char buffer[64];
    double half = 0.5 * std::pow(10, -decimals);
    snprintf(buffer, sizeof buffer, "%.*f", decimals, std::abs(value) < half ? 0.0 : value);
    return buffer;
}

static text figure(quantity which, double value)
{
    return figure(value, which == quantity::power_factor ? 2 : 1);
}

template <quantity which> static text present_value(const target &to)
{
    return figure(which, to.meter->now[which]);
}

template <quantity which> static text least_value(const target &to)
{
    return figure(which, least(*to.meter, which));
}

template <quantity which> static text greatest_value(const target &to)
{
    return figure(which, greatest(*to.meter, which));
}

template <quantity which> static text average_value(const target &to)
{
    return figure(which, average(*to.meter, which));
}

template <quantity which> static text type_of_value(const target &to)
{
    return text(certainty_word(to.meter->how[static_cast<size_t>(which)]));
}

static text energy(const target &to)
{
    return figure(kilowatt_hours(*to.meter), 3);
}

static text energy_start(const target &to)
{
    const auto date = static_cast<time_t>(to.meter->counted_since); // from the clock, which has no wider one
    tm fields{};
    char buffer[32];
    size_t size = strftime(buffer, sizeof buffer, "%Y-%m-%d %H:%M:%S", gmtime_r(&date, &fields));
    return text(std::in_place, buffer, size);
}

// --- Levels ---------------------------------------------------------------------------------------------------------

template <level which> static text threshold(const target &to)
{
    return figure(to.meter->limits.at(which) / 10.0, 1);
}

static standing standing_of(const meter &at)
{
    return standing_of(at.limits, at.now[quantity::current]);
}

static text threshold_status(const target &to)
{
    return text(standing_word(standing_of(*to.meter)));
}

static bool is_critical(standing where)
{
    return where == standing::high_critical || where == standing::low_critical;
}

// The worst of all the unit's meters.
static text consolidated_alarm(const target &to)
{
    bool critical = false, warning = false;
    auto take_in = [&](const meter &at) {
        standing where = at.present ? standing_of(at) : standing::normal;
        critical = critical || is_critical(where);
        warning = warning || where != standing::normal;
    };
    take_in(to.unit->measured);
    for (const phase &one : to.unit->phases)
        take_in(one.measured);
    for (const circuit &one : to.unit->circuits)
        take_in(one.measured);
    for (const outlet &one : to.unit->outlets)
        take_in(one.measured);
    return critical ? "critical" : warning ? "warning" : "none";
}

// --- The leaves -----------------------------------------------------------------------------------------------------

static constexpr quantity amperes = quantity::current;
static constexpr quantity volts = quantity::voltage;
static constexpr quantity watts = quantity::power;
static constexpr quantity factor = quantity::power_factor;

static constexpr leaf meter_table[] = {
    {.name = "current", .info = present_value<amperes>, .present = is_metered},
    {.name = "current-max", .info = greatest_value<amperes>, .present = is_metered},
    {.name = "current-min", .info = least_value<amperes>, .present = is_metered_fully},
    {.name = "current-avg", .info = average_value<amperes>, .present = is_metered_fully},
    {.name = "reset-current", .admin = reset<amperes>, .present = is_metered},

    {.name = "current-alarm",
     .info = threshold<level::high_critical>,
     .admin = write_threshold<level::high_critical>,
     .present = is_metered},
    {.name = "current-warning",
     .info = threshold<level::high_warning>,
     .admin = write_threshold<level::high_warning>,
     .present = is_metered_fully},
    {.name = "current-low",
     .info = threshold<level::low_warning>,
     .admin = write_threshold<level::low_warning>,
     .present = is_metered_fully},
    {.name = "current-lowcrit",
     .info = threshold<level::low_critical>,
     .admin = write_threshold<level::low_critical>,
     .present = is_metered_fully},
    {.name = "threshold-status", .info = threshold_status, .present = is_metered_fully},
    {.name = "consolidated-alarm",
     .info = consolidated_alarm,
     .present = [](const target &to) { return to.kind == node_kind::unit && is_metered_fully(to); }},

    {.name = "voltage", .info = present_value<volts>, .present = is_metered},
    {.name = "voltage-type", .info = type_of_value<volts>, .present = is_metered},
    {.name = "voltage-max", .info = greatest_value<volts>, .present = is_metered_fully},
    {.name = "voltage-min", .info = least_value<volts>, .present = is_metered_fully},
    {.name = "voltage-avg", .info = average_value<volts>, .present = is_metered_fully},
    {.name = "reset-voltage", .admin = reset<volts>, .present = is_metered_fully},

    {.name = "power", .info = present_value<watts>, .present = is_metered_fully},
    {.name = "power-type", .info = type_of_value<watts>, .present = is_metered_fully},
    {.name = "power-max", .info = greatest_value<watts>, .present = is_metered_fully},
    {.name = "power-min", .info = least_value<watts>, .present = is_metered_fully},
    {.name = "power-avg", .info = average_value<watts>, .present = is_metered_fully},
    {.name = "reset-power", .admin = reset<watts>, .present = is_metered_fully},

    {.name = "power-factor", .info = present_value<factor>, .present = is_metered_fully},
    {.name = "power-factor-type", .info = type_of_value<factor>, .present = is_metered_fully},
    {.name = "power-factor-max", .info = greatest_value<factor>, .present = is_metered_fully},
    {.name = "power-factor-min", .info = least_value<factor>, .present = is_metered_fully},
    {.name = "power-factor-avg", .info = average_value<factor>, .present = is_metered_fully},
    {.name = "reset-power-factor", .admin = reset<factor>, .present = is_metered_fully},

    {.name = "cumulative-watthour", .info = energy, .present = is_metered_fully},
    {.name = "cumulative-watthour.reset", .admin = write_energy_reset, .present = is_metered_fully},
    {.name = "cumulative-starttime", .info = energy_start, .present = is_metered_fully},
};

constinit const std::span<const leaf> meter_leaves = meter_table;

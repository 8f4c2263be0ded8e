// Kinds and units of environment monitors, and how their values go.

#include "appliance/model/envmon.h"

#include <algorithm>
#include <cmath>

#include "appliance/model/chain.h"
#include "appliance/model/sampling.h"
#include "appliance/model/waver.h"

static constexpr int64_t waver_ms = 300'000; // from one turning point to the next

// --- Kinds and units ------------------------------------------------------------------------------------------------

static constexpr envmon_levels no_levels = {};

// Numbers 5 to 8 and 22 are contacts and unknown probes, which keep no statistics.
static constexpr envmon_kind kinds[] = {
    {"internal-temperature", 1, scale::temperature, -40, 125, 31, 1.5, {55, 45, 5, 0}, {}},
    {"external-temperature", 2, scale::temperature, -40, 125, 22, 1, {40, 32, 10, 5}, {}},
    {"humidity", 3, scale::humidity, 0, 100, 45, 3, {80, 70, 20, 10}, {}},
    {"air-flow", 4, scale::air_flow, 0, 1000, 60, 4, {950, 900, 20, 10}, {}},
    {"dry-contact", 5, scale::state, 0, 1, 0, 0, no_levels, {"closed", "open"}},
    {"water-level", 6, scale::state, 0, 1, 0, 0, no_levels, {"dry", "wet"}},
    {"motion", 7, scale::state, 0, 1, 0, 0, no_levels, {"still", "moving"}},
    {"smoke", 8, scale::state, 0, 1, 0, 0, no_levels, {"clear", "smoke"}},
    {"UNDEFINED", 22, scale::state, 0, 1, 0, 0, no_levels, {"unknown", "unknown"}},
};

// Those of a scale stand together, the usual one first.
static constexpr envmon_unit all_units[] = {
    {"oC", scale::temperature, 1, 0, 0, "\370C"},
    {"oF", scale::temperature, 1.8, 32, 0, "\370F"},
    {"K", scale::temperature, 1, 273.15, 273.15, "\370C"},
    {"%", scale::humidity, 1, 0, 0, "%"},
    {"afu", scale::air_flow, 1, 0, 0, "afu"},
    {"none", scale::state, 1, 0, 0, ""},
};

const envmon_kind *find_envmon_kind(std::string_view type)
{
    auto found = std::find_if(std::begin(kinds), std::end(kinds), [&](const auto &kind) { return kind.type == type; });
    return found == std::end(kinds) ? nullptr : found;
}

std::vector<std::string_view> envmon_types()
{
    std::vector<std::string_view> types;
    for (const envmon_kind &kind : kinds)
        types.push_back(kind.type);
    return types;
}

std::span<const envmon_unit> units_of(const envmon_kind &kind)
{
    auto is_its = [&](const envmon_unit &unit) { return unit.scale == kind.scale; };
    auto first = std::find_if(std::begin(all_units), std::end(all_units), is_its);
    return {first, std::find_if_not(first, std::end(all_units), is_its)};
}

const envmon_unit *find_envmon_unit(const envmon_kind &kind, std::string_view word)
{
    for (const envmon_unit &unit : units_of(kind)) {
        bool same_letter =
            kind.scale == scale::temperature && word.substr(0, 1) == unit.word.substr(unit.word.size() - 1);
        if (word == unit.word || same_letter)
            return &unit;
    }
    return nullptr;
}

double shown_value(const envmon &one, double on_scale)
{
    return on_scale * one.unit->factor + one.unit->offset;
}

// Rounded to what no unit shows any more, so that the same level counts as the same whichever unit it was told in.
double value_on_scale(const envmon &one, double shown)
{
    return std::round((shown - one.unit->offset) / one.unit->factor * 1e6) / 1e6;
}

result_code check_envmon_name(std::string_view name)
{
    if (name.size() > envmon_name_size)
        return result_too_long;
    return name.find_first_of(",:") != name.npos || has_control_characters(name) ? result_bad_value : result_done;
}

// --- Levels ---------------------------------------------------------------------------------------------------------

static bool is_in_range(const envmon_kind &kind, const envmon_levels &levels, size_t which, double value)
{
    double highest = which == 0 ? kind.high : levels[which - 1];
    return value >= kind.low && value <= highest; // what is no number is in no range
}

result_code set_envmon_level(envmon &one, level which, double shown)
{
    envmon_levels &levels = *one.levels;
    size_t place = static_cast<size_t>(which);
    double value = value_on_scale(one, shown);
    if (!is_in_range(*one.kind, levels, place, value))
        return result_bad_value;
    levels[place] = value;
    for (size_t i = place + 1; i < level_count; i++)
        levels[i] = std::min(levels[i], levels[i - 1]);
    return result_done;
}

bool are_levels_sound(const envmon_kind &kind, const envmon_levels &levels)
{
    for (size_t i = 0; i < level_count; i++)
        if (!is_in_range(kind, levels, i, levels[i]))
            return false;
    return true;
}

standing standing_of(const envmon &one)
{
    if (!one.levels)
        return standing::normal;
    auto at = [&](level which) { return (*one.levels)[static_cast<size_t>(which)]; };
    if (one.now >= at(level::high_critical))
        return standing::high_critical;
    if (one.now < at(level::low_critical))
        return standing::low_critical;
    if (one.now >= at(level::high_warning))
        return standing::high_warning;
    return one.now < at(level::low_warning) ? standing::low_warning : standing::normal;
}

// --- Values ---------------------------------------------------------------------------------------------------------

// Apart from what the meters count by, so that a monitor more or less changes no load.
static constexpr uint64_t first_source = uint64_t{1} << 32;

void take_value(envmon &one, double value)
{
    one.now = std::clamp(value, one.kind->low, one.kind->high);
    keep_extremes(one.kept, one.now);
    one.samples++;
}

void reset_statistic(envmon &one)
{
    one.kept = {};
    one.samples = 0;
    take_value(one, one.now);
}

// `treat` gets each monitor and its source of wavering.
template <class Treat> static void each_envmon(chain &units, Treat treat)
{
    uint64_t source = first_source;
    for (port_line &port : units.ports)
        for (unit &holder : port.units)
            for (envmon &one : holder.envmons)
                treat(one, source++);
}

void take_values(chain &units, int64_t at_ms)
{
    each_envmon(units, [&](envmon &one, uint64_t source) {
        double strays = units.noise ? one.drift * waver(units.seed, source, at_ms, waver_ms) : 0;
        take_value(one, one.held.value_or(one.usual + strays));
    });
}

void start_envmons(chain &units, int64_t at_ms)
{
    take_values(units, at_ms);
}

void run_envmons(chain &units, int64_t from_ms, int64_t to_ms)
{
    each_sample(from_ms, to_ms, [&](double seconds, int64_t at_ms) {
        each_envmon(units, [&](envmon &one, uint64_t) { keep_average(one.kept, one.now, seconds); });
        take_values(units, at_ms);
    });
}

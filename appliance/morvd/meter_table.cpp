// Keys of loads and meters, what they may hold, and which of a unit's keys its parts take over.

#include "appliance/morvd/meter_table.h"

#include <algorithm>
#include <cmath>

static constexpr double most_current = 1000; // A

// --- Keys -----------------------------------------------------------------------------------------------------------

static constexpr key_rule unit_rules[] = {
    {"voltage", value_kind::real, least_volts, most_volts},
    {"metering", value_kind::texts, 1, 15},
    {"voltage_type", value_kind::text, 1, 15},
    {"power_type", value_kind::text, 1, 15},
    {"power_factor_type", value_kind::text, 1, 15},
    {"thresholds", value_kind::reals, 0, most_phases *most_current},
    {"load", value_kind::real, 0, most_watts},
    {"power_factor", value_kind::real, least_power_factor, 1},
};

// An outlet has these two behind those that it shares with phases and circuits.
static constexpr key_rule part_rules[] = {
    {"metered", value_kind::truth},
    {"voltage_type", value_kind::text, 1, 15},
    {"power_type", value_kind::text, 1, 15},
    {"power_factor_type", value_kind::text, 1, 15},
    {"thresholds", value_kind::reals, 0, most_current},
    {"load", value_kind::real, 0, most_watts},
    {"power_factor", value_kind::real, least_power_factor, 1},
};
static constexpr size_t outlet_only = 2;

constinit const std::span<const key_rule> unit_meter_keys = unit_rules;
constinit const std::span<const key_rule> outlet_meter_keys = part_rules;
constinit const std::span<const key_rule> element_meter_keys =
    std::span<const key_rule>(part_rules).first(std::size(part_rules) - outlet_only);

struct level_word {
    std::string_view word;
    node_kind kind;
};

static constexpr level_word metering_words[] = {
    {"unit", node_kind::unit},
    {"phase", node_kind::phase},
    {"circuit", node_kind::circuit},
    {"outlet", node_kind::outlet},
};

struct type_key {
    const char *key;
    quantity of;
};

static constexpr type_key type_keys[] = {
    {"voltage_type", quantity::voltage},
    {"power_type", quantity::power},
    {"power_factor_type", quantity::power_factor},
};

// --- Meters ---------------------------------------------------------------------------------------------------------

static bool is_metered(const toml::table &unit_table, node_kind kind)
{
    bool named = false;
    if (const toml::array *words = unit_table["metering"].as_array())
        for (const toml::node &item : *words) {
            auto row = std::find_if(std::begin(metering_words), std::end(metering_words),
                                    [&](const level_word &one) { return one.word == **item.as_string(); });
            if (row == std::end(metering_words))
                fail_at(item, "'metering' must name 'unit', 'phase', 'circuit' or 'outlet'");
            named = named || row->kind == kind;
        }
    return named;
}

static void describe_types(meter &made, const toml::table &table)
{
    for (const type_key &row : type_keys) {
        std::optional<std::string> word = text_of(table, row.key);
        if (word && !find_certainty(*word, &made.how[static_cast<size_t>(row.of)]))
            fail_at(place_of(table, row.key),
                    "'" + std::string(row.key) + "' must be 'MEASURED', 'ESTIMATED' or 'UNDEFINED'");
    }
}

static void describe_thresholds(thresholds &made, const toml::table &table)
{
    const toml::array *levels = table["thresholds"].as_array();
    if (!levels)
        return;
    thresholds wanted = made;
    bool sound = levels->size() == level_count;
    for (size_t i = 0; sound && i < level_count; i++)
        wanted.tenths[i] = static_cast<int>(std::lround(*levels->get(i)->value<double>() * 10));
    if (!sound || !are_sound(wanted))
        fail_at(*levels, "'thresholds' must be four levels, none above the one before, the first from 1 to " +
                             number_text(made.most / 10.0));
    made = wanted;
}

static meter default_meter(const toml::table &unit_table, node_kind kind, double most)
{
    meter made;
    made.present = is_metered(unit_table, kind);
    made.limits = default_thresholds(most);
    describe_types(made, unit_table);
    return made;
}

void read_unit_meter(unit &made, const toml::table &unit_table)
{
    double phases = static_cast<double>(made.phases.size());
    made.volts = real_of(unit_table, "voltage").value_or(made.volts);
    made.measured = default_meter(unit_table, node_kind::unit, made.max_current.value_or(most_current) * phases);
    describe_thresholds(made.measured.limits, unit_table);
}

meter part_meter(const unit &of, node_kind kind, const toml::table &unit_table)
{
    return default_meter(unit_table, kind, of.max_current.value_or(most_current));
}

void describe_meter(meter &made, const toml::table &table)
{
    made.present = truth_of(table, "metered").value_or(made.present);
    describe_types(made, table);
    describe_thresholds(made.limits, table);
}

// --- Loads ----------------------------------------------------------------------------------------------------------

load outlet_load(const toml::table &unit_table)
{
    load made;
    describe_load(made, unit_table);
    return made;
}

void describe_load(load &made, const toml::table &table)
{
    made.watts = real_of(table, "load").value_or(made.watts);
    made.power_factor = real_of(table, "power_factor").value_or(made.power_factor);
}

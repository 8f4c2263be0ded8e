// Keys of loads and meters, what they may hold, and which of a unit's keys its parts take over.

#include "appliance/morvd/meter_table.h"

#include <algorithm>
#include <cmath>

static constexpr double most_current = 1000; // A

// --- Keys -----------------------------------------------------------------------------------------------------------

// In the order of node_kind.
static constexpr std::string_view metering_words[] = {"unit", "phase", "circuit", "outlet"};

static constexpr key_rule unit_rules[] = {
    {"voltage", value_kind::real, least_volts, most_volts, "volts"},
    {"metering", value_kind::texts, 1, 15, "", metering_words},
    {"voltage_type", value_kind::text, 1, 15, "", certainty_words},
    {"power_type", value_kind::text, 1, 15, "", certainty_words},
    {"power_factor_type", value_kind::text, 1, 15, "", certainty_words},
    {"thresholds", value_kind::reals, 0, most_phases *most_current, "amperes"},
    {"load", value_kind::real, 0, most_watts, "watts"},
    {"power_factor", value_kind::real, least_power_factor, 1},
};

// An outlet has these two behind those that it shares with phases and circuits.
static constexpr key_rule part_rules[] = {
    {"metered", value_kind::truth},
    {"voltage_type", value_kind::text, 1, 15, "", certainty_words},
    {"power_type", value_kind::text, 1, 15, "", certainty_words},
    {"power_factor_type", value_kind::text, 1, 15, "", certainty_words},
    {"thresholds", value_kind::reals, 0, most_current, "amperes"},
    {"load", value_kind::real, 0, most_watts, "watts"},
    {"power_factor", value_kind::real, least_power_factor, 1},
};
static constexpr size_t outlet_only = 2;

constinit const std::span<const key_rule> unit_meter_keys = unit_rules;
constinit const std::span<const key_rule> outlet_meter_keys = part_rules;
constinit const std::span<const key_rule> element_meter_keys =
    std::span<const key_rule>(part_rules).first(std::size(part_rules) - outlet_only);

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
    std::string_view word = metering_words[static_cast<size_t>(kind)];
    const toml::array *words = unit_table["metering"].as_array();
    return words && std::any_of(words->begin(), words->end(),
                                [&](const toml::node &item) { return **item.as_string() == word; });
}

static void describe_types(meter &made, const toml::table &table)
{
    for (const type_key &row : type_keys) {
        if (std::optional<std::string> word = text_of(table, row.key))
            find_certainty(*word, &made.how[static_cast<size_t>(row.of)]);
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
                             number_text(made.most / 10.0) + " amperes");
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

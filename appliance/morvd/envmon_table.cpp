// Keys of environment monitors, what they may hold, and what stands where a key is left out. Numbers are in the unit
// that the monitor works in.

#include "appliance/morvd/envmon_table.h"

#include <algorithm>
#include <vector>

#include "appliance/model/chain.h"
#include "appliance/morvd/chain_keys.h"

// Wider than any kind's own bounds in any unit; those are looked at once kind and unit are known.
static constexpr double widest = 10'000;

static constexpr key_rule sensor_keys[] = {
    {"type", value_kind::text, 1, 31},
    {"sys_name", value_kind::text, 1, outlet_name_size},
    {"name", value_kind::text, 0, envmon_name_size},
    {"unit", value_kind::text, 0, 15},
    {"type_raw", value_kind::whole, 0, 255},
    {"value", value_kind::real, -widest, widest},
    {"drift", value_kind::real, 0, widest},
    {"state", value_kind::text, 1, 15},
    {"statistics", value_kind::truth},
    {"thresholds", value_kind::reals, -widest, widest},
};
constinit const std::span<const key_rule> sensor_table_keys = sensor_keys;

static std::string range_text(const envmon &made)
{
    return number_text(shown_value(made, made.kind->low)) + " to " + number_text(shown_value(made, made.kind->high)) +
           " " + std::string(made.unit->word);
}

// --- One key after the other ----------------------------------------------------------------------------------------

static void read_kind(envmon &made, const toml::table &table)
{
    require(table, "type", "[[port.unit.sensor]]");
    made.kind = find_envmon_kind(*text_of(table, "type"));
    if (!made.kind)
        fail_value(table, "type", quoted_list(envmon_types()));
    made.type_raw = whole_of(table, "type_raw").value_or(made.kind->type_raw);
    made.keeps_statistic = truth_of(table, "statistics").value_or(made.kind->scale != scale::state);
    made.usual = made.kind->usual;
    made.drift = made.kind->drift;
}

// Readers take a monitor that tells no unit for one in Fahrenheit.
static void read_unit_word(envmon &made, const toml::table &table)
{
    std::span<const envmon_unit> units = units_of(*made.kind);
    std::optional<std::string> word = text_of(table, "unit");
    made.tells_unit = !word || !word->empty();
    made.unit = word && !word->empty() ? find_envmon_unit(*made.kind, *word) : &units[0];
    if (!made.tells_unit && made.kind->scale == scale::temperature)
        made.unit = find_envmon_unit(*made.kind, "oF");
    if (made.unit && (!made.tells_unit || !word || made.unit->word == *word))
        return;
    std::vector<std::string_view> words;
    for (const envmon_unit &unit : units)
        words.push_back(unit.word);
    fail_value(table, "unit", quoted_list(words) + " for type " + quoted(made.kind->type));
}

static void forbid(const envmon &made, const toml::table &table, std::string_view key, std::string_view other)
{
    if (table.contains(key))
        fail_at(place_of(table, key),
                "type " + quoted(made.kind->type) + " has a " + quoted(other) + " and no " + quoted(key));
}

static void read_state(envmon &made, const toml::table &table)
{
    forbid(made, table, "value", "state");
    forbid(made, table, "drift", "state");
    std::optional<std::string> word = text_of(table, "state");
    if (!word)
        return;
    auto state = std::find(made.kind->states.begin(), made.kind->states.end(), *word);
    if (state == made.kind->states.end())
        fail_value(table, "state", quoted_list(made.kind->states) + " for type " + quoted(made.kind->type));
    made.usual = static_cast<double>(state - made.kind->states.begin());
}

static void read_value(envmon &made, const toml::table &table)
{
    forbid(made, table, "state", "value");
    if (std::optional<double> value = real_of(table, "value"))
        made.usual = value_on_scale(made, *value);
    if (made.usual < made.kind->low || made.usual > made.kind->high)
        fail_value(table, "value", "from " + range_text(made) + " for type " + quoted(made.kind->type));
    if (std::optional<double> drift = real_of(table, "drift"))
        made.drift = *drift / made.unit->factor;
}

// A state is held against nothing unless the file says so.
static void read_levels(envmon &made, const toml::table &table)
{
    if (made.kind->scale != scale::state)
        made.levels = made.kind->levels;
    const toml::array *given = table["thresholds"].as_array();
    if (!given)
        return;
    envmon_levels wanted{};
    bool sound = given->size() == level_count;
    for (size_t i = 0; sound && i < level_count; i++)
        wanted[i] = value_on_scale(made, *given->get(i)->value<double>());
    if (!sound || !are_levels_sound(*made.kind, wanted))
        fail_at(*given, "'thresholds' must be four levels, none above the one before, from " + range_text(made));
    made.levels = wanted;
}

envmon read_envmon(const toml::table &table, size_t number)
{
    check_table(table, sensor_keys);
    envmon made;
    read_kind(made, table);
    read_unit_word(made, table);
    made.sys_name = text_of(table, "sys_name").value_or("sensor" + std::to_string(number));
    made.name = text_of(table, "name").value_or("");
    if (check_envmon_name(made.name))
        fail_at(place_of(table, "name"), "the sensor name " + quoted(made.name) + " holds a comma or a colon");
    if (made.kind->scale == scale::state)
        read_state(made, table);
    else
        read_value(made, table);
    read_levels(made, table);
    return made;
}

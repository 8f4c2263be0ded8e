// From a unit's table in the chain file to the unit: what each key may hold, what stands where a key is left out, and
// what must not be given twice.

#include "appliance/morvd/unit_table.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "appliance/model/status.h"
#include "appliance/morvd/chain_keys.h"
#include "appliance/morvd/envmon_table.h"
#include "appliance/morvd/meter_table.h"
#include "appliance/morvd/protection_table.h"

static constexpr double longest_interval = longest_post_power / 10.0; // s

static constexpr int longest_task_ms = 3'600'000;

// --- Keys -----------------------------------------------------------------------------------------------------------

static constexpr std::string_view topologies[] = {"delta", "wye"};
static constexpr std::string_view relay_states[] = {"on", "off"};

static constexpr key_rule unit_keys[] = {
    {"id", value_kind::text, 1, unit_id_size},
    {"default_id", value_kind::text, 1, unit_id_size},
    {"model", value_kind::text, 1, 15},
    {"model_nr", value_kind::whole, 0, 255},
    {"vendor", value_kind::text, 1, 31},
    {"version", value_kind::text, 1, 31},
    {"max_current", value_kind::real, 0, 1000, "amperes"},
    {"topology", value_kind::text, 1, 31, "", topologies},
    {"cold_start_delay", value_kind::whole, 0, longest_cold_start_delay, "seconds"},
    {"buzzer", value_kind::truth},
    {"syslog", value_kind::truth},
    {"display_mode", value_kind::text, 1, 15},
    {"display_modes", value_kind::texts, 1, 15},
    {"display_cycle", value_kind::whole, 0, longest_display_cycle, "seconds"},
    {"flash_time", value_kind::whole, 0, longest_task_ms, "milliseconds"},
    {"reboot_time", value_kind::whole, 0, longest_task_ms, "milliseconds"},
    {"upgrade", value_kind::truth},
    {"cycle_interval", value_kind::whole, shortest_cycle_interval, longest_cycle_interval, "seconds"},
    {"overcurrent", value_kind::truth},
    hwocp_rule,
    fuse_rule,
    {"switched", value_kind::truth},
    {"inlets", value_kind::whole, 1, 4},
    {"phases", value_kind::whole, 1, most_phases},
    {"circuits", value_kind::whole, 0, most_circuits},
    {"outlets", value_kind::whole, 0, most_outlets},
    {"post_power_on", value_kind::real, 0, longest_interval, "seconds"},
    {"post_power_off", value_kind::real, 0, longest_interval, "seconds"},
    {"phase", value_kind::tables},
    {"circuit", value_kind::tables},
    {"outlet", value_kind::tables},
    {"sensor", value_kind::tables},
};

static constexpr key_rule phase_keys[] = {
    {"number", value_kind::whole, 1, most_phases},
    {"sys_name", value_kind::text, 1, element_sys_name_size},
    {"name", value_kind::text, 0, outlet_name_size},
    {"overloaded", value_kind::truth},
};

static constexpr key_rule circuit_keys[] = {
    {"number", value_kind::whole, 1, most_circuits},
    {"sys_name", value_kind::text, 1, element_sys_name_size},
    {"name", value_kind::text, 0, outlet_name_size},
    {"phases", value_kind::wholes, 1, most_phases},
    {"overloaded", value_kind::truth},
    fuse_rule,
};

static constexpr key_rule outlet_keys[] = {
    {"number", value_kind::whole, 1, most_outlets},
    {"sys_name", value_kind::text, 1, outlet_sys_name_size},
    {"name", value_kind::text, 0, outlet_name_size},
    {"circuit", value_kind::whole, 1, most_circuits},
    {"state", value_kind::text, 2, 3, "", relay_states},
    {"locked", value_kind::truth},
    {"fixed", value_kind::truth},
    {"mod_status", value_kind::text, 1, 15},
    {"post_power_on", value_kind::real, 0, longest_interval, "seconds"},
    {"post_power_off", value_kind::real, 0, longest_interval, "seconds"},
};

static const chain_file_table described_tables[] = {
    {"port.unit", 0, unit_keys, unit_meter_keys},
    {"port.unit.phase", most_phases, phase_keys, element_meter_keys},
    {"port.unit.circuit", most_circuits, circuit_keys, element_meter_keys},
    {"port.unit.outlet", most_outlets, outlet_keys, outlet_meter_keys},
    {"port.unit.sensor", 0, sensor_table_keys, {}},
};
constinit const std::span<const chain_file_table> unit_tables = described_tables;

// --- What several tables share --------------------------------------------------------------------------------------

static std::optional<int> tenths_of(const toml::table &table, std::string_view key)
{
    std::optional<double> seconds = real_of(table, key);
    return seconds ? std::optional(static_cast<int>(std::lround(*seconds * 10))) : std::nullopt;
}

// How many parts of a kind a unit has: as its count says, else one for each that is described.
static size_t count_parts(const toml::table &table, std::string_view count_key, std::string_view part_key, size_t most)
{
    const toml::array *tables = table[part_key].as_array();
    size_t described = tables ? tables->size() : 0;
    if (described > most)
        fail_at(*tables, "more than " + std::to_string(most) + " of '" + std::string(part_key) + "'");
    std::optional<int> count = whole_of(table, count_key);
    return count ? static_cast<size_t>(*count) : described;
}

// Parts are addressed by their system names. `described` has the table of each part that one describes, else null. Of
// two with the same name at least one says so in its table, since those that stand for nothing said differ.
template <class Part>
static void check_sys_names(const std::vector<Part> &parts, const std::vector<const toml::table *> &described)
{
    for (size_t i = 0; i < parts.size(); i++)
        for (size_t j = 0; j < i; j++)
            if (parts[i].sys_name == parts[j].sys_name) {
                bool by_later = described[i] && described[i]->contains("sys_name");
                fail_at(place_of(*described[by_later ? i : j], "sys_name"),
                        "the system name " + quoted(parts[i].sys_name) + " is given twice in one unit");
            }
}

static std::string beyond_last(std::string_view what, size_t number, size_t count)
{
    return std::string(what) + " " + std::to_string(number) + " is beyond the last, " + std::to_string(count);
}

// Fills parts in with what the tables under `key` say of them: each table of the part with its number, else of the next
// in order. `read_rest` reads what this kind has besides names and meters.
template <class Part, class Read> static void describe_parts(std::vector<Part> &parts, const toml::table &table,
                                                             std::string_view key, std::span<const key_rule> rules,
                                                             std::span<const key_rule> meter_rules, Read read_rest)
{
    std::vector<const toml::table *> described(parts.size());
    each_table(table, key, [&](const toml::table &one, size_t index) {
        check_table(one, rules, meter_rules);
        size_t number = static_cast<size_t>(whole_of(one, "number").value_or(static_cast<int>(index) + 1));
        if (number > parts.size())
            fail_at(place_of(one, "number"), beyond_last(key, number, parts.size()));
        if (described[number - 1])
            fail_at(place_of(one, "number"), std::string(key) + " " + std::to_string(number) + " is given twice");
        described[number - 1] = &one;
        Part &part = parts[number - 1];
        part.sys_name = text_of(one, "sys_name").value_or(part.sys_name);
        part.name = text_of(one, "name").value_or(part.name);
        describe_meter(part.measured, one);
        read_rest(part, one);
    });
    check_sys_names(parts, described);
}

// --- Phases and circuits --------------------------------------------------------------------------------------------

static constexpr char phase_letters[] = "XYZ";

static void read_phases(unit &made, const toml::table &table)
{
    size_t count = std::max<size_t>(1, count_parts(table, "phases", "phase", most_phases));
    for (size_t i = 0; i < count; i++)
        made.phases.push_back({.sys_name = std::string(1, phase_letters[i]),
                               .name = "",
                               .measured = part_meter(made, node_kind::phase, table)});
    describe_parts(made.phases, table, "phase", phase_keys, element_meter_keys, [](phase &one, const toml::table &its) {
        one.overloaded = truth_of(its, "overloaded").value_or(false);
    });
}

// A place where circuits can hang: between two phases, or between one and the neutral.
struct leg {
    std::string name;
    int from, to;
};

// One phase feeds banks A, B, C in pairs of circuits; several feed what lies between them, in delta, or between each
// and the neutral.
static std::vector<leg> legs_of(const unit &made, size_t circuits)
{
    int phases = static_cast<int>(made.phases.size());
    std::vector<leg> legs;
    if (phases == 1)
        for (size_t i = 0; i < (circuits + 1) / 2; i++)
            legs.push_back({std::string(1, static_cast<char>('A' + i)), 1, 0});
    else if (made.topology == "delta")
        for (int from = 1; from < phases; from++)
            for (int to = from + 1; to <= phases; to++)
                legs.push_back({{phase_letters[from - 1], phase_letters[to - 1]}, from, to});
    else
        for (int from = 1; from <= phases; from++)
            legs.push_back({{phase_letters[from - 1], 'N'}, from, 0});
    return legs;
}

static void read_circuit_phases(circuit &made, const unit &of, const toml::table &table)
{
    const toml::array *phases = table["phases"].as_array();
    if (!phases)
        return;
    made.from_phase = phases->empty() ? 0 : *phases->get(0)->value<int>();
    made.to_phase = phases->size() < 2 ? 0 : *phases->get(1)->value<int>();
    int last = static_cast<int>(of.phases.size());
    if (phases->empty() || phases->size() > 2 || made.from_phase == made.to_phase || made.from_phase > last ||
        made.to_phase > last)
        fail_at(*phases, "'phases' must be one or two of the unit's phases 1 to " + std::to_string(last));
}

static void read_circuits(unit &made, const toml::table &table)
{
    size_t count = count_parts(table, "circuits", "circuit", most_circuits);
    std::vector<leg> legs = legs_of(made, count);
    size_t on_each = legs.empty() ? 1 : (count + legs.size() - 1) / legs.size();
    for (size_t i = 0; i < count; i++) {
        const leg &at = legs[i / on_each];
        made.circuits.push_back({.sys_name = at.name + std::to_string(i % on_each + 1),
                                 .name = "",
                                 .from_phase = at.from,
                                 .to_phase = at.to,
                                 .measured = part_meter(made, node_kind::circuit, table)});
        read_fuse(made.circuits.back(), table);
    }
    describe_parts(made.circuits, table, "circuit", circuit_keys, element_meter_keys,
                   [&](circuit &one, const toml::table &its) {
                       read_circuit_phases(one, made, its);
                       one.overloaded = truth_of(its, "overloaded").value_or(false);
                       read_fuse(one, its);
                   });
}

// --- Outlets and sensors --------------------------------------------------------------------------------------------

static void read_outlet_state(outlet &made, const toml::table &table)
{
    made.on = text_of(table, "state").value_or("on") == "on";
    made.locked = truth_of(table, "locked").value_or(false);
    made.fixed = truth_of(table, "fixed").value_or(false);
    if (made.fixed && (made.locked || !made.on))
        fail_at(place_of(table, "fixed"), "a fixed outlet is on and takes no lock");

    std::string word = text_of(table, "mod_status").value_or("");
    made.mod_status = word.empty() ? 0 : mod_status_code(word);
    if (!word.empty() && !made.mod_status)
        fail_value(table, "mod_status", quoted_list(known_mod_status_words()));
}

static void read_outlet(outlet &made, const unit &of, const chain &so_far, const toml::table &table)
{
    read_outlet_state(made, table);
    made.circuit = whole_of(table, "circuit").value_or(made.circuit);
    if (made.circuit > static_cast<int>(of.circuits.size()))
        fail_at(place_of(table, "circuit"),
                beyond_last("circuit", static_cast<size_t>(made.circuit), of.circuits.size()));
    if (std::optional<int> on = tenths_of(table, "post_power_on"))
        made.post_power_on = on;
    if (std::optional<int> off = tenths_of(table, "post_power_off"))
        made.post_power_off = off;
    describe_load(made.load, table);

    const toml::node &name_at = place_of(table, "name");
    if (check_outlet_name(made.name))
        fail_at(name_at, "the outlet name '" + made.name + "' begins with a digit or holds a comma");
    auto same_name = [&](const outlet &other) { return &other != &made && other.name == made.name; };
    bool taken = find_outlet(so_far, made.name).port || std::any_of(of.outlets.begin(), of.outlets.end(), same_name);
    if (!made.name.empty() && taken)
        fail_at(name_at, "the outlet name '" + made.name + "' is given twice");
}

// Where nothing else is said the outlets spread evenly over the circuits, in order.
static void read_outlets(unit &made, const chain &so_far, const toml::table &table)
{
    size_t count = count_parts(table, "outlets", "outlet", most_outlets);
    for (size_t i = 0; i < count; i++) {
        outlet one;
        one.sys_name = std::to_string(i + 1);
        one.circuit = made.circuits.empty() ? 0 : static_cast<int>(i * made.circuits.size() / count) + 1;
        one.post_power_on = tenths_of(table, "post_power_on");
        one.post_power_off = tenths_of(table, "post_power_off");
        one.load = outlet_load(table);
        one.measured = part_meter(made, node_kind::outlet, table);
        made.outlets.push_back(std::move(one));
    }
    describe_parts(made.outlets, table, "outlet", outlet_keys, outlet_meter_keys,
                   [&](outlet &one, const toml::table &its) { read_outlet(one, made, so_far, its); });
}

static void read_sensors(unit &made, const toml::table &table)
{
    std::vector<const toml::table *> described;
    each_table(table, "sensor", [&](const toml::table &one, size_t index) {
        made.envmons.push_back(read_envmon(one, index + 1));
        described.push_back(&one);
    });
    check_sys_names(made.envmons, described);
}

// --- The unit -------------------------------------------------------------------------------------------------------

static size_t count_units(const chain &units)
{
    size_t count = 0;
    for (const port_line &port : units.ports)
        count += port.units.size();
    return count;
}

static void check_id(const std::string &id, const toml::node &at)
{
    if (check_unit_id(id))
        fail_at(at, "the id '" + id + "' holds a blank, '.' or ',' or is a word of the tree");
}

static void read_identity(unit &made, const chain &so_far, const toml::table &table)
{
    made.default_id = text_of(table, "default_id").value_or("ipdu" + std::to_string(count_units(so_far) + 1));
    made.id = text_of(table, "id").value_or(made.default_id);
    check_id(made.default_id, place_of(table, "default_id"));
    check_id(made.id, place_of(table, "id"));
    if (find_unit(so_far, made.id).port)
        fail_at(place_of(table, "id"), "the id '" + made.id + "' is given twice");

    made.model = text_of(table, "model");
    made.model_nr = whole_of(table, "model_nr");
    made.vendor = text_of(table, "vendor");
    made.version = text_of(table, "version");
}

// What can be set there, and how long the unit is busy with what it is told.
static void read_settings(unit &made, const toml::table &table)
{
    made.cold_start_delay = whole_of(table, "cold_start_delay");
    made.buzzer = truth_of(table, "buzzer");
    made.syslog = truth_of(table, "syslog");
    made.flash_time = whole_of(table, "flash_time");
    made.reboot_time = whole_of(table, "reboot_time");
    made.upgradable = truth_of(table, "upgrade").value_or(false);
    made.display_cycle = whole_of(table, "display_cycle");
    made.display_mode = text_of(table, "display_mode");
    if (const toml::array *modes = table["display_modes"].as_array())
        for (const toml::node &mode : *modes)
            made.display_modes.push_back(**mode.as_string());
    else
        made.display_modes = made.phases.size() > 1 ? std::vector<std::string>{"0/I", "0/V", "180/I", "180/V"}
                                                    : std::vector<std::string>{"0/I", "180/I"};
    if (made.display_mode && std::ranges::find(made.display_modes, *made.display_mode) == made.display_modes.end())
        fail_value(table, "display_mode",
                   quoted_list(std::vector<std::string_view>(made.display_modes.begin(), made.display_modes.end())));
}

unit read_unit(const chain &so_far, const toml::table &table)
{
    check_table(table, unit_keys, unit_meter_keys);
    unit made;
    read_identity(made, so_far, table);
    made.max_current = real_of(table, "max_current");
    made.cycle_interval = whole_of(table, "cycle_interval");
    made.overcurrent = truth_of(table, "overcurrent");
    made.switched = truth_of(table, "switched").value_or(true);
    made.inlets = whole_of(table, "inlets").value_or(1);
    made.topology = text_of(table, "topology");
    read_phases(made, table);
    read_unit_meter(made, table);
    read_circuits(made, table);
    read_outlets(made, so_far, table);
    read_hwocp(made, table);
    read_sensors(made, table);
    read_settings(made, table);
    made.as_made = settings_of(made);
    return made;
}

// From the rows of all its nodes to the texts of a whole unit, and back.

#include "appliance/model/settings.h"

#include <algorithm>

#include "appliance/model/chain.h"
#include "appliance/model/setting_rows.h"

using text = std::optional<std::string>;

// --- One by one -----------------------------------------------------------------------------------------------------

static const setting_row<unit> &row_of(unit_setting which)
{
    return unit_rows[static_cast<size_t>(which)];
}

text setting_text(const unit &unit, unit_setting which)
{
    return row_of(which).read(unit);
}

result_code change_setting(unit &unit, unit_setting which, std::string_view value)
{
    return row_of(which).write(unit, value);
}

// --- Nodes ----------------------------------------------------------------------------------------------------------

static constexpr char id_name[] = "id";
static constexpr char outlet_name_name[] = "name";
static constexpr char state_name[] = "state";

static constexpr char unit_part[] = "";
static constexpr char phase_kind[] = "phase";
static constexpr char circuit_kind[] = "circuit";
static constexpr char outlet_kind[] = "outlet";
static constexpr char envmon_kind_word[] = "envmon";

static std::string part_word(const char *kind, int number)
{
    return std::string(kind) + "." + std::to_string(number);
}

template <class Parts, class Visit> static void each_part(const char *kind, Parts &parts, Visit visit)
{
    int number = 0;
    for (auto &one : parts)
        visit(part_word(kind, ++number), one);
}

// Calls `visit` with the word of each node of the unit, and the node.
template <class Unit, class Visit> static void each_node(Unit &of, Visit visit)
{
    visit(std::string(unit_part), of);
    each_part(phase_kind, of.phases, visit);
    each_part(circuit_kind, of.circuits, visit);
    each_part(outlet_kind, of.outlets, visit);
    each_part(envmon_kind_word, of.envmons, visit);
}

// --- From nodes to texts --------------------------------------------------------------------------------------------

template <class Node> static void add_rows(configuration &made, const std::string &part,
                                           std::span<const setting_row<Node>> rows, const Node &of)
{
    for (const setting_row<Node> &row : rows)
        if (text value = row.read(of))
            made.push_back({part, std::string(row.name), std::move(*value)});
}

static void add_node(configuration &made, const std::string &part, const unit &of)
{
    made.push_back({part, id_name, of.id});
    add_rows(made, part, unit_rows, of);
    add_rows(made, part, meter_rows, of.measured);
}

static void add_node(configuration &made, const std::string &part, const outlet &one)
{
    made.push_back({part, outlet_name_name, one.name});
    made.push_back({part, state_name, one.on ? "on" : "off"});
    add_rows(made, part, outlet_rows, one);
    add_rows(made, part, meter_rows, one.measured);
}

static void add_node(configuration &made, const std::string &part, const envmon &one)
{
    add_rows(made, part, envmon_rows, one);
}

// Of a phase or a circuit.
template <class Element> static void add_node(configuration &made, const std::string &part, const Element &one)
{
    add_rows(made, part, meter_rows, one.measured);
}

configuration settings_of(const unit &unit)
{
    configuration made;
    each_node(unit, [&](const std::string &part, const auto &node) { add_node(made, part, node); });
    return made;
}

// --- And back -------------------------------------------------------------------------------------------------------

static void apply_id(chain &units, unit &of, const std::string &id)
{
    const unit *holder = unit_at(units, find_unit(units, id));
    bool is_free = !holder || holder == &of;
    of.id = is_free && check_unit_id(id) == result_done ? id : of.default_id;
}

static void apply_name(chain &units, outlet &of, const std::string &name)
{
    const outlet *holder = outlet_at(units, find_outlet(units, name));
    bool is_free = !holder || holder == &of;
    of.name = is_free && check_outlet_name(name) == result_done ? name : "";
}

// What no row takes was saved by another version, and is passed over.
template <class Node> static void apply_row(std::span<const setting_row<Node>> rows, Node &to, const setting &one)
{
    for (const setting_row<Node> &row : rows)
        if (row.name == one.name)
            row.write(to, one.value);
}

static void apply_to(chain &units, unit &to, const setting &one)
{
    if (one.name == id_name)
        return apply_id(units, to, one.value);
    apply_row(unit_rows, to, one);
    apply_row(meter_rows, to.measured, one);
}

static void apply_to(chain &units, outlet &to, const setting &one)
{
    if (one.name == outlet_name_name)
        return apply_name(units, to, one.value);
    apply_row(outlet_rows, to, one);
    apply_row(meter_rows, to.measured, one);
}

static void apply_to(chain &, envmon &to, const setting &one)
{
    apply_row(envmon_rows, to, one);
}

template <class Element> static void apply_to(chain &, Element &to, const setting &one)
{
    apply_row(meter_rows, to.measured, one);
}

// Outlets give their names up first, so that two that changed them about find theirs free.
void apply_settings(chain &units, const place &at, const configuration &saved)
{
    for (outlet &one : unit_at(units, at)->outlets)
        one.name.clear();
    each_node(*unit_at(units, at), [&](const std::string &part, auto &node) {
        for (const setting &one : saved)
            if (one.part == part)
                apply_to(units, node, one);
    });
}

static const setting *find_setting(const configuration &in, std::string_view part, std::string_view name)
{
    auto found = std::ranges::find_if(in, [&](const setting &one) { return one.part == part && one.name == name; });
    return found == in.end() ? nullptr : &*found;
}

configuration filled_up(configuration saved, const configuration &as_made)
{
    for (const setting &one : as_made)
        if (!find_setting(saved, one.part, one.name))
            saved.push_back(one);
    return saved;
}

std::optional<bool> saved_state(const configuration &saved, int outlet)
{
    const setting *state = find_setting(saved, part_word(outlet_kind, outlet), state_name);
    return state ? std::optional(state->value == "on") : std::nullopt;
}

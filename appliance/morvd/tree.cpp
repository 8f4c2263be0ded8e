// Finds the row that a path and a verb lead to, and runs it.

#include "appliance/morvd/tree.h"

#include "appliance/morvd/leaves.h"
#include "appliance/morvd/path.h"

// --- What the stars stand for ---------------------------------------------------------------------------------------

template <class Item> static const Item *numbered(const std::vector<Item> &items, std::string_view star)
{
    int number = star_number(star);
    return number > 0 && static_cast<size_t>(number) <= items.size() ? &items[static_cast<size_t>(number - 1)]
                                                                     : nullptr;
}

static bool find_nothing(target &, std::span<const std::string>)
{
    return true;
}

static bool find_port(target &to, std::span<const std::string> stars)
{
    to.port = numbered(to.device->units->ports, stars[0]);
    to.at.port = star_number(stars[0]);
    return to.port;
}

static bool find_port_unit(target &to, std::span<const std::string> stars)
{
    if (!find_port(to, stars))
        return false;
    to.unit = numbered(to.port->units, stars[1]);
    to.at.pdu = star_number(stars[1]);
    to.meter = to.unit ? &to.unit->measured : nullptr;
    return to.unit && !is_away(*to.unit);
}

// A part of a unit that has a meter of its own: the one among `parts` with that number, to `found`.
template <class Part> static bool find_part(target &to, node_kind kind, const std::vector<Part> &parts,
                                            std::string_view star, const Part *&found)
{
    found = numbered(parts, star);
    to.at.part = star_number(star);
    to.kind = kind;
    to.meter = found ? &found->measured : nullptr;
    return found;
}

static bool find_phase(target &to, std::span<const std::string> stars)
{
    return find_port_unit(to, stars) && find_part(to, node_kind::phase, to.unit->phases, stars[2], to.phase);
}

static bool find_circuit(target &to, std::span<const std::string> stars)
{
    return find_port_unit(to, stars) && find_part(to, node_kind::circuit, to.unit->circuits, stars[2], to.circuit);
}

static bool find_port_outlet(target &to, std::span<const std::string> stars)
{
    return find_port_unit(to, stars) && find_part(to, node_kind::outlet, to.unit->outlets, stars[2], to.outlet);
}

static bool find_envmon(target &to, std::span<const std::string> stars)
{
    to.at.part = star_number(stars[2]);
    return find_port_unit(to, stars) && (to.envmon = numbered(to.unit->envmons, stars[2]));
}

static bool find_local_unit(target &to, std::span<const std::string>)
{
    const std::vector<port_line> &ports = to.device->units->ports; // the line of the appliance's own unit is the first
    if (ports.empty() || ports[0].units.empty() || !is_local(ports[0], 1))
        return false;
    to.port = &ports[0];
    to.unit = &ports[0].units[0];
    to.at = {1, 1};
    return !is_away(*to.unit);
}

static bool find_local_outlet(target &to, std::span<const std::string> stars)
{
    if (!find_local_unit(to, stars))
        return false;
    to.outlet = numbered(to.unit->outlets, stars[0]);
    to.at.part = star_number(stars[0]);
    return to.outlet;
}

// Whether the unit was found and is not away.
static bool is_there(const target &to)
{
    const chain &units = *to.device->units;
    return to.at.port &&
           !is_away(units.ports[static_cast<size_t>(to.at.port - 1)].units[static_cast<size_t>(to.at.pdu - 1)]);
}

static bool find_unit_by_id(target &to, std::span<const std::string> stars)
{
    to.at = find_unit(*to.device->units, stars[0]);
    return is_there(to);
}

static bool find_outlet_by_name(target &to, std::span<const std::string> stars)
{
    to.at = find_outlet(*to.device->units, stars[0]);
    return is_there(to);
}

static bool find_interface(target &, std::span<const std::string> stars)
{
    return stars[0] == interface_name;
}

static bool find_group_by_name(target &to, std::span<const std::string> stars)
{
    for (const user_group &group : to.device->units->groups) {
        to.group_id++;
        to.group = &group;
        if (group.name == stars[0])
            return true;
    }
    return false;
}

static bool find_group_by_id(target &to, std::span<const std::string> stars)
{
    to.group = numbered(to.device->units->groups, stars[0]);
    to.group_id = star_number(stars[0]);
    return to.group;
}

// --- The kinds of node ----------------------------------------------------------------------------------------------

static const node nodes[] = {
    {"power", find_nothing, power_leaves},
    {"power.port.*", find_port, port_leaves},
    {"power.port.*.pdu.*", find_port_unit, unit_leaves, meter_leaves},
    {"power.port.*.pdu.*.phase.*", find_phase, phase_leaves, meter_leaves},
    {"power.port.*.pdu.*.circuit.*", find_circuit, circuit_leaves, meter_leaves},
    {"power.port.*.pdu.*.outlet.*", find_port_outlet, outlet_leaves, meter_leaves},
    {"power.port.*.pdu.*.envmon.*", find_envmon, envmon_leaves},
    {"power.command", find_nothing, command_leaves},
    {"power.pdu.pdu-local", find_local_unit, local_unit_leaves},
    {"power.pdu.pdu-local.outlet.*", find_local_outlet, local_outlet_leaves},
    {"power.pdu.*", find_unit_by_id, unit_by_id_leaves},
    {"power.outlet.*", find_outlet_by_name, outlet_by_name_leaves},
    {"power.global.tarnel", find_nothing, account_leaves},
    {"appliance", find_nothing, appliance_leaves},
    {"network", find_nothing, network_leaves},
    {"network.interface.*", find_interface, interface_leaves},
    {"authorization.group", find_nothing, groups_leaves},
    {"authorization.group.name.*", find_group_by_name, group_by_name_leaves},
    {"authorization.group.id.*", find_group_by_id, group_by_id_leaves},
};

// --- From a path to its row -----------------------------------------------------------------------------------------

// How many components of the path the pattern takes, all of it; 0 where it does not match. What its stars met is added
// to `stars`.
static size_t match_pattern(std::string_view pattern, std::span<const std::string> path,
                            std::vector<std::string> &stars)
{
    size_t taken = 0;
    for (;;) {
        size_t dot = pattern.find('.');
        std::string_view component = pattern.substr(0, dot);
        if (taken == path.size())
            return 0;
        if (component == "*")
            stars.push_back(path[taken]);
        else if (component != path[taken])
            return 0;
        taken++;
        if (dot == pattern.npos)
            return taken;
        pattern.remove_prefix(dot + 1);
    }
}

static const leaf *find_leaf(std::span<const leaf> leaves, std::span<const std::string> rest)
{
    std::vector<std::string> no_stars;
    for (const leaf &leaf : leaves) {
        bool itself = leaf.name.empty() && rest.empty();
        if (itself || (!rest.empty() && match_pattern(leaf.name, rest, no_stars) == rest.size()))
            return &leaf;
    }
    return nullptr;
}

static const leaf *find_row(target &to, std::span<const std::string> path)
{
    for (const node &node : nodes) {
        std::vector<std::string> stars;
        size_t taken = match_pattern(node.path, path, stars);
        const leaf *leaf = taken ? find_leaf(node.leaves, path.subspan(taken)) : nullptr;
        if (taken && !leaf)
            leaf = find_leaf(node.shared, path.subspan(taken));
        if (!leaf)
            continue;
        to.node = &node;
        bool there = node.find(to, stars) && (!leaf->present || leaf->present(to));
        return there ? leaf : nullptr;
    }
    return nullptr;
}

static answer read_text(text_reader reader, const target &to)
{
    if (!reader)
        return refuse(result_no_such_verb);
    std::optional<std::string> value = reader(to);
    if (value)
        return text_answer(std::move(*value));
    answer none;
    none.kind = answer::absent;
    return none;
}

static answer read_list(list_reader reader, const target &to)
{
    return reader ? list_answer(reader(to)) : refuse(result_no_such_verb);
}

static answer write_words(writer write, const target &to, std::span<const std::string> words)
{
    return write ? done_or_refuse(write(to, words)) : refuse(result_no_such_verb);
}

answer ask_tree(const device &device, verb verb, std::string_view path, std::span<const std::string> args)
{
    std::optional<std::vector<std::string>> components = split_path(path);
    if (!components)
        return refuse(result_malformed_path);
    target to;
    to.device = &device;
    to.args = args;
    const leaf *leaf = find_row(to, *components);
    if (!leaf)
        return refuse(result_no_such_path);

    switch (verb) {
    case verb::get:
        return read_text(leaf->get, to);
    case verb::info:
        return read_text(leaf->info, to);
    case verb::list:
        return read_list(leaf->list, to);
    case verb::mlist:
        return read_list(leaf->mlist, to);
    case verb::admin:
        return write_words(leaf->admin, to, args);
    case verb::set:
        return write_words(leaf->set, to, args);
    default: // no leaf takes any other verb
        return refuse(result_no_such_verb);
    }
}

// --- What several tables share --------------------------------------------------------------------------------------

std::vector<std::string> names_of_node(const target &target)
{
    std::vector<std::string> names;
    for (std::span<const leaf> leaves : {target.node->leaves, target.node->shared})
        for (const leaf &leaf : leaves) {
            bool further_below = leaf.name.find('.') != leaf.name.npos;
            if (!leaf.name.empty() && !further_below && (!leaf.present || leaf.present(target)))
                names.emplace_back(leaf.name);
        }
    return names;
}

std::vector<std::string> numbers_up_to(size_t count)
{
    std::vector<std::string> numbers;
    for (size_t number = 1; number <= count; number++)
        numbers.push_back(std::to_string(number));
    return numbers;
}

// Questions about the simulated chain that more than one reader asks.

#include "appliance/model/chain.h"

#include <algorithm>

#include "appliance/model/protection.h"
#include "appliance/model/status.h"

place find_unit(const chain &units, std::string_view id)
{
    for (size_t port = 0; port < units.ports.size(); port++) {
        const auto &list = units.ports[port].units;
        auto found = std::find_if(list.begin(), list.end(), [&](const unit &one) { return one.id == id; });
        if (found != list.end())
            return {static_cast<int>(port) + 1, static_cast<int>(found - list.begin()) + 1, 0};
    }
    return {};
}

static int outlet_named(const unit &unit, std::string_view name)
{
    auto found =
        std::find_if(unit.outlets.begin(), unit.outlets.end(), [&](const outlet &one) { return one.name == name; });
    return found == unit.outlets.end() ? 0 : static_cast<int>(found - unit.outlets.begin()) + 1;
}

place find_outlet(const chain &units, std::string_view name)
{
    if (name.empty()) // an outlet without a name has the empty one
        return {};
    for (size_t port = 0; port < units.ports.size(); port++)
        for (size_t pdu = 0; pdu < units.ports[port].units.size(); pdu++)
            if (int number = outlet_named(units.ports[port].units[pdu], name))
                return {static_cast<int>(port) + 1, static_cast<int>(pdu) + 1, number};
    return {};
}

template <class Item> static Item *numbered(std::vector<Item> &items, int number)
{
    bool there = number > 0 && static_cast<size_t>(number) <= items.size();
    return there ? &items[static_cast<size_t>(number - 1)] : nullptr;
}

unit *unit_at(chain &units, const place &at)
{
    port_line *port = numbered(units.ports, at.port);
    return port ? numbered(port->units, at.pdu) : nullptr;
}

outlet *outlet_at(chain &units, const place &at)
{
    unit *holder = unit_at(units, at);
    return holder ? numbered(holder->outlets, at.part) : nullptr;
}

envmon *envmon_at(chain &units, const place &at)
{
    unit *holder = unit_at(units, at);
    return holder ? numbered(holder->envmons, at.part) : nullptr;
}

phase *phase_at(chain &units, const place &at)
{
    unit *holder = unit_at(units, at);
    return holder ? numbered(holder->phases, at.part) : nullptr;
}

circuit *circuit_at(chain &units, const place &at)
{
    unit *holder = unit_at(units, at);
    return holder ? numbered(holder->circuits, at.part) : nullptr;
}

meter *meter_at(chain &units, node_kind kind, const place &at)
{
    auto measured = [](auto *found) { return found ? &found->measured : nullptr; };
    switch (kind) {
    case node_kind::unit:
        return measured(unit_at(units, at));
    case node_kind::phase:
        return measured(phase_at(units, at));
    case node_kind::circuit:
        return measured(circuit_at(units, at));
    case node_kind::outlet:
        return measured(outlet_at(units, at));
    }
    return nullptr;
}

bool is_current_family(const unit &unit)
{
    return unit.model_nr && *unit.model_nr >= 128 && *unit.model_nr <= 143;
}

bool is_local(const port_line &port, int pdu)
{
    return pdu == 1 && port.name == local_port_name;
}

template <class Part> static bool is_overloaded(const Part &part)
{
    const meter &its = part.measured;
    return part.overloaded ||
           (its.present && standing_of(its.limits, its.now[quantity::current]) == standing::high_critical);
}

static bool is_overloaded(const unit &unit, int phase_number)
{
    return phase_number > 0 && is_overloaded(unit.phases[static_cast<size_t>(phase_number - 1)]);
}

bool is_held_off(const unit &unit, const outlet &outlet)
{
    if (is_tripped(unit, outlet))
        return true;
    if (!unit.overcurrent.value_or(false))
        return false;
    if (outlet.circuit == 0)
        return is_overloaded(unit, 1);
    const circuit &feed = unit.circuits[static_cast<size_t>(outlet.circuit - 1)];
    return is_overloaded(feed) || is_overloaded(unit, feed.from_phase) || is_overloaded(unit, feed.to_phase);
}

bool holds_outlets_off(const unit &unit)
{
    return std::any_of(unit.outlets.begin(), unit.outlets.end(),
                       [&](const outlet &one) { return !one.on && is_held_off(unit, one); });
}

int ctrl_status_of(const outlet &outlet)
{
    if (outlet.fixed)
        return ctrl_on_fixed;
    if (outlet.locked)
        return outlet.on ? ctrl_on_locked : ctrl_off_locked;
    switch (outlet.pending.what) {
    case waiting::nothing:
        break;
    case waiting::to_come_on:
        return ctrl_off_pending_on;
    case waiting::to_go_off:
    case waiting::to_cycle:
        return ctrl_on_pending_off;
    case waiting::in_cycle:
        return ctrl_off_cycle;
    case waiting::turn_in_cycle:
        return ctrl_off_pending_cycle;
    }
    return outlet.on ? ctrl_on : ctrl_off;
}

int mod_status_of(const unit &unit, const outlet &outlet)
{
    if (outlet.mod_status)
        return outlet.mod_status;
    if (outlet.stuck)
        return outlet.on ? mod_on_error : mod_off_error;
    if (has_blown_fuse(unit, outlet))
        return outlet.on ? mod_on_fuse : mod_off_fuse;
    if (!outlet.on && is_held_off(unit, outlet))
        return mod_off_ocp;
    if (outlet.pending.what != waiting::nothing)
        return outlet.on ? mod_on_wait : mod_off_wait;
    return outlet.on ? mod_on : mod_off;
}

int outlets_on(const unit &unit)
{
    return static_cast<int>(
        std::count_if(unit.outlets.begin(), unit.outlets.end(), [](const outlet &one) { return one.on; }));
}

bool has_control_characters(std::string_view text)
{
    return std::any_of(text.begin(), text.end(), [](unsigned char c) { return c < 0x20 || c == 0x7f; });
}

result_code check_unit_id(std::string_view id)
{
    if (id.size() > unit_id_size)
        return result_too_long;
    if (id.empty() || id == "pdu-local" || id.find_first_of(" .,") != id.npos || has_control_characters(id))
        return result_bad_value;
    return result_done;
}

result_code check_outlet_name(std::string_view name)
{
    if (name.size() > outlet_name_size)
        return result_too_long;
    bool leading_digit = !name.empty() && name[0] >= '0' && name[0] <= '9';
    if (leading_digit || name.find(',') != name.npos || has_control_characters(name))
        return result_bad_value;
    return result_done;
}

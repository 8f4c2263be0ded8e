// What the parts of a unit that carry current have: phases, circuits and outlets.

#include <cstdio>

#include "appliance/model/status.h"
#include "appliance/morvd/leaves.h"
#include "appliance/morvd/leaves_protection.h"
#include "appliance/morvd/writers.h"

using text = std::optional<std::string>;

// --- Phases and circuits --------------------------------------------------------------------------------------------

static constexpr leaf phase_table[] = {
    {.name = "", .mlist = names_of_node},
    {.name = "sys-name", .info = [](const target &to) { return text(to.phase->sys_name); }},
    {.name = "name", .info = [](const target &to) { return text(to.phase->name); }},
    {.name = "hwocp", .info = hwocp_state, .present = has_hwocp},
};

static text count_outlets_on_circuit(const target &to)
{
    int number = static_cast<int>(to.circuit - to.unit->circuits.data()) + 1;
    size_t count = 0;
    for (const outlet &outlet : to.unit->outlets)
        count += outlet.circuit == number;
    return std::to_string(count);
}

static constexpr leaf circuit_table[] = {
    {.name = "", .mlist = names_of_node},
    {.name = "sys-name", .info = [](const target &to) { return text(to.circuit->sys_name); }},
    {.name = "name", .info = [](const target &to) { return text(to.circuit->name); }},
    {.name = "num-outlets", .info = count_outlets_on_circuit},
    {.name = "blown-fuse", .info = fuse_state, .present = has_fuse},
};

// --- Outlets --------------------------------------------------------------------------------------------------------

static text seconds(const std::optional<int> &tenths)
{
    if (!tenths)
        return std::nullopt;
    char buffer[32];
    snprintf(buffer, sizeof buffer, "%.1f", *tenths / 10.0);
    return buffer;
}

// A unit without relays knows no state of its outlets.
static bool is_switched(const target &to)
{
    return to.unit->switched;
}

static constexpr leaf outlet_table[] = {
    {.name = "", .mlist = names_of_node},
    {.name = "sys-name", .info = [](const target &to) { return text(to.outlet->sys_name); }},
    {.name = "name", .info = [](const target &to) { return text(to.outlet->name); }, .admin = write_outlet_name},
    {.name = "ctrl-status",
     .info = [](const target &to) { return text(ctrl_status_word(ctrl_status_of(*to.outlet))); },
     .present = is_switched},
    {.name = "mod-status",
     .info = [](const target &to) { return text(mod_status_word(mod_status_of(*to.unit, *to.outlet))); },
     .present = is_switched},
    {.name = "post-power-on",
     .info = [](const target &to) { return seconds(to.outlet->post_power_on); },
     .admin = write_post_power_on,
     .present = [](const target &to) { return is_switched(to) && to.outlet->post_power_on; }},
    {.name = "post-power-off",
     .info = [](const target &to) { return seconds(to.outlet->post_power_off); },
     .admin = write_post_power_off,
     .present = [](const target &to) { return is_switched(to) && to.outlet->post_power_off; }},
    {.name = "hwocp", .info = hwocp_state, .present = has_hwocp},
    {.name = "on", .admin = act<outlet_action::on>, .present = is_switched},
    {.name = "off", .admin = act<outlet_action::off>, .present = is_switched},
    {.name = "ion", .admin = act<outlet_action::ion>, .present = is_switched},
    {.name = "ioff", .admin = act<outlet_action::ioff>, .present = is_switched},
    {.name = "lock", .admin = act<outlet_action::lock>, .present = is_switched},
    {.name = "unlock", .admin = act<outlet_action::unlock>, .present = is_switched},
    {.name = "cycle", .admin = act<outlet_action::cycle>, .present = is_switched},
};

constinit const std::span<const leaf> phase_leaves = phase_table;
constinit const std::span<const leaf> circuit_leaves = circuit_table;
constinit const std::span<const leaf> outlet_leaves = outlet_table;

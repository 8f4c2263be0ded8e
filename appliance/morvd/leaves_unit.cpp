// What a unit has: who it is, what it is made of, how it starts and cycles.

#include <cstdio>

#include "appliance/morvd/leaves.h"
#include "appliance/morvd/leaves_flash.h"
#include "appliance/morvd/leaves_protection.h"
#include "appliance/morvd/writers.h"

using text = std::optional<std::string>;

static text count(size_t number)
{
    return std::to_string(number);
}

static text truth(bool value)
{
    return value ? "true" : "false";
}

static text number_text(const std::optional<int> &number)
{
    return number ? text(std::to_string(*number)) : std::nullopt;
}

static text max_current(const target &to)
{
    char buffer[32];
    snprintf(buffer, sizeof buffer, "%.1f", *to.unit->max_current);
    return buffer;
}

static text overcurrent(const target &to)
{
    return *to.unit->overcurrent ? "on" : "off";
}

static bool is_switched(const target &to)
{
    return to.unit->switched;
}

static constexpr leaf unit_table[] = {
    {.name = "", .mlist = names_of_node},
    {.name = "id", .info = [](const target &to) { return text(to.unit->id); }, .admin = write_unit_id},
    {.name = "defaultid", .info = [](const target &to) { return text(to.unit->default_id); }},
    {.name = "model_nr",
     .info = [](const target &to) { return number_text(to.unit->model_nr); },
     .present = [](const target &to) { return to.unit->model_nr.has_value(); }},
    {.name = "model",
     .info = [](const target &to) { return to.unit->model; },
     .present = [](const target &to) { return to.unit->model.has_value(); }},
    {.name = "version",
     .info = [](const target &to) { return to.unit->version; },
     .present = [](const target &to) { return to.unit->version.has_value(); }},
    {.name = "vendor",
     .info = [](const target &to) { return to.unit->vendor; },
     .present = [](const target &to) { return to.unit->vendor.has_value(); }},
    {.name = "max-current",
     .info = max_current,
     .present = [](const target &to) { return to.unit->max_current.has_value(); }},
    {.name = "topology",
     .info = [](const target &to) { return to.unit->topology; },
     .present = [](const target &to) { return to.unit->topology.has_value(); }},
    {.name = "cold-start-delay",
     .info = show<unit_setting::cold_start_delay>,
     .admin = change<unit_setting::cold_start_delay>,
     .present = has<unit_setting::cold_start_delay>},
    {.name = "buzzer",
     .info = show<unit_setting::buzzer>,
     .mlist = on_and_off,
     .admin = change<unit_setting::buzzer>,
     .present = has<unit_setting::buzzer>},
    {.name = "syslog",
     .info = show<unit_setting::syslog>,
     .mlist = on_and_off,
     .admin = change<unit_setting::syslog>,
     .present = has<unit_setting::syslog>},
    {.name = "display-mode",
     .info = show<unit_setting::display_mode>,
     .mlist = [](const target &to) { return to.unit->display_modes; },
     .admin = change<unit_setting::display_mode>,
     .present = has<unit_setting::display_mode>},
    {.name = "display-cycle",
     .info = show<unit_setting::display_cycle>,
     .admin = change<unit_setting::display_cycle>,
     .present = has<unit_setting::display_cycle>},
    {.name = "save", .admin = begin<unit_task::save>, .present = can_begin<unit_task::save>},
    {.name = "restore", .admin = begin<unit_task::restore>, .present = can_begin<unit_task::restore>},
    {.name = "factory-default",
     .admin = begin<unit_task::factory_default>,
     .present = can_begin<unit_task::factory_default>},
    {.name = "reboot", .admin = begin<unit_task::reboot>, .present = can_begin<unit_task::reboot>},
    {.name = "upgrade", .admin = write_upgrade, .present = [](const target &to) { return to.unit->upgradable; }},
    {.name = "cycle-interval",
     .info = [](const target &to) { return number_text(to.unit->cycle_interval); },
     .admin = write_cycle_interval,
     .present = [](const target &to) { return to.unit->cycle_interval.has_value(); }},
    {.name = "overcurrent",
     .info = overcurrent,
     .mlist =
         [](const target &) {
             return std::vector<std::string>{"on", "off"};
         },
     .admin = write_overcurrent,
     .present = [](const target &to) { return to.unit->overcurrent.has_value(); }},
    {.name = "hwocp", .info = hwocp_state, .present = has_hwocp},
    {.name = "hwocp.reset", .admin = write_hwocp_reset, .present = has_any_hwocp},
    {.name = "islocal", .info = [](const target &to) { return truth(is_local(*to.port, to.at.pdu)); }},
    {.name = "switched", .info = [](const target &to) { return truth(to.unit->switched); }},
    {.name = "num-inlets", .info = [](const target &to) { return count(static_cast<size_t>(to.unit->inlets)); }},
    {.name = "num-phases", .info = [](const target &to) { return count(to.unit->phases.size()); }},
    {.name = "num-circuits", .info = [](const target &to) { return count(to.unit->circuits.size()); }},
    {.name = "num-outlets", .info = [](const target &to) { return count(to.unit->outlets.size()); }},
    {.name = "true-num-outlets", .info = [](const target &to) { return count(to.unit->outlets.size()); }},
    {.name = "num-outlets-on",
     .info = [](const target &to) { return count(static_cast<size_t>(outlets_on(*to.unit))); }},
    {.name = "num-envmons", .info = [](const target &to) { return count(to.unit->envmons.size()); }},
    {.name = "phase", .mlist = [](const target &to) { return numbers_up_to(to.unit->phases.size()); }},
    {.name = "circuit", .mlist = [](const target &to) { return numbers_up_to(to.unit->circuits.size()); }},
    {.name = "outlet", .mlist = [](const target &to) { return numbers_up_to(to.unit->outlets.size()); }},
    {.name = "envmon", .mlist = [](const target &to) { return numbers_up_to(to.unit->envmons.size()); }},
    {.name = "on", .admin = act<outlet_action::on>, .present = is_switched},
    {.name = "off", .admin = act<outlet_action::off>, .present = is_switched},
    {.name = "ion", .admin = act<outlet_action::ion>, .present = is_switched},
    {.name = "ioff", .admin = act<outlet_action::ioff>, .present = is_switched},
    {.name = "cycle", .admin = act<outlet_action::cycle>, .present = is_switched},
};

constinit const std::span<const leaf> unit_leaves = unit_table;

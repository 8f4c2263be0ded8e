// What `power` itself has, its commands for outlets all along the chain, its device lines, and the ways in by a unit's
// ID and an outlet's name.

#include <algorithm>

#include "appliance/morvd/leaves.h"
#include "appliance/morvd/writers.h"

static std::optional<std::string> number_text(int number)
{
    return std::to_string(number);
}

// --- power ----------------------------------------------------------------------------------------------------------

static std::vector<std::string> unit_ids(const target &to)
{
    std::vector<std::string> ids;
    for (const port_line &port : to.device->units->ports)
        for (const unit &unit : port.units)
            if (!is_away(unit))
                ids.push_back(unit.id);
    return ids;
}

static std::vector<std::string> outlet_names(const target &to)
{
    std::vector<std::string> names;
    for (const port_line &port : to.device->units->ports)
        for (const unit &unit : port.units)
            for (const outlet &outlet : unit.outlets)
                if (!outlet.name.empty() && !is_away(unit))
                    names.push_back(outlet.name);
    return names;
}

static std::optional<std::string> count_ports(const target &to)
{
    return std::to_string(to.device->units->ports.size());
}

static std::vector<std::string> port_numbers(const target &to)
{
    return numbers_up_to(to.device->units->ports.size());
}

// One word. It becomes the password of the account for the devices of the chain.
static result_code write_password(const target &to, word_span words)
{
    return words.size() == 1 ? set_password(*to.device->account, words[0]) : result_bad_arguments;
}

static constexpr leaf power_table[] = {
    {.name = "num-devices", .info = count_ports},         {.name = "port", .mlist = port_numbers},
    {.name = "pdu", .list = unit_ids, .mlist = unit_ids}, {.name = "outlet", .mlist = outlet_names},
    {.name = "passwd", .admin = write_password},
};

// --- power.command --------------------------------------------------------------------------------------------------

static constexpr leaf command_table[] = {
    {.name = "on", .admin = act<outlet_action::on>},       {.name = "off", .admin = act<outlet_action::off>},
    {.name = "ion", .admin = act<outlet_action::ion>},     {.name = "ioff", .admin = act<outlet_action::ioff>},
    {.name = "lock", .admin = act<outlet_action::lock>},   {.name = "unlock", .admin = act<outlet_action::unlock>},
    {.name = "cycle", .admin = act<outlet_action::cycle>},
};

// --- power.port.* ---------------------------------------------------------------------------------------------------

// Those that are there; num-pdus counts the others too, since a unit keeps its place.
static std::vector<std::string> numbers_of_units(const target &to)
{
    std::vector<std::string> numbers;
    int number = 0;
    for (const unit &unit : to.port->units) {
        number++;
        if (!is_away(unit))
            numbers.push_back(std::to_string(number));
    }
    return numbers;
}

static bool takes_firmware(const target &to)
{
    return std::ranges::any_of(to.port->units, [](const unit &unit) { return unit.upgradable; });
}

static constexpr leaf port_table[] = {
    {.name = "device", .info = [](const target &to) { return std::optional(to.port->device); }},
    {.name = "name", .info = [](const target &to) { return std::optional(to.port->name); }},
    {.name = "number", .info = [](const target &to) { return number_text(to.at.port); }},
    {.name = "num-pdus", .info = [](const target &to) { return std::optional(std::to_string(to.port->units.size())); }},
    {.name = "polling-rate", .info = [](const target &to) { return number_text(to.port->polling_rate); }},
    {.name = "pdu-type", .info = [](const target &to) { return std::optional(to.port->pdu_type); }},
    {.name = "pdu", .mlist = numbers_of_units},
    {.name = "upgrade", .admin = write_upgrade_of_list, .present = takes_firmware},
};

// --- power.pdu.* and power.outlet.* ---------------------------------------------------------------------------------

static constexpr leaf unit_by_id_table[] = {
    {.name = "pdu", .info = [](const target &to) { return number_text(to.at.pdu); }},
    {.name = "port", .info = [](const target &to) { return number_text(to.at.port); }},
};

static constexpr leaf outlet_by_name_table[] = {
    {.name = "outlet", .info = [](const target &to) { return number_text(to.at.part); }},
    {.name = "pdu", .info = [](const target &to) { return number_text(to.at.pdu); }},
    {.name = "port", .info = [](const target &to) { return number_text(to.at.port); }},
};

constinit const std::span<const leaf> power_leaves = power_table;
constinit const std::span<const leaf> command_leaves = command_table;
constinit const std::span<const leaf> port_leaves = port_table;
constinit const std::span<const leaf> unit_by_id_leaves = unit_by_id_table;
constinit const std::span<const leaf> outlet_by_name_leaves = outlet_by_name_table;

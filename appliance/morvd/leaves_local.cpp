// The appliance's own unit under the name "pdu-local", and its outlets: a second way to some of what stands at its
// place, by get and set.

#include "appliance/model/status.h"
#include "appliance/morvd/leaves.h"
#include "appliance/morvd/writers.h"

using text = std::optional<std::string>;

static text number_text(const std::optional<int> &number)
{
    return number ? text(std::to_string(*number)) : std::nullopt;
}

// --- The unit -------------------------------------------------------------------------------------------------------

// Whether over-current protection keeps outlets off just now, not whether it is turned on: 1 while an outlet of the
// unit is off and held so, else 0. Who finds an outlet off that was told to come on learns the cause here.
static text overcurrent(const target &to)
{
    return holds_outlets_off(*to.unit) ? "1" : "0";
}

static constexpr leaf local_unit_table[] = {
    {.name = "id", .get = [](const target &to) { return text(to.unit->id); }, .set = write_unit_id},
    {.name = "overcurrent",
     .get = overcurrent,
     .present = [](const target &to) { return to.unit->overcurrent.has_value(); }},
    {.name = "coldstart-delay",
     .get = [](const target &to) { return number_text(to.unit->cold_start_delay); },
     .present = [](const target &to) { return to.unit->cold_start_delay.has_value(); }},
    {.name = "cycle-interval",
     .get = [](const target &to) { return number_text(to.unit->cycle_interval); },
     .set = write_cycle_interval,
     .present = [](const target &to) { return to.unit->cycle_interval.has_value(); }},
    {.name = "phase", .list = [](const target &to) { return numbers_up_to(to.unit->phases.size()); }},
    {.name = "circuit", .list = [](const target &to) { return numbers_up_to(to.unit->circuits.size()); }},
    {.name = "outlet", .list = [](const target &to) { return numbers_up_to(to.unit->outlets.size()); }},
    {.name = "envmon", .list = [](const target &to) { return numbers_up_to(to.unit->envmons.size()); }},
};

// --- Its outlets ----------------------------------------------------------------------------------------------------

static constexpr leaf local_outlet_table[] = {
    {.name = "sys-name", .get = [](const target &to) { return text(to.outlet->sys_name); }},
    {.name = "name", .get = [](const target &to) { return text(to.outlet->name); }, .set = write_outlet_name},
    {.name = "ctrl-status", // the code, where the outlet's place serves the word
     .get = [](const target &to) { return number_text(ctrl_status_of(*to.outlet)); },
     .present = [](const target &to) { return to.unit->switched; }},
};

constinit const std::span<const leaf> local_unit_leaves = local_unit_table;
constinit const std::span<const leaf> local_outlet_leaves = local_outlet_table;

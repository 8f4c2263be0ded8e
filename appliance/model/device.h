// The far end of the device lines, as the daemon sees it: a chain to read, and operations that change it. The tree
// never writes into the chain itself, so that a line with real units behind it can take the simulation's place.
#pragma once

#include <optional>
#include <span>
#include <string_view>

#include "appliance/model/account.h"
#include "appliance/model/chain.h"
#include "appliance/model/network.h"
#include "appliance/model/switching.h"

struct device {
    const chain *units;         // what the units last said of themselves; owned by the device
    void *self;                 // what the operations work on
    network_interface *network; // the appliance's own, on no device line
    chain_account *account;

    // Gives the unit at that place an ID; the empty one brings the unit's own default back.
    result_code (*set_unit_id)(void *self, int port, int pdu, std::string_view id);

    // 1 to 60 s.
    result_code (*set_cycle_interval)(void *self, int port, int pdu, int seconds);

    // Turns over-current protection of the unit on or off.
    result_code (*set_overcurrent)(void *self, int port, int pdu, bool on);

    // result_bad_value for a text that the setting does not take.
    result_code (*set_setting)(void *self, int port, int pdu, unit_setting which, std::string_view value);

    // Begins what the unit has been told; see begin_task for what can stand in the way.
    result_code (*begin_task)(void *self, int port, int pdu, unit_task task);

    // Gives these units the firmware image that stands ready: all of them or, with the first cause that stands in the
    // way, none. result_no_such_part for one that does not exist, is away or takes no firmware, result_busy for one
    // that works on its flash, result_bad_image where there is no sound image.
    result_code (*upgrade)(void *self, std::span<const place> units);

    // A name that no other outlet has, by the rules of check_outlet_name; the empty one takes the name away.
    result_code (*set_outlet_name)(void *self, const place &at, std::string_view name);

    // 0 to 25000 tenths of a second.
    result_code (*set_post_power_on)(void *self, const place &at, int tenths);
    result_code (*set_post_power_off)(void *self, const place &at, int tenths);

    // One action for all of these outlets. result_no_such_part, before anything is switched, where one does not exist,
    // or its unit is away.
    result_code (*act)(void *self, outlet_action action, std::span<const place> outlets);

    // Of the node, which exists: a level of its current, in A; a quantity's minimum, maximum and average; its energy.
    result_code (*set_threshold)(void *self, node_kind kind, const place &at, level which, double amperes);
    result_code (*reset_statistic)(void *self, node_kind kind, const place &at, quantity which);
    result_code (*reset_energy)(void *self, node_kind kind, const place &at);

    // Of the environment monitor there. A name by the rules of check_envmon_name; the unit that it works in from now
    // on, by a word of find_envmon_unit; a level, in that unit, of a monitor that has levels; what it keeps of its
    // values begins anew.
    result_code (*set_envmon_name)(void *self, const place &at, std::string_view name);
    result_code (*set_envmon_unit)(void *self, const place &at, std::string_view word);
    result_code (*set_envmon_level)(void *self, const place &at, level which, double shown);
    result_code (*reset_envmon)(void *self, const place &at);

    // Makes all hardware over-current protection of the unit ready again.
    result_code (*reset_hwocp)(void *self, int port, int pdu);

    // Brings `units` up to date: what has come due by now is done.
    void (*settle)(void *self);

    // When, on the desk's clock, the next thing falls due by itself; nothing: never.
    std::optional<int64_t> (*next_due)(const void *self);
};

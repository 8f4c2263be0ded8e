// The simulated chain: what stands on the desk in place of units, outlets and sensors. Plain values; whoever holds a
// chain owns all of it. Numbers in the tree count from 1 and are the place in these lists plus one.
#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "appliance/model/envmon.h"
#include "appliance/model/meter.h"
#include "appliance/model/result.h"
#include "appliance/model/settings.h"

// What the status segment's records and the units' own memory have room for.
inline constexpr size_t unit_id_size = 16;
inline constexpr size_t outlet_name_size = 16;
inline constexpr size_t outlet_sys_name_size = 8;
inline constexpr size_t element_sys_name_size = 10;
inline constexpr size_t most_phases = 3;
inline constexpr size_t most_circuits = 6;
inline constexpr size_t most_outlets = 255;

// Tenths of a second, and seconds.
inline constexpr int longest_post_power = 25000;
inline constexpr int shortest_cycle_interval = 1;
inline constexpr int longest_cycle_interval = 60;

// V between a phase and the neutral, and what a load's power factor may be: below a half, one of the two phases of a
// circuit in delta would give power back.
inline constexpr double least_volts = 50;
inline constexpr double most_volts = 500;
inline constexpr double least_power_factor = 0.5;
inline constexpr double most_watts = 100'000;

// What hangs at an outlet. It draws its power whatever the voltage is.
struct load {
    double watts = 0;
    double power_factor = 1;
};

// One conductor of the feed.
struct phase {
    std::string sys_name;
    std::string name;                 // the user's; empty: none
    bool overloaded = false;          // stands at the threshold because the desk says so, whatever its current
    std::optional<bool> tripped = {}; // of its hardware protection; absent: it has none; likewise below
    meter measured = {};
};

// Blows when the current of its circuit goes beyond what it bears.
struct fuse {
    double amperes;
    bool blown = false;
};

// A branch behind its own breaker, between a phase and a second one or the neutral.
struct circuit {
    std::string sys_name;
    std::string name;
    int from_phase = 1;
    int to_phase = 0; // 0: the neutral
    bool overloaded = false;
    std::optional<struct fuse> fuse = {};
    meter measured = {};
};

// What an outlet waits for. One that cycles goes off, rests for its unit's cycle interval, and comes back in its turn.
enum class waiting { nothing, to_come_on, to_go_off, to_cycle, in_cycle, turn_in_cycle };

// What is to happen to an outlet later. Times are the desk clock's, in milliseconds.
struct pending_switch {
    waiting what = waiting::nothing;
    int64_t at = 0;         // when it happens
    int64_t rest_until = 0; // of a cycle
    int64_t on_at = 0;      // of a cycle, not before its rest ends
};

struct outlet {
    std::string sys_name = {};
    std::string name = {};
    int circuit = 0; // 0: fed by the phase itself
    bool on = true;
    bool locked = false;
    bool fixed = false; // a fixed outlet is on and can't be switched
    bool stuck = false; // its relay doesn't move any more
    int mod_status = 0; // what the switching module reports instead of the plain state; 0: nothing special
    std::optional<int> post_power_on = {}; // tenths of a second; absent: the unit knows no such interval
    std::optional<int> post_power_off = {};
    pending_switch pending = {};
    struct load load = {};
    std::optional<bool> tripped = {};
    meter measured = {};
};

// What a unit is busy with.
enum class unit_task { none, save, restore, factory_default, reboot };

// A value that is absent is a capability that the unit lacks.
struct unit {
    std::string id;
    std::string default_id; // what the unit calls itself where the user has given no ID
    std::optional<std::string> model, vendor, version, topology;
    std::optional<int> model_nr;
    std::optional<double> max_current;                   // A
    std::optional<int> cold_start_delay, cycle_interval; // s
    std::optional<bool> overcurrent; // whether over-current protection keeps outlets of overloaded circuits off
    bool switched = true;
    int inlets = 1;
    std::vector<phase> phases;
    std::vector<circuit> circuits;
    std::vector<outlet> outlets;
    std::vector<envmon> envmons;
    double volts = 230; // between a phase and the neutral
    std::optional<bool> tripped;
    meter measured = {};
    std::optional<bool> buzzer, syslog;
    std::optional<std::string> display_mode; // one of display_modes
    std::vector<std::string> display_modes;
    std::optional<int> display_cycle;           // s
    std::optional<int> flash_time, reboot_time; // ms that a task on flash, and a restart, take
    bool upgradable = false;                    // whether the daemon can give it new firmware
    unit_task task = unit_task::none;
    int64_t busy_until = 0; // with the task, on the desk's clock
    bool adrift = false;    // its link along the chain is broken: it runs on, and nobody hears of it
    configuration as_made;  // as it left the factory
};

// Whether the unit is of the family that measures powers and energy and keeps minima and averages.
bool is_current_family(const unit &unit);

// A unit that restarts answers to nobody, nor does one whose link is broken.
inline bool is_away(const unit &unit)
{
    return unit.task == unit_task::reboot || unit.adrift;
}

// One device line. The line named "local" is the first and begins with the appliance's own unit.
struct port_line {
    std::string name;
    std::string device;
    std::string pdu_type;
    int polling_rate = 0; // s
    std::vector<unit> units;
};

struct user_group {
    std::string name;
    std::vector<std::string> members;
};

struct chain {
    std::vector<port_line> ports;
    std::vector<user_group> groups;
    unsigned seed = 1; // of what wavers
    bool noise = true; // whether anything does
};

inline constexpr std::string_view local_port_name = "local";

// Where a unit, and one of its parts, stands; 0 where nothing was found.
struct place {
    int port = 0;
    int pdu = 0;
    int part = 0;

    auto operator<=>(const place &) const = default;
};
place find_unit(const chain &units, std::string_view id);
place find_outlet(const chain &units, std::string_view name); // by the user's name

// What stands there, or null.
unit *unit_at(chain &units, const place &at);
outlet *outlet_at(chain &units, const place &at);
envmon *envmon_at(chain &units, const place &at);
phase *phase_at(chain &units, const place &at);
circuit *circuit_at(chain &units, const place &at);

// A unit or one of the parts that carry current, and its meter, or null.
enum class node_kind { unit, phase, circuit, outlet };
meter *meter_at(chain &units, node_kind kind, const place &at);

// Whether the unit at that place is the appliance's own.
bool is_local(const port_line &port, int pdu);

// Whether over-current protection keeps the outlet, one of that unit, from coming on: hardware protection has tripped;
// or the unit's own is on, and the outlet's circuit or a phase that feeds it is overloaded: it has a meter that reads
// at least the high critical level, or the desk says so. That one leaves an outlet on that is on.
bool is_held_off(const unit &unit, const outlet &outlet);

// Whether there is an outlet in the unit that is off and held so.
bool holds_outlets_off(const unit &unit);

// The states that the outlet, one of that unit, shows.
int ctrl_status_of(const outlet &outlet);
int mod_status_of(const unit &unit, const outlet &outlet);
int outlets_on(const unit &unit);

// The rules for what a user may call a unit: result_done, result_too_long or result_bad_value. An ID stands in outlet
// strings, hence no ' ', '.' or ','; "pdu-local" is the tree's own word for the appliance's unit.
result_code check_unit_id(std::string_view id);

// The rules for an outlet's name: result_done, result_too_long or result_bad_value. At most 16 bytes, no leading digit,
// no comma, no control character; the empty name is none.
result_code check_outlet_name(std::string_view name);

bool has_control_characters(std::string_view text);

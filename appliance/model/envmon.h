// Environment monitors: what a probe measures, what is kept of it, and the levels that it is held against.
//
// Values and levels are held on one scale a quantity (temperatures in degrees Celsius) and are converted where they
// come in or go out, so that a monitor which is told to work in another unit loses nothing.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "appliance/model/result.h"
#include "appliance/model/statistic.h"
#include "appliance/model/thresholds.h"

struct chain;

// A monitor's name has at most so many bytes.
inline constexpr size_t envmon_name_size = 31;

enum class scale { state, temperature, humidity, air_flow };

// A unit that values are shown in: value times factor plus offset.
struct envmon_unit {
    std::string_view word; // the tree's
    enum scale scale;
    double factor;
    double offset;
    double taken_off;      // from a number that is rendered with its unit: kelvins are rendered as degrees Celsius
    std::string_view mark; // behind it; the degree sign is a single byte
};

// The levels, from the highest to the lowest, on the scale.
using envmon_levels = std::array<double, level_count>;

// A kind of environment monitor: the tree's word, the units' number, and what its probe is like. A contact has a state
// instead of a number: 0 or 1, and words for both.
struct envmon_kind {
    std::string_view type;
    int type_raw;
    enum scale scale;
    double low, high; // no value and no level lies outside
    double usual;
    double drift; // how far it strays
    envmon_levels levels;
    std::array<std::string_view, 2> states;
};

struct envmon {
    std::string sys_name = {};
    std::string name = {};                    // the user's; empty: none
    const envmon_kind *kind = nullptr;        // a row of the one table, never null
    const envmon_unit *unit = nullptr;        // that it works in, likewise
    bool tells_unit = true;                   // false: readers have to guess it
    int type_raw = 0;                         // the kind's own, or another
    bool keeps_statistic = false;             // whether there are a maximum and its like
    std::optional<envmon_levels> levels = {}; // absent: it is held against nothing
    double usual = 0;
    double drift = 0;
    std::optional<double> held = {}; // the desk says what it measures
    bool pulled = false;             // nothing is plugged in
    double now = 0;
    statistic kept = {};
    int samples = 0;
};

// The kind with that word, or null.
const envmon_kind *find_envmon_kind(std::string_view type);

// The words of all kinds.
std::vector<std::string_view> envmon_types();

// The units that monitors of the kind can work in, the one that they come with first.
std::span<const envmon_unit> units_of(const envmon_kind &kind);

// The unit that a user means by the word: the tree's own word; for temperatures also anything that begins with the
// letter F, C or K. Null where monitors of the kind don't work in it.
const envmon_unit *find_envmon_unit(const envmon_kind &kind, std::string_view word);

// From the scale to the monitor's unit, and back.
double shown_value(const envmon &one, double on_scale);
double value_on_scale(const envmon &one, double shown);

// The rules for a name: result_done, result_too_long or result_bad_value. At most 31 bytes, no comma and no colon,
// which part the fields of a summary, no control character; the empty name is none.
result_code check_envmon_name(std::string_view name);

// A level in the monitor's unit, which has levels. result_bad_value where the value lies outside what its kind can
// measure or above the level before it. Levels behind it that would stand above it come down with it: whoever sets all
// four sets one after another, from the highest, and could not move them down otherwise.
result_code set_envmon_level(envmon &one, level which, double shown);

// Whether all the levels lie within the kind's bounds, none above the one before.
bool are_levels_sound(const envmon_kind &kind, const envmon_levels &levels);

// Where its value stands among its levels; normal where it has none.
standing standing_of(const envmon &one);

// A new value, within the kind's bounds, which stands until the next.
void take_value(envmon &one, double value);

// What is kept begins anew with the present value.
void reset_statistic(envmon &one);

// The first value of every monitor.
void start_envmons(chain &units, int64_t at_ms);

// Lets time go on, with values on the way. A long time has them farther apart.
void run_envmons(chain &units, int64_t from_ms, int64_t to_ms);

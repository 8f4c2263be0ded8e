// What the instruments at one node say and remember: a unit, a phase, a circuit or an outlet has one of these each.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "appliance/model/statistic.h"
#include "appliance/model/thresholds.h"

// What is measured: A, V, W, and a number from 0 to 1.
enum class quantity : size_t { current, voltage, power, power_factor };
inline constexpr size_t quantity_count = 4;

// How a unit came by a value.
enum class certainty { undefined, estimated, measured };

// Their words, in that order.
inline constexpr std::string_view certainty_words[] = {"UNDEFINED", "ESTIMATED", "MEASURED"};
std::string_view certainty_word(certainty how);

// False for any other word.
bool find_certainty(std::string_view word, certainty *how);

struct reading {
    std::array<double, quantity_count> values{};
    double &operator[](quantity which) { return values[static_cast<size_t>(which)]; }
    double operator[](quantity which) const { return values[static_cast<size_t>(which)]; }
};

struct meter {
    bool present = false; // a node without instruments carries current all the same, and its reading is the true one
    std::array<certainty, quantity_count> how = {certainty::measured, certainty::measured, certainty::measured,
                                                 certainty::measured};
    thresholds limits = {};
    reading now = {};
    std::array<statistic, quantity_count> kept = {};
    double joules = 0;         // since the count began
    int64_t counted_since = 0; // local date and time, as desk_clock tells it
};

// Takes a new reading, which stands until the next.
void take_reading(meter &at, const reading &taken);

// The standing reading has held for so long: averages and energy go on.
void let_pass(meter &at, double seconds);

// What is kept of the quantity begins anew with the standing reading.
void reset_statistic(meter &at, quantity which);

// The energy counts from nothing again.
void reset_energy(meter &at, int64_t date);

// Kept values; the present one where nothing has been kept.
double least(const meter &at, quantity which);
double greatest(const meter &at, quantity which);
double average(const meter &at, quantity which);

inline double kilowatt_hours(const meter &at)
{
    return at.joules / 3'600'000;
}

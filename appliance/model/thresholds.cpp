// Ranges and order of the levels.

#include "appliance/model/thresholds.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>

thresholds default_thresholds(double most_amperes)
{
    int most = static_cast<int>(std::lround(most_amperes * 10));
    return {.tenths = {std::max(most, lowest_alarm), most * 4 / 5, 0, 0}, .most = std::max(most, lowest_alarm)};
}

static bool is_in_range(const thresholds &limits, level which)
{
    int lowest = which == level::high_critical ? lowest_alarm : 0;
    return limits.at(which) >= lowest && limits.at(which) <= limits.most;
}

result_code set_threshold(thresholds &limits, level which, double amperes, bool alone)
{
    double tenths = std::round(amperes * 10);
    if (!(std::abs(tenths) <= std::numeric_limits<int>::max())) // what is no number is not below anything
        return result_bad_value;
    thresholds wanted = limits;
    wanted.tenths[static_cast<size_t>(which)] = static_cast<int>(tenths);
    if (alone ? !is_in_range(wanted, which) : !are_sound(wanted))
        return result_bad_value;
    limits = wanted;
    return result_done;
}

bool are_sound(const thresholds &limits)
{
    for (size_t i = 0; i < level_count; i++)
        if (!is_in_range(limits, static_cast<level>(i)))
            return false;
    return std::is_sorted(limits.tenths.begin(), limits.tenths.end(), std::greater<>());
}

standing standing_of(const thresholds &limits, double amperes)
{
    double tenths = std::round(amperes * 10); // as the current is shown
    if (tenths >= limits.at(level::high_critical))
        return standing::high_critical;
    if (tenths < limits.at(level::low_critical))
        return standing::low_critical;
    if (limits.at(level::high_warning) > 0 && tenths >= limits.at(level::high_warning))
        return standing::high_warning;
    return tenths < limits.at(level::low_warning) ? standing::low_warning : standing::normal;
}

std::string_view standing_word(standing where)
{
    switch (where) {
    case standing::normal:
        break;
    case standing::low_critical:
        return "low critical";
    case standing::low_warning:
        return "low warning";
    case standing::high_warning:
        return "high warning";
    case standing::high_critical:
        return "high critical";
    }
    return "normal";
}

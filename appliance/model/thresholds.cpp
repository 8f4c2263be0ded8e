// Ranges and order of the levels.

#include "appliance/model/thresholds.h"

#include <algorithm>
#include <cmath>

thresholds default_thresholds(double most_amperes)
{
    int most = static_cast<int>(std::lround(most_amperes * 10));
    return {.tenths = {std::max(most, lowest_alarm), most * 4 / 5, 0, 0}, .most = std::max(most, lowest_alarm)};
}

static bool is_in_range(const thresholds &limits, size_t which, double tenths)
{
    bool first = which == static_cast<size_t>(level::high_critical);
    double highest = first ? limits.most : limits.tenths[which - 1];
    return tenths >= (first ? lowest_alarm : 0) && tenths <= highest; // what is no number is in no range
}

result_code set_threshold(thresholds &limits, level which, double amperes)
{
    size_t place = static_cast<size_t>(which);
    double tenths = std::round(amperes * 10);
    if (!is_in_range(limits, place, tenths))
        return result_bad_value;
    limits.tenths[place] = static_cast<int>(tenths);
    for (size_t i = place + 1; i < level_count; i++)
        limits.tenths[i] = std::min(limits.tenths[i], limits.tenths[i - 1]);
    return result_done;
}

bool are_sound(const thresholds &limits)
{
    for (size_t i = 0; i < level_count; i++)
        if (!is_in_range(limits, i, limits.tenths[i]))
            return false;
    return true;
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

// Readings as they come, and what stays of them.

#include "appliance/model/meter.h"

#include <algorithm>
#include <iterator>

std::string_view certainty_word(certainty how)
{
    return certainty_words[static_cast<size_t>(how)];
}

bool find_certainty(std::string_view word, certainty *how)
{
    auto found = std::find(std::begin(certainty_words), std::end(certainty_words), word);
    if (found == std::end(certainty_words))
        return false;
    *how = static_cast<certainty>(found - std::begin(certainty_words));
    return true;
}

static statistic &kept_of(meter &at, quantity which)
{
    return at.kept[static_cast<size_t>(which)];
}

static const statistic &kept_of(const meter &at, quantity which)
{
    return at.kept[static_cast<size_t>(which)];
}

// Where no current flows there is no power factor, and its minimum must not be the nothing that is shown for it.
static bool is_worth_keeping(const meter &at, quantity which)
{
    return which != quantity::power_factor || at.now[quantity::current] > 0;
}

static void keep_extremes(meter &at, quantity which)
{
    if (is_worth_keeping(at, which))
        keep_extremes(kept_of(at, which), at.now[which]);
}

static constexpr quantity quantities[] = {quantity::current, quantity::voltage, quantity::power,
                                          quantity::power_factor};

void take_reading(meter &at, const reading &taken)
{
    at.now = taken;
    for (quantity which : quantities)
        keep_extremes(at, which);
}

void let_pass(meter &at, double seconds)
{
    for (quantity which : quantities) {
        if (is_worth_keeping(at, which))
            keep_average(kept_of(at, which), at.now[which], seconds);
    }
    at.joules += at.now[quantity::power] * seconds;
}

void reset_statistic(meter &at, quantity which)
{
    kept_of(at, which) = {};
    keep_extremes(at, which);
}

void reset_energy(meter &at, int64_t date)
{
    at.joules = 0;
    at.counted_since = date;
}

double least(const meter &at, quantity which)
{
    return kept_of(at, which).begun ? kept_of(at, which).least : at.now[which];
}

double greatest(const meter &at, quantity which)
{
    return kept_of(at, which).begun ? kept_of(at, which).greatest : at.now[which];
}

double average(const meter &at, quantity which)
{
    return average_of(kept_of(at, which), at.now[which]);
}

// What is kept of a value as it changes: its extremes, and its average over the time that it stood.
#pragma once

#include <algorithm>

struct statistic {
    bool begun = false; // whether there has been anything to keep
    double least = 0;
    double greatest = 0;
    double sum = 0;  // of value times seconds
    double time = 0; // s
};

inline void keep_extremes(statistic &kept, double value)
{
    kept.least = kept.begun ? std::min(kept.least, value) : value;
    kept.greatest = kept.begun ? std::max(kept.greatest, value) : value;
    kept.begun = true;
}

// The value has stood for so long.
inline void keep_average(statistic &kept, double value, double seconds)
{
    kept.sum += value * seconds;
    kept.time += seconds;
}

// The average, or `present` where no time has passed yet.
inline double average_of(const statistic &kept, double present)
{
    return kept.time > 0 ? kept.sum / kept.time : present;
}

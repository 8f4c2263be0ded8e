// When values are taken as time goes on.
#pragma once

#include <algorithm>
#include <cstdint>

// Each time the clock's milliseconds are a multiple of this, besides when something changes.
inline constexpr int64_t sample_ms = 1000;

// A long time has its samples farther apart, so that no more than this many are to be taken in one go.
inline constexpr int64_t most_samples = 600;

// Calls `treat` for each sample of that time with the seconds that have passed since the one before, and its time.
template <class Treat> void each_sample(int64_t from_ms, int64_t to_ms, Treat treat)
{
    int64_t samples_apart = (to_ms - from_ms) / (sample_ms * most_samples) + 1;
    int64_t step = samples_apart * sample_ms;
    for (int64_t at = from_ms; at < to_ms;) {
        int64_t next = std::min(to_ms, at - at % sample_ms + step);
        treat(static_cast<double>(next - at) / 1000, next);
        at = next;
    }
}

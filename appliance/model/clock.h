// The time line of the desk. Whatever happens late or step by step asks it, so that a test can move time by hand.
#pragma once

#include <cstdint>
#include <optional>

struct desk_clock {
    // Set: time stands still there until somebody moves it. Empty: the machine's monotonic clock.
    std::optional<int64_t> driven;

    // How far, in milliseconds, time has been moved ahead of the machine's.
    int64_t ahead = 0;

    // Moves time on, whichever it is.
    void advance(int64_t milliseconds);

    // Milliseconds from an arbitrary start; never goes back on its own.
    int64_t now_ms() const;

    // The local date and time, in seconds as if the place lay at the prime meridian, so that it shows the same digits
    // wherever it is shown. A driven clock starts on 2024-01-01 at midnight.
    int64_t date() const;
};

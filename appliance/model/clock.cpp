// The machine's side of the desk's time line.

#include "appliance/model/clock.h"

#include <ctime>

int64_t desk_clock::now_ms() const
{
    if (driven)
        return *driven;
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1'000'000;
}

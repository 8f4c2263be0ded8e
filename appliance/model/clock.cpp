// The machine's side of the desk's time line.

#include "appliance/model/clock.h"

#include <ctime>

static constexpr int64_t driven_start = 1'704'067'200;

void desk_clock::advance(int64_t milliseconds)
{
    (driven ? *driven : ahead) += milliseconds;
}

int64_t desk_clock::now_ms() const
{
    if (driven)
        return *driven;
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1'000'000 + ahead;
}

int64_t desk_clock::date() const
{
    if (driven)
        return driven_start + *driven / 1000;
    const auto now = static_cast<time_t>(time(nullptr) + ahead / 1000);
    tm local{};
    localtime_r(&now, &local);
    return timegm(&local);
}

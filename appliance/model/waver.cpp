// Turning points by mixing bits, and the way between them.

#include "appliance/model/waver.h"

static double scatter(uint64_t seed, uint64_t source, uint64_t turn)
{
    uint64_t mixed = seed * 0x9e3779b97f4a7c15 + source * 0xd1b54a32d192ed03 + turn * 0x8cb92ba72f3d8dd7;
    mixed = (mixed ^ (mixed >> 30)) * 0xbf58476d1ce4e5b9;
    mixed = (mixed ^ (mixed >> 27)) * 0x94d049bb133111eb;
    mixed ^= mixed >> 31;
    return static_cast<double>(mixed >> 11) * 0x1p-52 - 1;
}

double waver(uint64_t seed, uint64_t source, int64_t at_ms, int64_t period_ms)
{
    uint64_t turn = static_cast<uint64_t>(at_ms / period_ms);
    double passed = static_cast<double>(at_ms % period_ms) / static_cast<double>(period_ms);
    double from = scatter(seed, source, turn), to = scatter(seed, source, turn + 1);
    return from + (to - from) * passed;
}

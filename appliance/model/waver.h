// What looks like chance on the desk. It depends on nothing but its arguments, so that the same seed and the same time
// give the same readings whoever asked for them and how often.
#pragma once

#include <cstdint>

// A number from -1 to 1 that goes straight from one turning point to the next; these lie `period_ms` apart. Each source
// has turning points of its own.
double waver(uint64_t seed, uint64_t source, int64_t at_ms, int64_t period_ms);

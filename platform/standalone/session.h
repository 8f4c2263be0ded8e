// What the session library lets its own tests hold on to.
#pragma once

#include <cstdint>

// The clock of the time-out, in milliseconds from any start. Tests put their own in its place.
extern int64_t (*ci_clock_ms)();

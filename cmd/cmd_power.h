// The command `power`: power readings.
#pragma once

#include "cmd/reading.h"

extern const char power_usage[];

READING_COMMAND(power);

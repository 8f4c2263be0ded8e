// The command `energy`: energy counts.
#pragma once

#include "cmd/measure.h"

extern const char energy_usage[];

READING_COMMAND(energy);

// The command `voltage`: voltage readings.
#pragma once

#include "cmd/reading.h"

extern const char voltage_usage[];

READING_COMMAND(voltage);

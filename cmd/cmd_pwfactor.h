// The command `powerfactor`: power factor readings.
#pragma once

#include "cmd/reading.h"

extern const char powerfactor_usage[];

READING_COMMAND(pwfact);

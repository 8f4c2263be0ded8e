// The command `energy`: energy counts.
#pragma once

extern const char energy_usage[];

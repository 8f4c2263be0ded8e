// The command `temperature`: the temperature of units.
#pragma once

extern const char temperature_usage[];

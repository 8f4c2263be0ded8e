// The command `power`: power readings.
#pragma once

extern const char power_usage[];

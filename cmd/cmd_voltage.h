// The command `voltage`: voltage readings.
#pragma once

extern const char voltage_usage[];

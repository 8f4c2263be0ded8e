// The command `current`: current readings and their thresholds.
#pragma once

extern const char current_usage[];

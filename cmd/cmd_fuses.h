// The command `fuses`: the state of the fuses.
#pragma once

extern const char fuses_usage[];

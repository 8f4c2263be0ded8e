// The command `display`: the display of a unit.
#pragma once

extern const char display_usage[];

// The command `reboot`: the restart of a unit.
#pragma once

extern const char reboot_usage[];

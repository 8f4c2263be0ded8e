// The command `upgrade`: firmware.
#pragma once

extern const char upgrade_usage[];

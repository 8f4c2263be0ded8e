// The command `sensors`: environment monitors.
#pragma once

extern const char sensors_usage[];

// The command `coldstart`: the delay after power has come back.
#pragma once

extern const char coldstart_usage[];

// The command `buzzer`: the audible alarm.
#pragma once

extern const char buzzer_usage[];

// The command `alarm`: the alarm threshold of the current.
#pragma once

extern const char alarm_usage[];

// The commands `intervaloff`, `interval` and `outcycledelay`: the waits around the switching of outlets.
#pragma once

extern const char intervaloff_usage[];
extern const char interval_usage[];
extern const char outcycledelay_usage[];

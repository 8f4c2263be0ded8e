// The commands `on`, `off`, `cycle`, `lock`, `unlock` and `status`: outlets and their state.
#pragma once

extern const char on_usage[];
extern const char off_usage[];
extern const char cycle_usage[];
extern const char lock_usage[];
extern const char unlock_usage[];
extern const char status_usage[];

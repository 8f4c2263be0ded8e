// The commands `on`, `off`, `cycle`, `lock`, `unlock` and `status`: outlets and their state.
#pragma once

#include "shell/cli.h"

extern const char on_usage[];
extern const char off_usage[];
extern const char cycle_usage[];
extern const char lock_usage[];
extern const char unlock_usage[];
extern const char status_usage[];

// Handlers, in the order of their rows. 0: the line is dealt with; 1: declined, or failed with what `out` says.
int cmd_on(int row, char **out, command_args args);
int cmd_off(int row, char **out, command_args args);
int cmd_cycle(int row, char **out, command_args args);
int cmd_lock(int row, char **out, command_args args);
int cmd_unlock(int row, char **out, command_args args);
int cmd_status(int row, char **out, command_args args);

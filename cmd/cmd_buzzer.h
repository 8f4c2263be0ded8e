// The command `buzzer`: the audible alarm.
#pragma once

#include "shell/cli.h"

extern const char buzzer_usage[];

// Handlers, in the order of their rows; they act on all units. 0: the line is dealt with; 1: the units could not be
// listed.
int cmd_buzzer_status(int row, char **out, command_args args);
int cmd_buzzer_on(int row, char **out, command_args args);
int cmd_buzzer_off(int row, char **out, command_args args);

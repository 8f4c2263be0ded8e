// The command `temperature`: the temperature of units.
#pragma once

#include "shell/cli.h"

extern const char temperature_usage[];

// Handlers, in the order of their rows. 0: the line is dealt with; 1: declined, or failed with what `out` says.
int cmd_temp(int row, char **out, command_args args);
int cmd_temp_reset(int row, char **out, command_args args);
int cmd_temp_reset_pdu(int row, char **out, command_args args);
int cmd_temp_pdu(int row, char **out, command_args args);

// The command `name`: the user's names of outlets.
#pragma once

#include "shell/cli.h"

extern const char name_usage[];

// Handlers, in the order of their rows. 0: the line is dealt with; 1: declined, or failed with what `out` says.
int cmd_name_set(int row, char **out, command_args args);
int cmd_name_clear(int row, char **out, command_args args);

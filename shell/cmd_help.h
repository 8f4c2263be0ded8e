// The command `help`: the names of all commands.
#pragma once

#include "shell/cli.h"

// 0: listed; 1: no memory for the list.
int cmd_help(int row, char **out, command_args args);

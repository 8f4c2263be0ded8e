// The command `ver`: what a unit is, in hardware and software.
#pragma once

#include "shell/cli.h"

extern const char ver_usage[];

// Handlers, in the order of their rows. 0: the line is dealt with; 1: declined, or failed with what `out` says.
int cmd_ver(int row, char **out, command_args args);
int cmd_ver_pdu(int row, char **out, command_args args);

// The command `reboot`: the restart of a unit.
#pragma once

#include "shell/cli.h"

extern const char reboot_usage[];

// Handlers, in the order of their rows. 0: the unit restarts, nothing is said; 1: declined, or failed with what `out`
// says.
int cmd_reboot(int row, char **out, command_args args);
int cmd_reboot_pdu(int row, char **out, command_args args);

// The command `upgrade`: firmware.
#pragma once

#include "shell/cli.h"

extern const char upgrade_usage[];

// Receives the image over the console in a child process, writes the appliance's own unit from there and has the daemon
// upgrade the other ones. 0, or 1 where the child failed.
// Argument: an ID, or a list of numbers and ranges.
int cmd_upgrade(int row, char **out, command_args args);

// Has the daemon upgrade all units of the list. 0, 1 with a sentence where a unit can't be upgraded, or the result of
// the daemon's operation.
// Arguments: the list, and the name of a file, which is the daemon's matter and not looked at.
int cmd_upgrade_file(int row, char **out, command_args args);

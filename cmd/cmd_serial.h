// The command `serial`: the line of the user.
#pragma once

#include "shell/cli.h"

extern const char serial_usage[];

// Shows speed and flow control of stdin; a speed that the command can't set shows as 0. 0, or 1 without a text where
// the program runs under another name or has no stdin.
int cmd_serial(int row, char **out, command_args args);

// Sets both on the editor's input: tells so first, and changes the line 2 s later. 1 without a further text where the
// words are none that it knows or the line can't be set; the line is as it was then.
// Arguments: the speed, then "hw" or "no".
int cmd_serial_set(int row, char **out, command_args args);

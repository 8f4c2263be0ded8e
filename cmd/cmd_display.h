// The command `display`: the display of a unit.
#pragma once

#include "shell/cli.h"

extern const char display_usage[];

// Sets one unit and shows what was set. `letter` is what the display shows, I or V; with none (0) the mode is the
// orientation alone. A `cycle` below 0 is not given: the unit keeps the one that it has. 0, or 1 with the cause in the
// log, but for a negative orientation.
int display_pdu_set(int row, char **out, int port, int pdu, int orientation, char letter, int cycle);

// Handlers, in the order of their rows. 0: the line is dealt with; 1: declined, or failed with what `out` says.
int cmd_display(int row, char **out, command_args args);
int cmd_display_set4(int row, char **out, command_args args);
int cmd_display_set3(int row, char **out, command_args args);
int cmd_display_set2(int row, char **out, command_args args);
int cmd_display_set1(int row, char **out, command_args args);
int cmd_display_get(int row, char **out, command_args args);

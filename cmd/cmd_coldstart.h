// The command `coldstart`: the delay after power has come back.
#pragma once

#include "shell/cli.h"

extern const char coldstart_usage[];

// One unit; the delay is in the daemon's unit of time. 0, or 1 with the cause in the log, but for a negative delay.
int coldstart_pdu_set(int row, char **out, int port, int pdu, int delay);

// Handlers, in the order of their rows. 0: the line is dealt with; 1: declined, or failed with what `out` says.
int cmd_coldstart(int row, char **out, command_args args);
int cmd_coldstart_set(int row, char **out, command_args args);
int cmd_coldstart_get(int row, char **out, command_args args);

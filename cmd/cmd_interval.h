// The commands `intervaloff`, `interval` and `outcycledelay`: the waits around the switching of outlets.
#pragma once

#include "shell/cli.h"

extern const char intervaloff_usage[];
extern const char interval_usage[];
extern const char outcycledelay_usage[];

// Handlers, in the order of their rows. 0: the line is dealt with; 1: declined, or failed with what `out` says.
int cmd_intvoff_set(int row, char **out, command_args args);
int cmd_intvoff_get(int row, char **out, command_args args);
int cmd_intv_set(int row, char **out, command_args args);
int cmd_intv_get(int row, char **out, command_args args);
int cmd_cycledelay_get(int row, char **out, command_args args);
int cmd_cycledelay_set(int row, char **out, command_args args);

// The command `id`: the identification name of a unit.
#pragma once

#include "shell/cli.h"

extern const char id_usage[];

// Handlers, in the order of their rows. 0: the line is dealt with; 1: declined, or failed with what `out` says.
int cmd_id(int row, char **out, command_args args);
int cmd_id_pdu_set(int row, char **out, command_args args);
int cmd_id_pdu(int row, char **out, command_args args);

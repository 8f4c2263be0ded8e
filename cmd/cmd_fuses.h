// The command `fuses`: the state of the fuses.
#pragma once

#include "shell/cli.h"

extern const char fuses_usage[];

// Handlers, in the order of their rows. 0: the line is dealt with; 1: declined, or failed with what `out` says.
int cmd_fuses(int row, char **out, command_args args);
int cmd_fuses_pdu(int row, char **out, command_args args);

// The worker of one element, as all_elements calls it (type 1; another has no fuse). 0: its line stands in `out`; 1: it
// has none.
int fuses_elem_get(int port, int pdu, int type, int row, char **out, int elem, va_list *rest);

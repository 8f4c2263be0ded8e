// The command `currentprotection`: the overcurrent protection in software.
#pragma once

#include "shell/cli.h"

extern const char currentprotection_usage[];

// Handlers, in the order of their rows. 0: the line is dealt with; 1: declined, or failed with what `out` says.
int cmd_overc_get(int row, char **out, command_args args);
int cmd_overc_on(int row, char **out, command_args args);
int cmd_overc_off(int row, char **out, command_args args);

// The worker of one unit, as all_pdus calls it: the one variable argument is the text to write, and none or an empty
// one fails. 0: its line stands in `out`; 1: it has none.
int overc_pdu_set(int row, char **out, int port, int pdu, va_list *rest);

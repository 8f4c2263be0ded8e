// The command `hwocp`: the overcurrent protection in hardware.
#pragma once

#include "shell/cli.h"

extern const char hwocp_usage[];

// Handlers, in the order of their rows. 0: the line is dealt with; 1: declined, or failed with what `out` says.
int cmd_hwocp(int row, char **out, command_args args);
int cmd_hwocp_pdu_reset(int row, char **out, command_args args);
int cmd_hwocp_pdu(int row, char **out, command_args args);

// The worker of one element, as all_elements calls it (type 0 or 2; another has no such state). 0: its line stands in
// `out`; 1: it has none, and the error format stands in an `out` that was empty.
int hwocp_elem_get(int port, int pdu, int type, int row, char **out, int elem, va_list *rest);

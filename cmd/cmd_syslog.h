// The command `syslog`: event messages on the console port.
#pragma once

#include "shell/cli.h"

extern const char syslog_usage[];

// Handlers, in the order of their rows; they act on all units. 0: the line is dealt with; 1: the units could not be
// listed.
int cmd_syslog_status(int row, char **out, command_args args);
int cmd_syslog_on(int row, char **out, command_args args);
int cmd_syslog_off(int row, char **out, command_args args);

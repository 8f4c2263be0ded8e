// The commands `save`, `restore` and `factory_defaults`: the configuration in flash.
#pragma once

#include "shell/cli.h"

extern const char save_usage[];
extern const char restore_usage[];
extern const char factory_defaults_usage[];

// Handlers, in the order of their rows. 0: the line is dealt with; 1: declined, or failed with what `out` says.
int cmd_save(int row, char **out, command_args args);
int cmd_restore(int row, char **out, command_args args);
int cmd_factory(int row, char **out, command_args args);
int cmd_factory_pdu(int row, char **out, command_args args);

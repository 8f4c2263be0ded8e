// The commands `shell`, `scp` and `passwd`: access beyond this program.
#pragma once

#include "shell/cli.h"

extern const char shell_usage[];
extern const char scp_usage[];
extern const char passwd_usage[];

// The usage, as a copy. 0, or 1 where the program runs under another name.
int cmd_passwd_help(int row, char **out, command_args args);

// Asks twice for a password, echo off, and hands it to the control daemon. 0, or 1 with "Passwords do not match!!!" or,
// for every other failure, without a text.
int cmd_passwd(int row, char **out, command_args args);

// Ask the control daemon what to run and run it through the session library. 0 where it ran and reported an error, and
// where the daemon named nothing; 1 where it ran well and where it could not be run, without a text either way.
// Argument of the last two: the rest of the line, up to 255 characters, as one text.
int cmd_shell(int row, char **out, command_args args);
int cmd_shell_arg(int row, char **out, command_args args);
int cmd_scp(int row, char **out, command_args args);

// The dispatcher: finds the rows of the command table that accept a line and calls their handlers.
#pragma once

#include <cstddef>

#include "shell/cli.h"

// Runs one line and prints its answer. Cuts trailing blanks off the text in place. 0 if a handler took the line, else
// non-zero; a null or empty line gives 1 and prints nothing.
int treat_command(char *line);

// Whether the row accepts the command text (of that length, no blanks around it). Its values then stand in the argument
// buffers.
bool row_matches(const command_row &row, const char *command, size_t length);

// A view over the argument buffers.
command_args captured_args();

// Makes the argument buffers, once; 0, or 1 without memory. treat_command does it before anything else.
int cli_make_args();

// Frees the argument buffers, if they exist.
void cli_free_args();

// The handler of all usage rows: answers with a copy of the row's format.
int cmd_usage(int row, char **out, command_args args);

// The handler of `exit`: ends the process with status 0.
int cmd_exit(int row, char **out, command_args args);

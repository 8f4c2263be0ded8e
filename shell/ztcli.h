// The process from `main` to the input loop, and its end: options, the command that came with the session, signals.
#pragma once

inline constexpr int cli_args_max = 32;

// The argument vector rebuilt from the session's command. Owned texts; no null behind them when all places are used.
extern char *cli_args[cli_args_max];
extern int cli_arg_count;

// Reads options and words into cli_command_line, cli_debug and cli_interactive. 0 to go on, 1 to end the program: -h,
// -? and -V have printed what they are for; a wrong option or no memory.
int parse_options(int argc, char **argv);

// Splits the session's command text into cli_args, with `argv0` as the first entry, and replaces what stood there. 0,
// or 1 with the vector empty: more words than places, a quote that is never closed, a null argument, no memory.
int cmd2arg(const char *command, const char *argv0);

// Blocks every signal but those that the program knows and installs their handler. 0, or 1 if a handler was refused.
int cli_set_signal();

// The handler of all caught signals: writes flags and tells the session library; the rest happens in cli_treat_signals.
void signal_handler(int signo);

// Acts on the signals seen so far. Ends the process with status 1 for hang-up, interrupt, quit and terminate.
void cli_treat_signals();

// The exit handler: gives back the tree handle, the argument buffers, the terminal and the user name.
void ztcli_atexit();

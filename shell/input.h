// The line loop and the editor behind the prompt. Readline is known here, and to `serial`, which has it let go of the
// terminal.
#pragma once

#include <cstdio>

extern int cli_key_seen;    // 1 once a key other than TAB has been read; never cleared
extern int cli_idle_events; // calls of cli_event since the last service call into the session library

// Runs commands until the input ends; always 1.
int input_loop();

// The next line as new text without its line end, copied to the session library's tap; null at the end of input and
// where a signal came in between. A command given at the start is handed out first, as if it had been typed.
char *get_input_line(const char *prompt);

// One line from the editor as new text; null at the end of input and for a null prompt, which reads nothing.
char *get_line_read_in(const char *prompt);

// Sets up the editor. Needed for a command from the command line too, since the editor knows where output goes.
void cli_input_init();

// Where output to the user goes.
FILE *cli_terminal();

// The editor's hooks. cli_getc reads a key and restarts the session's time-out; cli_event is called about ten times a
// second while the prompt is idle and answers 0.
int cli_getc(FILE *stream);
int cli_event();

// The chief header: the process-wide state, the row form, the argument view and the accumulator. It includes nothing of
// ours, so that every room may include it.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstring>
#include <termios.h>

struct ci_session;       // platform: the session record
struct vrn_tsapi_handle; // platform: the way to the control tree

// --- Process-wide state. One thread, no locks; whoever is named as owner releases it. -------------------------------

extern int cli_sid;                       // session id; not 0 once `main` has opened the session
extern ci_session *cli_session;           // owned by the session library
extern vrn_tsapi_handle *cli_tsapi;       // first argument of every tree operation; destroyed at exit
extern volatile int cli_debug;            // 0 or 1: option -d, toggled by signal 12
extern char *cli_command_line;            // the one command given without the prompt; the input loop takes it over
extern int cli_interactive;               // 0 as soon as a command was given: readline is never called then
extern char *cli_username;                // released at exit
extern termios *cli_saved_termios;        // null when stdin is no terminal
extern int cli_own_name;                  // 1 when started as "ztcli"
extern volatile int cli_signal_pending;   // set by the signal handler, cleared by cli_treat_signals
extern volatile int cli_signals_seen[32]; // one flag a signal number

// --- Rows and handlers ---------------------------------------------------------------------------------------------

inline constexpr int cli_arg_count_max = 5; // argument buffers; a row's %n takes the one behind its last value
inline constexpr size_t cli_arg_buffer_size = 256;

// What a row's pattern captured, in the order of its conversions. A view: the buffers belong to the dispatcher and keep
// their content only until the next row is tried.
struct command_args {
    char *const *buffers = nullptr;

    const char *text(int i) const { return buffers[i]; }
    char letter(int i) const { return buffers[i][0]; }
    int integer(int i) const
    {
        int value;
        memcpy(&value, buffers[i], sizeof value);
        return value;
    }
    double real(int i) const
    {
        double value;
        memcpy(&value, buffers[i], sizeof value);
        return value;
    }
};

// Answers 0 when the line is dealt with; anything else declines it, unless `*out` holds text by then.
using command_handler = int (*)(int row, char **out, command_args args);

struct command_row {
    command_handler handler;  // null ends the table
    int nargs;                // values that the pattern stores, %n not counted; 0 makes the row a literal
    const char *pattern;      // a literal command, or a sscanf format
    const char *format;       // what the handler prints, or a usage text; may be null
    const char *error_format; // how the handler words its failure; may be null
};

inline constexpr int command_row_count = 191;
extern const command_row command_table[command_row_count + 1];

// The index of the first row with that handler, or -1.
int find_command_row(command_handler handler);

// --- Output --------------------------------------------------------------------------------------------------------

// Adds a formatted fragment to the accumulator (null, or what this made; drop_output releases it). 0, or 1 with the
// accumulator unchanged; an empty fragment succeeds and makes a null accumulator an empty text.
int append_output(char **out, const char *format, ...) __attribute__((format(printf, 2, 3)));

// Writes one text to the user and to the session library's tap; null is ignored.
void cli_output(const char *text);

// Shows what the accumulator holds so far and empties it (null afterwards).
void cli_output_flush(char **holder);

// Brackets a control-tree call for the timing line: 0 marks its beginning, non-zero its end. Debug mode only.
void tsapi_time_account(int stop);

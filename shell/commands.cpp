// Dispatch: holds a line against the rows of the table, in order, and calls the handlers of those that accept it until
// one has dealt with it. There is no parser but the rows' own patterns.

#include "shell/commands.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "client/types.h"
#include "core/log.h"
#include "core/ztd_shm.h"
#include "shell/output.h"

// One block for the life of the process, cut into five: earlier commands' leftovers stay behind what a row writes.
static char *cli_arg_buffers[cli_arg_count_max];

int cli_make_args()
{
    if (cli_arg_buffers[0])
        return 0;
    char *block = static_cast<char *>(calloc(cli_arg_count_max, cli_arg_buffer_size));
    if (!block)
        return log_failure("Fail to allocate the argument buffers");
    for (size_t i = 0; i < cli_arg_count_max; i++)
        cli_arg_buffers[i] = block + i * cli_arg_buffer_size;
    return 0;
}

void cli_free_args()
{
    free(cli_arg_buffers[0]);
    for (char *&buffer : cli_arg_buffers)
        buffer = nullptr;
}

command_args captured_args()
{
    return {cli_arg_buffers};
}

// Intended: only the first word of each buffer is cleared (a short argument of `shell` and `scp` ends there).
static void clear_first_words()
{
    for (char *buffer : cli_arg_buffers)
        memset(buffer, 0, sizeof(int32_t));
}

// The head of a pattern is all up to and including its first blank. Most rows fall here, before the costly sscanf.
static bool head_agrees(const char *command, const char *pattern)
{
    for (; *pattern != '\0'; command++, pattern++) {
        if (*command != *pattern)
            return false;
        if (*pattern == ' ')
            return true;
    }
    return true;
}

// The format is no literal here; table_rules.h has proved for every row that its values fit the buffers.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
static int scan(const char *command, const char *pattern)
{
    char *const *to = cli_arg_buffers;
    return sscanf(command, pattern, to[0], to[1], to[2], to[3], to[4]);
}
#pragma GCC diagnostic pop

static bool values_match(const command_row &row, const char *command, size_t length)
{
    if (scan(command, row.pattern) != row.nargs)
        return false;
    if (!strstr(row.pattern, "%n"))
        return true;
    return static_cast<size_t>(captured_args().integer(row.nargs)) == length;
}

bool row_matches(const command_row &row, const char *command, size_t length)
{
    const bool literal = row.nargs == 0;
    if (literal ? strcmp(command, row.pattern) != 0 : !head_agrees(command, row.pattern))
        return false;
    clear_first_words();
    return literal || values_match(row, command, length);
}

// Calls the handlers of the rows that accept the command until one has dealt with it: 0, else what the last one
// answered, 1 if there was none. `tried` is the number of rows that were looked at.
static int run_rows(const char *command, char **out, int *tried)
{
    const size_t length = strlen(command);
    int going = 1;
    int row = 0;
    while (going && command_table[row].handler) {
        const int current = row++;
        if (!row_matches(command_table[current], command, length))
            continue;
        if (shm_wait_ready() < 0) {
            going = 1;
            break;
        }
        going = command_table[current].handler(current, out, captured_args());
        if (*out)
            going = 0;
    }
    *tried = row;
    return going;
}

// Intended: every row that was tried is asked whether its first word is another than the line's, so that the first row
// of any other command says yes (only `alarm help`, stopped at the gate, is "not recognized").
static const char *failure_text(const char *command, int tried)
{
    const size_t word = strcspn(command, " ");
    for (int row = 0; word != 0 && row < tried; row++)
        if (strncmp(command, command_table[row].pattern, word + 1) != 0)
            return "Invalid argument. Try help for details\n";
    return "Command not recognized\n";
}

static void print_times(const char *command, double usec)
{
    char *line = nullptr;
    if (asprintf(&line, "%s: Command spent %.2f sec. (%.2f sec in TSAPI)\n\n", command, usec / 1000000.0,
                 tsapi_usec / 1000000.0) < 0)
        return;
    cli_output(line);
    free(line);
}

// Cuts blanks off both ends, in place behind.
static char *trim(char *line)
{
    char *command = line + strspn(line, " ");
    char *end = command + strlen(command);
    while (end > command && end[-1] == ' ')
        *--end = '\0';
    return command;
}

int treat_command(char *line)
{
    if (cli_make_args() || !line || !*line)
        return 1;
    log_trace("RX [%s]", line);
    const char *command = trim(line);
    log_debug("Treat Comamnd [%s]", command);
    tsapi_usec = 0;
    const bool timed = cli_debug;
    const double start = timed ? time_stamp() : 0;

    char *out = nullptr;
    int tried = 0;
    const int going = run_rows(command, &out, &tried);
    cli_output(going == 0 ? out : failure_text(command, tried));

    if (cli_debug)
        print_times(command, timed ? time_stamp() - start : 0); // debug mode may have come with a signal in between
    drop_output(&out);
    return going;
}

int cmd_usage(int row, char **out, command_args)
{
    const command_row &shown = command_table[row];
    if (!shown.format)
        return 0;
    drop_output(out);
    *out = strdup(shown.format);
    if (!*out)
        log_failure("Fail to copy the usage of %s", shown.pattern);
    return 0;
}

int cmd_exit(int, char **, command_args)
{
    exit(0);
}

// The line loop: reads lines through Readline, keeps the session alive while the prompt is idle and leaves the line
// when a signal arrives. A command given at the start passes through the same loop, once.

#include "shell/input.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <poll.h>
#include <readline/history.h>
#include <readline/readline.h>
#include <sys/auxv.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <utility>

#include "ci.h"
#include "client/types.h"
#include "core/log.h"
#include "shell/commands.h"
#include "shell/ztcli.h"

int cli_key_seen;
int cli_idle_events;

int cli_getc(FILE *stream)
{
    const int key = rl_getc(stream);
    if (key != '\t')
        cli_key_seen = 1;
    if (cli_key_seen)
        ci_reset_to(cli_session);
    return key < 0 ? EOF : key; // readline's own code for a failed read would come back to it as a key
}

// While it has an event hook, readline takes a descriptor that is readable and holds nothing for one that has nothing
// yet, and would ask again for ever at the end of a pipe or file.
static bool input_has_ended()
{
    pollfd input = {.fd = fileno(rl_instream), .events = POLLIN, .revents = 0};
    int waiting = 0;
    return poll(&input, 1, 0) > 0 && (ioctl(input.fd, FIONREAD, &waiting) != 0 || waiting == 0);
}

// Ends the editor's line with nothing on it. Not echoing, the editor leaves out the line break, so that the cursor
// stays behind the prompt, which is where the next line expects it.
static void leave_line()
{
    rl_delete_text(0, rl_end);
    rl_point = 0;
    rl_redisplay();
    rl_tty_set_echoing(0);
    rl_done = 1;
}

int cli_event()
{
    if (cli_signal_pending)
        leave_line();
    if (cli_idle_events++ > 9) {
        cli_idle_events = 0;
        ci_check_modules(cli_session);
    }
    if (input_has_ended())
        rl_stuff_char(EOF); // a line end for what stands on the line, and the end of input behind it
    return 0;
}

static void show_nothing() {}

// The linker leads the library's calls of these here (see CMakeLists.txt). The keys and the names of what they do, of
// no use without a prompt, would be a third of what a command given at the start costs. They are retained, called or
// not: without the linker's option the real ones are then missing, and the program does not come to be.
extern "C" {

int __real_rl_bind_keyseq_if_unbound(const char *keys, rl_command_func_t *function);
void __real_rl_initialize_funmap();
int __real_rl_read_init_file(const char *name);

[[gnu::used, gnu::retain]] int __wrap_rl_bind_keyseq_if_unbound(const char *keys, rl_command_func_t *function)
{
    return cli_interactive ? __real_rl_bind_keyseq_if_unbound(keys, function) : 0;
}

[[gnu::used, gnu::retain]] void __wrap_rl_initialize_funmap()
{
    if (cli_interactive)
        __real_rl_initialize_funmap();
}

[[gnu::used, gnu::retain]] int __wrap_rl_read_init_file(const char *name)
{
    return cli_interactive ? __real_rl_read_init_file(name) : 0;
}
}

// A command given at the start needs nothing of the editor but the stream that it prints to. Set up without the
// terminal's description, any key and a locale, it costs next to nothing.
static void initialize_without_prompt()
{
    static char *bare_environment[] = {nullptr};
    char **const users = std::exchange(environ, bare_environment);
    static char stdout_buffer[BUFSIZ]; // the library need not look at what it writes to; every output is flushed
    setvbuf(stdout, stdout_buffer, _IOFBF, sizeof stdout_buffer);
    rl_redisplay_function = show_nothing;
    rl_change_environment = 0;
    rl_initialize();
    environ = users;
}

static char *variable_of(const char *prefix)
{
    for (char **entry = environ; *entry; entry++)
        if (strncmp(*entry, prefix, strlen(prefix)) == 0)
            return *entry;
    return nullptr;
}

// The library copies a terminal's description into a buffer without looking at its length, and takes a width from the
// environment that it cannot count with. Nobody may overwrite memory that way in a program that can be root again: a
// set-user-ID start knows the system's terminals alone, since none of these variables leads to another, and no screen
// is larger than a terminal itself can say.
static void initialize_with_prompt()
{
    static constexpr const char *harmless[] = {
        "TERM=", "COLUMNS=", "LINES=", "INPUTRC=", "LC_CTYPE=", "LC_ALL=", "LANG="};
    static constexpr int screen_most = UINT16_MAX;
    if (getauxval(AT_SECURE)) {
        char *few[std::size(harmless) + 1] = {};
        char **next = few;
        for (const char *prefix : harmless)
            if (char *entry = variable_of(prefix))
                *next++ = entry;
        char **const users = std::exchange(environ, few);
        rl_initialize();
        environ = users;
    } else {
        rl_initialize();
    }
    int rows, columns;
    rl_get_screen_size(&rows, &columns);
    if (rows > screen_most || columns > screen_most)
        rl_set_screen_size(std::min(rows, screen_most), std::min(columns, screen_most));
}

void cli_input_init()
{
    rl_readline_name = log_tag_cli;
    rl_catch_signals = 0;
    rl_getc_function = cli_getc;
    rl_event_hook = cli_event;
    rl_inhibit_completion = 1;
    if (cli_interactive)
        initialize_with_prompt();
    else
        initialize_without_prompt();
    stifle_history(20);
    if (!cli_interactive)
        return;

    rl_variable_bind("enable-bracketed-paste", "off"); // each pasted line is a command of its own
    if (!cli_saved_termios) {
        // Without a terminal there is nothing to edit, and the display would cost the square of a line's length.
        rl_prep_term_function = nullptr;
        rl_deprep_term_function = nullptr;
    }
}

FILE *cli_terminal()
{
    return rl_outstream ? rl_outstream : stdout;
}

char *get_line_read_in(const char *prompt)
{
    log_debug("entered");
    if (!prompt)
        return nullptr;
    owned_text line(readline(prompt));
    if (line && line.get()[0] == '\0' && rl_pending_input == EOF)
        return nullptr; // only the line end that cli_event has put there
    if (line && !cli_saved_termios && !cli_signal_pending)
        fprintf(cli_terminal(), "%s\n", line.get()); // as the editor shows it on a terminal
    if (line)
        log_debug(">>>'%s''%s'", prompt, line.get());
    return line.release();
}

static void tap_input(const char *text, const char *name)
{
    if (!ci_dla(cli_session, text))
        log_debug("DLA (input) error: %s", name);
}

char *get_input_line(const char *prompt)
{
    log_debug("entered");
    owned_text line;
    if (cli_command_line) {
        line.reset(std::exchange(cli_command_line, nullptr));
        log_debug("'%s':'%s'", prompt, line.get());
    } else {
        if (cli_interactive)
            line.reset(get_line_read_in(prompt));
        if (cli_signal_pending) {
            rl_on_new_line();
            return nullptr;
        }
    }
    if (line) {
        if (prompt)
            tap_input(prompt, prompt);
        tap_input(line.get(), line.get());
        tap_input("\n", "\\n");
    }
    return line.release();
}

int input_loop()
{
    static constexpr char prompt[] = "zt>";
    cli_input_init();
    for (;;) {
        while (cli_signal_pending)
            cli_treat_signals();
        owned_text line(get_input_line(prompt));
        rl_already_prompted = 0;
        if (cli_signal_pending) {
            rl_already_prompted = 1;
            continue;
        }
        if (!line) {
            log_debug("got EOF");
            return 1;
        }
        char *command = line.get() + strspn(line.get(), " \t");
        if (*command == '\0') {
            log_debug("got \\r with-out substance");
            continue;
        }
        log_debug("'%s' read", command);
        treat_command(command);
        add_history(command);
    }
}

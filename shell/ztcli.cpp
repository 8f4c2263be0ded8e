// The process: its state, the way from main to the input loop, options, signals, and what is given back at the end.

#include "shell/ztcli.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include "ci.h"
#include "client/types.h"
#include "core/log.h"
#include "shell/admin.h"
#include "shell/commands.h"
#include "shell/input.h"
#include "vrn_auth.h"
#include "vrn_tsapi.h"

static constexpr char own_name[] = "ztcli";
static constexpr char version[] = "0.1";
static constexpr char build_stamp[] = "2011-07-22T13:17-0700";

int cli_sid;
ci_session *cli_session;
vrn_tsapi_handle *cli_tsapi;
volatile int cli_debug;
char *cli_command_line;
int cli_interactive = 1;
char *cli_username;
termios *cli_saved_termios;
int cli_own_name;
volatile int cli_signal_pending;
volatile int cli_signals_seen[32];
char *cli_args[cli_args_max];
int cli_arg_count;

static const char *shown(const char *text)
{
    return text ? text : "(null)";
}

// --- Options --------------------------------------------------------------------------------------------------------

static void print_banner()
{
    printf("%s %s (%s)\n", log_tag_cli, version, build_stamp);
    fflush(stdout); // in front of the usage, which goes to stderr
}

static void print_usage()
{
    fputs("Usage: ztcli [command]\n", stderr);
    fputs("Options:\n", stderr);
    fputs("-h\t\tHelp (this message).\n", stderr);
    fputs("-d\t\tDebug mode.\n", stderr);
    fputs("-V\t\tShow CLI version.\n", stderr);
}

// Takes the options in front of the first word; the text of the last -c goes to `command`. 0, or 1 to end the program.
static int read_options(int argc, char **argv, const char **command)
{
    while (optind < argc && argv[optind][0] == '-') {
        const int option = getopt(argc, argv, "c:Vdh?");
        switch (option) {
        case -1:
            return 0;
        case 'h':
        case '?':
            print_banner();
            print_usage();
            return 1;
        case 'V':
            print_banner();
            return 1;
        case 'c':
            *command = optarg;
            log_debug("%s", optarg);
            break;
        case 'd':
            log_debug("-d option set");
            cli_debug = 1;
            break;
        default:
            printf("Invalid option: %c.\n", option);
            return 1;
        }
    }
    return 0;
}

static void drop_command_line()
{
    free(cli_command_line);
    cli_command_line = nullptr;
}

// Adds a text to the command line, behind the separator where something stands there. 0, or 1 with no command line
// left.
static int join_command_line(const char *separator, const char *text)
{
    char *joined = nullptr;
    const bool first = !cli_command_line;
    if (asprintf(&joined, "%s%s%s", first ? "" : cli_command_line, first ? "" : separator, text) < 0) {
        drop_command_line();
        return 1;
    }
    free(cli_command_line);
    cli_command_line = joined;
    cli_interactive = 0;
    return 0;
}

int parse_options(int argc, char **argv)
{
    drop_command_line();
    const char *command = nullptr;
    if (read_options(argc, argv, &command))
        return 1;

    if (command && join_command_line("; ", command)) {
        log_debug("Fail to append option to command line: %s", command);
        return 1;
    }
    while (optind < argc)
        if (join_command_line(" ", argv[optind++]))
            return 1;

    log_debug("Command line %s", shown(cli_command_line));
    return 0;
}

// --- The session's command ------------------------------------------------------------------------------------------

static void drop_args()
{
    for (char *&argument : cli_args) {
        free(argument);
        argument = nullptr;
    }
    cli_arg_count = 0;
}

// Takes over a new text, null included.
static int store_arg(char *argument)
{
    if (!argument)
        return 1;
    log_debug("argv[%d] = %s", cli_arg_count, argument);
    cli_args[cli_arg_count++] = argument;
    return 0;
}

static bool opens_span(const char *token)
{
    if (token[0] != '"' && token[0] != '\'')
        return false;
    const size_t mark = static_cast<unsigned char>(token[0]);
    // Intended: a span that closes inside its first token goes on to the next mark (the mark's value is compared).
    const bool closed = mark + strlen(token) == mark;
    return !closed;
}

// Joins the token that opened a span with all up to the next such mark, marks included. `end` is the end of the whole
// text: strtok_r also answers what runs up to there without any mark. New text or null.
static char *quoted_span(const char *token, char **rest, const char *end)
{
    const char mark[] = {token[0], '\0'};
    const char *inside = strtok_r(nullptr, mark, rest);
    if (!inside || inside + strlen(inside) == end) {
        log_debug("No close quote %s", token);
        return nullptr;
    }
    char *span = nullptr;
    if (asprintf(&span, "%s %s%s", token, inside, mark) < 0)
        return nullptr;
    log_debug("CMD close quote %s", inside);
    return span;
}

static int split_command(char *command, const char *argv0)
{
    const char *end = command + strlen(command);
    char *rest = nullptr;
    if (store_arg(strdup(argv0)))
        return 1;
    for (char *from = command; cli_arg_count < cli_args_max; from = nullptr) {
        const char *token = strtok_r(from, " ", &rest);
        if (!token)
            return 0;
        log_debug("CMD match %s", token);
        if (store_arg(opens_span(token) ? quoted_span(token, &rest, end) : strdup(token)))
            return 1;
    }
    return strtok_r(nullptr, " ", &rest) ? 1 : 0;
}

int cmd2arg(const char *command, const char *argv0)
{
    drop_args();
    if (!command || !argv0)
        return 1;
    owned_text copy(strdup(command));
    if (copy && split_command(copy.get(), argv0) == 0)
        return 0;
    drop_args();
    return 1;
}

// --- Signals --------------------------------------------------------------------------------------------------------

int cli_set_signal()
{
    static constexpr int known[] = {SIGQUIT, SIGTERM, SIGHUP, SIGUSR1, SIGWINCH, SIGUSR2};
    static constexpr int caught[] = {SIGQUIT, SIGTERM, SIGHUP, SIGUSR1, SIGUSR2};

    sigset_t blocked;
    sigfillset(&blocked);
    for (int signo : known)
        sigdelset(&blocked, signo);
    sigprocmask(SIG_BLOCK, &blocked, nullptr);

    struct sigaction action = {};
    action.sa_handler = signal_handler;
    action.sa_flags = SA_RESTART;
    for (int signo : caught)
        if (sigaction(signo, &action, nullptr))
            return 1;

    log_debug("Signal handlers set.");
    ci_set_sighandler(cli_treat_signals);
    return 0;
}

void signal_handler(int signo)
{
    log_debug("Signal caught %d.", signo);
    if (signo < 32)
        cli_signals_seen[signo] = 1;
    ci_flag_signal(signo, 1);
    if (signo == SIGUSR2) {
        cli_debug = !cli_debug;
        cli_signals_seen[SIGUSR2] = 0;
    }
    cli_signal_pending = 1;
}

void cli_treat_signals()
{
    cli_signal_pending = 0;
    for (int signo = 0; signo < 32; signo++) {
        if (!cli_signals_seen[signo])
            continue;
        if (signo == SIGHUP || signo == SIGINT || signo == SIGQUIT || signo == SIGTERM)
            exit(1);
        cli_signals_seen[signo] = 0;
    }
    ci_signal_treat();
}

// --- Start and end --------------------------------------------------------------------------------------------------

void ztcli_atexit()
{
    log_debug("ZTCLI atexit");
    if (cli_tsapi)
        vrn_tsapi_destroy(cli_tsapi);
    cli_free_args();
    if (cli_saved_termios)
        tcsetattr(fileno(stdin), TCSAFLUSH, cli_saved_termios);
    free(cli_username);
}

// A standard stream that is closed gets the reading end of a dead pipe; the next socket would take its number
// otherwise, and answers to the user would go to the daemon. 0, or 1 where that can't be kept from happening.
static int hold_standard_streams()
{
    pollfd streams[] = {{STDIN_FILENO, 0, 0}, {STDOUT_FILENO, 0, 0}, {STDERR_FILENO, 0, 0}};
    const int found = poll(streams, std::size(streams), 0);
    if (found <= 0)
        return found < 0; // not even three descriptors are allowed
    for (const pollfd &stream : streams) {
        int ends[2];
        if (!(stream.revents & POLLNVAL))
            continue;
        if (pipe(ends))
            return 1;
        close(ends[1]);
    }
    return 0;
}

// Whoever ignores the ends of children would have them ignored here too, and no child's result would ever be known.
// Root is put aside until the login asks for it. 0, or 1 for a start that can't go on.
static int make_ready()
{
    signal(SIGCHLD, SIG_DFL);
    return hold_standard_streams() || seteuid(getuid()) ? 1 : 0;
}

static void save_terminal()
{
    static termios saved;
    if (tcgetattr(fileno(stdin), &saved) == 0)
        cli_saved_termios = &saved;
}

static bool is_own_name(const char *argv0)
{
    const char *name = argv0[0] == '-' ? argv0 + 1 : argv0;
    const char *slash = strrchr(name, '/');
    return strcmp(slash ? slash + 1 : name, own_name) == 0;
}

static int ignore_session_event(void *)
{
    return 0;
}

// From here on ztcli_atexit is sure to run. 0, or 1 with the cause logged.
static int open_session()
{
    ci_session *session = ci_init(ignore_session_event);
    if (!session && ci_errno)
        return log_failure("Fail to init CI, errno: %d", ci_errno);
    if (!session)
        return log_failure("CLI_UNABLE_LINK_TO_CI");
    if (atexit(ztcli_atexit))
        return 1;
    cli_sid = vrn_auth_session_get_sid(session);
    if (!cli_sid)
        return log_failure("Could not find the session id.");
    cli_session = session;
    return 0;
}

// The command that came with the session is read like a command line and stands in its place.
static int read_command(int argc, char **argv)
{
    if (!cli_session->command) {
        if (parse_options(argc, argv))
            return log_failure("Cannot parse arguments");
        return 0;
    }
    if (cmd2arg(cli_session->command, argv[0]))
        return log_failure("Unable to convert CI command %s", cli_session->command);
    if (parse_options(cli_arg_count, cli_args))
        return log_failure("Cannot parse environment variables");
    return 0;
}

// The tree asks for root at the login and never again. A start without privileges logs in as it is; a program that
// can't give root back does not go on.
static int log_in()
{
    [[maybe_unused]] const int raised = seteuid(0);
    const int result = vrn_tsapi_init_with_vrnaaa_session(&cli_tsapi, cli_session);
    if (result)
        log_failure("Fail to login to tsapi");
    return seteuid(getuid()) ? 1 : result;
}

int main(int argc, char **argv)
{
    if (make_ready())
        return 1;
    log_debug("ztcli main...%s", shown(argv[0]));
    save_terminal();
    cli_own_name = argc > 0 && is_own_name(argv[0]);
    if (open_session() || read_command(argc, argv))
        return 1;
    log_debug("Command line: %s", shown(cli_command_line));
    if (cli_set_signal())
        return 0;
    cli_username = vrn_auth_session_get_username(cli_session);
    if (log_in())
        return 0;
    if (!cli_own_name && cli_check_admin(cli_username))
        return 0;
    return input_loop();
}

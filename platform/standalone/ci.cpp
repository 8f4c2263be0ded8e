// The session library off the appliance: a session made of environment variables, a tap into a file, and modules that
// are programs below the root.

#include "ci.h"

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "paramtype.h"
#include "platform/root.h"
#include "platform/standalone/session.h"

static constexpr int signal_time_out = SIGUSR1; // signal 10
static constexpr char module_folder[] = "/usr/libexec/ci/";
static constexpr int status_not_run = 127; // as a shell reports a program that it could not start

int ci_errno;

static ci_session the_session;
static const char *tap_path; // null: the tap keeps nothing
static int tap = -1;         // opened by the first piece of traffic, and by each one after a failure
static int64_t time_out_ms;  // 0: none
static int64_t last_activity_ms;
static volatile sig_atomic_t time_out_flagged;

static int64_t monotonic_ms()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

int64_t (*ci_clock_ms)() = monotonic_ms;

// Null for a variable that is unset or empty.
static const char *named_file(const char *variable)
{
    const char *path = secure_getenv(variable);
    return path && *path ? path : nullptr;
}

static int64_t time_out_of(const char *text)
{
    int seconds = 0;
    return paramtype_int_toC(text, &seconds) && seconds > 0 ? int64_t{seconds} * 1000 : 0;
}

ci_session *ci_init(int (*)(void *))
{
    const char *given = secure_getenv("ZT_CI_COMMAND");
    char *command = given ? strdup(given) : nullptr;
    if (given && !command) {
        ci_errno = errno;
        return nullptr;
    }
    free(the_session.command);
    the_session.command = command;

    if (tap >= 0)
        close(tap);
    tap = -1;
    tap_path = named_file("ZT_CI_DLA");
    time_out_ms = time_out_of(secure_getenv("ZT_CI_TIMEOUT"));
    ci_reset_to(&the_session);
    return &the_session;
}

int ci_dla(ci_session *, const char *text)
{
    if (!tap_path)
        return 1;
    if (tap < 0)
        tap = open(tap_path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY, 0600);
    if (tap < 0 || !text)
        return 0;
    const size_t length = strlen(text);
    return TEMP_FAILURE_RETRY(write(tap, text, length)) == static_cast<ssize_t>(length);
}

void ci_reset_to(ci_session *)
{
    if (time_out_ms)
        last_activity_ms = ci_clock_ms();
}

// The time-out is looked at here, from the prompt's own idle call, and is no timer: the prompt makes that call whether
// or not a key was ever typed, and a timer would also cut short the waits of a command that runs, and would kill the
// program where it runs out before the handler of its signal is set.
void ci_check_modules(ci_session *)
{
    if (time_out_ms && ci_clock_ms() - last_activity_ms >= time_out_ms)
        raise(signal_time_out);
}

void ci_flag_signal(int signo, int value)
{
    if (signo == signal_time_out)
        time_out_flagged = value;
}

// Nothing in this library waits while signals pend, so there is never a moment at which it would call the function: the
// program treats them itself, between two lines.
void ci_set_sighandler(void (*)()) {}

void ci_signal_treat()
{
    if (!time_out_flagged)
        return;
    time_out_flagged = 0;
    exit(EXIT_FAILURE);
}

static bool is_one_component(const char *name)
{
    return name && *name && strcmp(name, ".") != 0 && strcmp(name, "..") != 0 && !strchr(name, '/');
}

// The module's path below the root in `buffer` (root_path_size bytes), or null where it has none.
static const char *module_path(const char *module, char *buffer)
{
    char absolute[sizeof module_folder + NAME_MAX];
    if (!is_one_component(module) || strlen(module) > NAME_MAX)
        return nullptr;
    memcpy(absolute, module_folder, sizeof module_folder - 1);
    memcpy(absolute + sizeof module_folder - 1, module, strlen(module) + 1);
    return root_path(absolute, buffer);
}

// Becomes the module. It gets the real user for good, and neither the caller's blocked signals nor what the caller
// ignores, since both would outlive the exec.
[[noreturn]] static void become_module(char *const words[])
{
    const gid_t group = getgid();
    const uid_t user = getuid();
    if (setresgid(group, group, group) || setresuid(user, user, user))
        _exit(status_not_run);

    for (int signo = 1; signo < NSIG; ++signo)
        signal(signo, SIG_DFL);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);

    execv(words[0], words);
    _exit(status_not_run);
}

int ci_exec(ci_session *, const char *module, const char *function, const char *arguments)
{
    char buffer[root_path_size];
    const char *path = module_path(module, buffer);
    if (!path || !function || !arguments)
        return -1;

    char *const words[] = {buffer, const_cast<char *>(function), const_cast<char *>(arguments), nullptr};
    const pid_t child = fork();
    if (child < 0)
        return -1;
    if (child == 0)
        become_module(words);

    int status = 0;
    if (TEMP_FAILURE_RETRY(waitpid(child, &status, 0)) != child)
        return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// shell, scp, passwd: the modules of the session library that the control daemon names for the user, and the password
// with which the appliance logs in to the other devices of its chain.

#include "cmd/cmd_ci.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <termios.h>
#include <unistd.h>

#include "ci.h"
#include "client/tree.h"
#include "client/types.h"
#include "core/log.h"
#include "core/utils.h"
#include "shell/commands.h"

const char shell_usage[] = "Usage: shell [command]\n"
                           "Execute a shell command or launch the interactive shell.\n";

const char scp_usage[] = "Usage: scp [-1246BCpqrv] [-c cipher] [-F ssh_config] [-i identity_file]\n"
                         "           [-l limit] [-o ssh_option] [-P port] [-S program]\n"
                         "           [[user@]host1:]file1 [...] [[user@]host2:]file2\n";

const char passwd_usage[] =
    "Usage: 'passwd'\n\n"
    "Sets the admin password used to login to other devices connected in the chain. This configuration changes also "
    "the password the administrator can use to login to this cli from console, but does not change the password to "
    "login in the appliance from network services like web interface, SSH and telnet.\n";

// --- The password of the chain --------------------------------------------------------------------------------------

static constexpr size_t password_max = 8;

static void release_password(char *password)
{
    explicit_bzero(password, password_max + 1); // it is to stand nowhere once it has been handed on
    free(password);
}

using owned_password = owned<char, release_password>;

// A line of stdin without its end, cut to password_max characters; null without memory.
static char *read_password()
{
    char *password = static_cast<char *>(calloc(password_max + 1, 1));
    if (!password)
        return nullptr;
    size_t length = 0;
    char byte;
    while (read(STDIN_FILENO, &byte, 1) == 1 && byte != '\n' && byte != '\r')
        if (length < password_max)
            password[length++] = byte;
    explicit_bzero(&byte, sizeof byte);
    [[maybe_unused]] const ssize_t written = write(STDOUT_FILENO, "\n", 1); // the user's line end was not echoed
    return password;
}

// Byte by byte: strcmp takes whole registers full of a password, which the dynamic linker saves on the stack when a
// library's function is called for the first time.
static bool are_equal(const char *one, const char *other)
{
    for (; *one && *one == *other; one++)
        other++;
    return *one == *other;
}

// 0 with the password that was entered twice, or 1.
static int ask_password(char **out, owned_password *password)
{
    cli_output("Password: ");
    password->reset(read_password());
    if (!*password)
        return 1;
    // Intended: never true, since longer entries are cut while they are read (both are cut, and then agree).
    if (strlen(password->get()) > password_max) {
        append_output(out, "Password too long.\n");
        return 1;
    }
    cli_output("Re-enter password: ");
    const owned_password again(read_password());
    if (!again)
        return 1;
    if (!are_equal(password->get(), again.get())) {
        append_output(out, "Passwords do not match!!!\n");
        return 1;
    }
    return 0;
}

static int set_password(int row, char **out)
{
    owned_password password;
    if (ask_password(out, &password))
        return 1;
    // Intended: both records have no tag and no position (the logging library names their origin).
    owned_text user;
    if (vrn_tsapi_get_power_global_tarnel_username(cli_tsapi, into(user))) {
        __dlog_printf(log_level_debug, nullptr, "Failed to get the username");
        return 1;
    }
    const char *args[] = {password.get(), nullptr};
    if (vrn_tsapi_admin_power_passwd(cli_tsapi, args)) {
        __dlog_printf(log_level_debug, nullptr, "Failed to set the password for the chain");
        return 1;
    }
    if (command_table[row].format)
        append_output(out, command_table[row].format, text_or_empty(user));
    return 0;
}

int cmd_passwd_help(int row, char **out, command_args args)
{
    return cli_own_name ? cmd_usage(row, out, args) : 1;
}

int cmd_passwd(int row, char **out, command_args)
{
    termios saved;
    if (!cli_own_name || tcgetattr(STDIN_FILENO, &saved))
        return 1;
    termios silent = saved;
    silent.c_lflag &= ~static_cast<tcflag_t>(ECHO | ECHONL);
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent);
    const int result = failure_tail(set_password(row, out), row, out);
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &saved);
    return result;
}

// --- Modules of the session library ---------------------------------------------------------------------------------

static constexpr const char *ci_keys[] = {"ci_module=", "ci_function=", "ci_args="};
static constexpr size_t ci_field_count = 3;

// Whether the ';' at `end` belongs to the field that begins at `start`: escaped, or behind an opened quote.
static bool is_inside(const char *start, const char *end)
{
    bool double_open = false;
    bool single_open = false;
    for (const char *at = start; at < end; at++) {
        double_open ^= *at == '"';
        single_open ^= *at == '\'';
    }
    return double_open || single_open || (end > start && end[-1] == '\\');
}

// Cuts the text at the ';' that separate. The places get the first fields that are not empty; further ones are left
// out, and a place without a field stays null.
static void cut_fields(char *text, char **places)
{
    size_t count = 0;
    const auto store = [&](char *field) {
        if (*field != '\0' && count < ci_field_count)
            places[count++] = field;
    };
    char *start = text;
    for (char *end = strchr(start, ';'); end; end = strchr(end + 1, ';')) {
        if (is_inside(start, end))
            continue;
        *end = '\0';
        store(start);
        start = end + 1;
    }
    store(start);
}

// Turns fields into their values. False unless all are there and each begins with its key.
static bool take_values(char **fields)
{
    for (size_t i = 0; i < ci_field_count; i++) {
        if (!fields[i])
            return false;
        const char *key = ci_keys[i];
        char *named = fields[i] + strspn(fields[i], " \t");
        if (strncmp(named, key, strlen(key)) != 0)
            return false;
        fields[i] = named + strlen(key);
    }
    return true;
}

// Runs what a text "ci_module=...;ci_function=...;ci_args=..." names. No text is nothing to run: 0.
static int ci_exec_cmd(const char *text)
{
    if (!text || !*text)
        return 0;
    const owned_text copy(strdup(text));
    if (!copy)
        return log_failure("Fail to copy CI string %s", text);
    char *values[ci_field_count] = {};
    cut_fields(copy.get(), values);
    if (!take_values(values))
        return 1;

    log_debug("Calling CI function: module: %s, function: %s, args: %s", values[0], values[1], values[2]);
    const int result = ci_exec(cli_session, values[0], values[1], values[2]);
    // Intended: a function that went well declines the line, one that failed takes it (the line is answered as one that
    // no row takes, or not at all).
    if (result == 0)
        return log_failure("CI module OK: %d", result);
    log_remark("CI module error: %d", result);
    return 0;
}

using ci_operation = int (*)(vrn_tsapi_handle *, char **, const char *const *);

static int run_module(int row, char **out, ci_operation info, const char *const *args)
{
    int result = 1;
    owned_text text;
    if (info(cli_tsapi, into(text), args) == 0) {
        log_debug("CI string %s", text_or_empty(text));
        result = ci_exec_cmd(text.get());
    }
    return failure_tail(result, row, out);
}

int cmd_shell(int row, char **out, command_args)
{
    return run_module(row, out, vrn_tsapi_info_appliance_shell, nullptr);
}

int cmd_shell_arg(int row, char **out, command_args args)
{
    const char *words[] = {args.text(0), nullptr};
    return run_module(row, out, vrn_tsapi_info_appliance_shell, words);
}

int cmd_scp(int row, char **out, command_args args)
{
    const char *words[] = {args.text(0), nullptr};
    return run_module(row, out, vrn_tsapi_info_appliance_scp, words);
}

// upgrade: new firmware for units. The first unit of the chain is written from here, by a program that needs root, the
// others by the control daemon. The image comes over the console in a child process while the parent keeps the session
// alive; the child and its own child, which writes, share the terminal with the parent.

#include "cmd/cmd_upgrade.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "ci.h"
#include "client/tree.h"
#include "client/types.h"
#include "core/identifiers.h"
#include "core/log.h"
#include "core/utils.h"
#include "core/walkers.h"
#include "platform/root.h"

const char upgrade_usage[] = "Usage: 'upgrade <ipdu number or ID> <FILE>'\n\n"
                             "Upgrades firmware of an IPDU. FILE is expected to be in the /tmp directory.\n";

static constexpr char image_path[] = "/tmp/ztfirmware";
static constexpr int own_unit = 1; // the one that this appliance writes itself
static constexpr char progress_line[] = "IPDU #%d: Upgrading firmware... ";
static constexpr char done[] = "Done.\n";
static constexpr char failed[] = "Failed.\n";

// The image counts as there once it is larger than this, or after so many seconds.
static constexpr off_t image_size_seen = 49151;
static constexpr int image_wait_seconds = 30;
static constexpr unsigned pause_seconds = 5;

static constexpr int list_size = 16; // units, with -1 behind the last
static constexpr size_t rendered_size = 32;

// Of system(3) and waitpid(2): ended by itself, with 0. Both failures of the former, -1 and 127, are none.
static bool ended_well(int status)
{
    return (status & 0xff7f) == 0;
}

// --- The list of units ----------------------------------------------------------------------------------------------

static bool holds_only_numbers(const char *text)
{
    for (text += strspn(text, ","); *text; text += strspn(text, ",")) {
        int number;
        if (sscanf(text, "%d", &number) != 1)
            return false;
        text += strcspn(text, ",");
    }
    return true;
}

// 0 with an ID or a list read into `list`; 1 for a text that is neither.
static int read_list(const char *text, int *list)
{
    const int pdu = pduid2pdu(text);
    if (pdu < 0)
        return !holds_only_numbers(text) || parse_int_list(text, list, list_size) || list[0] < 0;
    list[0] = pdu;
    list[1] = -1;
    return 0;
}

// The units of a list stand in front of the first number that is none.
static int count_units(const int *list)
{
    return static_cast<int>(std::find_if(list, list + list_size, [](int number) { return number <= 0; }) - list);
}

// --- Units that the daemon upgrades ---------------------------------------------------------------------------------

static int check_unit(const unit &at, char **out)
{
    if (at.port < 0) {
        append_output(out, "No such IPDU. Type help for details\n");
        return 1;
    }
    if (check_pdu_caps(at.port, at.pdu, "upgrade") == 0)
        return 0;
    log_failure("Node upgrade unavailable for %d@%d", at.pdu, at.port);
    append_output(out, "IPDU %d: Unsupported command.\n", at.pdu);
    return 1;
}

// Intended: one operation on the port of the last unit serves the list, whatever ports its units have (the daemon takes
// the list apart).
static int upgrade_by_daemon(char **out, const char *list_text)
{
    int list[list_size];
    if (read_list(list_text, list))
        return 1;
    const int count = count_units(list);
    unit at = {-1, -1};
    for (int i = 0; i < count; i++) {
        at = {pdu2port(list[i]), list[i]};
        if (check_unit(at, out))
            return 1;
    }
    if (count == 0)
        return 1; // there is no port to send it to
    for (int i = 0; i < count; i++) {
        append_output(out, progress_line, list[i]);
        cli_output_flush(out);
    }

    const char *args[] = {list_text, nullptr};
    const int result = vrn_tsapi_admin_power_port_star0_upgrade(cli_tsapi, args, at.port);
    if (result)
        log_failure("Upgrade command failed on pdu %d@%d (%d)", at.pdu, at.port, result);
    append_output(out, "%s", result ? failed : done);
    return result;
}

static int upgrade_file(int row, char **out, const char *list_text)
{
    return failure_tail(upgrade_by_daemon(out, list_text), row, out);
}

// --- The child: receives the image and writes it ---------------------------------------------------------------------

// A path as a word of a shell's command line. Only a root other than the real one may need the quotes.
static owned_text shell_word(const char *absolute)
{
    char buffer[root_path_size];
    const char *path = root_path(absolute, buffer);
    if (!path || strcmp(path, absolute) == 0)
        return owned_text(path ? strdup(path) : nullptr);

    static constexpr char quote[] = "'\\''";
    owned_text word(static_cast<char *>(malloc(strlen(path) * (sizeof quote - 1) + sizeof "''")));
    if (!word)
        return word;
    char *end = word.get();
    *end++ = '\'';
    for (; *path; path++) {
        const char letter[] = {*path, '\0'};
        end = stpcpy(end, *path == '\'' ? quote : letter);
    }
    stpcpy(end, "'");
    return word;
}

// Runs a command line with two signals let through that this program blocks and a receiver lives by: 14 times its
// waits, 2 breaks it off. What is blocked here would stay so in it.
static int run_with_signals(const char *command)
{
    sigset_t needed, held;
    sigemptyset(&needed);
    sigaddset(&needed, SIGALRM);
    sigaddset(&needed, SIGINT);
    sigprocmask(SIG_UNBLOCK, &needed, &held);
    const int status = system(command);
    sigprocmask(SIG_SETMASK, &held, nullptr);
    return status;
}

static bool receive_image()
{
    const owned_text receiver = shell_word("/usr/bin/rz");
    const owned_text console = shell_word("/dev/ttyS0");
    char *command = nullptr;
    if (!receiver || !console ||
        asprintf(&command, "%s -q -b -r <%s >%s", receiver.get(), console.get(), console.get()) < 0)
        return false;
    const owned_text line(command);
    return ended_well(run_with_signals(line.get()));
}

static bool check_image()
{
    const owned_text checker = shell_word("/sbin/checkImage");
    const owned_text image = shell_word(image_path);
    char *command = nullptr;
    if (!checker || !image || asprintf(&command, "%s %s > /dev/null 2>&1", checker.get(), image.get()) < 0)
        return false;
    const owned_text line(command);
    return ended_well(system(line.get()));
}

// Nothing of the user's may open what root writes to others or break the write off half-way: no mask for files, no
// limit, no descriptor but the terminal's, and no key or hang-up of the terminal.
static void leave_users_settings()
{
    static constexpr struct {
        decltype(RLIMIT_FSIZE) resource;
        rlim_t most;
    } own_limits[] = {{RLIMIT_FSIZE, RLIM_INFINITY}, {RLIMIT_CPU, RLIM_INFINITY}, {RLIMIT_AS, RLIM_INFINITY},
                      {RLIMIT_DATA, RLIM_INFINITY},  {RLIMIT_STACK, 8 << 20},     {RLIMIT_NOFILE, 1024}};
    for (const auto &own : own_limits) {
        const rlimit limit = {own.most, own.most};
        setrlimit(own.resource, &limit);
    }
    umask(022);
    close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC);
    sigset_t all;
    sigfillset(&all);
    sigprocmask(SIG_SETMASK, &all, nullptr);
}

// Becomes the write program, as root for good and with an environment of its own. Answers the exit status where that
// fails.
// Intended: the texts of the two refusals stand crosswise to the calls (the log is read by them).
static int become_writer()
{
    const uid_t user = getuid();
    if (const int result = seteuid(0)) {
        log_failure("Failed to setuid to root: %s. ", strerror(errno));
        return result;
    }
    if (const int result = setuid(0)) {
        log_failure("Failed to seteuid to root: %s. ", strerror(errno));
        return result;
    }
    char program[root_path_size], image[root_path_size];
    char name[] = "flashImage", option[] = "-U admin", path[] = "PATH=/bin:/sbin:/usr/bin:/usr/sbin";
    char *words[] = {name, option, image, nullptr};
    char *environment[] = {path, nullptr};
    leave_users_settings();
    const bool have_paths = root_path("/sbin/flashImage", program) && root_path(image_path, image);
    if (!have_paths || execve(program, words, environment) == -1) {
        log_failure("Failed to flash the image: %s", strerror(errno));
        return 127;
    }
    [[maybe_unused]] const int given_back = setuid(user);
    log_failure("execve returned without error!!!");
    return 128;
}

static int write_image(char **out)
{
    append_output(out, progress_line, own_unit);
    cli_output_flush(out);
    const pid_t writer = fork();
    if (writer < 0) {
        log_failure("Failed to fork before flashing the image");
        _exit(writer);
    }
    if (writer == 0)
        _exit(become_writer());

    int status = 0;
    // Intended: waits for any process of the group, 0 (this child has no other one).
    const auto waited = TEMP_FAILURE_RETRY(waitpid(0, &status, 0));
    if (waited < 0)
        log_failure("Error waiting for child process");
    const bool written = waited >= 0 && ended_well(status);
    append_output(out, "%s", written ? done : failed);
    cli_output_flush(out);
    return written ? 0 : 1;
}

static void remove_image()
{
    char buffer[root_path_size];
    const char *path = root_path(image_path, buffer);
    if (!path || unlink(path))
        log_failure("Failed to remove the firmware file.");
}

// All that the child does; its exit status.
static int receive_and_write(char **out, int *list)
{
    append_output(out, "Downloading image. Please send file in 10 seconds.\n");
    cli_output_flush(out);
    if (!receive_image())
        return 1;
    int result = 0;
    const int *end = list + count_units(list);
    if (std::find(static_cast<const int *>(list), end, own_unit) != end)
        result = check_image() ? write_image(out) : 1;
    remove_int_from_list(list, list_size, own_unit);
    if (list[0] < 0) // else the daemon still needs it for the others
        remove_image();
    return result;
}

// --- The parent: the other units, and the wait for the child ---------------------------------------------------------

// -1 for an image that is not there.
static off_t image_size()
{
    char buffer[root_path_size];
    const char *path = root_path(image_path, buffer);
    struct stat image;
    return path && stat(path, &image) == 0 ? image.st_size : -1;
}

// Intended: an image that has not come in time is no failure here (the daemon finds out).
static void upgrade_chained(int row, char **out, const int *list)
{
    for (int second = 0; second < image_wait_seconds; second++) {
        sleep(1);
        if (image_size() > image_size_seen)
            break;
    }
    sleep(pause_seconds);

    // Intended: units that do not fit the buffer are left out (the list goes to the daemon as far as it was rendered).
    char rendered[rendered_size];
    print_int_list(rendered, sizeof rendered, list, list_size);
    log_notice("Upgrading chained PDU %s", rendered);
    upgrade_file(row, out, rendered);
}

static int wait_for_child(pid_t child)
{
    int status = 0;
    pid_t waited;
    do {
        waited = waitpid(child, &status, WNOHANG);
        ci_reset_to(cli_session); // the login must outlive a transfer that takes long
        sleep(pause_seconds);
    } while (waited == 0);
    if (waited != -1 && ended_well(status)) {
        log_debug("The child returned with success.");
        return 0;
    }
    log_debug("The child returned with failure.");
    return 1;
}

static int upgrade_by_image(int row, char **out, const char *list_text)
{
    int list[list_size];
    if (read_list(list_text, list))
        return 1;
    const pid_t child = fork();
    if (child < 0)
        return log_failure("Failed to fork before transfer of firmware");
    if (child == 0)
        _exit(receive_and_write(out, list));

    remove_int_from_list(list, list_size, own_unit);
    if (list[0] > 0)
        upgrade_chained(row, out, list);
    else
        log_notice("There is no chained PDU to upgrade");
    return wait_for_child(child);
}

int cmd_upgrade(int row, char **out, command_args args)
{
    log_notice("Received upgrade command for PDUs %s", args.text(0));
    return failure_tail(upgrade_by_image(row, out, args.text(0)), row, out);
}

int cmd_upgrade_file(int row, char **out, command_args args)
{
    return upgrade_file(row, out, args.text(0));
}

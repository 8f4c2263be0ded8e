// ztd_ng, the power monitor daemon: polls the control tree and publishes what it found as the status segment. Runs in
// the foreground until a signal ends it; a control daemon that is late or restarts is waited for, with the last values
// standing.

#include <cerrno>
#include <charconv>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <getopt.h>
#include <memory>
#include <optional>
#include <stdexcept>
#include <sys/file.h>
#include <sys/stat.h>
#include <syslog.h>
#include <system_error>
#include <thread>
#include <unistd.h>

#include "appliance/ztd_ng/poll.h"
#include "appliance/ztd_ng/segment.h"
#include "ci.h"
#include "platform/root.h"
#include "vrn_tsapi.h"

using namespace std::chrono_literals;

static const char usage_text[] =
    "Usage: ztd_ng [options]\n"
    "Polls the control tree of run/morvd.sock below ZT_ROOT and publishes the status segment.\n"
    "\n"
    "  --poll MS      from the beginning of one poll to that of the next, in milliseconds (1000)\n"
    "  --ready-fd N   write \"ready\" to descriptor N and close it once the first publication stands\n"
    "  --help         show this text\n"
    "  --version      show the version\n"
    "\n"
    "Stays in the foreground until signal 1, 2 or 15.\n";

static constexpr int status_failure = 1;
static constexpr int status_usage = 2;
static constexpr std::chrono::milliseconds login_pause =
    100ms; // between two tries to reach morvd before the first publication

struct settings {
    std::chrono::milliseconds poll = 1000ms;
    int ready_fd = -1;
};

// --- Options --------------------------------------------------------------------------------------------------------

[[noreturn]] static void refuse_usage(const std::string &words)
{
    fprintf(stderr, "ztd_ng: %s; try 'ztd_ng --help'\n", words.c_str());
    exit(status_usage);
}

static int number_at_least(int lowest, const char *text)
{
    int number = 0;
    const char *end = text + strlen(text);
    auto [stop, error] = std::from_chars(text, end, number);
    if (error != std::errc() || stop != end || number < lowest)
        refuse_usage(std::string("bad number '") + text + "'");
    return number;
}

static settings read_options(int argc, char **argv)
{
    static constexpr option known[] = {
        {"help", no_argument, nullptr, 'h'},
        {"version", no_argument, nullptr, 'V'},
        {"poll", required_argument, nullptr, 'p'},
        {"ready-fd", required_argument, nullptr, 'r'},
        {nullptr, 0, nullptr, 0},
    };
    settings chosen;
    opterr = 0;
    for (int letter; (letter = getopt_long(argc, argv, "+:h", known, nullptr)) != -1;) {
        const char *word = argv[optind - 1];
        if (letter == 'h')
            exit(fputs(usage_text, stdout) < 0);
        if (letter == 'V')
            exit(puts("ztd_ng " ZT_VERSION) < 0);
        if (letter == ':')
            refuse_usage(std::string("option '") + word + "' needs a value");
        if (letter == '?')
            refuse_usage(std::string("unknown option '") + word + "'");
        if (letter == 'p')
            chosen.poll = std::chrono::milliseconds(number_at_least(1, optarg));
        else
            chosen.ready_fd = number_at_least(0, optarg);
    }
    if (optind < argc)
        refuse_usage(std::string("unexpected argument '") + argv[optind] + "'");
    return chosen;
}

// --- The place ------------------------------------------------------------------------------------------------------

[[noreturn]] static void fail(const std::string &what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

// `path` below the root, in a folder that is made where it is missing.
static std::string path_in(const char *folder, const char *path)
{
    char buffer[root_path_size];
    const char *below = root_path(folder, buffer);
    if (below == nullptr || (mkdir(below, 0755) < 0 && errno != EEXIST))
        fail("cannot make folder '" + std::string(folder) + "'");
    below = root_path(path, buffer);
    if (below == nullptr)
        fail("cannot name '" + std::string(path) + "'");
    return below;
}

// One ztd_ng a root. Whoever holds the lock removes its file, so what was locked may be a file that is there no more.
static void take_lock(const std::string &path)
{
    for (struct stat held, found;;) {
        const int lock = open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
        if (lock < 0)
            fail("cannot open '" + path + "'");
        if (flock(lock, LOCK_EX | LOCK_NB) < 0) {
            if (errno != EWOULDBLOCK)
                fail("cannot lock '" + path + "'");
            throw std::runtime_error("another ztd_ng runs here: '" + path + "' is locked");
        }
        if (fstat(lock, &held) == 0 && stat(path.c_str(), &found) == 0 && held.st_dev == found.st_dev &&
            held.st_ino == found.st_ino)
            return; // for the life of the process
        close(lock);
    }
}

// The daemon is nobody's login: what a login is started with would time it out, and the trace of its thousand exchanges
// a second would bury the log. It is a session of its own, since the machine's may be unknown here: to a process that a
// container was given from outside the kernel answers 0, and with that nobody is let in.
static void leave_login()
{
    for (const char *name : {"ZT_CI_COMMAND", "ZT_CI_TIMEOUT", "ZT_CI_DLA", "ZT_DLOG"})
        unsetenv(name);
    setenv("ZT_CI_USER", "ztd_ng", 1);
    setenv("ZT_CI_SID", std::to_string(getpid()).c_str(), 1);
    setlogmask(LOG_UPTO(LOG_ERR));
}

// --- The control tree -----------------------------------------------------------------------------------------------

struct handle_release {
    void operator()(vrn_tsapi_handle *handle) const { vrn_tsapi_destroy(handle); }
};

// The way to the tree, made anew after each break.
class tree_session {
public:
    // The session record belongs to the library, for the life of the process.
    tree_session() : session_(ci_init(nullptr))
    {
        if (session_ == nullptr)
            throw std::runtime_error("cannot open a session: error " + std::to_string(ci_errno));
    }

    // Nothing while morvd is not to be had or broke off; says so once.
    std::optional<chain_status> poll()
    {
        chain_status chain;
        const bool whole = log_in() && poll_chain(handle_.get(), chain);
        if (whole != reached_)
            fprintf(stderr, "ztd_ng: morvd %s\n", whole ? "answers" : "does not answer, the last values stand");
        reached_ = whole;
        if (whole)
            return chain;
        handle_.reset();
        return std::nullopt;
    }

private:
    bool log_in()
    {
        if (handle_)
            return true;
        vrn_tsapi_handle *handle = nullptr;
        if (vrn_tsapi_init_with_vrnaaa_session(&handle, session_) == 0)
            handle_.reset(handle);
        return handle_ != nullptr;
    }

    ci_session *session_;
    std::unique_ptr<vrn_tsapi_handle, handle_release> handle_;
    bool reached_ = true;
};

// --- The end --------------------------------------------------------------------------------------------------------

// What there is to take down.
struct belongings {
    std::string lock;
    key_file key;
    status_publisher publisher;

    belongings(const std::string &lock_path, const std::string &key_path)
        : lock(lock_path), key(key_path), publisher(key.key())
    {
    }
    ~belongings() { unlink(lock.c_str()); }
};
static belongings *ours;

// An exchange with a daemon that hangs can last half a minute, so the end can't wait for the loop: it comes in the
// handler, which runs only where the image and the segment are at rest, and calls nothing but what a handler may.
static void end_by_signal(int)
{
    if (status_segment *segment = ours->publisher.segment())
        segment->remove();
    if (ours->key.made())
        unlink(ours->key.path());
    unlink(ours->lock.c_str());
    _exit(0);
}

static sigset_t ending_signals()
{
    sigset_t signals;
    sigemptyset(&signals);
    for (int signo : {SIGHUP, SIGINT, SIGTERM})
        sigaddset(&signals, signo);
    return signals;
}

static void let_signals(bool in)
{
    const sigset_t signals = ending_signals();
    sigprocmask(in ? SIG_UNBLOCK : SIG_BLOCK, &signals, nullptr);
}

static void set_up_signals()
{
    struct sigaction action = {};
    action.sa_handler = end_by_signal;
    action.sa_mask = ending_signals();
    for (int signo : {SIGHUP, SIGINT, SIGTERM})
        sigaction(signo, &action, nullptr);
    signal(SIGPIPE, SIG_IGN);
}

// --- The loop -------------------------------------------------------------------------------------------------------

static void say_ready(int &fd)
{
    if (fd < 0)
        return;
    if (write(fd, "ready\n", 6) < 0)
        perror("ztd_ng: cannot write to the ready descriptor");
    close(fd);
    fd = -1;
}

[[noreturn]] static void run(settings chosen, status_publisher &publisher)
{
    tree_session tree;
    auto next = std::chrono::steady_clock::now();
    for (;;) {
        let_signals(true);
        const std::optional<chain_status> chain = tree.poll();
        let_signals(false);
        if (chain) {
            publisher.publish(*chain);
            say_ready(chosen.ready_fd);
        }
        // A poll that outlasts its period must not become a busy loop.
        const std::chrono::milliseconds period = publisher.segment() ? chosen.poll : std::min(chosen.poll, login_pause);
        next = std::max(next + period, std::chrono::steady_clock::now() + period / 2);
        let_signals(true);
        std::this_thread::sleep_until(next);
        let_signals(false);
    }
}

int main(int argc, char **argv)
try {
    const settings chosen = read_options(argc, argv);
    leave_login();
    let_signals(false);
    const std::string lock = path_in("/run", "/run/ztd_ng.lock");
    take_lock(lock);
    belongings held(lock, path_in("/bin", shm_key_file));
    ours = &held;
    set_up_signals();
    run(chosen, held.publisher);
} catch (const std::exception &failure) {
    fprintf(stderr, "ztd_ng: %s\n", failure.what());
    return status_failure;
}

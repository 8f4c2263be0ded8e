// morvd: the control daemon of the simulated appliance. It serves the control tree of a chain that a file describes.

#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <getopt.h>
#include <string>
#include <sys/signalfd.h>
#include <unistd.h>

#include "appliance/model/flash.h"
#include "appliance/model/simulation.h"
#include "appliance/morvd/chain_file.h"
#include "appliance/morvd/endpoint.h"
#include "appliance/morvd/server.h"
#include "platform/root.h"

static constexpr int usage_error = 2;

static constexpr char usage_text[] =
    "Usage: morvd [options] CHAIN.toml\n"
    "Serves the control tree of the simulated chain that CHAIN.toml describes, on run/morvd.sock below ZT_ROOT.\n"
    "\n"
    "  --ready-fd N     write \"ready\" to descriptor N and close it once the socket takes clients\n"
    "  --state DIR      where units keep what they save (run below ZT_ROOT)\n"
    "  --image FILE     the firmware image that an upgrade received (tmp/ztfirmware below ZT_ROOT)\n"
    "  --driven-clock   time stands still but for 'desk clock advance SECONDS'\n"
    "  --help           show this text\n"
    "  --version        show the version\n"
    "\n"
    "Stays in the foreground until signal 1, 2 or 15.\n";

struct options {
    int ready_fd = -1;
    bool driven_clock = false;
    const char *state = nullptr;
    const char *image = nullptr;
    const char *chain = nullptr;
};

static int complain(const std::string &words)
{
    fprintf(stderr, "morvd: %s\n", words.c_str());
    return 1;
}

static int refuse_usage(const std::string &words)
{
    complain(words + "; try 'morvd --help'");
    return usage_error;
}

static bool read_descriptor(const char *text, int *descriptor)
{
    auto [end, error] = std::from_chars(text, text + strlen(text), *descriptor);
    return error == std::errc() && *end == '\0' && *descriptor >= 0;
}

// -1: go on with what stands in `read`; else the status to end with.
static int read_options(int argc, char **argv, options *read)
{
    static constexpr option known[] = {
        {"help", no_argument, nullptr, 'h'},
        {"version", no_argument, nullptr, 'V'},
        {"ready-fd", required_argument, nullptr, 'r'},
        {"state", required_argument, nullptr, 's'},
        {"image", required_argument, nullptr, 'i'},
        {"driven-clock", no_argument, nullptr, 'c'},
        {nullptr, 0, nullptr, 0},
    };
    opterr = 0;
    for (int letter; (letter = getopt_long(argc, argv, "+:h", known, nullptr)) != -1;) {
        const char *word = argv[optind - 1];
        if (letter == 'h')
            return fputs(usage_text, stdout) < 0;
        if (letter == 'V')
            return puts("morvd " ZT_VERSION) < 0;
        if (letter == ':')
            return refuse_usage(std::string("option '") + word + "' needs a value");
        if (letter == '?')
            return refuse_usage(std::string("unknown option '") + word + "'");
        if (letter == 'c')
            read->driven_clock = true;
        else if (letter == 's')
            read->state = optarg;
        else if (letter == 'i')
            read->image = optarg;
        else if (!read_descriptor(optarg, &read->ready_fd))
            return refuse_usage(std::string("'") + optarg + "' is no descriptor");
    }
    if (optind + 1 != argc)
        return refuse_usage(optind == argc ? "no chain file given" : "more than one chain file given");
    read->chain = argv[optind];
    return -1;
}

// The signals that end the daemon arrive as something to read. A client that hangs up must not end it.
static int open_signals()
{
    sigset_t ending;
    sigemptyset(&ending);
    for (int number : {SIGHUP, SIGINT, SIGTERM})
        sigaddset(&ending, number);
    signal(SIGPIPE, SIG_IGN);
    sigprocmask(SIG_BLOCK, &ending, nullptr);
    return signalfd(-1, &ending, SFD_CLOEXEC | SFD_NONBLOCK);
}

static bool tell_ready(int descriptor)
{
    if (descriptor < 0)
        return true;
    static constexpr std::string_view word = "ready\n";
    bool told = write(descriptor, word.data(), word.size()) == static_cast<ssize_t>(word.size());
    return close(descriptor) == 0 && told;
}

static int serve(const endpoint &place, const std::string &folder, chain_file &&file, const options &given, int signals)
{
    std::string fault;
    flash_store flash;
    if (!flash.open((given.state ? given.state : folder) + "/morvd.flash", &fault))
        return complain(fault);
    simulation desk = {.units = std::move(file.units), .flash = &flash};
    start_units(desk.units, flash);
    char buffer[root_path_size];
    if (const char *path = given.image ? given.image : root_path("/tmp/ztfirmware", buffer))
        desk.image_file = path;
    if (const char *path = root_path("/var/lib/ztfirmware", buffer))
        desk.own_image_file = path;
    start_own_unit(desk);
    if (given.driven_clock)
        desk.clock.driven = 0;
    service service = {simulated_device(desk), &desk, {}, geteuid(), std::move(file.faults)};
    if (!load_token_key(folder + "/morvd.key", &service.key, &fault))
        return complain(fault);
    server server(place.listener, service, desk.clock);
    if (!tell_ready(given.ready_fd))
        return complain("cannot write to descriptor " + std::to_string(given.ready_fd) + ": " + strerror(errno));
    while (!server.turn(-1, signals)) {
    }
    return 0;
}

int main(int argc, char **argv)
{
    options given;
    if (int status = read_options(argc, argv, &given); status >= 0)
        return status;

    char buffer[root_path_size];
    const char *run = root_path("/run", buffer);
    if (!run)
        return complain("cannot serve '/run/morvd.sock': path too long");
    std::string folder = run, fault;
    chain_file file;
    endpoint place;
    int signals = open_signals(); // before there is anything to leave behind
    if (signals < 0)
        return complain(std::string("cannot wait for signals: ") + strerror(errno));
    if (!load_chain_file(given.chain, &file, &fault) || !open_endpoint(folder, &place, &fault))
        return complain(fault);
    int status = serve(place, folder, std::move(file), given, signals);
    close_endpoint(place);
    return status;
}

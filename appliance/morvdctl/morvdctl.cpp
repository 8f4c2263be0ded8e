// morvdctl: what a person does at the simulated desk that no operator could: loads, probes, fuses, links, the clock.

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <getopt.h>
#include <string>

#include "appliance/morvdctl/commands.h"
#include "appliance/morvdctl/connection.h"
#include "platform/root.h"

static constexpr int failure = 1;
static constexpr int usage_error = 2;

static constexpr char usage_head[] =
    "Usage: morvdctl [-s SOCKET] WORD ...\n"
    "Does at the simulated desk what no operator could. The desk is the one whose daemon listens on SOCKET, or on\n"
    "run/morvd.sock below ZT_ROOT.\n"
    "\n";

static constexpr char usage_foot[] =
    "\n"
    "  UNIT is its number along the chain, PORT.PDU or its ID; a part of it goes by number, system name or name.\n"
    "  LOAD is in watts, as 310, or in amperes, as 2.5A. TIME is in seconds, or as 5m, 1.5h.\n"
    "\n"
    "  -s SOCKET, --socket SOCKET   another daemon's socket\n"
    "  -h, --help                   show this text, as 'morvdctl help' does; 'help WORD' shows one word's forms\n"
    "  -V, --version                show the version\n";

static int complain(const std::string &words, int status)
{
    fprintf(stderr, "morvdctl: %s\n", words.c_str());
    return status;
}

// --- Help -----------------------------------------------------------------------------------------------------------

// The forms of all words, or of one; how many there are.
static int print_forms(std::string_view word)
{
    int count = 0;
    for (const command_row &row : all_commands()) {
        if (!word.empty() && row.words.substr(0, row.words.find(' ')) != word)
            continue;
        printf("  %-50s %.*s\n", command_form(row).c_str(), static_cast<int>(row.does.size()), row.does.data());
        count++;
    }
    return count;
}

static int print_help(std::span<const std::string> words)
{
    if (words.size() > 1)
        return complain("too many words: help [WORD]", usage_error);
    if (words.size() == 1) {
        if (print_forms(words[0]) > 0)
            return 0;
        size_t taken = 0;
        std::string fault;
        find_command(words, &taken, &fault);
        return complain(fault, usage_error);
    }
    fputs(usage_head, stdout);
    print_forms("");
    return fputs(usage_foot, stdout) < 0 ? failure : 0;
}

// --- One command ----------------------------------------------------------------------------------------------------

static std::string default_socket()
{
    char buffer[root_path_size];
    const char *path = root_path("/run/morvd.sock", buffer);
    return path ? path : "/run/morvd.sock";
}

static int show(const command_row &row, const desk_state &state, const desk_part *part, const desk_answer &answer)
{
    if (row.words == "show")
        fputs(state_text(state, part).c_str(), stdout);
    else
        for (const std::string &item : answer.items)
            puts(item.c_str());
    return fflush(stdout) == 0 ? 0 : complain(std::string("cannot write: ") + strerror(errno), failure);
}

static int run(const std::string &socket, std::span<const std::string> words)
{
    size_t taken = 0;
    std::string fault;
    const command_row *row = find_command(words, &taken, &fault);
    if (!row)
        return complain(fault + "; try 'morvdctl help'", usage_error);

    desk_connection desk;
    desk_answer answer;
    desk_state state;
    std::vector<std::string> request;
    const desk_part *part = nullptr;
    if (!desk.open(socket, &fault) || !desk.ask({"desk", "show"}, &answer, &fault))
        return complain(fault, failure);
    if (answer.code || !read_state(answer.items, &state))
        return complain("the daemon at '" + socket + "' does not show what stands on the desk", failure);
    if (!make_request(*row, words.subspan(taken), state, &request, &part, &fault) ||
        !desk.ask(request, &answer, &fault))
        return complain(fault, failure);
    if (answer.code)
        return complain(refusal_text(*row, part, answer.code, answer.words), failure);
    return show(*row, state, part, answer);
}

int main(int argc, char **argv)
{
    static constexpr option known[] = {
        {"help", no_argument, nullptr, 'h'},
        {"socket", required_argument, nullptr, 's'},
        {"version", no_argument, nullptr, 'V'},
        {nullptr, 0, nullptr, 0},
    };
    std::string socket;
    opterr = 0;
    for (int letter; (letter = getopt_long(argc, argv, "+:hs:V", known, nullptr)) != -1;) {
        const std::string word = argv[optind - 1];
        if (letter == 'h')
            return print_help({});
        if (letter == 'V')
            return puts("morvdctl " ZT_VERSION) < 0;
        if (letter == ':')
            return complain("option '" + word + "' needs a value; try 'morvdctl help'", usage_error);
        if (letter == '?')
            return complain("unknown option '" + word + "'; try 'morvdctl help'", usage_error);
        socket = optarg;
    }
    const std::vector<std::string> words(argv + optind, argv + argc);
    if (!words.empty() && words[0] == "help")
        return print_help(std::span(words).subspan(1));
    return run(socket.empty() ? default_socket() : socket, words);
}

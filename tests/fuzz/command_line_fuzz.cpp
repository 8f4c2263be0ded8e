// The command line, a session of a few lines. A line that begins with one of these is no command, but what the world
// does next:
//     =PATH VALUE   the tree answers VALUE for PATH
//     !N            the N-th exchange of the next command is refused; ~N: has no answer; ^N: the N-th allocation fails
//     +             debug mode

#include <algorithm>
#include <charconv>

#include "tests/fakes/terminal.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/fuzz_chain.h"

static constexpr size_t most_lines = 24;
static constexpr size_t longest_line = 600;

static bool no_memory; // the next command meets a failing allocation

static int number_of(const std::string &text)
{
    int number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return std::clamp(number, 1, 1000);
}

static bool changes_world(const std::string &line)
{
    const std::string rest = line.substr(std::min<size_t>(1, line.size()));
    switch (line.empty() ? '\0' : line[0]) {
    case '=':
        if (const size_t blank = rest.find(' '); blank != rest.npos)
            tree.text(rest.substr(0, blank), rest.substr(blank + 1));
        world_changed();
        return true;
    case '!':
        tree.fail_exchange(number_of(rest), refused);
        return true;
    case '~':
        tree.fail_exchange(number_of(rest), dropped);
        return true;
    case '^':
        no_memory = true;
        heap.fail_at(number_of(rest));
        return true;
    case '+':
        cli_debug = 1;
        return true;
    default:
        return false;
    }
}

// The one command that does not come back.
static bool ends_session(std::string_view line)
{
    const size_t first = line.find_first_not_of(' ');
    return first != line.npos && line.substr(first, line.find_last_not_of(' ') + 1 - first) == "exit";
}

// The fakes themselves watch the heap and the positions in the log.
static void run(const std::string &line)
{
    const std::string said = answer(line);
    must(no_memory || said.empty() || said.ends_with('\n'), "what is printed ends its line", said);
    std::string tapped;
    for (const std::string &text : session.tap)
        tapped += text;
    must(said == tapped, "the tap has what was printed", said + "\n--- tap:\n" + tapped);
    must(line.empty() || last_result() == 0 || cli_debug || no_memory || said.ends_with(failure_text) ||
             (line.find_first_not_of(' ') == line.npos && said == "Command not recognized\n"),
         "a line that no row takes is answered with the failure text", said);
    must(failures().size() <= log_records().size(), "failures are in the log"); // and each has its position

    note_changes();
    no_memory = false;
    heap.fail_at(0);
    tree.fail_exchange(0, refused);
    terminal.take_over("secret\nsecret\n");
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fresh_world();
    std::vector<std::string> lines = cut_at(input_text(data, size), '\n');
    lines.resize(std::min(lines.size(), most_lines));
    for (const std::string &line : lines) {
        const std::string typed = c_text(line).substr(0, longest_line);
        if (!changes_world(typed) && !ends_session(typed))
            run(typed);
    }
    check_settled();
    return 0;
}

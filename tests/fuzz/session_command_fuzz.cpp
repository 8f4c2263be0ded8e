// The command text of a session: made into words, and these read as options.

#include <algorithm>
#include <cstring>

#include "shell/ztcli.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/fuzz_chain.h"

// What no conversion adds or takes away: all but blanks and quote marks.
static std::string substance(std::string text)
{
    std::erase_if(text, [](char c) { return c == ' ' || c == '"' || c == '\''; });
    return text;
}

static void check_word(const std::string &word)
{
    must(!word.empty(), "no word is empty");
    const bool quoted = word[0] == '"' || word[0] == '\'';
    must(quoted || word.find(' ') == word.npos, "only a quoted word holds blanks", word);
    must(!quoted || (word.size() > 2 && word.back() == word[0]), "a quote that opens a word closes it", word);
}

static void check_words(const std::string &text)
{
    must(cli_arg_count >= 1 && cli_arg_count <= cli_args_max, "there are words, and places for them");
    must(strcmp(cli_args[0], "ztcli") == 0, "the first is the program's name");
    std::string all;
    for (int at = 1; at < cli_arg_count; at++) {
        check_word(cli_args[at]);
        all += cli_args[at];
    }
    must(substance(all) == substance(text), "the words hold what the text held, in its order", all);
}

// Options print; what they print is not looked at.
static int parse_silently()
{
    static FILE *const nowhere = fopen("/dev/null", "w");
    FILE *const out = std::exchange(stdout, nowhere);
    FILE *const error = std::exchange(stderr, nowhere);
    restart_getopt();
    char *words[cli_args_max + 1] = {};
    std::copy_n(cli_args, cli_arg_count, words);
    const int result = parse_options(cli_arg_count, words);
    stdout = out;
    stderr = error;
    return result;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fresh_world();
    forget();
    cli_interactive = 1;
    const std::string text = c_text(input_text(data, size));
    const int result = cmd2arg(text.c_str(), "ztcli");
    must(result == 0 || cli_arg_count == 0, "a conversion that fails leaves no words");
    if (result == 0) {
        check_words(text);
        const bool goes_on = parse_silently() == 0;
        must(!goes_on || (cli_command_line == nullptr) == (cli_interactive == 1),
             "with a command there is no prompt, and without one there is");
    }
    const int count = cli_arg_count;
    must(std::all_of(cli_args + count, cli_args + cli_args_max, [](char *word) { return !word; }),
         "places without a word are null");
    must(cmd2arg(nullptr, "ztcli") == 1 && cli_arg_count == 0, "no text leaves no words"); // and gives them back
    free(cli_command_line);
    cli_command_line = nullptr;
    return 0;
}

// What the daemon lets a user run through the session library.

#include <string>

#include "cmd/cmd_ci.h"
#include "shell/commands.h"
#include "tests/fakes/fakes.h"

namespace {

constexpr char good[] = "ci_module=sh;ci_function=run;ci_args=-l";

struct modules : testing::Test {
    modules()
    {
        cli_free_args(); // with what other tests left behind a short argument
        cli_make_args();
        tree.text("appliance.shell", good).text("appliance.scp", good);
        session.exec_result = 3; // a function that went well declines the line, so that its answer is the failure text
    }
};

// What was handed to the session library: "MODULE FUNCTION ARGUMENTS"; nothing where it was not called.
texts run()
{
    texts all;
    for (const std::string &event : events())
        if (event.starts_with("exec "))
            all.push_back(event.substr(5));
    return all;
}

texts runs_of(const std::string &ci_string)
{
    tree.text("appliance.shell", ci_string);
    const std::string said = answer("shell");
    const texts all = run();
    EXPECT_EQ(said, all.empty() && !ci_string.empty() ? failure_text : "") << ci_string;
    return all;
}

// --- The exchange ---------------------------------------------------------------------------------------------------

TEST_F(modules, shell_alone_asks_for_the_interactive_shell_without_arguments)
{
    EXPECT_EQ(answer("shell"), "");
    EXPECT_EXCHANGES({"info appliance.shell"});
    EXPECT_EQ(run(), (texts{"sh run -l"}));
}

TEST_F(modules, rest_of_the_line_is_one_argument)
{
    answer("shell ls -l /tmp");
    EXPECT_EXCHANGES({"info appliance.shell ls -l /tmp"});
    answer("scp -p  a:b   c");
    EXPECT_EXCHANGES({"info appliance.scp -p  a:b   c"});
}

TEST_F(modules, scp_alone_shows_its_usage)
{
    EXPECT_TRUE(answer("scp").starts_with("Usage: scp "));
    EXPECT_EXCHANGES({});
}

TEST_F(modules, argument_is_limited_to_255_characters)
{
    const std::string longest(255, 'a');
    for (const std::string word : {"shell", "scp"}) {
        EXPECT_EQ(answer(word + " " + longest), "");
        EXPECT_EQ(exchanges(), (texts{"info appliance." + word + " " + longest}));
        EXPECT_EQ(answer(word + " " + longest + "a"), failure_text);
        EXPECT_EXCHANGES({});
    }
}

// Intended: only the first word of the buffer is cleared.
TEST_F(modules, argument_of_four_characters_drags_along_what_a_longer_one_left)
{
    answer("shell abcdefghij");
    answer("scp wxyz");
    EXPECT_EXCHANGES({"info appliance.scp wxyzefghij"});
    answer("shell abc");
    EXPECT_EXCHANGES({"info appliance.shell abc"});
}

TEST_F(modules, refused_or_dropped_question_has_no_text_of_its_own)
{
    for (const char *line : {"shell", "shell ls", "scp a b"}) {
        for (how way : {refused, dropped}) {
            tree.fail_exchange(1, way);
            EXPECT_EQ(answer(line), failure_text);
            EXPECT_EQ(run(), texts{});
        }
    }
    tree.fail_exchange(1, refused);
    EXPECT_EQ(call(cmd_shell).text, std::nullopt);
}

TEST_F(modules, answer_without_text_ends_in_silence)
{
    tree.absent("appliance.shell");
    EXPECT_EQ(answer("shell"), "");
    EXPECT_EQ(last_result(), 0);
    EXPECT_EQ(runs_of(""), texts{});
    EXPECT_EQ(last_result(), 0);
}

// Intended: a function that went well declines the line, one that failed takes it.
TEST_F(modules, good_end_is_answered_as_a_line_without_a_row)
{
    session.exec_result = 0;
    EXPECT_EQ(answer("shell"), failure_text);
    EXPECT_EQ(run().size(), 1U);
    EXPECT_FAILURES({"CI module OK: 0"});
    EXPECT_EQ(call(cmd_shell_arg, {"ls"}).result, 1);
    EXPECT_EQ(call(cmd_scp, {"a b"}).result, 1);
}

TEST_F(modules, failed_end_is_silent)
{
    for (int result : {1, -1, 127}) {
        session.exec_result = result;
        EXPECT_EQ(answer("scp a b"), "");
        EXPECT_EQ(last_result(), 0);
        EXPECT_FAILURES({"CI module error: " + std::to_string(result)});
    }
}

TEST_F(modules, debug_mode_tells_the_text_and_what_it_means)
{
    answer("shell");
    EXPECT_NOT_LOGGED("CI string " + std::string(good));
    cli_debug = 1;
    answer("shell");
    EXPECT_LOGGED("CI string " + std::string(good));
    EXPECT_LOGGED("Calling CI function: module: sh, function: run, args: -l");
}

// --- The text -------------------------------------------------------------------------------------------------------

TEST_F(modules, values_run_to_the_end_of_their_fields)
{
    EXPECT_EQ(runs_of("ci_module=a b ;ci_function= f=1;ci_args=x y  z "), (texts{"a b   f=1 x y  z "}));
    EXPECT_EQ(runs_of("ci_module=m;ci_function=f;ci_args="), (texts{"m f "}));
    EXPECT_EQ(runs_of("ci_module=;ci_function=;ci_args="), (texts{"  "}));
}

TEST_F(modules, blanks_and_tabs_in_front_of_a_key_are_ignored)
{
    EXPECT_EQ(runs_of(" \t ci_module=m;\tci_function=f;  ci_args=a"), (texts{"m f a"}));
}

TEST_F(modules, empty_fields_are_stepped_over)
{
    EXPECT_EQ(runs_of(";;ci_module=m;;;ci_function=f;ci_args=a;;"), (texts{"m f a"}));
    EXPECT_EQ(runs_of(";;;"), texts{});
}

TEST_F(modules, fields_behind_the_third_are_ignored)
{
    EXPECT_EQ(runs_of("ci_module=m;ci_function=f;ci_args=a;ci_more=b;c"), (texts{"m f a"}));
}

TEST_F(modules, escaped_separator_belongs_to_the_value_with_its_backslash)
{
    EXPECT_EQ(runs_of("ci_module=m;ci_function=f;ci_args=a\\;b"), (texts{"m f a\\;b"}));
    EXPECT_EQ(runs_of("ci_module=m\\;n;ci_function=f;ci_args=\\;"), (texts{"m\\;n f \\;"}));
    EXPECT_EQ(runs_of("ci_module=m;ci_function=f;ci_args=a\\\\;b"), (texts{"m f a\\\\;b"}));
}

TEST_F(modules, quoted_separator_belongs_to_the_value_with_its_quotes)
{
    EXPECT_EQ(runs_of("ci_module=m;ci_function=f;ci_args=\"a;b\" c;d"), (texts{"m f \"a;b\" c"}));
    EXPECT_EQ(runs_of("ci_module=m;ci_function=f;ci_args='a;b';d"), (texts{"m f 'a;b'"}));
    EXPECT_EQ(runs_of("ci_module=m;ci_function=f;ci_args='a\";b\"';d"), (texts{"m f 'a\";b\"'"}));
    EXPECT_EQ(runs_of("ci_module=\"m;\";ci_function=f;ci_args=a"), (texts{"\"m;\" f a"}));
}

TEST_F(modules, quotes_of_either_kind_are_counted_by_themselves)
{
    EXPECT_EQ(runs_of("ci_module=m;ci_function=f;ci_args=\"it's\";b;c'd;e"), (texts{"m f \"it's\";b;c'd"}));
    EXPECT_EQ(runs_of("ci_module=m;ci_function=f;ci_args=\\\"a;b\";c"), (texts{"m f \\\"a;b\""}));
}

TEST_F(modules, quote_that_is_never_closed_takes_the_rest_of_the_text)
{
    EXPECT_EQ(runs_of("ci_module=m;ci_function=f;ci_args=\"a;b;c"), (texts{"m f \"a;b;c"}));
    EXPECT_EQ(runs_of("ci_module=\"m;ci_function=f;ci_args=a"), texts{});
}

TEST_F(modules, missing_or_misnamed_field_runs_nothing)
{
    for (const char *bad :
         {"ci_module=m", "ci_module=m;ci_function=f", "ci_module=m;ci_function=f;", "ci_module=m;ci_args=a",
          "ci_function=f;ci_module=m;ci_args=a", "ci_module=m;ci_args=a;ci_function=f",
          "module=m;ci_function=f;ci_args=a", "ci_module=m;function=f;ci_args=a", "ci_module=m;ci_function=f;args=a",
          "CI_MODULE=m;ci_function=f;ci_args=a", "ci_module =m;ci_function=f;ci_args=a",
          "ci_module=m;ci_function=f; ;ci_args=a", "x", " ", "ci_module=m ci_function=f ci_args=a",
          "ci_module=m;ci_function=f;\nci_args=a", "ci_module;ci_function;ci_args"})
        EXPECT_EQ(runs_of(bad), texts{}) << bad;
}

TEST_F(modules, text_is_never_a_format)
{
    EXPECT_EQ(runs_of("ci_module=%s;ci_function=%n;ci_args=%d"), (texts{"%s %n %d"}));
}

TEST_F(modules, long_text_is_taken_whole)
{
    const std::string words(100000, 'w');
    EXPECT_EQ(runs_of("ci_module=m;ci_function=f;ci_args=" + words), (texts{"m f " + words}));
}

TEST_F(modules, each_failed_allocation_runs_nothing_or_all)
{
    for (const char *line : {"shell", "shell ls", "scp a b"})
        EXPECT_GT(each_failing_allocation([&](int) {
                      const std::string said = answer(line);
                      EXPECT_TRUE(run().empty() ? said == failure_text : said.empty()) << said;
                      EXPECT_LE(run().size(), 1U);
                  }),
                  1);
}

} // namespace

// Options, the session's command and signals: the parts of the start that return.

#include "shell/ztcli.h"

#include <csignal>
#include <getopt.h>

#include "tests/fakes/fakes.h"

// parse_options on these words.
static int parse(texts words)
{
    words.insert(words.begin(), "ztcli");
    std::vector<char *> argv;
    for (std::string &word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    restart_getopt();
    forget();
    return parse_options(static_cast<int>(words.size()), argv.data());
}

static std::string command_line()
{
    return cli_command_line ? cli_command_line : "(none)";
}

static texts argument_vector()
{
    return {cli_args, cli_args + cli_arg_count};
}

static std::string words_up_to(int count)
{
    std::string text;
    for (int i = 0; i < count; i++)
        text += (i ? " w" : "w") + std::to_string(i);
    return text;
}

// --- Options --------------------------------------------------------------------------------------------------------

TEST(parse_options, no_words_leave_the_prompt)
{
    EXPECT_EQ(parse({}), 0);
    EXPECT_EQ(command_line(), "(none)");
    EXPECT_EQ(cli_interactive, 1);
}

TEST(parse_options, words_form_one_command)
{
    EXPECT_EQ(parse({"on", "1"}), 0);
    EXPECT_EQ(command_line(), "on 1");
    EXPECT_EQ(cli_interactive, 0);
}

TEST(parse_options, option_c_takes_its_text_and_the_words_behind_it)
{
    EXPECT_EQ(parse({"-c", "on 1", "2", "3"}), 0);
    EXPECT_EQ(command_line(), "on 1 2 3");
    EXPECT_EQ(cli_interactive, 0);
}

TEST(parse_options, last_option_c_counts)
{
    EXPECT_EQ(parse({"-c", "a", "-c", "b"}), 0);
    EXPECT_EQ(command_line(), "b");
}

TEST(parse_options, debug_in_front_of_a_command)
{
    EXPECT_EQ(parse({"-d", "on", "1"}), 0);
    EXPECT_EQ(cli_debug, 1);
    EXPECT_EQ(command_line(), "on 1");
    EXPECT_NOT_LOGGED("-d option set");
}

TEST(parse_options, second_debug_option_is_logged)
{
    EXPECT_EQ(parse({"-dd", "on"}), 0);
    EXPECT_LOGGED("-d option set");
    EXPECT_LOGGED("Command line on");
}

TEST(parse_options, options_stop_at_the_first_word)
{
    EXPECT_EQ(parse({"on", "-d"}), 0);
    EXPECT_EQ(command_line(), "on -d");
    EXPECT_EQ(cli_debug, 0);
}

TEST(parse_options, double_dash_ends_the_options)
{
    EXPECT_EQ(parse({"--", "-d"}), 0);
    EXPECT_EQ(command_line(), "-d");
    EXPECT_EQ(cli_debug, 0);
}

TEST(parse_options, empty_word_and_empty_option_text_are_words)
{
    EXPECT_EQ(parse({"-c", ""}), 0);
    EXPECT_EQ(command_line(), "");
    EXPECT_EQ(cli_interactive, 0);
    EXPECT_EQ(parse({"", "x"}), 0);
    EXPECT_EQ(command_line(), " x");
}

TEST(parse_options, drops_an_earlier_command_line)
{
    EXPECT_EQ(parse({"on"}), 0);
    EXPECT_EQ(parse({}), 0);
    EXPECT_EQ(command_line(), "(none)");
}

TEST(parse_options, option_text_is_logged_in_debug_mode)
{
    EXPECT_EQ(parse({"-d", "-c", "on 1"}), 0);
    EXPECT_LOGGED("on 1");
    EXPECT_LOGGED("Command line on 1");
}

TEST(parse_options, without_memory_for_the_option_text_there_is_no_command)
{
    cli_debug = 1;
    heap.fail_at(1);
    EXPECT_EQ(parse({"-c", "on 1"}), 1);
    heap.fail_at(0);
    EXPECT_EQ(command_line(), "(none)");
    EXPECT_EQ(cli_interactive, 1);
    EXPECT_LOGGED("Fail to append option to command line: on 1");
}

TEST(parse_options, without_memory_and_debug_mode_nothing_is_logged)
{
    heap.fail_at(1);
    EXPECT_EQ(parse({"-c", "on 1"}), 1);
    heap.fail_at(0);
    EXPECT_EQ(dump_log(), "");
}

TEST(parse_options, without_memory_for_a_word_there_is_no_command)
{
    for (int n = 1; n <= 3; n++) {
        const size_t before = heap.live();
        heap.fail_at(n);
        EXPECT_EQ(parse({"on", "1", "2"}), 1) << n;
        heap.fail_at(0);
        EXPECT_EQ(command_line(), "(none)") << n;
        EXPECT_EQ(heap.live(), before) << n;
    }
}

// --- The session's command ------------------------------------------------------------------------------------------

TEST(cmd2arg, plain_words_become_arguments)
{
    EXPECT_EQ(cmd2arg("on 1", "ztcli"), 0);
    EXPECT_EQ(argument_vector(), (texts{"ztcli", "on", "1"}));
}

TEST(cmd2arg, runs_of_blanks_count_as_one)
{
    EXPECT_EQ(cmd2arg("  on   1 ", "ztcli"), 0);
    EXPECT_EQ(argument_vector(), (texts{"ztcli", "on", "1"}));
}

TEST(cmd2arg, empty_text_gives_the_program_name_alone)
{
    EXPECT_EQ(cmd2arg("", "ztcli"), 0);
    EXPECT_EQ(argument_vector(), (texts{"ztcli"}));
}

TEST(cmd2arg, quoted_span_is_one_argument_with_its_marks)
{
    EXPECT_EQ(cmd2arg("-c 'on 1'", "ztcli"), 0);
    EXPECT_EQ(argument_vector(), (texts{"ztcli", "-c", "'on 1'"}));
    EXPECT_EQ(cmd2arg("-c \"on 1 2\" x", "ztcli"), 0);
    EXPECT_EQ(argument_vector(), (texts{"ztcli", "-c", "\"on 1 2\"", "x"}));
}

TEST(cmd2arg, other_mark_inside_a_span_is_text)
{
    EXPECT_EQ(cmd2arg("'it \"s'", "ztcli"), 0);
    EXPECT_EQ(argument_vector(), (texts{"ztcli", "'it \"s'"}));
}

TEST(cmd2arg, mark_inside_a_word_opens_nothing)
{
    EXPECT_EQ(cmd2arg("it's 1", "ztcli"), 0);
    EXPECT_EQ(argument_vector(), (texts{"ztcli", "it's", "1"}));
}

TEST(cmd2arg, span_that_closes_inside_its_first_token_is_not_seen)
{
    EXPECT_EQ(cmd2arg("'abc'", "ztcli"), 1);
    EXPECT_EQ(cli_arg_count, 0);
}

TEST(cmd2arg, span_that_closes_inside_its_first_token_runs_on_to_the_next_mark)
{
    EXPECT_EQ(cmd2arg("'abc' def 'ghi", "ztcli"), 0);
    EXPECT_EQ(argument_vector(), (texts{"ztcli", "'abc' def '", "ghi"}));
}

TEST(cmd2arg, marks_right_behind_the_first_token_are_skipped)
{
    EXPECT_EQ(cmd2arg("'on ' 1'", "ztcli"), 0);
    EXPECT_EQ(argument_vector(), (texts{"ztcli", "'on  1'"}));
    EXPECT_EQ(cmd2arg("' a'", "ztcli"), 0);
    EXPECT_EQ(argument_vector(), (texts{"ztcli", "' a'"}));
}

TEST(cmd2arg, quote_that_is_never_closed_fails)
{
    for (const char *command : {"'", "'on", "'on 1", "-c \"on 1", "'on '", "'on 1 2 \"", "x 'y z"}) {
        EXPECT_EQ(cmd2arg(command, "ztcli"), 1) << command;
        EXPECT_EQ(cli_arg_count, 0) << command;
    }
}

TEST(cmd2arg, null_arguments_fail)
{
    EXPECT_EQ(cmd2arg(nullptr, "ztcli"), 1);
    EXPECT_EQ(cmd2arg("on 1", nullptr), 1);
}

TEST(cmd2arg, takes_31_words_behind_the_program_name)
{
    EXPECT_EQ(cmd2arg(words_up_to(31).c_str(), "ztcli"), 0);
    EXPECT_EQ(cli_arg_count, 32);
    EXPECT_STREQ(cli_args[31], "w30");
    EXPECT_EQ(cmd2arg((words_up_to(31) + "  ").c_str(), "ztcli"), 0);
}

TEST(cmd2arg, fails_on_32_words)
{
    EXPECT_EQ(cmd2arg(words_up_to(32).c_str(), "ztcli"), 1);
    EXPECT_EQ(cli_arg_count, 0);
}

TEST(cmd2arg, failure_empties_the_vector)
{
    EXPECT_EQ(cmd2arg("a b c", "ztcli"), 0);
    EXPECT_EQ(cmd2arg("a b 'c", "ztcli"), 1);
    EXPECT_EQ(cli_arg_count, 0);
    for (const char *argument : cli_args)
        EXPECT_EQ(argument, nullptr);
}

TEST(cmd2arg, any_failing_allocation_fails_and_gives_all_back)
{
    EXPECT_EQ(cmd2arg(nullptr, nullptr), 1);
    const size_t before = heap.live();
    const int failures_seen = each_failing_allocation([&](int n) {
        const int result = cmd2arg("on 'a b' c", "ztcli");
        EXPECT_EQ(result, heap.failed() ? 1 : 0) << n;
        EXPECT_EQ(cli_arg_count, heap.failed() ? 0 : 4) << n;
    });
    EXPECT_EQ(failures_seen, 5) << "the copy and four arguments";
    cmd2arg(nullptr, nullptr);
    EXPECT_EQ(heap.live(), before);
}

TEST(cmd2arg, long_text_of_any_bytes_is_taken)
{
    const std::string word(1 << 20, '\xff');
    EXPECT_EQ(cmd2arg((word + " '" + word + " " + word + "'").c_str(), "ztcli"), 0);
    EXPECT_EQ(cli_args[1], word);
    EXPECT_EQ(cli_args[2], "'" + word + " " + word + "'");
}

TEST(cmd2arg, is_traced_in_debug_mode)
{
    cli_debug = 1;
    EXPECT_EQ(cmd2arg("on 'a b'", "ztcli"), 0);
    EXPECT_LOGGED("argv[0] = ztcli");
    EXPECT_LOGGED("CMD match on");
    EXPECT_LOGGED("argv[1] = on");
    EXPECT_LOGGED("CMD match 'a");
    EXPECT_LOGGED("CMD close quote b");
    EXPECT_LOGGED("argv[2] = 'a b'");
    EXPECT_EQ(cmd2arg("'a b", "ztcli"), 1);
    EXPECT_LOGGED("No close quote 'a");
}

// --- Signals --------------------------------------------------------------------------------------------------------

// Puts the mask and the handlers back, since the other tests run in the same process.
class signals : public testing::Test {
protected:
    void SetUp() override
    {
        sigprocmask(SIG_SETMASK, nullptr, &mask);
        for (int signo = 1; signo < 32; signo++)
            sigaction(signo, nullptr, &actions[signo]);
    }
    void TearDown() override
    {
        for (int signo = 1; signo < 32; signo++)
            sigaction(signo, &actions[signo], nullptr);
        sigprocmask(SIG_SETMASK, &mask, nullptr);
    }

    sigset_t mask;
    struct sigaction actions[32];
};

TEST_F(signals, all_are_blocked_but_those_that_the_program_knows)
{
    EXPECT_EQ(cli_set_signal(), 0);
    sigset_t now;
    sigprocmask(SIG_SETMASK, nullptr, &now);
    for (int signo = 1; signo < 32; signo++) {
        const bool known = signo == 1 || signo == 3 || signo == 10 || signo == 12 || signo == 15 || signo == 28;
        const bool blockable = signo != SIGKILL && signo != SIGSTOP;
        EXPECT_EQ(sigismember(&now, signo), !known && blockable) << signo;
    }
}

TEST_F(signals, five_are_caught_and_restart_calls)
{
    EXPECT_EQ(cli_set_signal(), 0);
    for (int signo : {3, 15, 1, 10, 12}) {
        struct sigaction now;
        sigaction(signo, nullptr, &now);
        EXPECT_EQ(now.sa_handler, signal_handler) << signo;
        EXPECT_TRUE(now.sa_flags & SA_RESTART) << signo;
        for (int other = 1; other < 32; other++)
            EXPECT_FALSE(sigismember(&now.sa_mask, other)) << signo << " " << other;
    }
    struct sigaction window;
    sigaction(28, nullptr, &window);
    EXPECT_NE(window.sa_handler, signal_handler);
}

TEST_F(signals, session_library_learns_who_treats_them)
{
    cli_debug = 1;
    EXPECT_EQ(cli_set_signal(), 0);
    EXPECT_EQ(session.sighandler, cli_treat_signals);
    EXPECT_EVENTS({"set_sighandler"});
    EXPECT_LOGGED("Signal handlers set.");
}

TEST_F(signals, caught_signal_sets_flags_and_is_passed_on)
{
    ASSERT_EQ(cli_set_signal(), 0);
    forget();
    raise(10);
    EXPECT_EQ(cli_signals_seen[10], 1);
    EXPECT_EQ(cli_signal_pending, 1);
    EXPECT_EVENTS({"flag_signal 10 1"});
    EXPECT_EQ(dump_log(), "");
}

TEST_F(signals, caught_signal_is_logged_in_debug_mode)
{
    cli_debug = 1;
    signal_handler(15);
    EXPECT_LOGGED("Signal caught 15.");
    EXPECT_EQ(cli_signals_seen[15], 1);
}

TEST_F(signals, signal_12_switches_debug_mode_and_leaves_no_flag)
{
    ASSERT_EQ(cli_set_signal(), 0);
    raise(12);
    EXPECT_EQ(cli_debug, 1);
    EXPECT_EQ(cli_signals_seen[12], 0);
    EXPECT_EQ(cli_signal_pending, 1);
    raise(12);
    EXPECT_EQ(cli_debug, 0);
}

TEST_F(signals, number_beyond_the_flags_is_only_passed_on)
{
    signal_handler(40);
    for (int seen : cli_signals_seen)
        EXPECT_EQ(seen, 0);
    EXPECT_EVENTS({"flag_signal 40 1"});
    EXPECT_EQ(cli_signal_pending, 1);
}

TEST_F(signals, treating_clears_flags_and_lets_the_library_act)
{
    signal_handler(10);
    signal_handler(12);
    forget();
    cli_treat_signals();
    EXPECT_EQ(cli_signal_pending, 0);
    EXPECT_EQ(cli_signals_seen[10], 0);
    EXPECT_EVENTS({"signal_treat"});
}

TEST_F(signals, hangup_interrupt_quit_and_terminate_end_with_status_1)
{
    for (int signo : {1, 2, 3, 15})
        EXPECT_EXIT((signal_handler(signo), cli_treat_signals()), testing::ExitedWithCode(1), "") << signo;
}

TEST_F(signals, library_does_not_act_once_the_process_ends)
{
    EXPECT_EXIT(
        {
            session.on_signal_treat = [] { _exit(9); };
            signal_handler(15);
            cli_treat_signals();
        },
        testing::ExitedWithCode(1), "");
}

// The line loop and the editor's hooks, on a pipe in place of the terminal.

#include "shell/input.h"

#include <csignal>
#include <cstdio>
#include <fstream>
#include <readline/history.h>
#include <readline/readline.h>
#include <termios.h>
#include <unistd.h>
#include <utility>

#include "shell/ztcli.h"
#include "tests/fakes/fakes.h"
#include "tests/unit/shell/counts.h"

// What stands behind the prompt is typed by `type`; the pipe ends with `end`.
class input : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(pipe(ends), 0);
        rl_instream = fdopen(ends[0], "r");
        rl_redisplay_function = rl_redisplay;
        rl_set_keyboard_input_timeout(0); // the idle hook comes at once
        cli_key_seen = 0;
        cli_idle_events = 0;
        cli_input_init();
        clear_history();
        forget();
    }
    void TearDown() override
    {
        end();
        fclose(rl_instream);
        rl_instream = nullptr;
        rl_clear_pending_input();
        rl_pre_input_hook = nullptr;
        rl_already_prompted = 0;
        clear_history();
    }

    void type(const std::string &text)
    {
        ASSERT_EQ(write(ends[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }
    void end()
    {
        if (ends[1] >= 0)
            close(ends[1]);
        ends[1] = -1;
    }
    // The loop over what is typed here and nothing more; what was printed.
    std::string loop(const std::string &text)
    {
        type(text);
        end();
        EXPECT_EQ(input_loop(), 1);
        return printed();
    }
    std::string read_line(const char *prompt = "zt>")
    {
        char *line = get_input_line(prompt);
        const std::string text = line ? line : "(null)";
        free(line);
        return text;
    }
    static texts history()
    {
        texts lines;
        for (int i = 0; i < history_length; i++)
            lines.push_back(history_get(history_base + i)->line);
        return lines;
    }

    int ends[2] = {-1, -1};
};

TEST_F(input, editor_is_set_up)
{
    EXPECT_STREQ(rl_readline_name, "ZTCLI");
    EXPECT_EQ(rl_catch_signals, 0);
    EXPECT_EQ(rl_getc_function, cli_getc);
    EXPECT_EQ(rl_event_hook, cli_event);
    EXPECT_EQ(rl_inhibit_completion, 1);
    EXPECT_EQ(history_max_entries, 20);
}

// What the editor's library does for each of its keys. The linker leads this call to us, as it does the library's own.
static bool binds_keys()
{
    static constexpr char keys[] = "\\C-x\\C-z", typed[] = "\x18\x1a";
    rl_bind_keyseq_if_unbound(keys, rl_newline);
    const bool bound = rl_function_of_keyseq(typed, nullptr, nullptr) == rl_newline;
    rl_bind_keyseq(keys, nullptr);
    return bound;
}

TEST_F(input, keys_are_bound_for_a_prompt)
{
    EXPECT_TRUE(binds_keys());
}

TEST_F(input, no_key_is_bound_for_a_command_given_at_the_start)
{
    cli_interactive = 0;
    EXPECT_FALSE(binds_keys());
}

// What the library does with a user's file of keys, which it looks for when it is set up.
static bool reads_keys()
{
    static constexpr char typed[] = "\x18\x1a";
    const std::string name = testing::TempDir() + "keys." + std::to_string(getpid());
    std::ofstream(name) << "\"\\C-x\\C-z\": accept-line\n";
    rl_read_init_file(name.c_str());
    remove(name.c_str());
    const bool bound = rl_function_of_keyseq(typed, nullptr, nullptr) == rl_newline;
    rl_bind_keyseq("\\C-x\\C-z", nullptr);
    return bound;
}

TEST_F(input, file_of_keys_is_read_for_a_prompt)
{
    EXPECT_TRUE(reads_keys());
}

TEST_F(input, no_file_of_keys_is_read_for_a_command_given_at_the_start)
{
    cli_interactive = 0;
    EXPECT_FALSE(reads_keys());
}

// Whether the names of the editor's functions are set up; in a process of its own, since the library does it but once.
static void exit_by_names(int interactive)
{
    cli_interactive = interactive;
    rl_initialize_funmap();
    write_counts();
    _exit(funmap ? 1 : 0);
}

TEST(input_names, are_set_up_for_a_prompt_only)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(exit_by_names(1), testing::ExitedWithCode(1), "");
    EXPECT_EXIT(exit_by_names(0), testing::ExitedWithCode(0), "");
}

TEST_F(input, end_of_input_ends_the_loop)
{
    cli_debug = 1;
    EXPECT_EQ(loop(""), "zt>");
    EXPECT_LOGGED("got EOF");
    EXPECT_TRUE(session.tap.empty());
}

TEST_F(input, lines_are_run_one_by_one)
{
    EXPECT_EQ(loop("foo\nbar\n"), std::string("zt>foo\n") + failure_text + "zt>bar\n" + failure_text + "zt>");
}

TEST_F(input, last_line_without_line_end_is_run)
{
    EXPECT_EQ(loop("foo"), std::string("zt>foo\n") + failure_text + "zt>");
}

TEST_F(input, empty_lines_and_lines_of_blanks_and_tabs_print_nothing)
{
    cli_debug = 1;
    EXPECT_EQ(loop("\n \t \n"), "zt>\nzt> \t \nzt>");
    EXPECT_LOGGED("got \\r with-out substance");
    EXPECT_EQ(history(), texts{});
}

TEST_F(input, blanks_around_a_command_are_cut_in_the_history_too)
{
    loop(" \t ver help  \n");
    EXPECT_EQ(history(), (texts{"ver help"}));
    EXPECT_NE(printed().find("Usage: ver"), std::string::npos);
}

TEST_F(input, history_takes_failed_commands_and_repeats)
{
    loop("foo\nfoo\nver help\n");
    EXPECT_EQ(history(), (texts{"foo", "foo", "ver help"}));
}

TEST_F(input, history_keeps_20_entries)
{
    std::string lines;
    for (int i = 1; i <= 25; i++)
        lines += "line" + std::to_string(i) + "\n";
    loop(lines);
    ASSERT_EQ(history().size(), 20U);
    EXPECT_EQ(history().front(), "line6");
    EXPECT_EQ(history().back(), "line25");
}

TEST_F(input, long_lines_and_any_bytes_pass)
{
    const std::string word(60000, 'x');
    EXPECT_EQ(loop("ver \xc3\xa9\xff " + word + "\n"), "zt>ver \xc3\xa9\xff " + word + "\n" + failure_text + "zt>");
}

TEST_F(input, line_is_logged_in_debug_mode)
{
    cli_debug = 1;
    loop("  foo\n");
    EXPECT_LOGGED(">>>'zt>''  foo'");
    EXPECT_LOGGED("'foo' read");
    EXPECT_LOGGED("entered");
}

TEST_F(input, prompt_line_and_line_end_go_to_the_tap_in_front_of_the_answer)
{
    loop("foo\n");
    EXPECT_EQ(session.tap, (texts{"zt>", "foo", "\n", failure_text}));
}

// --- get_input_line -------------------------------------------------------------------------------------------------

TEST_F(input, given_command_is_handed_out_as_a_typed_line)
{
    cli_debug = 1;
    cli_interactive = 0;
    cli_command_line = strdup("ver");
    EXPECT_EQ(read_line(), "ver");
    EXPECT_EQ(cli_command_line, nullptr);
    EXPECT_EQ(session.tap, (texts{"zt>", "ver", "\n"}));
    EXPECT_EQ(printed(), "");
    EXPECT_LOGGED("'zt>':'ver'");
}

TEST_F(input, behind_a_given_command_the_input_has_ended)
{
    type("foo\n");
    cli_interactive = 0;
    cli_command_line = strdup("ver help");
    EXPECT_EQ(input_loop(), 1);
    EXPECT_TRUE(printed().starts_with("Usage: ver")) << printed();
    EXPECT_EQ(printed().find("zt>"), std::string::npos);
    EXPECT_EQ(read_line(), "(null)");
}

TEST_F(input, given_command_is_handed_out_even_behind_a_signal)
{
    cli_interactive = 0;
    cli_command_line = strdup("ver");
    cli_signal_pending = 1;
    EXPECT_EQ(read_line(), "ver");
}

TEST_F(input, null_prompt_reads_nothing)
{
    type("foo\n");
    EXPECT_EQ(get_line_read_in(nullptr), nullptr);
    EXPECT_EQ(read_line(nullptr), "(null)");
    EXPECT_TRUE(session.tap.empty());
}

TEST_F(input, null_prompt_is_left_out_of_the_tap)
{
    cli_command_line = strdup("ver");
    EXPECT_EQ(read_line(nullptr), "ver");
    EXPECT_EQ(session.tap, (texts{"ver", "\n"}));
}

TEST_F(input, tap_failures_are_logged_and_the_line_is_returned)
{
    cli_debug = 1;
    session.tap_works = false;
    type("foo\n");
    EXPECT_EQ(read_line(), "foo");
    EXPECT_LOGGED("DLA (input) error: zt>");
    EXPECT_LOGGED("DLA (input) error: foo");
    EXPECT_LOGGED("DLA (input) error: \\n");
}

TEST_F(input, without_debug_mode_the_loop_logs_nothing)
{
    session.tap_works = false;
    EXPECT_EQ(loop("\nfoo\n"), std::string("zt>\nzt>foo\n") + failure_text + "zt>");
    EXPECT_EQ(dump_log(), "");
}

TEST_F(input, end_of_input_at_the_prompt_gives_no_line)
{
    rl_execute_next(EOF);
    EXPECT_EQ(read_line(), "(null)");
    EXPECT_TRUE(session.tap.empty());
}

TEST_F(input, input_that_cannot_be_asked_what_it_holds_has_ended)
{
    FILE *const typed = std::exchange(rl_instream, fopen("/dev/null", "r"));
    EXPECT_EQ(read_line(), "(null)");
    rl_clear_pending_input();
    EXPECT_EQ(rl_read_key(), '\n'); // stuffed in front of the end; here nobody needed it
    fclose(std::exchange(rl_instream, typed));
}

TEST_F(input, on_a_terminal_the_editor_sees_to_the_terminal_and_to_the_echo)
{
    termios saved = {};
    cli_saved_termios = &saved;
    rl_prep_term_function = rl_prep_terminal;
    cli_input_init();
    EXPECT_EQ(rl_prep_term_function, rl_prep_terminal);
    rl_prep_term_function = nullptr; // there is none here after all
    type("foo\n");
    EXPECT_EQ(read_line(), "foo");
    EXPECT_EQ(printed(), "zt>");
    cli_saved_termios = nullptr;
}

TEST_F(input, screen_is_no_larger_than_a_terminal_can_say)
{
    int usual_rows, usual_columns, rows, columns;
    rl_get_screen_size(&usual_rows, &usual_columns);
    rl_set_screen_size(70000, 80);
    cli_input_init();
    rl_get_screen_size(&rows, nullptr);
    EXPECT_EQ(rows, 65535);
    rl_set_screen_size(24, 70000);
    cli_input_init();
    rl_get_screen_size(&rows, &columns);
    EXPECT_EQ(rows, 24);
    EXPECT_LE(columns, 65535);
    EXPECT_GE(columns, 65534); // the editor leaves the last one out on some terminals
    rl_set_screen_size(usual_rows, usual_columns);
}

TEST_F(input, answers_go_to_stdout_where_the_editor_has_no_stream)
{
    FILE *const stream = std::exchange(rl_outstream, nullptr);
    EXPECT_EQ(cli_terminal(), stdout);
    rl_outstream = stream;
}

TEST_F(input, line_is_dropped_where_a_signal_came_in_between)
{
    type("foo\n");
    cli_signal_pending = 1;
    EXPECT_EQ(read_line(), "(null)");
    EXPECT_TRUE(session.tap.empty());
}

// --- Signals at the prompt ------------------------------------------------------------------------------------------

// Types a part of a line and sends signal 12, once.
static int interrupt_once()
{
    rl_pre_input_hook = nullptr;
    rl_insert_text("par");
    signal_handler(SIGUSR2);
    return 0;
}

TEST_F(input, signal_drops_the_partial_line_and_keeps_the_prompt)
{
    rl_pre_input_hook = interrupt_once;
    session.on_signal_treat = [this] {
        type("foo\n");
        end();
    };
    EXPECT_EQ(input_loop(), 1);
    EXPECT_EQ(cli_debug, 1);
    EXPECT_EQ(history(), (texts{"foo"}));
    EXPECT_TRUE(printed().starts_with(std::string("zt>foo\n") + failure_text)) << "no second prompt: " << printed();
    EXPECT_EQ(session.tap[1], "foo");
}

TEST_F(input, pending_signals_are_treated_before_a_line_is_read)
{
    signal_handler(10);
    int treated = 0;
    session.on_signal_treat = [&] { treated++; };
    EXPECT_EQ(loop("foo\n"), std::string("zt>foo\n") + failure_text + "zt>");
    EXPECT_EQ(treated, 1);
}

TEST_F(input, signal_that_comes_back_while_treated_is_treated_again)
{
    signal_handler(10);
    int treated = 0;
    session.on_signal_treat = [&] {
        if (++treated < 3)
            signal_handler(10);
    };
    end();
    EXPECT_EQ(input_loop(), 1);
    EXPECT_EQ(treated, 3);
}

TEST_F(input, terminate_at_the_prompt_ends_with_status_1)
{
    EXPECT_EXIT(
        {
            rl_pre_input_hook = [] {
                signal_handler(SIGTERM);
                return 0;
            };
            input_loop();
            _exit(9);
        },
        testing::ExitedWithCode(1), "");
}

// --- Hooks ----------------------------------------------------------------------------------------------------------

TEST_F(input, tab_alone_does_not_restart_the_time_out)
{
    type("\t\t");
    EXPECT_EQ(cli_getc(rl_instream), '\t');
    EXPECT_EQ(cli_getc(rl_instream), '\t');
    EXPECT_EVENTS({});
    EXPECT_EQ(cli_key_seen, 0);
}

TEST_F(input, every_key_restarts_the_time_out_from_the_first_other_key_on)
{
    type("\tv\t");
    for (int i = 0; i < 3; i++)
        cli_getc(rl_instream);
    EXPECT_EVENTS({"reset_to", "reset_to"});
    EXPECT_EQ(cli_key_seen, 1);
}

TEST_F(input, failed_read_is_the_end_of_input)
{
    FILE *unreadable = fopen("/", "r"); // a folder
    ASSERT_NE(unreadable, nullptr);
    rl_readline_state |= RL_STATE_READCMD; // readline has a code of its own for it then
    EXPECT_EQ(cli_getc(unreadable), EOF);
    rl_readline_state &= ~static_cast<unsigned long>(RL_STATE_READCMD);
    fclose(unreadable);
}

TEST_F(input, modules_are_checked_at_every_eleventh_idle_event)
{
    for (int i = 0; i < 10; i++)
        EXPECT_EQ(cli_event(), 0);
    EXPECT_EVENTS({});
    cli_event();
    EXPECT_EVENTS({"check_modules"});
    EXPECT_EQ(cli_idle_events, 0);
    for (int i = 0; i < 11; i++)
        cli_event();
    EXPECT_EVENTS({"check_modules", "check_modules"});
}

TEST_F(input, idle_event_ends_the_line_only_for_a_signal)
{
    rl_done = 0;
    cli_event();
    EXPECT_EQ(rl_done, 0);
    cli_signal_pending = 1;
    cli_event();
    EXPECT_EQ(rl_done, 1);
}

TEST_F(input, idle_event_leaves_waiting_bytes_alone)
{
    type("x");
    cli_event();
    EXPECT_EQ(rl_pending_input, 0);
}

TEST_F(input, tab_completes_nothing)
{
    EXPECT_EQ(loop("ve\t\n"), std::string("zt>ve\t\n") + failure_text + "zt>");
}

// Dispatch: what a line is answered with, when the search goes on, and what is logged.

#include "shell/commands.h"

#include <cstring>

#include "shell/output.h"
#include "tests/fakes/fakes.h"

static constexpr char unrecognized[] = "Command not recognized\n";

// How many rows were let through to the gate: a segment that never turns ready costs 60 sleeps a row.
static size_t rows_at_the_gate(const std::string &line)
{
    segment.ready(false);
    answer(line);
    return wall_clock.sleeps().size() / 60;
}

TEST(treat_command, null_and_empty_line_print_nothing_and_give_1)
{
    EXPECT_EQ(treat_command(nullptr), 1);
    EXPECT_EQ(answer(""), "");
    EXPECT_EQ(last_result(), 1);
    EXPECT_TRUE(session.tap.empty());
}

TEST(treat_command, unknown_word_is_an_invalid_argument)
{
    EXPECT_EQ(answer("foo"), failure_text);
    EXPECT_EQ(last_result(), 1);
}

TEST(treat_command, known_word_with_too_many_arguments_gets_the_same_text)
{
    EXPECT_EQ(answer("current 1 2 3"), failure_text);
    EXPECT_EQ(answer("on 1 2"), failure_text);
}

TEST(treat_command, commands_are_not_split_at_a_semicolon)
{
    EXPECT_EQ(answer("on 1; off 2"), failure_text);
}

TEST(treat_command, first_words_must_be_whole)
{
    EXPECT_EQ(answer("hel"), failure_text);
    EXPECT_EQ(answer("helpx"), failure_text);
    EXPECT_EQ(answer("HELP"), failure_text);
}

TEST(treat_command, bare_command_without_action_shows_its_usage)
{
    const std::string usage = answer("on help");
    EXPECT_TRUE(usage.starts_with("Usage: on <outletString>\n")) << usage;
    EXPECT_EQ(answer("on"), usage);
    EXPECT_EQ(last_result(), 0);
}

TEST(treat_command, blanks_around_the_command_are_cut)
{
    EXPECT_EQ(answer("   ver help   "), answer("ver help"));
    EXPECT_EQ(last_result(), 0);
}

TEST(treat_command, trailing_blanks_are_cut_in_place)
{
    char line[] = "  ver help  ";
    EXPECT_EQ(treat_command(line), 0);
    EXPECT_STREQ(line, "  ver help");
}

TEST(treat_command, tabs_are_not_cut)
{
    EXPECT_EQ(answer("\tver help"), failure_text);
    EXPECT_EQ(answer("ver help\t"), failure_text);
}

TEST(treat_command, line_of_blanks_is_not_recognized)
{
    EXPECT_EQ(answer("   "), unrecognized);
}

TEST(treat_command, any_bytes_and_any_length_are_taken)
{
    EXPECT_EQ(answer("\xff\xfe\x01 \x80"), failure_text);
    EXPECT_EQ(answer("%s%n%d"), failure_text);
    EXPECT_EQ(answer(std::string(3 << 20, 'x')), failure_text);
    EXPECT_EQ(answer("ver " + std::string(3 << 20, 'x')), failure_text);
    EXPECT_EQ(answer("shell " + std::string(256, 'x')), failure_text);
}

TEST(treat_command, handler_that_declines_in_silence_does_not_stop_the_search)
{
    fake_chain chain;
    chain.unit({.outlets = 2});
    EXPECT_EQ(rows_at_the_gate("current reset 1"), 2U) << "first unit 1 to reset, then the unit named reset";
}

TEST(treat_command, search_that_goes_on_ends_with_the_words_of_the_last_row)
{
    fake_chain chain;
    chain.unit({.outlets = 2});
    EXPECT_EQ(answer("current summary 1"), no_such_ipdu) << "unit 1 has nothing to show, and none is named summary";
    EXPECT_EQ(last_result(), 0);
}

TEST(treat_command, handler_that_took_the_line_stops_the_search)
{
    EXPECT_EQ(rows_at_the_gate("ver help"), 1U) << "not asked for a unit named help";
}

TEST(treat_command, text_counts_as_dealt_with_whatever_the_handler_answers)
{
    fake_chain chain;
    chain.unit();
    EXPECT_EQ(answer("id 9 rack"), no_such_ipdu);
    EXPECT_EQ(last_result(), 0);
}

TEST(treat_command, usage_that_finds_no_memory_prints_nothing)
{
    heap.fail_at(1);
    EXPECT_EQ(answer("on help"), "");
    heap.fail_at(0);
    EXPECT_EQ(last_result(), 0);
    EXPECT_FAILURES({"Fail to copy the usage of on help"});
}

TEST(treat_command, without_memory_for_the_buffers_takes_no_line)
{
    char line[] = "ver help";
    cli_free_args();
    heap.fail_at(1);
    EXPECT_EQ(treat_command(line), 1);
    heap.fail_at(0);
    EXPECT_EQ(printed(), "");
    EXPECT_FAILURES({"Fail to allocate the argument buffers"});
    EXPECT_EQ(cli_make_args(), 0);
}

TEST(treat_command, buffers_are_made_by_the_first_call_even_for_no_line)
{
    cli_free_args();
    const size_t before = heap.live();
    treat_command(nullptr);
    EXPECT_EQ(heap.live(), before + 1);
    treat_command(nullptr);
    EXPECT_EQ(heap.live(), before + 1);
    cli_free_args();
    EXPECT_EQ(heap.live(), before);
    cli_free_args();
    EXPECT_EQ(cli_make_args(), 0);
}

// --- The gate -------------------------------------------------------------------------------------------------------

TEST(gate, no_handler_runs_under_another_name)
{
    cli_own_name = 0;
    EXPECT_EQ(answer("help"), failure_text);
    EXPECT_EQ(last_result(), 1);
    EXPECT_EVENTS({std::string("tap ") + failure_text});
}

TEST(gate, only_the_first_row_stopped_at_the_gate_is_not_recognized)
{
    cli_own_name = 0;
    EXPECT_EQ(answer("alarm help"), unrecognized);
    EXPECT_EQ(answer("alarm 1"), failure_text);
    EXPECT_EQ(answer("buzzer help"), failure_text);
}

TEST(gate, first_row_passes_an_open_gate)
{
    EXPECT_TRUE(answer("alarm help").starts_with("Usage: "));
}

TEST(gate, stops_the_search_at_the_first_matching_row)
{
    segment.ready(false);
    segment.ready_after = 60;
    EXPECT_EQ(answer("ver help"), failure_text);
    EXPECT_EQ(wall_clock.sleeps().size(), 60U);
}

TEST(gate, is_asked_only_by_rows_that_match)
{
    EXPECT_EQ(rows_at_the_gate("foo"), 0U);
}

// --- Argument buffers -----------------------------------------------------------------------------------------------

static void make_clean_buffers()
{
    cli_free_args();
    ASSERT_EQ(cli_make_args(), 0);
}

static command_args matched(int row, const std::string &line)
{
    EXPECT_EQ(cli_make_args(), 0);
    EXPECT_TRUE(row_matches(command_table[row], line.c_str(), line.size())) << line;
    return captured_args();
}

TEST(row_matches, captures_values_in_the_order_of_the_pattern)
{
    const command_args args = matched(128, "display rack1 -90 c 30");
    EXPECT_STREQ(args.text(0), "rack1");
    EXPECT_EQ(args.integer(1), -90);
    EXPECT_EQ(args.letter(2), 'c');
    EXPECT_EQ(args.integer(3), 30);
    EXPECT_EQ(args.integer(4), 22) << "the measure of the line";
}

TEST(row_matches, captures_real_numbers)
{
    const command_args args = matched(2, "alarm 1 2.5 P1");
    EXPECT_EQ(args.real(1), 2.5);
    EXPECT_STREQ(args.text(2), "P1");
}

TEST(row_matches, splits_a_long_word_over_two_values)
{
    const command_args args = matched(110, "id " + std::string(64, 'a') + std::string(10, 'b'));
    EXPECT_EQ(args.text(0), std::string(64, 'a'));
    EXPECT_EQ(args.text(1), std::string(10, 'b'));
}

TEST(row_matches, refuses_a_line_that_is_not_consumed_whole)
{
    EXPECT_FALSE(row_matches(command_table[103], "ver 1 ", 6));
    EXPECT_FALSE(row_matches(command_table[103], "ver 1 2", 7));
}

TEST(row_matches, text_of_four_characters_is_followed_by_what_an_earlier_one_left)
{
    make_clean_buffers();
    matched(151, "shell reboot now");
    EXPECT_STREQ(matched(151, "shell echo").text(0), "echoot now");
}

TEST(row_matches, shorter_text_ends_at_the_word_that_is_cleared)
{
    matched(151, "shell reboot now");
    EXPECT_STREQ(matched(151, "shell ls").text(0), "ls");
}

TEST(row_matches, longest_text_is_still_terminated)
{
    EXPECT_EQ(matched(151, "shell " + std::string(255, 'x')).text(0), std::string(255, 'x'));
}

// --- Log and times --------------------------------------------------------------------------------------------------

TEST(treat_command, traces_the_line_and_the_answer_in_debug_mode)
{
    cli_debug = 1;
    answer("  foo ");
    const auto &records = log_records();
    ASSERT_GE(records.size(), 3U);
    EXPECT_EQ(records[0].tag, "CLITXRX");
    EXPECT_EQ(records[0].level, 7);
    EXPECT_TRUE(records[0].message.ends_with(") RX [  foo ]")) << records[0].message;
    EXPECT_EQ(records[1].tag, "ZTCLI");
    EXPECT_TRUE(records[1].message.ends_with(") Treat Comamnd [foo]")) << records[1].message;
    EXPECT_EQ(records[2].tag, "CLITXRX");
    EXPECT_TRUE(records[2].message.ends_with(std::string(") TX [") + failure_text + "]")) << records[2].message;
}

TEST(treat_command, logs_nothing_without_debug_mode)
{
    answer("foo");
    EXPECT_EQ(dump_log(), "");
}

TEST(treat_command, debug_mode_prints_the_time_spent_as_a_second_text)
{
    cli_debug = 1;
    wall_clock.step(1250000);
    answer(" foo  ");
    EXPECT_EQ(session.tap, (texts{failure_text, "foo: Command spent 1.25 sec. (0.00 sec in TSAPI)\n\n"}));
    EXPECT_EQ(printed(), session.tap[0] + session.tap[1]);
}

TEST(treat_command, without_memory_for_the_time_spent_there_is_the_answer_alone)
{
    cli_debug = 1;
    heap.fail_at(0);
    answer("foo");
    const int all = heap.count();
    EXPECT_GT(all, 0);
    heap.fail_at(all);
    EXPECT_EQ(answer("foo"), failure_text);
    EXPECT_TRUE(heap.failed());
}

TEST(treat_command, command_without_bracket_reports_no_time_in_tsapi)
{
    cli_debug = 1;
    tsapi_usec = 5000000;
    EXPECT_EQ(answer("foo"), std::string(failure_text) + "foo: Command spent 0.00 sec. (0.00 sec in TSAPI)\n\n");
}

TEST(treat_command, timing_line_shows_the_last_bracket_only)
{
    fake_chain chain;
    chain.unit();
    cli_debug = 1;
    wall_clock.step(10000);
    answer("id");
    EXPECT_DOUBLE_EQ(tsapi_usec, 10000) << "one step between start and stop, though more brackets ran";
    EXPECT_NE(printed().find(" sec. (0.01 sec in TSAPI)\n\n"), std::string::npos) << printed();
}

TEST(treat_command, debug_mode_that_comes_up_during_a_command_reports_no_time)
{
    fake_chain chain;
    chain.unit();
    tree.when("admin", "power.port.1.pdu.1.id", [](const texts &) { cli_debug = 1; });
    answer("id 1 rack");
    EXPECT_TRUE(printed().ends_with("id 1 rack: Command spent 0.00 sec. (0.00 sec in TSAPI)\n\n")) << printed();
}

// --- cmd_usage ------------------------------------------------------------------------------------------------------

TEST(cmd_usage, replaces_what_stands_in_the_accumulator)
{
    char *out = strdup("earlier");
    EXPECT_EQ(cmd_usage(0, &out, {}), 0);
    EXPECT_STREQ(out, command_table[0].format);
    free(out);
}

TEST(cmd_usage, leaves_the_accumulator_where_the_row_has_no_format)
{
    char *out = strdup("earlier");
    EXPECT_EQ(cmd_usage(190, &out, {}), 0);
    EXPECT_STREQ(out, "earlier");
    free(out);
}

TEST(cmd_exit, ends_with_status_0)
{
    EXPECT_EXIT(answer("exit"), testing::ExitedWithCode(0), "");
}

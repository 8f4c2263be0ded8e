// The accumulator, the one place that prints, and the time account.

#include "shell/output.h"

#include <cstring>

#include "tests/fakes/fakes.h"

// The accumulator of a handler.
struct accumulator {
    char *text = nullptr;
    ~accumulator() { free(text); }
};

TEST(append_output, first_fragment_stands_alone)
{
    accumulator out;
    EXPECT_EQ(append_output(&out.text, "%d: %s\n", 3, "on"), 0);
    EXPECT_STREQ(out.text, "3: on\n");
}

TEST(append_output, later_fragments_go_behind)
{
    accumulator out;
    EXPECT_EQ(append_output(&out.text, "%s", "one "), 0);
    EXPECT_EQ(append_output(&out.text, "%s", "two "), 0);
    EXPECT_EQ(append_output(&out.text, "%s", "three"), 0);
    EXPECT_STREQ(out.text, "one two three");
}

TEST(append_output, empty_fragment_makes_a_null_accumulator_an_empty_text)
{
    accumulator out;
    EXPECT_EQ(append_output(&out.text, "%s", ""), 0);
    EXPECT_STREQ(out.text, "");
}

TEST(append_output, empty_fragment_leaves_a_text_the_same)
{
    accumulator out;
    append_output(&out.text, "%s", "one");
    EXPECT_EQ(append_output(&out.text, "%s", ""), 0);
    EXPECT_STREQ(out.text, "one");
}

TEST(append_output, null_or_empty_format_fails_and_changes_nothing)
{
    accumulator out;
    const std::string empty;
    for (const char *format : {static_cast<const char *>(nullptr), empty.c_str()})
        EXPECT_EQ(append_output(&out.text, format), 1);
    EXPECT_EQ(out.text, nullptr);
    EXPECT_EQ(dump_log(), "");
}

TEST(append_output, text_has_no_limit)
{
    accumulator out;
    const std::string part(1 << 20, 'x');
    for (int i = 0; i < 3; i++)
        EXPECT_EQ(append_output(&out.text, "%s", part.c_str()), 0);
    EXPECT_EQ(strlen(out.text), part.size() * 3);
}

TEST(append_output, without_memory_for_the_fragment_logs_the_format)
{
    accumulator out;
    append_output(&out.text, "%s", "one");
    heap.fail_at(1);
    EXPECT_EQ(append_output(&out.text, "%d: two\n", 2), 1);
    heap.fail_at(0);
    EXPECT_STREQ(out.text, "one");
    EXPECT_FAILURES({"Fail to append instance %d: two\n"});
}

TEST(append_output, without_memory_for_the_whole_logs_fragment_and_text)
{
    accumulator out;
    append_output(&out.text, "%s", "one");
    const size_t before = heap.live();
    heap.fail_at(2);
    EXPECT_EQ(append_output(&out.text, "%d: two\n", 2), 1);
    heap.fail_at(0);
    EXPECT_STREQ(out.text, "one");
    EXPECT_EQ(heap.live(), before);
    EXPECT_FAILURES({"Fail to append 2: two\n to accumulate string one"});
}

TEST(append_output, without_memory_a_null_accumulator_stays_null)
{
    accumulator out;
    heap.fail_at(2);
    EXPECT_EQ(append_output(&out.text, "%s", "one"), 1);
    heap.fail_at(0);
    EXPECT_EQ(out.text, nullptr);
    EXPECT_FAILURES({"Fail to append one to accumulate string "});
}

TEST(append_output, gives_back_all_memory_but_the_text)
{
    accumulator out;
    const size_t before = heap.live();
    append_output(&out.text, "%s", "one");
    append_output(&out.text, "%s", "two");
    EXPECT_EQ(heap.live(), before + 1);
}

TEST(append_output, several_accumulators_grow_in_turn)
{
    accumulator one, two;
    for (const char *part : {"a", "bc", "def"}) {
        append_output(&one.text, "%s", part);
        append_output(&two.text, "<%s>", part);
    }
    EXPECT_STREQ(one.text, "abcdef");
    EXPECT_STREQ(two.text, "<a><bc><def>");
}

TEST(append_output, failure_between_two_fragments_loses_nothing)
{
    accumulator out;
    append_output(&out.text, "%s", "one ");
    heap.fail_at(2);
    EXPECT_EQ(append_output(&out.text, "%s", "two "), 1);
    heap.fail_at(0);
    EXPECT_EQ(append_output(&out.text, "%s", "three"), 0);
    EXPECT_STREQ(out.text, "one three");
}

TEST(append_output, dropped_accumulator_is_not_remembered)
{
    accumulator out;
    append_output(&out.text, "%s", "a first text, which is long");
    drop_output(&out.text);
    EXPECT_EQ(out.text, nullptr);
    out.text = strdup("a second text, made elsewhere"); // may lie where the first did
    EXPECT_EQ(append_output(&out.text, "%s", "!"), 0);
    EXPECT_STREQ(out.text, "a second text, made elsewhere!");
}

TEST(cli_output, reaches_the_user_and_the_tap)
{
    cli_output("text\n");
    EXPECT_EQ(printed(), "text\n");
    EXPECT_EQ(session.tap, (texts{"text\n"}));
}

TEST(cli_output, null_text_is_ignored)
{
    cli_debug = 1;
    cli_output(nullptr);
    EXPECT_EQ(printed(), "");
    EXPECT_TRUE(session.tap.empty());
    EXPECT_EQ(dump_log(), "");
}

TEST(cli_output, is_traced_in_debug_mode)
{
    cli_debug = 1;
    cli_output("a %s b\n");
    ASSERT_EQ(log_records().size(), 1U);
    EXPECT_EQ(log_records()[0].tag, "CLITXRX");
    EXPECT_EQ(log_records()[0].level, 7);
    EXPECT_LOGGED("TX [a %s b\n]");
    EXPECT_EQ(printed(), "a %s b\n");
}

TEST(cli_output, tap_failure_is_logged_in_debug_mode_and_never_shown)
{
    session.tap_works = false;
    cli_debug = 1;
    cli_output("text");
    EXPECT_EQ(printed(), "text");
    ASSERT_EQ(log_records().size(), 2U);
    EXPECT_EQ(log_records()[1].tag, "ZTCLI");
    EXPECT_LOGGED("DLA (output) error: text");
}

TEST(cli_output, tap_failure_is_silent_without_debug_mode)
{
    session.tap_works = false;
    cli_output("text");
    EXPECT_EQ(dump_log(), "");
}

TEST(cli_output_flush, shows_and_empties_the_accumulator)
{
    accumulator out;
    append_output(&out.text, "%s", "so far\n");
    cli_output_flush(&out.text);
    EXPECT_EQ(out.text, nullptr);
    EXPECT_EQ(printed(), "so far\n");
}

TEST(cli_output_flush, nothing_to_show_is_no_fault)
{
    accumulator out;
    cli_output_flush(nullptr);
    cli_output_flush(&out.text);
    EXPECT_TRUE(session.tap.empty());
}

// --- Times ----------------------------------------------------------------------------------------------------------

TEST(tsapi_time_account, does_nothing_without_debug_mode)
{
    tsapi_usec = 17;
    tsapi_time_account(0);
    wall_clock.advance(1000000);
    tsapi_time_account(1);
    EXPECT_EQ(tsapi_usec, 17);
}

TEST(tsapi_time_account, bracket_gives_its_length)
{
    cli_debug = 1;
    tsapi_time_account(0);
    wall_clock.advance(1500);
    tsapi_time_account(1);
    EXPECT_EQ(tsapi_usec, 1500);
}

TEST(tsapi_time_account, second_bracket_replaces_the_first)
{
    cli_debug = 1;
    tsapi_time_account(0);
    wall_clock.advance(1500);
    tsapi_time_account(1);
    wall_clock.advance(90);
    tsapi_time_account(0);
    wall_clock.advance(20);
    tsapi_time_account(1);
    EXPECT_EQ(tsapi_usec, 20);
}

TEST(tsapi_time_account, second_stop_adds_the_time_since_the_first)
{
    cli_debug = 1;
    tsapi_time_account(0);
    wall_clock.advance(1500);
    tsapi_time_account(1);
    wall_clock.advance(90);
    tsapi_time_account(1);
    EXPECT_EQ(tsapi_usec, 1590);
}

TEST(time_stamp, is_seconds_and_microseconds_in_32_bits)
{
    wall_clock.set(2, 3);
    EXPECT_EQ(time_stamp(), 2000003);
}

TEST(time_stamp, turns_negative_beyond_31_bits)
{
    wall_clock.set(2147, 483647);
    EXPECT_EQ(time_stamp(), 2147483647);
    wall_clock.set(2147, 483648);
    EXPECT_EQ(time_stamp(), -2147483648.0);
}

TEST(time_stamp, bracket_across_the_wrap_shows_a_false_time)
{
    cli_debug = 1;
    wall_clock.set(2147, 483647);
    tsapi_time_account(0);
    wall_clock.advance(1);
    tsapi_time_account(1);
    EXPECT_EQ(tsapi_usec, -4294967295.0);
}

// The rules that the command table has to keep, held against tables that break them.

#include "shell/table_rules.h"

#include <gtest/gtest.h>

using namespace table_rules;

static int cmd_number_and_name(int, char **, command_args)
{
    return 0;
}

static int cmd_silent(int, char **, command_args)
{
    return 0;
}

static constexpr handler_statement statements[] = {
    {cmd_number_and_name, "ds", "d"},
    {cmd_silent, nullptr, nullptr},
};

static int disagreeing(const command_row &row)
{
    const command_row table[] = {row, {}};
    return first_disagreeing_row(table, statements, {});
}

TEST(table_rules, literal_without_conversions_is_sound)
{
    EXPECT_TRUE(pattern_is_sound("current help", 0));
}

TEST(table_rules, literal_with_percent_sign_is_unsound)
{
    EXPECT_FALSE(pattern_is_sound("current %64s", 0));
    EXPECT_FALSE(pattern_is_sound("current %%", 0));
    EXPECT_FALSE(pattern_is_sound("current %", 0));
}

TEST(table_rules, each_kind_of_conversion_counts_one_value)
{
    EXPECT_TRUE(pattern_is_sound("x %64s%n", 1));
    EXPECT_TRUE(pattern_is_sound("x %d %c %lf %64[^:]%n", 4));
    EXPECT_TRUE(pattern_is_sound("x %64[0-9.:]%n", 1));
    EXPECT_TRUE(pattern_is_sound("x %64[]a]%n", 1));
    EXPECT_TRUE(pattern_is_sound("x %255c%n", 1));
}

TEST(table_rules, count_of_values_must_be_the_rows)
{
    EXPECT_FALSE(pattern_is_sound("x %64s %64s%n", 1));
    EXPECT_FALSE(pattern_is_sound("x %64s%n", 2));
    EXPECT_FALSE(pattern_is_sound("x%n", 0 + 1));
}

TEST(table_rules, widths_must_leave_room_in_the_buffer)
{
    EXPECT_TRUE(pattern_is_sound("x %255s%n", 1));
    EXPECT_FALSE(pattern_is_sound("x %256s%n", 1));
    EXPECT_FALSE(pattern_is_sound("x %256c%n", 1));
    EXPECT_FALSE(pattern_is_sound("x %s%n", 1));
    EXPECT_FALSE(pattern_is_sound("x %[^:]%n", 1));
}

TEST(table_rules, values_have_the_sizes_that_handlers_read)
{
    EXPECT_FALSE(pattern_is_sound("x %f%n", 1));
    EXPECT_FALSE(pattern_is_sound("x %ld%n", 1));
    EXPECT_FALSE(pattern_is_sound("x %ls%n", 1));
    EXPECT_FALSE(pattern_is_sound("x %2d%n", 1));
    EXPECT_FALSE(pattern_is_sound("x %u%n", 1));
    EXPECT_FALSE(pattern_is_sound("x %64[abc%n", 1));
}

TEST(table_rules, measure_must_stand_last)
{
    EXPECT_FALSE(pattern_is_sound("x %n %64s", 1));
    EXPECT_FALSE(pattern_is_sound("x %64s%n ", 1));
    EXPECT_FALSE(pattern_is_sound("x %64s%n%n", 1));
    EXPECT_FALSE(pattern_is_sound("x %64s%ln", 1));
}

TEST(table_rules, only_the_three_exceptions_go_without_measure)
{
    EXPECT_FALSE(pattern_is_sound("reboot %64s", 1));
    EXPECT_TRUE(pattern_is_sound("factory_defaults %64s", 1));
    EXPECT_TRUE(pattern_is_sound("network ipv4 address %64s mask %64s", 2));
    EXPECT_TRUE(pattern_is_sound("network ipv6 address %64s prefix %d", 2));
}

TEST(table_rules, measure_needs_a_buffer_behind_the_values)
{
    EXPECT_TRUE(pattern_is_sound("x %d %d %d %d%n", 4));
    EXPECT_FALSE(pattern_is_sound("x %d %d %d %d %d%n", 5));
}

TEST(table_rules, first_unsound_row_is_named)
{
    const command_row table[] = {{cmd_silent, 0, "x", nullptr, nullptr}, {cmd_silent, 1, "y", nullptr, nullptr}, {}};
    EXPECT_EQ(first_unsound_pattern(table), 1);
}

TEST(table_rules, format_must_take_the_values_in_order_and_number)
{
    EXPECT_TRUE(format_takes("%d: %-23s %.1f%% %c\n", "dsfc"));
    EXPECT_FALSE(format_takes("%d: %s\n", "sd"));
    EXPECT_FALSE(format_takes("%d: %s\n", "d"));
    EXPECT_FALSE(format_takes("%d\n", ""));
}

TEST(table_rules, format_may_leave_the_last_values_unused)
{
    EXPECT_TRUE(format_takes("%d\n", "ds"));
    EXPECT_TRUE(format_takes("told\n", "ds"));
}

TEST(table_rules, format_must_not_take_widths_sizes_or_addresses)
{
    EXPECT_FALSE(format_takes("%*d", "d"));
    EXPECT_FALSE(format_takes("%.*s", "s"));
    EXPECT_FALSE(format_takes("%ld", "d"));
    EXPECT_FALSE(format_takes("%n", "d"));
    EXPECT_FALSE(format_takes("%", ""));
}

TEST(table_rules, row_agrees_with_what_its_handler_states)
{
    EXPECT_EQ(disagreeing({cmd_number_and_name, 0, "x", "%d is %s\n", "%d is not\n"}), -1);
    EXPECT_EQ(disagreeing({cmd_number_and_name, 0, "x", nullptr, nullptr}), -1);
    EXPECT_EQ(disagreeing({cmd_number_and_name, 0, "x", "%s is %d\n", nullptr}), 0);
    EXPECT_EQ(disagreeing({cmd_number_and_name, 0, "x", nullptr, "%s\n"}), 0);
    EXPECT_EQ(disagreeing({cmd_silent, 0, "x", "text\n", nullptr}), 0);
}

TEST(table_rules, handler_without_statement_disagrees_unless_exempt)
{
    const command_row table[] = {{cmd_silent, 0, "x", nullptr, nullptr}, {}};
    const command_handler exempt[] = {cmd_silent};
    EXPECT_EQ(first_disagreeing_row(table, {}, {}), 0);
    EXPECT_EQ(first_disagreeing_row(table, {}, exempt), -1);
}

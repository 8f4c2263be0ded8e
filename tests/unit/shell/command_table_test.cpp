// The command table: each row as it must be, and the way of a line to its row.

#include "shell/command_table.h"

#include <cstring>
#include <fstream>
#include <regex>

#include "cmd/cmd_id.h"
#include "shell/cmd_help.h"
#include "shell/commands.h"
#include "tests/fakes/fakes.h"

static std::string quoted(const char *text)
{
    if (!text)
        return "none";
    std::string written = "\"";
    for (; *text; text++)
        written += *text == '\n' ? std::string("\\n") : *text == '\t' ? std::string("\\t") : std::string(1, *text);
    return written + "\"";
}

static bool shows_usage(const command_row &row)
{
    return row.handler == cmd_usage || row.pattern == std::string("passwd help");
}

static std::string written(int number)
{
    const command_row &row = command_table[number];
    return std::to_string(number) + " " + std::to_string(row.nargs) + " " + quoted(row.pattern) + " " +
           (shows_usage(row) ? "usage" : quoted(row.format)) + " " + quoted(row.error_format);
}

// The first row that takes a line, -1 if none does.
static int first_row(const std::string &line)
{
    EXPECT_EQ(cli_make_args(), 0);
    for (int row = 0; command_table[row].handler; row++)
        if (row_matches(command_table[row], line.c_str(), line.size()))
            return row;
    return -1;
}

// A line that the pattern describes.
static std::string line_of(const std::string &pattern)
{
    static const std::pair<const char *, const char *> samples[] = {
        {"%64\\[0-9\\.:\\]", "1:2:3:4"},
        {"%64\\[\\^:\\]", "P1"},
        {"%64s", "word"},
        {"%255c", "ls -l"},
        {"%lf", "12.5"},
        {"%d", "30"},
        {"%c", "c"},
        {"%n", ""},
    };
    std::string line = pattern;
    for (const auto &[conversion, sample] : samples)
        line = std::regex_replace(line, std::regex(conversion), sample);
    return line;
}

TEST(command_table, every_row_is_as_written_down)
{
    std::ifstream file(ZT_TESTS_FOLDER "/unit/shell/command_table.ok");
    ASSERT_TRUE(file.is_open());
    int row = 0;
    for (std::string expected; std::getline(file, expected); row++) {
        ASSERT_LT(row, command_row_count);
        EXPECT_EQ(written(row), expected);
    }
    EXPECT_EQ(row, command_row_count);
}

TEST(command_table, a_row_of_zeros_ends_it)
{
    const command_row &end = command_table[command_row_count];
    EXPECT_EQ(end.handler, nullptr);
    EXPECT_EQ(end.nargs, 0);
    EXPECT_EQ(end.pattern, nullptr);
    EXPECT_EQ(end.format, nullptr);
    EXPECT_EQ(end.error_format, nullptr);
}

TEST(command_table, rows_that_show_a_usage_have_one)
{
    for (int row = 0; row < command_row_count; row++)
        if (shows_usage(command_table[row])) {
            ASSERT_NE(command_table[row].format, nullptr) << row;
            EXPECT_EQ(strncmp(command_table[row].format, "Usage: ", 7), 0) << row;
        }
}

TEST(command_table, a_line_made_from_each_pattern_reaches_its_row)
{
    ASSERT_EQ(cli_make_args(), 0);
    for (int row = 0; row < command_row_count; row++) {
        const std::string line = line_of(command_table[row].pattern);
        EXPECT_TRUE(row_matches(command_table[row], line.c_str(), line.size())) << line;
        EXPECT_EQ(first_row(line), row == 130 ? 128 : row) << line; // 130 has a test of its own
    }
}

TEST(command_table, display_with_a_cycle_meets_the_rows_with_a_letter_first)
{
    EXPECT_EQ(first_row("display 1 0 30"), 128);
    EXPECT_EQ(first_row("display 1 0 3"), 129);
    EXPECT_TRUE(row_matches(command_table[130], "display 1 0 30", 14));
    EXPECT_TRUE(row_matches(command_table[130], "display 1 0 3", 13));
}

TEST(command_table, reset_with_a_unit_is_never_taken_for_unit_and_element)
{
    EXPECT_EQ(first_row("current reset 1"), 26);
}

TEST(command_table, threshold_takes_a_word_without_colon_as_element_and_one_with_colons_as_list)
{
    EXPECT_EQ(first_row("current threshold 1 P1"), 23);
    EXPECT_EQ(first_row("current threshold 1 1:2:3:4"), 24);
}

TEST(command_table, blanks_in_patterns_with_values_match_any_run_and_none)
{
    EXPECT_EQ(first_row("current  reset  1"), 26);
    EXPECT_EQ(first_row("current reset1"), 26);
}

TEST(command_table, literals_match_to_the_letter_and_fall_through_to_the_general_row)
{
    EXPECT_EQ(first_row("current  reset"), 29);
    EXPECT_EQ(first_row("current  help"), 29);
}

TEST(command_table, head_of_a_pattern_needs_its_blank)
{
    EXPECT_EQ(first_row("currentx"), -1);
    EXPECT_EQ(first_row("current\t1"), -1);
    EXPECT_EQ(first_row("curren"), -1);
}

TEST(command_table, upgrade_with_two_words_reaches_the_later_row)
{
    EXPECT_EQ(first_row("upgrade 1"), 166);
    EXPECT_EQ(first_row("upgrade 1 image"), 167);
}

TEST(command_table, naming_a_sensor_reaches_the_last_row_of_sensors)
{
    EXPECT_EQ(first_row("sensors name 1 T1 rack"), 185);
}

TEST(command_table, too_many_words_match_no_row)
{
    EXPECT_EQ(first_row("current 1 2 3"), -1);
    EXPECT_EQ(first_row("on 1 2"), -1);
    EXPECT_EQ(first_row("help me"), -1);
    EXPECT_EQ(first_row("exit now"), -1);
}

TEST(command_table, trailing_text_is_taken_by_the_three_rows_without_measure)
{
    EXPECT_EQ(first_row("factory_defaults 1 x"), 148);
    EXPECT_EQ(first_row("network ipv4 address 1.2.3.4 mask 255.0.0.0 x y"), 162);
    EXPECT_EQ(first_row("network ipv6 address fe80::1 prefix 64x"), 163);
}

TEST(command_table, a_word_of_64_characters_is_taken_whole)
{
    EXPECT_EQ(first_row("ver " + std::string(64, 'a')), 103);
}

TEST(command_table, a_longer_word_fails_a_row_of_one_word)
{
    EXPECT_EQ(first_row("ver " + std::string(65, 'a')), -1);
}

TEST(command_table, a_longer_word_is_split_where_a_row_of_two_words_exists)
{
    EXPECT_EQ(first_row("id " + std::string(65, 'a')), 110);
    EXPECT_EQ(first_row("id " + std::string(128, 'a')), 110);
    EXPECT_EQ(first_row("id " + std::string(129, 'a')), -1);
}

TEST(command_table, shell_takes_255_characters_and_not_256)
{
    EXPECT_EQ(first_row("shell " + std::string(255, 'x')), 151);
    EXPECT_EQ(first_row("shell " + std::string(256, 'x')), -1);
    EXPECT_EQ(first_row("scp " + std::string(255, 'x')), 154);
    EXPECT_EQ(first_row("scp " + std::string(256, 'x')), -1);
}

TEST(command_table, rows_match_any_bytes)
{
    EXPECT_EQ(first_row("ver \xff\xfe\x80"), 103);
    EXPECT_EQ(first_row(std::string(1 << 20, '\xff')), -1);
    EXPECT_EQ(first_row("current " + std::string(1 << 20, 'a')), -1);
}

TEST(command_table, find_command_row_gives_the_first_row_of_a_handler)
{
    EXPECT_EQ(find_command_row(cmd_usage), 0);
    EXPECT_EQ(find_command_row(cmd_id_pdu_set), 110);
    EXPECT_EQ(find_command_row(cmd_help), 189);
    EXPECT_EQ(find_command_row(cmd_exit), 190);
}

TEST(command_table, find_command_row_gives_minus_one_for_a_stranger)
{
    EXPECT_EQ(find_command_row([](int, char **, command_args) { return 0; }), -1);
}

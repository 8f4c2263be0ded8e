// The usage texts, held against what a user is to read: usage/COMMAND.ok is the printed text byte for byte.

#include <fstream>
#include <iterator>

#include "shell/cli.h"
#include "tests/fakes/fakes.h"

static std::string expected_usage(const std::string &command)
{
    std::ifstream file(ZT_TESTS_FOLDER "/unit/cmd/usage/" + command + ".ok", std::ios::binary);
    EXPECT_TRUE(file.is_open()) << command;
    return {std::istreambuf_iterator<char>(file), {}};
}

static const command_row *row_of(const std::string &pattern)
{
    for (const command_row *row = command_table; row->handler; row++)
        if (pattern == row->pattern)
            return row;
    return nullptr;
}

// passwd has a help handler of its own.
static const char *const all_commands[] = {"alarm",
                                           "buzzer",
                                           "currentprotection",
                                           "current",
                                           "voltage",
                                           "power",
                                           "powerfactor",
                                           "energy",
                                           "on",
                                           "off",
                                           "cycle",
                                           "lock",
                                           "unlock",
                                           "status",
                                           "interval",
                                           "intervaloff",
                                           "outcycledelay",
                                           "ver",
                                           "hwocp",
                                           "id",
                                           "name",
                                           "temperature",
                                           "syslog",
                                           "display",
                                           "coldstart",
                                           "reboot",
                                           "save",
                                           "restore",
                                           "factory_defaults",
                                           "shell",
                                           "scp",
                                           "network",
                                           "upgrade",
                                           "serial",
                                           "sensors",
                                           "fuses"};

class usage : public testing::TestWithParam<const char *> {};

TEST_P(usage, help_prints_the_text_of_the_command)
{
    EXPECT_EQ(answer(std::string(GetParam()) + " help"), expected_usage(GetParam()));
    EXPECT_EQ(last_result(), 0);
    EXPECT_EXCHANGES({});
}

INSTANTIATE_TEST_SUITE_P(commands, usage, testing::ValuesIn(all_commands),
                         [](const auto &test) { return std::string(test.param); });

class bare_usage : public testing::TestWithParam<const char *> {};

TEST_P(bare_usage, command_without_its_argument_prints_the_same_text)
{
    EXPECT_EQ(answer(GetParam()), expected_usage(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(commands, bare_usage,
                         testing::Values("on", "off", "cycle", "lock", "unlock", "status", "intervaloff", "interval",
                                         "name", "scp", "upgrade", "currentprotection"),
                         [](const auto &test) { return std::string(test.param); });

TEST(usage_rows, passwd_help_has_the_text_in_its_row)
{
    ASSERT_NE(row_of("passwd help"), nullptr);
    EXPECT_EQ(row_of("passwd help")->format, expected_usage("passwd"));
}

TEST(usage_rows, every_help_row_of_the_table_is_among_the_tested)
{
    size_t rows = 0;
    for (const command_row *row = command_table; row->handler; row++)
        rows += std::string_view(row->pattern).ends_with(" help");
    EXPECT_EQ(rows, std::size(all_commands) + 1);
}

TEST(usage_rows, help_without_memory_prints_nothing_of_it)
{
    each_failing_allocation([](int) {
        std::string text = answer("ver help");
        EXPECT_TRUE(text.empty() || text == expected_usage("ver")) << text;
    });
}

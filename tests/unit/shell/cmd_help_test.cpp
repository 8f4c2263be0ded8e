// help: the listing, and its list of names against the table.

#include "shell/cmd_help.h"

#include <set>
#include <sstream>

#include "shell/commands.h"
#include "tests/fakes/fakes.h"

static constexpr char listing[] = "Available commands:\n\n"
                                  "alarm               buzzer              coldstart           \n"
                                  "current             currentprotection   cycle               \n"
                                  "display             energy              exit                \n"
                                  "factory_defaults    fuses               help                \n"
                                  "hwocp               id                  interval            \n"
                                  "intervaloff         lock                name                \n"
                                  "network             off                 on                  \n"
                                  "outcycledelay       passwd              power               \n"
                                  "powerfactor         reboot              restore             \n"
                                  "save                scp                 sensors             \n"
                                  "serial              shell               status              \n"
                                  "syslog              temperature         unlock              \n"
                                  "upgrade             ver                 voltage             \n"
                                  " \n\n"
                                  "NOTE: To get detailed help on the commands listed above type\n"
                                  "\t'<command> help'\n\n";

static std::set<std::string> words_of(const std::string &text)
{
    std::istringstream words(text);
    std::set<std::string> found;
    for (std::string word; words >> word;)
        found.insert(word);
    return found;
}

TEST(cmd_help, lists_all_names_in_three_columns)
{
    EXPECT_EQ(answer("help"), listing);
    EXPECT_EQ(last_result(), 0);
}

TEST(cmd_help, leaves_out_passwd_and_serial_under_another_name)
{
    cli_own_name = 0;
    const called help = call(cmd_help);
    EXPECT_EQ(help.result, 0);
    const std::string text = help.text.value_or("");
    EXPECT_NE(text.find("outcycledelay       power               powerfactor         \n"), text.npos) << text;
    EXPECT_NE(text.find("\nvoltage              \n\n"), text.npos) << "37 names leave one on the last line: " << text;
    EXPECT_FALSE(words_of(text).contains("passwd"));
    EXPECT_FALSE(words_of(text).contains("serial"));
}

TEST(cmd_help, trailing_word_is_no_row)
{
    EXPECT_EQ(answer("help on"), failure_text);
    EXPECT_NE(last_result(), 0);
}

TEST(cmd_help, every_first_word_of_the_table_is_listed_but_ion_and_ioff)
{
    const std::set<std::string> listed = words_of(listing);
    for (const command_row *row = command_table; row->handler; row++) {
        const std::string pattern = row->pattern;
        const std::string word = pattern.substr(0, pattern.find(' '));
        EXPECT_EQ(listed.contains(word), word != "ion" && word != "ioff") << word;
    }
}

TEST(cmd_help, declines_without_memory_for_the_list)
{
    for (int n = 1; n <= 39; n++) {
        heap.fail_at(n);
        const called help = call(cmd_help);
        heap.fail_at(0);
        EXPECT_EQ(help.result, 1) << n;
        EXPECT_FALSE(help.text) << n;
    }
}

TEST(cmd_help, failed_append_is_logged_with_the_list_and_counts_as_done)
{
    heap.fail_at(40);
    const called help = call(cmd_help);
    heap.fail_at(0);
    EXPECT_EQ(help.result, 0);
    EXPECT_FALSE(help.text);
    ASSERT_EQ(failures().size(), 2U);
    EXPECT_TRUE(failures()[1].starts_with("Fail to printf help alarm  ")) << failures()[1];
}

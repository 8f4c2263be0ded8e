// The password of the chain, asked for twice on a terminal.

#include <algorithm>
#include <string>

#include "cmd/cmd_ci.h"
#include "tests/fakes/fakes.h"
#include "tests/fakes/terminal.h"

namespace {

constexpr char both_prompts[] = "Password: Re-enter password: ";
constexpr char set_line[] = "Username/password set for user admin.\n";

struct chain_password : testing::Test {
    chain_password()
    {
        tree.text("power.global.tarnel.username", "admin");
        answer("passwd help"); // the segment is attached behind this
    }
};

std::string after_prompts(const std::string &said)
{
    EXPECT_TRUE(said.starts_with(both_prompts)) << said;
    return said.substr(std::string(both_prompts).size());
}

std::string type(const std::string &input)
{
    terminal.take_over(input);
    return answer("passwd");
}

std::string password_sent()
{
    return tree.value("power.passwd").value_or("(none)");
}

bool is_as_before()
{
    return (terminal.current.c_lflag & (ECHO | ECHONL | ICANON)) == (ECHO | ECHONL | ICANON);
}

TEST_F(chain_password, is_asked_for_twice_and_handed_to_the_daemon)
{
    EXPECT_EQ(after_prompts(type("secret\nsecret\n")), set_line);
    EXPECT_EXCHANGES({"get power.global.tarnel.username", "admin power.passwd secret"});
    EXPECT_EQ(last_result(), 0);
}

TEST_F(chain_password, is_typed_unseen_and_each_line_is_ended_for_the_user)
{
    type("secret\nsecret\n");
    EXPECT_EVENTS({"tcgetattr 0", "tcsetattr 0 TCSAFLUSH", "tap Password: ", "write \n",
                   "tap Re-enter password: ", "write \n", "ready", "send get power.global.tarnel.username", "idle",
                   "release", "ready", "send admin power.passwd secret", "idle", "release", "tcsetattr 0 TCSAFLUSH",
                   "tap Username/password set for user admin.\n"});
    ASSERT_EQ(terminal.set_to.size(), 2U);
    EXPECT_EQ(terminal.set_to[0].c_lflag & (ECHO | ECHONL), 0U);
    EXPECT_EQ(terminal.set_to[0].c_lflag & ICANON, ICANON + 0U);
    EXPECT_TRUE(is_as_before());
}

TEST_F(chain_password, longer_entries_are_cut_to_8_characters_in_silence)
{
    EXPECT_EQ(after_prompts(type("12345678\n12345678\n")), set_line);
    EXPECT_EQ(password_sent(), "12345678");
    EXPECT_EQ(after_prompts(type("abcdefghij\nabcdefgh\n")), set_line);
    EXPECT_EQ(password_sent(), "abcdefgh");
    EXPECT_EQ(after_prompts(type("87654321x\n87654321yz\n")), set_line);
    EXPECT_EQ(password_sent(), "87654321");
}

// Intended: the sentence about a long password is never shown.
TEST_F(chain_password, very_long_entry_is_read_to_its_end)
{
    EXPECT_EQ(after_prompts(type(std::string(100000, 'p') + "\n" + std::string(9, 'p') + "\n")), set_line);
    EXPECT_EQ(password_sent(), "pppppppp");
    EXPECT_EQ(terminal.typed, "");
}

TEST_F(chain_password, carriage_return_ends_an_entry_too)
{
    EXPECT_EQ(after_prompts(type("secret\rsecret\r")), set_line);
    EXPECT_EQ(password_sent(), "secret");
    EXPECT_EQ(after_prompts(type("other\r\nother\n")), "Passwords do not match!!!\n");
}

TEST_F(chain_password, end_of_input_ends_an_entry_too)
{
    EXPECT_EQ(after_prompts(type("secret\nsecret")), set_line);
    EXPECT_EQ(password_sent(), "secret");
    EXPECT_EQ(after_prompts(type("secret")), "Passwords do not match!!!\n");
}

TEST_F(chain_password, empty_one_is_accepted_like_any_other)
{
    EXPECT_EQ(after_prompts(type("\n\n")), set_line);
    EXPECT_EXCHANGES({"get power.global.tarnel.username", "admin power.passwd "});
    EXPECT_EQ(after_prompts(type("")), set_line);
}

TEST_F(chain_password, blanks_and_bytes_of_any_kind_belong_to_it)
{
    EXPECT_EQ(after_prompts(type(" %s\t\xff\n %s\t\xff\n")), set_line);
    EXPECT_EQ(password_sent(), " %s\t\xff");
}

TEST_F(chain_password, entries_that_differ_never_reach_the_daemon)
{
    for (const char *input : {"secret\nsecreT\n", "secret\nsecret1\n", "secret\n\n", "\nsecret\n"}) {
        EXPECT_EQ(after_prompts(type(input)), "Passwords do not match!!!\n");
        EXPECT_EXCHANGES({});
        EXPECT_NE(last_result(), 1); // the text counts as dealt with
        EXPECT_TRUE(is_as_before());
    }
    terminal.take_over("a\nb\n");
    EXPECT_EQ(call(cmd_passwd).result, 1);
}

TEST_F(chain_password, user_without_a_name_shows_as_empty)
{
    tree.absent("power.global.tarnel.username");
    EXPECT_EQ(after_prompts(type("a\na\n")), "Username/password set for user .\n");
}

// Intended: the record has no tag and no position; so has that of a refused password.
TEST_F(chain_password, user_name_that_can_not_be_had_ends_it_before_the_password_is_sent)
{
    tree.refuse("get", "power.global.tarnel.username");
    EXPECT_EQ(after_prompts(type("secret\nsecret\n")), failure_text);
    EXPECT_EXCHANGES({"get power.global.tarnel.username"});
    EXPECT_TRUE(is_as_before());
    ASSERT_EQ(log_records().back().message, "Failed to get the username");
    EXPECT_EQ(log_records().back().level, 7);
    EXPECT_EQ(log_records().back().tag, "(null)");
}

TEST_F(chain_password, refused_password_has_no_text_of_its_own)
{
    tree.refuse("admin", "power.passwd");
    EXPECT_EQ(after_prompts(type("secret\nsecret\n")), failure_text);
    EXPECT_TRUE(is_as_before());
    ASSERT_EQ(log_records().back().message, "Failed to set the password for the chain");
    EXPECT_EQ(log_records().back().level, 7);
    EXPECT_EQ(log_records().back().tag, "(null)");
}

TEST_F(chain_password, input_that_is_no_terminal_is_not_asked)
{
    terminal.take_over("secret\nsecret\n");
    terminal.fail_get = 1;
    EXPECT_EQ(answer("passwd"), failure_text);
    EXPECT_EVENTS({"tcgetattr 0", "tap Invalid argument. Try help for details\n"});
    EXPECT_EQ(terminal.typed.size(), 14U);
}

TEST_F(chain_password, echo_that_can_not_be_turned_off_or_on_again_is_no_failure)
{
    for (int n : {1, 2}) {
        terminal.take_over("secret\nsecret\n");
        terminal.fail_set = n;
        EXPECT_EQ(after_prompts(answer("passwd")), set_line);
        EXPECT_EQ(terminal.set_to.size(), 1U);
    }
}

TEST_F(chain_password, works_under_the_own_name_alone)
{
    cli_own_name = 0;
    terminal.take_over("secret\nsecret\n");
    EXPECT_EQ(call(cmd_passwd).result, 1);
    EXPECT_EVENTS({});
    EXPECT_EQ(printed(), "");
    const called help = call(cmd_passwd_help);
    EXPECT_EQ(help.result, 1);
    EXPECT_EQ(help.text, std::nullopt);
}

TEST_F(chain_password, help_shows_the_usage)
{
    EXPECT_EQ(answer("passwd help"), passwd_usage);
    EXPECT_EXCHANGES({});
    EXPECT_EQ(last_result(), 0);
}

TEST_F(chain_password, takes_no_argument)
{
    EXPECT_EQ(answer("passwd secret"), failure_text);
    EXPECT_EXCHANGES({});
}

TEST_F(chain_password, stands_in_no_memory_that_is_given_back)
{
    for (const char *second : {"s3cr3t!!\n", "s3cr3t!!x\n", "other\n"}) {
        for (how way : {refused, dropped})
            for (int n : {0, 1, 2}) {
                tree.fail_exchange(n, way);
                heap.watch("s3cr3t!!");
                type(std::string("s3cr3t!!\n") + second);
                EXPECT_EQ(heap.seen(), 0);
            }
    }
}

TEST_F(chain_password, stands_in_no_record_of_the_log_and_not_in_the_tap)
{
    cli_debug = 1;
    for (int n : {0, 1, 2}) {
        tree.fail_exchange(n, refused);
        type("s3cr3t!!\ns3cr3t!!\n");
        EXPECT_EQ(dump_log().find("s3cr"), std::string::npos);
        for (const std::string &text : session.tap)
            EXPECT_EQ(text.find("s3cr"), std::string::npos);
    }
}

TEST_F(chain_password, each_failed_exchange_restores_the_terminal)
{
    for (how way : {refused, dropped})
        EXPECT_EQ(each_failing_exchange(way,
                                        [&](int n) {
                                            const std::string said = after_prompts(type("secret\nsecret\n"));
                                            EXPECT_EQ(said, n < 3 ? failure_text : set_line);
                                            EXPECT_EQ(exchanges().size(), static_cast<size_t>(std::min(n, 2)));
                                            EXPECT_TRUE(is_as_before());
                                        }),
                  2);
}

TEST_F(chain_password, each_failed_allocation_restores_the_terminal)
{
    EXPECT_GT(each_failing_allocation([&](int) {
                  heap.watch("s3cr3t!!");
                  type("s3cr3t!!\ns3cr3t!!\n");
                  EXPECT_TRUE(is_as_before());
                  EXPECT_EQ(terminal.set_to.size(), 2U);
                  EXPECT_EQ(heap.seen(), 0);
              }),
              3);
}

} // namespace

// The account for the devices of the chain, and the modules that a user may run.

#include "tests/unit/appliance/morvd_desk.h"

static constexpr char done[] = "+OK\r\n";
static constexpr char username[] = "power.global.tarnel.username";
static constexpr char password[] = "power.global.tarnel.password";

TEST(account, starts_as_admin)
{
    test_desk desk;
    EXPECT_EQ(desk.ask({"get", username}), bulk("admin"));
    EXPECT_EQ(desk.ask({"get", password}), bulk("admin"));
}

TEST(account, passwd_changes_the_password_alone)
{
    test_desk desk;
    EXPECT_EQ(desk.ask({"admin", "power.passwd", "12345678"}), done);
    EXPECT_EQ(desk.ask({"get", password}), bulk("12345678"));
    EXPECT_EQ(desk.ask({"get", username}), bulk("admin"));
}

TEST(account, empty_password_is_one)
{
    test_desk desk;
    EXPECT_EQ(desk.ask({"admin", "power.passwd", ""}), done);
    EXPECT_EQ(desk.ask({"get", password}), bulk(""));
}

TEST(account, password_that_the_devices_do_not_take_is_refused_and_the_old_one_stays)
{
    test_desk desk;
    EXPECT_EQ(desk.ask({"admin", "power.passwd", "123456789"}), "-ERR 11 value too long\r\n");
    EXPECT_EQ(desk.ask({"admin", "power.passwd", "a\tb"}), "-ERR 10 bad value\r\n");
    EXPECT_EQ(desk.ask({"admin", "power.passwd"}), "-ERR 6 bad arguments\r\n");
    EXPECT_EQ(desk.ask({"admin", "power.passwd", "a", "b"}), "-ERR 6 bad arguments\r\n");
    EXPECT_EQ(desk.ask({"get", password}), bulk("admin"));
}

TEST(account, both_can_be_set)
{
    test_desk desk;
    EXPECT_EQ(desk.ask({"set", username, "root"}), done);
    EXPECT_EQ(desk.ask({"set", password, "secret"}), done);
    EXPECT_EQ(desk.ask({"get", username}), bulk("root"));
    EXPECT_EQ(desk.ask({"get", password}), bulk("secret"));
    EXPECT_EQ(desk.ask({"set", username, ""}), "-ERR 10 bad value\r\n");
    EXPECT_EQ(desk.ask({"set", username, std::string(17, 'a')}), "-ERR 11 value too long\r\n");
    EXPECT_EQ(desk.ask({"get", username}), bulk("root"));
}

TEST(access, shell_and_scp_name_their_module)
{
    test_desk desk;
    EXPECT_EQ(desk.ask({"info", "appliance.shell"}), bulk("ci_module=access;ci_function=shell;ci_args="));
    EXPECT_EQ(desk.ask({"info", "appliance.shell", "ls -l /tmp"}),
              bulk("ci_module=access;ci_function=shell;ci_args=ls -l /tmp"));
    EXPECT_EQ(desk.ask({"info", "appliance.scp", "a", "b"}), bulk("ci_module=access;ci_function=scp;ci_args=a b"));
}

TEST(access, semicolon_in_the_words_ends_no_field)
{
    test_desk desk;
    EXPECT_EQ(desk.ask({"info", "appliance.shell", "a;b\\;c"}),
              bulk("ci_module=access;ci_function=shell;ci_args=a\\;b\\\\;c"));
}

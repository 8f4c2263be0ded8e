// The configuration of the appliance's interface.

#include <string>

#include "client/tree.h"
#include "cmd/cmd_network.h"
#include "tests/fakes/fakes.h"

namespace {

constexpr char static_ipv4[] = "network ipv4 address 10.0.0.2 mask 255.255.255.0";
constexpr char static_ipv6[] = "network ipv6 address 2001:db8::2 prefix 64";
constexpr char shown[] = "eth0      inet addr:10.0.0.2\n";
constexpr char refusal[] = "Command failed.\n";

std::string path(const std::string &leaf)
{
    return "network.interface.eth0." + leaf;
}

struct network : testing::Test {
    network() { tree.text(path("ifconfig"), "eth0      inet addr:10.0.0.2"); }
};

// The exchanges with the commit among them.
texts steps()
{
    texts all;
    for (const std::string &event : events())
        if (event == "commit" || event.starts_with("send "))
            all.push_back(event.starts_with("send ") ? event.substr(5) : event);
    return all;
}

struct simple_form {
    const char *line;
    const char *write;
    const char *word;
};

constexpr simple_form simple_forms[] = {
    {"network ipv4 down", "set network.interface.eth0.method manual", "MANUAL"},
    {"network ipv4 dhcp", "set network.interface.eth0.method dhcp", "DHCP"},
    {"network ipv6 down", "set network.interface.eth0.method6 manual", "MANUAL"},
    {"network ipv6 dhcp", "set network.interface.eth0.method6 dhcp", "DHCPV6"},
    {"network ipv6 stateless", "set network.interface.eth0.method6 stateless", "STATELESS"},
};

// --- Showing --------------------------------------------------------------------------------------------------------

TEST_F(network, shows_the_text_of_the_daemon_as_it_comes)
{
    tree.text(path("ifconfig"), "eth0 %s\n  second line\n");
    EXPECT_EQ(answer("network"), "eth0 %s\n  second line\n\n");
    EXPECT_EXCHANGES({"info network.interface.eth0.ifconfig"});
    EXPECT_EQ(last_result(), 0);
}

TEST_F(network, configuration_without_a_value_shows_as_an_empty_line)
{
    tree.absent(path("ifconfig"));
    EXPECT_EQ(answer("network"), "\n");
}

TEST_F(network, failed_reading_is_a_failed_command)
{
    cli_debug = 1;
    tree.refuse("info", path("ifconfig"));
    const called done = call(ifconfig_network);
    EXPECT_EQ(done.result, 1);
    EXPECT_EQ(done.text, refusal);
    EXPECT_LOGGED("Command ifconfig failed.");
    cli_debug = 0;
    EXPECT_EQ(answer("network"), refusal);
    EXPECT_NOT_LOGGED("Command ifconfig failed.");
}

TEST_F(network, words_without_a_row_are_answered_as_such)
{
    for (const char *line : {"network ipv4", "network ipv6", "network ipv4 stateless", "network ipv4 up",
                             "network eth0", "network ipv4 address 10.0.0.2", "network ipv6 address ::1 prefix x",
                             "network ipv4 down x", "network ipv4  down"}) {
        EXPECT_EQ(answer(line), failure_text) << line;
        EXPECT_EXCHANGES({});
    }
}

// --- The forms without an address -----------------------------------------------------------------------------------

TEST_F(network, simple_forms_write_the_method_activate_commit_and_show)
{
    for (const simple_form &form : simple_forms) {
        EXPECT_EQ(answer(form.line), shown);
        EXPECT_EQ(steps(), (texts{form.write, "set network.interface.eth0.active true", "commit",
                                  "info network.interface.eth0.ifconfig"}))
            << form.line;
        EXPECT_EQ(last_result(), 0);
    }
}

// Intended: a failure in front of the showing has no text in these forms.
TEST_F(network, refused_method_of_a_simple_form_has_no_text_of_its_own)
{
    cli_debug = 1;
    for (const simple_form &form : simple_forms) {
        tree.refuse("set", path("method")).refuse("set", path("method6"));
        const std::string said = answer(form.line);
        EXPECT_TRUE(said.starts_with(failure_text)) << said;
        EXPECT_EQ(steps(), texts{form.write});
        EXPECT_LOGGED("Set interface method " + std::string(form.word) + " failed.");
    }
}

TEST_F(network, refused_activation_of_a_simple_form_has_no_text_of_its_own)
{
    cli_debug = 1;
    tree.refuse("set", path("active"));
    for (const simple_form &form : simple_forms) {
        EXPECT_TRUE(answer(form.line).starts_with(failure_text));
        EXPECT_EQ(steps(), (texts{form.write, "set network.interface.eth0.active true"}));
        EXPECT_LOGGED("Set interface active failed.");
    }
}

TEST_F(network, failed_commit_of_a_simple_form_has_no_text_of_its_own)
{
    cli_debug = 1;
    session.commit_result = 5;
    for (const simple_form &form : simple_forms) {
        EXPECT_TRUE(answer(form.line).starts_with(failure_text));
        EXPECT_EQ(steps(), (texts{form.write, "set network.interface.eth0.active true", "commit"}));
        EXPECT_LOGGED("Commit failed.");
    }
}

TEST_F(network, failed_showing_behind_a_commit_is_a_failed_command)
{
    tree.refuse("info", path("ifconfig"));
    for (const char *line : {"network ipv4 down", "network ipv4 dhcp", "network ipv6 down", "network ipv6 dhcp",
                             "network ipv6 stateless", static_ipv4, static_ipv6}) {
        EXPECT_EQ(answer(line), refusal) << line;
        EXPECT_EQ(steps()[steps().size() - 2], "commit");
    }
}

// --- The forms with an address --------------------------------------------------------------------------------------

TEST_F(network, static_ipv4_writes_method_address_and_mask_and_commits_them_as_one)
{
    EXPECT_EQ(answer(static_ipv4), shown);
    EXPECT_EQ(steps(),
              (texts{"set network.interface.eth0.method static", "set network.interface.eth0.address 10.0.0.2",
                     "set network.interface.eth0.netmask 255.255.255.0", "set network.interface.eth0.active true",
                     "commit", "info network.interface.eth0.ifconfig"}));
}

TEST_F(network, static_ipv6_writes_method_address_and_prefix_and_commits_them_as_one)
{
    EXPECT_EQ(answer("network ipv6 address 2001:DB8:0:0::2 prefix 64"), shown);
    EXPECT_EQ(steps(),
              (texts{"set network.interface.eth0.method6 static", "set network.interface.eth0.address6 2001:db8::2",
                     "set network.interface.eth0.netmask6 64", "set network.interface.eth0.active true", "commit",
                     "info network.interface.eth0.ifconfig"}));
}

TEST_F(network, bad_ipv4_address_or_mask_writes_nothing)
{
    cli_debug = 1;
    for (const char *bad : {"10.0.0", "10.0.0.256", "host", "10.0.0.2/24", "::1", "010.0.0.0.1"}) {
        EXPECT_EQ(call(cmd_net4_static, {bad, "255.255.255.0"}).text, refusal);
        EXPECT_EXCHANGES({});
        EXPECT_LOGGED("Convertion from ip " + std::string(bad) + " to in addr");
        EXPECT_EQ(call(cmd_net4_static, {"10.0.0.2", bad}).text, refusal);
        EXPECT_EXCHANGES({});
        EXPECT_LOGGED("Convertion from mask " + std::string(bad) + " to in addr");
    }
}

TEST_F(network, mask_in_the_form_of_a_prefix_length_writes_nothing)
{
    EXPECT_EQ(answer("network ipv4 address 10.0.0.2 mask 24"), refusal);
    EXPECT_EXCHANGES({});
}

TEST_F(network, address_is_judged_before_the_mask)
{
    cli_debug = 1;
    call(cmd_net4_static, {"x", "y"});
    EXPECT_LOGGED("Convertion from ip x to in addr");
    EXPECT_NOT_LOGGED("Convertion from mask y to in addr");
}

TEST_F(network, bad_ipv6_address_writes_nothing)
{
    cli_debug = 1;
    const called done = call(cmd_net6_static, {"2001::db8::2", 64});
    EXPECT_EQ(done.result, 1);
    EXPECT_EQ(done.text, refusal);
    EXPECT_EXCHANGES({});
    EXPECT_LOGGED("Convertion from ip 2001::db8::2 to in6 addr");
}

TEST_F(network, without_debug_mode_a_bad_address_is_not_logged)
{
    EXPECT_EQ(call(cmd_net4_static, {"x", "255.255.255.0"}).text, refusal);
    EXPECT_EQ(dump_log(), "");
    EXPECT_EQ(call(cmd_net6_static, {"x", 64}).text, refusal);
    EXPECT_EQ(dump_log(), "");
}

// Intended: the range of the prefix is not tested.
TEST_F(network, prefix_goes_to_the_daemon_as_it_was_typed)
{
    for (const char *prefix : {"999", "-1", "0", "2147483647"}) {
        EXPECT_EQ(answer("network ipv6 address ::1 prefix " + std::string(prefix)), shown);
        EXPECT_EQ(tree.value(path("netmask6")), prefix);
    }
    tree.refuse("set", path("netmask6"));
    EXPECT_EQ(answer("network ipv6 address ::1 prefix 999"), refusal);
}

TEST_F(network, text_behind_the_last_value_is_ignored)
{
    EXPECT_EQ(answer(std::string(static_ipv4) + " and more"), shown);
    EXPECT_EQ(answer(std::string(static_ipv6) + " and more"), shown);
    EXPECT_EQ(answer(std::string(static_ipv6) + "x"), shown);
}

struct static_step {
    const char *line;
    const char *leaf;
    const char *log;
};

TEST_F(network, each_refused_step_of_a_static_form_ends_it_as_a_failed_command)
{
    constexpr static_step all[] = {
        {static_ipv4, "method", "Set interface method STATIC failed."},
        {static_ipv4, "address", "Set interface address 10.0.0.2 failed."},
        {static_ipv4, "netmask", "Set interface netmask 255.255.255.0 failed."},
        {static_ipv4, "active", "Set interface active failed."},
        {static_ipv6, "method6", "Set interface method STATIC6 failed."},
        {static_ipv6, "address6", "Set interface address6 2001:db8::2 failed."},
        {static_ipv6, "netmask6", "Set interface netmask6 64 failed."},
        {static_ipv6, "active", "Set interface active failed."},
    };
    for (const static_step &step : all) {
        for (const bool debug : {false, true}) {
            cli_debug = debug;
            tree.refuse("set", path(step.leaf));
            EXPECT_TRUE(answer(step.line).starts_with(refusal)) << step.line << step.leaf;
            EXPECT_EQ(logged(step.log), debug);
            EXPECT_TRUE(steps().back().starts_with("set " + path(step.leaf) + " ")) << steps().back();
            tree.allow("set", path(step.leaf));
        }
    }
}

TEST_F(network, failed_commit_of_a_static_form_is_a_failed_command)
{
    session.commit_result = -1;
    for (const char *line : {static_ipv4, static_ipv6}) {
        EXPECT_EQ(answer(line), refusal);
        EXPECT_EQ(steps().back(), "commit");
    }
}

TEST_F(network, nothing_is_logged_outside_debug_mode)
{
    tree.refuse("set", path("method"));
    answer("network ipv4 down");
    answer(static_ipv4);
    EXPECT_FAILURES({});
    EXPECT_EQ(answer("network"), shown);
}

TEST_F(network, each_failed_exchange_and_allocation_is_survived)
{
    for (const char *line : {"network", "network ipv4 down", "network ipv4 dhcp", "network ipv6 down",
                             "network ipv6 dhcp", "network ipv6 stateless", static_ipv4, static_ipv6}) {
        const bool has_text = line == std::string("network") || std::string(line).find("address") != std::string::npos;
        answer(line);
        const size_t all = exchanges().size();
        for (how way : {refused, dropped}) {
            size_t n = 0;
            each_failing_exchange(way, [&](int) {
                const std::string said = answer(line);
                n++;
                if (n > all)
                    EXPECT_EQ(said, shown);
                else
                    EXPECT_EQ(said, has_text || n == all ? refusal : failure_text) << line << n;
                EXPECT_EQ(exchanges().size(), std::min(n, all));
            });
            EXPECT_EQ(n, all + 1);
        }
        EXPECT_GT(each_failing_allocation([&](int) {
                      const std::string said = answer(line);
                      EXPECT_TRUE(said == shown || said == refusal || said == failure_text || said.empty()) << said;
                  }),
                  0);
    }
}

} // namespace

#include "cmd/cmd_reboot.h"
#include "tests/fakes/fakes.h"

namespace {

struct reboots : testing::Test {
    fake_chain chain;
    fake_node unit = chain.unit().serve("reboot", "");
};

TEST_F(reboots, first_unit_restarts_where_none_is_named)
{
    chain.unit().serve("reboot", "");
    EXPECT_EQ(answer("reboot"), "");
    EXPECT_EQ(last_result(), 0);
    EXPECT_EXCHANGES({"info power.num-devices", "info power.port.1.num-pdus", "mlist power.port.1.pdu.1",
                      "admin power.port.1.pdu.1.reboot"});
    EXPECT_FAILURES({});
}

TEST_F(reboots, named_unit_restarts)
{
    chain.unit({.id = "cellar"}).serve("reboot", "");
    EXPECT_EQ(answer("reboot cellar"), "");
    EXPECT_EQ(exchanges().back(), "admin power.port.1.pdu.2.reboot");
    EXPECT_EQ(answer("reboot 2"), "");
    EXPECT_EXCHANGES({"info power.pdu.2.pdu", "info power.num-devices", "info power.port.1.num-pdus",
                      "mlist power.port.1.pdu.2", "admin power.port.1.pdu.2.reboot"});
}

TEST_F(reboots, intended_restart_that_succeeds_says_nothing)
{
    for (const char *line : {"reboot", "reboot 1"}) {
        EXPECT_EQ(answer(line), "");
        EXPECT_EQ(last_result(), 0);
        EXPECT_TRUE(session.tap.empty());
    }
}

TEST(reboot, chain_without_units_is_told)
{
    fake_chain chain;
    tree.text("power.num-devices", "1").text("power.port.1.num-pdus", "0");
    EXPECT_EQ(answer("reboot"), no_such_ipdu);
    EXPECT_EXCHANGES({"info power.num-devices", "info power.port.1.num-pdus"});
}

TEST(reboot, tree_that_knows_no_port_is_told_too)
{
    EXPECT_EQ(answer("reboot"), no_such_ipdu);
    EXPECT_FAILURES({"Fail to get number of ports"});
}

TEST_F(reboots, argument_that_is_no_unit_is_told)
{
    for (const char *line : {"reboot nobody", "reboot 0", "reboot 9", "reboot -1"})
        EXPECT_EQ(answer(line), no_such_ipdu) << line;
}

TEST_F(reboots, second_word_matches_no_row)
{
    EXPECT_EQ(answer("reboot 1 now"), failure_text);
    EXPECT_EXCHANGES({});
}

TEST_F(reboots, unit_without_the_node_is_logged_and_declined)
{
    unit.without("reboot");
    for (const char *line : {"reboot", "reboot unit1"}) {
        EXPECT_EQ(answer(line), failure_text);
        EXPECT_FAILURES({"Node reboot unavailable for 1@1"});
    }
}

TEST_F(reboots, refused_restart_is_logged_and_declined)
{
    unit.refuse("admin", "reboot");
    for (const char *line : {"reboot", "reboot unit1"}) {
        EXPECT_EQ(answer(line), failure_text);
        EXPECT_FAILURES({"Reboot command failed on pdu 1@1"});
    }
}

TEST_F(reboots, any_exchange_may_fail)
{
    const texts bare = {no_such_ipdu, no_such_ipdu, failure_text, failure_text, ""};
    // The first asks for a unit of the ID "1", which there is not in any case.
    const texts named = {"", no_such_ipdu, no_such_ipdu, failure_text, failure_text, ""};
    for (how way : {refused, dropped}) {
        EXPECT_EQ(each_failing_exchange(
                      way, [&](int n) { EXPECT_EQ(answer("reboot"), bare.at(static_cast<size_t>(n - 1))) << n; }),
                  4);
        EXPECT_EQ(each_failing_exchange(
                      way, [&](int n) { EXPECT_EQ(answer("reboot 1"), named.at(static_cast<size_t>(n - 1))) << n; }),
                  5);
    }
}

TEST_F(reboots, any_allocation_may_fail)
{
    for (const char *line : {"reboot", "reboot 1", "reboot 9"})
        EXPECT_GT(each_failing_allocation([&](int n) {
                      std::string text = answer(line);
                      EXPECT_TRUE(text == no_such_ipdu || text == failure_text || text.empty())
                          << line << ", " << n << ": " << text;
                  }),
                  2);
}

TEST(reboot, absent_unit_that_cannot_be_told_is_logged)
{
    fake_chain chain;
    for (const char *line : {"reboot", "reboot 1"}) {
        heap.fail_at(0);
        answer(line);
        heap.fail_at(heap.count() - 1);
        EXPECT_EQ(answer(line), failure_text);
        EXPECT_LOGGED("Fail to printf pdu 1 display invalid PDU");
    }
}

} // namespace

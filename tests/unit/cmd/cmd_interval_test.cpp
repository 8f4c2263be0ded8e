// The intervals of outlets and the delay of `cycle`.

#include <string>

#include "tests/fakes/fakes.h"

namespace {

struct intervals : testing::Test {
    fake_chain chain;
    fake_node unit = chain.unit({.outlets = 8});

    intervals()
    {
        for (int k = 1; k <= 8; k++)
            unit.outlet(k)
                .publish("ctrl-status", "ON")
                .publish("post-power-on", "2.5")
                .publish("post-power-off", "1.0");
        unit.serve("cycle-interval", "5");
    }
};

texts behind_parsing()
{
    texts all = exchanges();
    texts rest;
    for (const std::string &exchange : all)
        if (exchange.find("num-") == exchange.npos)
            rest.push_back(exchange);
    return rest;
}

TEST_F(intervals, reading_shows_the_text_of_the_tree)
{
    unit.outlet(3).serve("post-power-on", "2.50 odd");
    EXPECT_EQ(answer("interval 3"), "3: Outlet power on interval is 2.50 odd sec.\n");
    EXPECT_EQ(behind_parsing(),
              (texts{"mlist power.port.1.pdu.1.outlet.3", "info power.port.1.pdu.1.outlet.3.post-power-on"}));
    EXPECT_EQ(answer("intervaloff 3"), "3: Outlet power off interval is 1.0 sec.\n");
}

TEST_F(intervals, setting_checks_status_and_leaf_and_then_writes)
{
    EXPECT_EQ(answer("interval 3 4"), "3: Outlet power on interval set to 4.0 sec.\n");
    EXPECT_EQ(behind_parsing(),
              (texts{"mlist power.port.1.pdu.1.outlet.3", "info power.port.1.pdu.1.outlet.3.ctrl-status",
                     "mlist power.port.1.pdu.1.outlet.3", "admin power.port.1.pdu.1.outlet.3.post-power-on 4.0"}));
    EXPECT_EQ(answer("intervaloff 3 4"), "3: Outlet power off interval set to 4.0 sec.\n");
    EXPECT_EQ(unit.outlet(3).value("post-power-off"), "4.0");
}

TEST_F(intervals, lines_go_out_together_at_the_end)
{
    EXPECT_EQ(answer("interval 1-2"),
              "1: Outlet power on interval is 2.5 sec.\n2: Outlet power on interval is 2.5 sec.\n");
    EXPECT_EQ(session.tap.size(), 1U);
}

TEST_F(intervals, unit_without_the_leaf_gives_an_empty_answer)
{
    unit.outlet(1).without("post-power-on");
    EXPECT_EQ(answer("interval 1"), "");
    EXPECT_EQ(last_result(), 0);
    EXPECT_FAILURES({"Node post-power-on unavailable for 1@1@1"});
    EXPECT_EQ(answer("interval 1 3"), "");
    EXPECT_FAILURES({"Node post-power-on unavailable for 1@1@1"});
    unit.outlet(1).without("ctrl-status");
    EXPECT_EQ(answer("intervaloff 1 3"), "");
    EXPECT_FAILURES({"Node ctrl-status unavailable for 1@1@1"});
}

TEST_F(intervals, duration_goes_out_with_one_decimal)
{
    EXPECT_EQ(answer("interval 1 0"), "1: Outlet power on interval set to 0.0 sec.\n");
    EXPECT_EQ(unit.outlet(1).value("post-power-on"), "0.0");
    EXPECT_EQ(answer("interval 1 2.44"), "1: Outlet power on interval set to 2.4 sec.\n");
    EXPECT_EQ(answer("interval 1 2.25"), "1: Outlet power on interval set to 2.2 sec.\n");
}

TEST_F(intervals, duration_is_not_tested_for_its_range)
{
    tree.refuse("admin", unit.outlet(1).path("post-power-on"));
    EXPECT_EQ(answer("interval 1 9000"), "1: Not possible, outlet error.\n");
    EXPECT_EQ(behind_parsing().back(), "admin power.port.1.pdu.1.outlet.1.post-power-on 9000.0");
}

TEST_F(intervals, locked_outlet_is_not_set_and_the_others_are)
{
    unit.outlet(2).publish("ctrl-status", "ON(locked)");
    EXPECT_EQ(answer("interval 1-3 3"), "1: Outlet power on interval set to 3.0 sec.\n2: Not possible, outlet locked.\n"
                                        "3: Outlet power on interval set to 3.0 sec.\n");
    EXPECT_EQ(unit.outlet(2).value("post-power-on"), "2.5");
}

TEST_F(intervals, failed_status_read_lets_the_outlet_be_set)
{
    tree.refuse("info", unit.outlet(1).path("ctrl-status"));
    EXPECT_EQ(answer("interval 1 3"), "1: Outlet power on interval set to 3.0 sec.\n");
}

TEST_F(intervals, refused_or_empty_reading_is_an_outlet_error)
{
    tree.refuse("info", unit.outlet(1).path("post-power-on"));
    EXPECT_EQ(answer("interval 1"), "1: Not possible, outlet error.\n");
    unit.outlet(2).serve("post-power-on", "");
    EXPECT_EQ(answer("interval 2"), "2: Not possible, outlet error.\n");
    tree.absent(unit.outlet(3).path("post-power-on"));
    EXPECT_EQ(answer("interval 3"), "3: Not possible, outlet error.\n");
}

TEST_F(intervals, strings_and_tokens_that_do_not_resolve)
{
    EXPECT_EQ(answer("interval nosuch"), "Invalid outlet [nosuch].\n");
    EXPECT_EQ(answer("intervaloff nosuch 3"), "Invalid outlet [nosuch].\n");
    EXPECT_EQ(answer("interval 1,5-2"), "1: Outlet power on interval is 2.5 sec.\nInvalid outlet [5-2].\n");
    EXPECT_EQ(answer("interval 1,5-2 3"), "1: Outlet power on interval set to 3.0 sec.\nInvalid outlet [5-2].\n");
    EXPECT_EQ(answer("interval 1 x"), failure_text);
    for (int row : {93, 97})
        EXPECT_EQ(call(row, {""}).result, 1);
    for (int row : {92, 96})
        EXPECT_EQ(call(row, {"", 1.0}).result, 1);
}

TEST_F(intervals, cycle_delay_reads_and_sets_unit_one_of_port_one)
{
    chain.unit({.outlets = 8}).serve("cycle-interval", "9");
    EXPECT_EQ(answer("outcycledelay"), "Outlet cycle delay set to 5 sec.\n");
    EXPECT_EXCHANGES({"mlist power.port.1.pdu.1", "info power.port.1.pdu.1.cycle-interval"});
    EXPECT_EQ(answer("outcycledelay 7"), "Outlet cycle delay set to 7 sec.\n");
    EXPECT_EXCHANGES({"mlist power.port.1.pdu.1", "admin power.port.1.pdu.1.cycle-interval 7"});
}

TEST_F(intervals, cycle_delay_is_checked_by_the_daemon_alone)
{
    EXPECT_EQ(answer("outcycledelay abc"), "Outlet cycle delay set to 0 sec.\n");
    tree.refuse("admin", unit.path("cycle-interval"));
    EXPECT_EQ(answer("outcycledelay abc"), "Invalid delay value.\n");
    EXPECT_FAILURES({"Fail to set outlet cycle interval of 1@1, value abc"});
    EXPECT_EQ(call(100, {"abc"}).result, 1);
}

TEST_F(intervals, cycle_delay_of_a_unit_without_it)
{
    unit.without("cycle-interval");
    EXPECT_EQ(answer("outcycledelay"), "Invalid delay value.\n");
    EXPECT_FAILURES({"Node cycle-interval unavailable for 1@1"});
    EXPECT_EQ(answer("outcycledelay 7"), "Invalid delay value.\n");
    EXPECT_FAILURES({"Node cycle-interval unavailable for 1@1"});
}

TEST_F(intervals, cycle_delay_that_can_not_be_read)
{
    tree.refuse("info", unit.path("cycle-interval"));
    EXPECT_EQ(answer("outcycledelay"), "Invalid delay value.\n");
    EXPECT_FAILURES({"Fail to retrieve outlet cycle interval from 1@1"});
}

TEST_F(intervals, usage_stands_for_the_bare_words)
{
    EXPECT_EQ(answer("interval").rfind("Usage: interval <outletString> [<duration>]\n", 0), 0U);
    EXPECT_EQ(answer("intervaloff help").rfind("Usage: intervaloff <outletString> [<duration>]\n", 0), 0U);
    EXPECT_EQ(answer("outcycledelay help").rfind("Usage: 'outcycledelay [<delay>]'\n", 0), 0U);
}

TEST_F(intervals, each_failed_exchange_and_allocation_is_survived)
{
    for (const char *command : {"interval 1-2", "intervaloff 1 3", "outcycledelay", "outcycledelay 7"}) {
        for (how way : {refused, dropped})
            EXPECT_GT(each_failing_exchange(way, [&](int) { answer(command); }), 0);
        EXPECT_GT(each_failing_allocation([&](int) { answer(command); }), 0);
    }
}

} // namespace

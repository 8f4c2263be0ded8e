// Naming one outlet.

#include <string>

#include "tests/fakes/fakes.h"

namespace {

struct outlet_names : testing::Test {
    fake_chain chain;
    fake_node unit = chain.unit({.outlets = 8});

    outlet_names()
    {
        for (int k = 1; k <= 8; k++)
            unit.outlet(k).publish("name", "");
    }
};

TEST_F(outlet_names, name_is_set_and_cleared)
{
    EXPECT_EQ(answer("name 1 web"), "1: Outlet now named web\n");
    EXPECT_EXCHANGES({"info power.num-devices", "info power.port.1.num-pdus", "info power.num-devices",
                      "info power.port.1.num-pdus", "mlist power.port.1.pdu.1.outlet.1",
                      "admin power.port.1.pdu.1.outlet.1.name web"});
    EXPECT_EQ(answer("name 1"), "1: Outlet no longer has a name.\n");
    EXPECT_EQ(exchanges().back(), "admin power.port.1.pdu.1.outlet.1.name ");
}

TEST_F(outlet_names, exactly_one_outlet_must_come_out)
{
    for (const char *text : {"1-2", "99", "nosuch", "1,5-2", "5-2", ",,", "all"}) {
        EXPECT_EQ(answer(std::string("name ") + text + " web"), "Invalid outlet number.\n") << text;
        EXPECT_EQ(call(114, {text, "web"}).result, 1);
    }
}

TEST_F(outlet_names, outlet_is_found_by_its_present_name)
{
    unit.outlet(4).publish("name", "web");
    EXPECT_EQ(answer("name web newname"), "4: Outlet now named newname\n");
}

TEST_F(outlet_names, refused_name_is_told_and_counts_as_done)
{
    tree.refuse("admin", unit.outlet(1).path("name"));
    EXPECT_EQ(answer("name 1 9lives"), "1: Invalid outlet name.\n");
    EXPECT_EQ(last_result(), 0);
}

TEST_F(outlet_names, outlet_without_the_leaf_is_asked_all_the_same)
{
    unit.outlet(1).without("name");
    EXPECT_EQ(answer("name 1 web"), "1: Outlet now named web\n");
    EXPECT_FAILURES({"Node name unavailable for 1@1@1"});
}

TEST_F(outlet_names, name_travels_unchanged_as_the_value)
{
    EXPECT_EQ(answer("name 1 a.b%\xff"), "1: Outlet now named a.b%\xff\n");
    EXPECT_EQ(exchanges().back(), "admin power.port.1.pdu.1.outlet.1.name a.b%\xff");
}

TEST_F(outlet_names, usage_and_empty_text)
{
    EXPECT_EQ(answer("name").rfind("Usage: 'name <outlet#> <name>'\n", 0), 0U);
    called done = call(114, {"", "web"});
    EXPECT_EQ(done.result, 1);
    EXPECT_EQ(done.text, "Invalid outlet number.\n");
}

TEST_F(outlet_names, each_failed_exchange_and_allocation_is_survived)
{
    for (how way : {refused, dropped})
        EXPECT_GT(each_failing_exchange(way, [&](int) { EXPECT_NE(answer("name 1 web"), ""); }), 0);
    EXPECT_GT(each_failing_allocation([&](int) { answer("name 1 web"); }), 0);
}

} // namespace

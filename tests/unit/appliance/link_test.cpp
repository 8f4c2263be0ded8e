// A unit whose link along the chain is broken, and its return.

#include "appliance/model/simulated_environment.h"
#include "tests/unit/appliance/outlet_desk.h"

// Units 1.1 to 1.3 on the own unit's line, 2.1 on another.
struct link : testing::Test {
    std::string say(const std::string &word, const std::string &port, const std::string &pdu)
    {
        return desk.ask({"desk", "link", word, port, pdu});
    }
    std::string units(int port = 1) { return desk.ask({"mlist", "power.port." + std::to_string(port) + ".pdu"}); }

    switching_desk desk;
};

TEST_F(link, broken_one_takes_the_unit_from_all_lists)
{
    desk.ask({"admin", "power.port.1.pdu.2.outlet.1.name", "web"});
    EXPECT_EQ(say("break", "1", "2"), done);
    EXPECT_EQ(units(), array({"1", "3"}));
    EXPECT_EQ(desk.ask({"mlist", "power.pdu"}), array({"ipdu1", "ipdu3", "ipdu4"}));
    EXPECT_EQ(desk.ask({"mlist", "power.outlet"}), array({}));
    EXPECT_EQ(desk.ask({"mlist", "power.port.1.pdu.2"}), no_such_path);
    EXPECT_EQ(desk.ask({"info", "power.pdu.ipdu2.pdu"}), no_such_path);
    EXPECT_EQ(desk.ask({"info", "power.outlet.web.outlet"}), no_such_path);
}

TEST_F(link, unit_keeps_its_place)
{
    say("break", "1", "2");
    EXPECT_EQ(desk.ask({"info", "power.port.1.num-pdus"}), bulk("3"));
    EXPECT_EQ(desk.ask({"info", "power.pdu.ipdu3.pdu"}), bulk("3"));
}

TEST_F(link, nothing_reaches_the_unit)
{
    say("break", "1", "2");
    EXPECT_EQ(desk.command("off", "1.1.1,1.2.1"), no_such_part);
    EXPECT_EQ(desk.ctrl("1.1.1"), "ON");
    EXPECT_EQ(desk.ask({"admin", "power.port.1.pdu.2.id", "x"}), no_such_path);
}

TEST_F(link, unit_returns_with_its_settings)
{
    desk.ask({"admin", "power.port.1.pdu.2.id", "left"});
    desk.ask({"admin", "power.port.1.pdu.2.outlet.2.name", "web"});
    desk.command("off", "1.2.1");
    say("break", "1", "2");
    EXPECT_EQ(say("mend", "1", "2"), done);
    EXPECT_EQ(units(), array({"1", "2", "3"}));
    EXPECT_EQ(desk.ask({"info", "power.pdu.left.pdu"}), bulk("2"));
    EXPECT_EQ(desk.ask({"info", "power.outlet.web.outlet"}), bulk("2"));
    EXPECT_EQ(desk.states({"1.2.1", "1.2.2", "1.2.3"}), "OFF ON ON");
}

TEST_F(link, unit_runs_on_behind_a_broken_one)
{
    desk.ask({"admin", "power.port.1.pdu.2.cycle-interval", "7"});
    desk.command("cycle", "1.2.1");
    EXPECT_EQ(desk.ctrl("1.2.1"), "OFF(cycle)");
    say("break", "1", "2");
    desk.at(8000);
    say("mend", "1", "2");
    EXPECT_EQ(desk.ctrl("1.2.1"), "ON");
}

TEST_F(link, cut_takes_those_behind_too)
{
    EXPECT_EQ(say("cut", "1", "2"), done);
    EXPECT_EQ(units(), array({"1"}));
    EXPECT_EQ(units(2), array({"1"}));
    EXPECT_EQ(say("mend", "1", "2"), done);
    EXPECT_EQ(units(), array({"1", "2", "3"}));
}

TEST_F(link, whole_line_can_be_cut)
{
    EXPECT_EQ(say("cut", "2", "1"), done);
    EXPECT_EQ(units(2), array({}));
    EXPECT_EQ(desk.ask({"mlist", "power.port"}), array({"1", "2"}));
}

TEST_F(link, mending_brings_those_behind_back_and_leaves_those_before)
{
    say("cut", "1", "2");
    EXPECT_EQ(say("mend", "1", "3"), done);
    EXPECT_EQ(units(), array({"1", "3"}));
}

TEST_F(link, own_unit_hangs_on_none)
{
    for (const char *word : {"break", "cut", "mend"})
        EXPECT_EQ(say(word, "1", "1"), no_such_part) << word;
    EXPECT_EQ(units(), array({"1", "2", "3"}));
}

TEST_F(link, words_that_are_wrong_are_refused)
{
    EXPECT_EQ(say("break", "1", "4"), no_such_part);
    EXPECT_EQ(say("break", "3", "1"), no_such_part);
    EXPECT_EQ(say("break", "1", "x"), bad_value);
    EXPECT_EQ(say("tear", "1", "2"), bad_arguments);
    EXPECT_EQ(desk.ask({"desk", "link"}), bad_arguments);
    EXPECT_EQ(desk.ask({"desk", "link", "break", "1"}), bad_arguments);
}

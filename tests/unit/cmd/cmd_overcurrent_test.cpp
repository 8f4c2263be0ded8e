// The overcurrent protection in software.

#include "cmd/cmd_overcurrent.h"

#include "core/walkers.h"
#include "tests/unit/cmd/each_failure.h"

namespace {

struct currentprotection : testing::Test {
    fake_chain chain;

    // A legacy unit between two of the current family: the family decides nothing here.
    currentprotection()
    {
        for (int model : {128, 1, 143})
            chain.unit({.model = model}).serve("overcurrent", "off");
    }
};

std::string turned(int pdu, const std::string &word)
{
    return "IPDU #" + std::to_string(pdu) + ": Overcurrent protection turned " + word + ".\n";
}

std::string is(int pdu, const std::string &word)
{
    return "IPDU #" + std::to_string(pdu) + ": Overcurrent protection is " + word + ".\n";
}

TEST_F(currentprotection, status_shows_each_unit_in_capitals)
{
    chain.at(2).serve("overcurrent", "on");
    EXPECT_EQ(answer("currentprotection status"), is(1, "OFF") + is(2, "ON") + is(3, "OFF"));
    EXPECT_EQ(last_result(), 0);
    EXPECT_FAILURES({});
    EXPECT_EXCHANGES({"mlist power.port.1.pdu.1", "info power.port.1.pdu.1.overcurrent", "mlist power.port.1.pdu.2",
                      "info power.port.1.pdu.2.overcurrent", "mlist power.port.1.pdu.3",
                      "info power.port.1.pdu.3.overcurrent"});
}

TEST_F(currentprotection, any_state_of_the_tree_is_shown_letter_by_letter)
{
    chain.at(1).serve("overcurrent", "Half-on 3 %s \xE4\xF8");
    chain.at(2).serve("overcurrent", "");
    tree.absent(chain.at(3).path("overcurrent"));
    EXPECT_EQ(answer("currentprotection status"), is(1, "HALF-ON 3 %S \xE4\xF8") + is(2, "") + is(3, ""));
}

TEST_F(currentprotection, on_and_off_write_each_unit_and_show_it_in_capitals)
{
    EXPECT_EQ(answer("currentprotection on"), turned(1, "ON") + turned(2, "ON") + turned(3, "ON"));
    EXPECT_EQ(last_result(), 0);
    EXPECT_EXCHANGES({"mlist power.port.1.pdu.1", "admin power.port.1.pdu.1.overcurrent on", "mlist power.port.1.pdu.2",
                      "admin power.port.1.pdu.2.overcurrent on", "mlist power.port.1.pdu.3",
                      "admin power.port.1.pdu.3.overcurrent on"});
    EXPECT_EQ(chain.at(3).value("overcurrent"), "on");
    EXPECT_EQ(answer("currentprotection off"), turned(1, "OFF") + turned(2, "OFF") + turned(3, "OFF"));
    EXPECT_EQ(exchanges().back(), "admin power.port.1.pdu.3.overcurrent off");
    EXPECT_EQ(answer("currentprotection status"), is(1, "OFF") + is(2, "OFF") + is(3, "OFF"));
}

TEST_F(currentprotection, walk_takes_its_units_from_the_tree_without_the_segment)
{
    EXPECT_EQ(answer_from_tree(cmd_overc_get), is(1, "OFF") + is(2, "OFF") + is(3, "OFF"));
    EXPECT_EXCHANGES({"mlist power.port", "mlist power.port.1.pdu", "mlist power.port.1.pdu.1",
                      "info power.port.1.pdu.1.overcurrent", "mlist power.port.1.pdu.2",
                      "info power.port.1.pdu.2.overcurrent", "mlist power.port.1.pdu.3",
                      "info power.port.1.pdu.3.overcurrent"});
}

TEST_F(currentprotection, unit_without_the_capability_has_no_line_and_the_walk_goes_on)
{
    chain.at(2).without("overcurrent");
    EXPECT_EQ(answer("currentprotection status"), is(1, "OFF") + is(3, "OFF"));
    EXPECT_FAILURES({"Node overcurrent unavailable for 2@1", "Fail to execute for PDU 2"});
    EXPECT_EQ(answer("currentprotection on"), turned(1, "ON") + turned(3, "ON"));
    EXPECT_FAILURES({"Node overcurrent unavailable for 2@1", "Fail to execute for PDU 2"});
    EXPECT_EQ(chain.at(2).value("overcurrent"), std::nullopt);
}

TEST_F(currentprotection, no_unit_with_the_capability_is_done_without_a_word)
{
    for (int pdu : {1, 2, 3})
        chain.at(pdu).without("overcurrent");
    for (const char *line : {"currentprotection status", "currentprotection on", "currentprotection off"}) {
        EXPECT_EQ(answer(line), "");
        EXPECT_EQ(last_result(), 0);
    }
}

TEST_F(currentprotection, refused_read_is_logged_and_has_no_line)
{
    chain.at(1).refuse("info", "overcurrent");
    EXPECT_EQ(answer("currentprotection status"), is(2, "OFF") + is(3, "OFF"));
    EXPECT_FAILURES({"Fail to get overcurrent for pdu 1@1", "Fail to execute for PDU 1"});
}

TEST_F(currentprotection, refused_write_is_logged_and_the_others_change)
{
    chain.at(2).refuse("admin", "overcurrent");
    EXPECT_EQ(answer("currentprotection on"), turned(1, "ON") + turned(3, "ON"));
    EXPECT_EQ(last_result(), 0);
    EXPECT_FAILURES({"Fail to set overcurrent for pdu 2@1, value on", "Fail to execute for PDU 2"});
    EXPECT_EQ(chain.at(1).value("overcurrent"), "on");
    EXPECT_EQ(chain.at(2).value("overcurrent"), "off");
    EXPECT_EQ(chain.at(3).value("overcurrent"), "on");
}

TEST_F(currentprotection, empty_value_is_never_written)
{
    char *out = nullptr;
    int row = find_command_row(cmd_overc_on);
    EXPECT_EQ(one_pdu(row, &out, 1, 1, overc_pdu_set, ""), 1);
    EXPECT_EQ(one_pdu(row, &out, 1, 1, overc_pdu_set, static_cast<const char *>(nullptr)), 1);
    EXPECT_EQ(out, nullptr);
    EXPECT_EXCHANGES({});
}

TEST_F(currentprotection, there_is_no_form_for_one_unit)
{
    for (const char *line : {"currentprotection 1", "currentprotection on 1", "currentprotection ON",
                             "currentprotection  on", "currentprotection status 1"})
        EXPECT_EQ(answer(line), failure_text) << line;
    EXPECT_EQ(chain.at(1).value("overcurrent"), "off");
}

TEST_F(currentprotection, lists_that_can_not_be_had_decline_the_line)
{
    tree.refuse("mlist", "power.port");
    for (command_handler handler : {cmd_overc_get, cmd_overc_on, cmd_overc_off}) {
        EXPECT_EQ(answer_from_tree(handler), declined);
        EXPECT_FAILURES({"Fail to retrieve list of Ports"});
    }
}

TEST_F(currentprotection, any_exchange_may_fail)
{
    const texts states = {is(2, "OFF") + is(3, "OFF"),
                          is(2, "OFF") + is(3, "OFF"),
                          is(1, "OFF") + is(3, "OFF"),
                          is(1, "OFF") + is(3, "OFF"),
                          is(1, "OFF") + is(2, "OFF"),
                          is(1, "OFF") + is(2, "OFF"),
                          is(1, "OFF") + is(2, "OFF") + is(3, "OFF")};
    expect_with_each_exchange_failing(states, [] { return answer("currentprotection status"); });
    texts from_tree = {declined, declined};
    from_tree.insert(from_tree.end(), states.begin(), states.end());
    expect_with_each_exchange_failing(from_tree, [] { return answer_from_tree(cmd_overc_get); });
    const std::string one = turned(1, "ON"), two = turned(2, "ON"), three = turned(3, "ON");
    expect_with_each_exchange_failing(
        {two + three, two + three, one + three, one + three, one + two, one + two, one + two + three},
        [] { return answer("currentprotection on"); });
}

TEST_F(currentprotection, any_allocation_may_fail)
{
    for (const char *line : {"currentprotection status", "currentprotection on", "currentprotection off"})
        expect_with_each_allocation_failing({failure_text}, [&] { return answer(line); });
    expect_with_each_allocation_failing({declined}, [] { return answer_from_tree(cmd_overc_get); });
}

TEST_F(currentprotection, line_that_can_not_be_built_is_logged)
{
    bool without_copy = false, without_line = false;
    each_failing_allocation([&](int) {
        answer("currentprotection off");
        without_copy |= logged("Fail to printf pdu 2 overcurrent off string");
        without_line |= logged("Fail to printf pdu 2 overcurrent OFF string");
    });
    EXPECT_TRUE(without_copy && without_line);
}

} // namespace

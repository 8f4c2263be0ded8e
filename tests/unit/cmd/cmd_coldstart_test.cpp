#include "cmd/cmd_coldstart.h"
#include "tests/fakes/fakes.h"

namespace {

// A unit is looked for by its ID first: a number is none.
const char no_id[] = "Fail to get pdu from pdu name 1";

struct coldstart : testing::Test {
    fake_chain chain;
    fake_node unit = chain.unit().serve("cold-start-delay", "5");
    static constexpr char leaf[] = "power.port.1.pdu.1.cold-start-delay";
};

// --- Reading --------------------------------------------------------------------------------------------------------

TEST_F(coldstart, shows_the_delay_of_a_unit)
{
    EXPECT_EQ(answer("coldstart 1"), "IPDU #1: Cold start delay set to 5.\n");
    EXPECT_EQ(last_result(), 0);
    EXPECT_FAILURES({no_id});
    EXPECT_EXCHANGES({"info power.pdu.1.pdu", "info power.num-devices", "info power.port.1.num-pdus",
                      "mlist power.port.1.pdu.1", "info power.port.1.pdu.1.cold-start-delay"});
}

TEST_F(coldstart, finds_a_unit_by_its_id)
{
    chain.unit({.id = "cellar"}).serve("cold-start-delay", "7");
    EXPECT_EQ(answer("coldstart cellar"), "IPDU #2: Cold start delay set to 7.\n");
    EXPECT_EQ(answer("coldstart cellar 8"), "IPDU #2: Cold start delay set to 8.\n");
    EXPECT_EQ(chain.at(2).value("cold-start-delay"), "8");
}

TEST_F(coldstart, walk_shows_the_units_that_answered)
{
    chain.unit();
    chain.unit().serve("cold-start-delay", "9").refuse("info", "cold-start-delay");
    chain.unit().serve("cold-start-delay", "1");
    EXPECT_EQ(answer("coldstart"), "IPDU #1: Cold start delay set to 5.\nIPDU #4: Cold start delay set to 1.\n");
    EXPECT_FAILURES({"Node cold-start-delay unavailable for 2@1", "Fail to execute for PDU 2",
                     "Fail to get cold start delay for pdu 3@1", "Fail to execute for PDU 3"});
}

TEST_F(coldstart, chain_where_no_unit_answers_prints_nothing)
{
    unit.without("cold-start-delay");
    EXPECT_EQ(answer("coldstart"), "");
    EXPECT_EQ(last_result(), 0);
}

TEST_F(coldstart, unit_without_the_leaf_is_logged_and_declined)
{
    unit.without("cold-start-delay");
    for (const char *line : {"coldstart 1", "coldstart 1 5"}) {
        EXPECT_EQ(answer(line), failure_text);
        EXPECT_FAILURES({no_id, "Node cold-start-delay unavailable for 1@1"});
    }
}

TEST_F(coldstart, refused_read_is_logged_and_declined)
{
    unit.refuse("info", "cold-start-delay");
    EXPECT_EQ(answer("coldstart 1"), failure_text);
    EXPECT_FAILURES({no_id, "Fail to get cold start delay for pdu 1@1"});
}

TEST_F(coldstart, value_that_is_absent_or_no_number_is_a_failed_read)
{
    unit.serve("cold-start-delay", "soon");
    EXPECT_EQ(answer("coldstart 1"), failure_text);
    EXPECT_FAILURES({no_id, "Fail to get cold start delay for pdu 1@1"});
    tree.absent(leaf);
    EXPECT_EQ(answer("coldstart 1"), failure_text);
    EXPECT_FAILURES({no_id, "Fail to get cold start delay for pdu 1@1"});
}

TEST_F(coldstart, negative_delay_of_the_tree_is_shown)
{
    unit.serve("cold-start-delay", "-3");
    EXPECT_EQ(answer("coldstart 1"), "IPDU #1: Cold start delay set to -3.\n");
}

// --- Setting --------------------------------------------------------------------------------------------------------

TEST_F(coldstart, sets_the_delay_of_a_unit)
{
    EXPECT_EQ(answer("coldstart 1 30"), "IPDU #1: Cold start delay set to 30.\n");
    EXPECT_EQ(tree.value(leaf), "30");
    EXPECT_EXCHANGES({"info power.pdu.1.pdu", "info power.num-devices", "info power.port.1.num-pdus",
                      "mlist power.port.1.pdu.1", "admin power.port.1.pdu.1.cold-start-delay 30"});
}

TEST_F(coldstart, delay_of_zero_is_set)
{
    EXPECT_EQ(answer("coldstart 1 0"), "IPDU #1: Cold start delay set to 0.\n");
    EXPECT_EQ(tree.value(leaf), "0");
}

TEST_F(coldstart, delay_has_no_upper_limit_here)
{
    EXPECT_EQ(answer("coldstart 1 2147483647"), "IPDU #1: Cold start delay set to 2147483647.\n");
    EXPECT_EQ(tree.value(leaf), "2147483647");
}

TEST_F(coldstart, intended_negative_delay_is_declined_before_the_unit_is_looked_up)
{
    for (const char *line : {"coldstart 1 -1", "coldstart 9 -1"}) {
        EXPECT_EQ(answer(line), failure_text);
        EXPECT_EXCHANGES({});
    }
    EXPECT_EQ(tree.value(leaf), "5");
}

TEST_F(coldstart, negative_delay_fails_on_the_unit_itself_too)
{
    char *out = nullptr;
    EXPECT_EQ(coldstart_pdu_set(find_command_row(cmd_coldstart_set), &out, 1, 1, -1), 1);
    EXPECT_EQ(out, nullptr);
    EXPECT_EXCHANGES({});
}

TEST_F(coldstart, intended_reading_and_writing_say_the_same)
{
    const std::string written = answer("coldstart 1 6");
    EXPECT_EQ(answer("coldstart 1"), written);
}

TEST_F(coldstart, line_that_does_not_end_with_the_number_matches_no_row)
{
    for (const char *line : {"coldstart 1 5x", "coldstart 1 5 6", "coldstart 1 x", "coldstart 1 5.5"})
        EXPECT_EQ(answer(line), failure_text) << line;
    EXPECT_EQ(tree.value(leaf), "5");
}

TEST_F(coldstart, refused_write_is_logged_and_declined)
{
    unit.refuse("admin", "cold-start-delay");
    EXPECT_EQ(answer("coldstart 1 30"), failure_text);
    EXPECT_FAILURES({no_id, "Fail to set cold start delay for pdu 1@1, value 30"});
    EXPECT_EQ(tree.value(leaf), "5");
}

TEST_F(coldstart, argument_that_is_no_unit_is_told)
{
    for (const char *line : {"coldstart nobody", "coldstart 0", "coldstart 9", "coldstart nobody 5", "coldstart 9 5"})
        EXPECT_EQ(answer(line), no_such_ipdu) << line;
}

// --- Failures -------------------------------------------------------------------------------------------------------

TEST_F(coldstart, any_exchange_may_fail)
{
    // The first asks for a unit of the ID "1", which there is not in any case.
    for (how way : {refused, dropped})
        for (const char *line : {"coldstart 1", "coldstart 1 5"}) {
            const std::string whole = answer(line);
            const texts expected = {whole, no_such_ipdu, no_such_ipdu, failure_text, failure_text, whole};
            int failed = each_failing_exchange(way, [&](int n) {
                EXPECT_EQ(answer(line), expected.at(static_cast<size_t>(n - 1))) << n;
                EXPECT_EQ(tree.value(leaf), "5");
            });
            EXPECT_EQ(failed, 5);
        }
    EXPECT_EQ(each_failing_exchange(dropped, [](int n) { EXPECT_EQ(answer("coldstart").empty(), n <= 2); }), 2);
}

TEST_F(coldstart, any_allocation_may_fail)
{
    for (const char *line : {"coldstart", "coldstart 1", "coldstart 1 5", "coldstart 9"}) {
        const std::string whole = answer(line);
        int failed = each_failing_allocation([&](int n) {
            std::string text = answer(line);
            EXPECT_TRUE(text == whole || text == no_such_ipdu || text == failure_text || text.empty())
                << line << ", " << n << ": " << text;
        });
        EXPECT_GT(failed, 2) << line;
    }
}

// Runs the line with its last but one allocation failing: append_output takes two, the fragment and the joined text.
std::string answer_without_line(const char *line)
{
    heap.fail_at(0);
    answer(line);
    heap.fail_at(heap.count() - 1);
    return answer(line);
}

// Intended: the message ends with a blank.
TEST_F(coldstart, line_that_cannot_be_built_is_logged)
{
    for (const char *line : {"coldstart 1", "coldstart 1 5"}) {
        EXPECT_EQ(answer_without_line(line), failure_text);
        EXPECT_LOGGED("Fail to printf pdu 1 cold start delay 5 ");
    }
}

TEST_F(coldstart, absent_unit_that_cannot_be_told_is_logged_in_the_commands_own_words)
{
    for (const char *line : {"coldstart 9", "coldstart 9 5"}) {
        EXPECT_EQ(answer_without_line(line), failure_text);
        EXPECT_LOGGED("Fail to printf pdu 9 coldstart invalid PDU");
    }
}

} // namespace

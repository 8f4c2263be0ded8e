// The overcurrent protection in hardware: states and reset.

#include "cmd/cmd_hwocp.h"

#include "core/walkers.h"
#include "tests/unit/cmd/each_failure.h"

namespace {

const std::string unsupported = "IPDU #1 does not support HW overcurrent protection.\n";
const std::string unit_ok = "IPDU #1: HW overcurrent protection is not tripped.\n";
const std::string unit_tripped = "IPDU #1: HW overcurrent protection is tripped.\n";
const std::string reset_done = "IPDU #1: HW overcurrent protection was reset.\n";

std::string line_in(const std::string &element, const std::string &state, int pdu = 1)
{
    return "IPDU #" + std::to_string(pdu) + ": HW overcurrent protection in " + element + " is " + state + ".\n";
}

const std::string elements_ok =
    line_in("phase P1", "not tripped") + line_in("outlet 1", "not tripped") + line_in("outlet 2", "not tripped");

struct hwocp : testing::Test {
    fake_chain chain;
    fake_node unit = chain.unit({.outlets = 2, .phases = 1, .circuits = 1});

    hwocp() { publish(unit, "not tripped"); }

    // In all nodes of a unit like the first.
    static void publish(const fake_node &node, const std::string &state)
    {
        node.publish("hwocp", state);
        for (const fake_node &element : {node.phase(1), node.outlet(1), node.outlet(2)})
            element.publish("hwocp", state);
    }
};

// A family decides nothing here: the same on both.
struct hwocp_of_families : testing::TestWithParam<int> {
    fake_chain chain;
    fake_node unit = chain.unit({.outlets = 2, .phases = 1, .model = GetParam()});

    hwocp_of_families() { hwocp::publish(unit, "not tripped"); }
};

INSTANTIATE_TEST_SUITE_P(models, hwocp_of_families, testing::Values(127, 128, 143, 144));

// --- States ---------------------------------------------------------------------------------------------------------

TEST_P(hwocp_of_families, shows_unit_then_phases_then_outlets_from_the_segment)
{
    unit.publish("hwocp", "tripped");
    unit.outlet(2).publish("hwocp", "tripped");
    EXPECT_EQ(answer("hwocp 1"), unit_tripped + line_in("phase P1", "not tripped") +
                                     line_in("outlet 1", "not tripped") + line_in("outlet 2", "tripped"));
    EXPECT_EQ(last_result(), 0);
    EXPECT_EQ(exchanges_behind_locating(), texts{});
    EXPECT_EQ(failures_behind_locating(), texts{});
}

TEST_P(hwocp_of_families, reads_all_of_it_from_the_tree_without_the_segment)
{
    unit.phase(1).serve("hwocp", "tripped");
    EXPECT_EQ(answer_from_tree(cmd_hwocp_pdu, {"1"}), unit_ok + line_in("phase P1", "tripped") +
                                                          line_in("outlet 1", "not tripped") +
                                                          line_in("outlet 2", "not tripped"));
    EXPECT_EQ(exchanges_behind_locating(),
              (texts{"mlist power.port.1.pdu.1", "info power.port.1.pdu.1.hwocp", "mlist power.port.1.pdu.1.phase",
                     "mlist power.port.1.pdu.1.phase.1", "info power.port.1.pdu.1.phase.1.sys-name",
                     "info power.port.1.pdu.1.phase.1.hwocp", "mlist power.port.1.pdu.1.outlet",
                     "mlist power.port.1.pdu.1.outlet.1", "info power.port.1.pdu.1.outlet.1.hwocp",
                     "mlist power.port.1.pdu.1.outlet.2", "info power.port.1.pdu.1.outlet.2.hwocp"}));
}

TEST_P(hwocp_of_families, reset_of_a_tripped_unit_goes_out_at_once)
{
    unit.publish("hwocp", "tripped");
    EXPECT_EQ(answer("hwocp 1 reset"), reset_done);
    EXPECT_EQ(last_result(), 0);
    EXPECT_EQ(exchanges_behind_locating(), (texts{"mlist power.port.1.pdu.1", "info power.port.1.pdu.1.hwocp",
                                                  "admin power.port.1.pdu.1.hwocp.reset"}));
    EXPECT_EQ(failures_behind_locating(), texts{});
}

TEST_F(hwocp, finds_a_unit_by_its_id)
{
    chain.unit({.outlets = 2, .phases = 1, .id = "cellar"});
    publish(chain.at(2), "tripped");
    EXPECT_EQ(answer("hwocp cellar"), "IPDU #2: HW overcurrent protection is tripped.\n" +
                                          line_in("phase P1", "tripped", 2) + line_in("outlet 1", "tripped", 2) +
                                          line_in("outlet 2", "tripped", 2));
}

TEST_F(hwocp, state_that_only_the_tree_confirms_is_still_read_from_the_segment)
{
    unit.without("hwocp").serve("hwocp", "tripped");
    unit.phase(1).without("hwocp").serve("hwocp", "tripped");
    EXPECT_EQ(answer("hwocp 1"), unit_ok + elements_ok);
    EXPECT_EQ(exchanges_behind_locating(), (texts{"mlist power.port.1.pdu.1", "mlist power.port.1.pdu.1.phase.1"}));
}

TEST_F(hwocp, unit_unknown_to_the_segment_is_read_from_the_tree)
{
    tree.text("power.port.1.num-pdus", "2").text("power.port.1.pdu.2.hwocp", "tripped");
    EXPECT_EQ(answer("hwocp 2"), "IPDU #2: HW overcurrent protection is tripped.\n");
    const texts behind(exchanges().end() - 2, exchanges().end());
    EXPECT_EQ(behind, (texts{"mlist power.port.1.pdu.2", "info power.port.1.pdu.2.hwocp"}));
}

TEST_F(hwocp, only_the_very_word_counts_as_tripped)
{
    tree.text("power.port.1.num-pdus", "2");
    for (const char *state : {"", "Tripped", "tripped ", "is tripped", "not tripped"}) {
        tree.text("power.port.1.pdu.2.hwocp", state);
        EXPECT_EQ(answer("hwocp 2"), "IPDU #2: HW overcurrent protection is not tripped.\n") << state;
    }
    unit.outlet(1).serve("hwocp", "");
    tree.absent(unit.outlet(2).path("hwocp"));
    EXPECT_EQ(answer_from_tree(cmd_hwocp_pdu, {"1"}), unit_ok + elements_ok);
}

TEST_F(hwocp, unit_without_a_state_of_its_own_says_so_and_shows_its_elements)
{
    unit.without("hwocp");
    EXPECT_EQ(answer("hwocp 1"), unsupported + elements_ok);
    EXPECT_EQ(call(cmd_hwocp_pdu, {"1"}).result, 1);
    EXPECT_EQ(failures_behind_locating(), (texts{"Node hwocp unavailable for 1@1"}));
    EXPECT_EQ(exchanges_behind_locating(), (texts{"mlist power.port.1.pdu.1"}));
}

TEST_F(hwocp, unit_without_the_feature_anywhere_has_one_sentence)
{
    unit.without("hwocp");
    for (const fake_node &element : {unit.phase(1), unit.outlet(1), unit.outlet(2)})
        element.without("hwocp");
    EXPECT_EQ(answer("hwocp 1"), unsupported);
    EXPECT_EQ(failures_behind_locating(),
              (texts{"Node hwocp unavailable for 1@1", "Node hwocp unavailable for 1@1@1",
                     "Fail to execute for elem 1, type 0", "Node hwocp unavailable for 1@1@1",
                     "Fail to execute for elem 1, type 2", "Node hwocp unavailable for 2@1@1",
                     "Fail to execute for elem 2, type 2"}));
}

TEST_F(hwocp, element_without_the_feature_has_no_line)
{
    unit.outlet(1).without("hwocp");
    EXPECT_EQ(answer("hwocp 1"), unit_ok + line_in("phase P1", "not tripped") + line_in("outlet 2", "not tripped"));
    EXPECT_EQ(last_result(), 0);
    EXPECT_EQ(failures_behind_locating(),
              (texts{"Node hwocp unavailable for 1@1@1", "Fail to execute for elem 1, type 2"}));
    EXPECT_EQ(exchanges_behind_locating(), (texts{"mlist power.port.1.pdu.1.outlet.1"}));
}

TEST_F(hwocp, segments_are_not_looked_at)
{
    unit.circuit(1).serve("hwocp", "tripped");
    EXPECT_EQ(answer("hwocp 1"), unit_ok + elements_ok);
    EXPECT_EQ(exchanges_behind_locating(), texts{});
}

TEST_F(hwocp, words_for_a_type_without_a_state_name_another_command)
{
    unit.circuit(1).serve("hwocp", "tripped");
    char *out = nullptr;
    EXPECT_EQ(one_element(1, 1, 1, find_command_row(cmd_hwocp_pdu), &out, 1, hwocp_elem_get), 1);
    EXPECT_EQ(out, unsupported);
    free(out);
    EXPECT_FAILURES({"Invalid element for alarm 1@1@1, type 1"});
}

TEST_F(hwocp, unit_is_no_element_of_itself)
{
    forget();
    char *out = nullptr;
    EXPECT_EQ(one_element(1, 1, 3, find_command_row(cmd_hwocp_pdu), &out, 0, hwocp_elem_get), 1);
    EXPECT_STREQ(out, unsupported.c_str());
    free(out);
    EXPECT_FAILURES({"Invalid element for alarm 0@1@1, type 3"});
}

TEST_F(hwocp, failed_read_of_the_unit_leaves_the_lines_of_its_elements)
{
    unit.refuse("info", "hwocp");
    EXPECT_EQ(answer_from_tree(cmd_hwocp_pdu, {"1"}), elements_ok + declined);
    EXPECT_EQ(failures_behind_locating(), (texts{"Fail to get hwocp for pdu 1@1"}));
}

TEST_F(hwocp, failed_read_of_all_of_it_ends_in_the_sentence)
{
    for (const fake_node &node : {unit, unit.phase(1), unit.outlet(1), unit.outlet(2)})
        node.refuse("info", "hwocp");
    EXPECT_EQ(answer_from_tree(cmd_hwocp_pdu, {"1"}), unsupported + declined);
    EXPECT_EQ(failures_behind_locating(),
              (texts{"Fail to get hwocp for pdu 1@1", "Fail to get hwocp for element 1@1@1, type 0",
                     "Fail to execute for elem 1, type 0", "Fail to get hwocp for element 1@1@1, type 2",
                     "Fail to execute for elem 1, type 2", "Fail to get hwocp for element 2@1@1, type 2",
                     "Fail to execute for elem 2, type 2"}));
}

// The first element that fails finds the accumulator empty; the others follow its sentence.
TEST_F(hwocp, element_that_fails_into_an_empty_accumulator_adds_the_sentence)
{
    unit.refuse("info", "hwocp");
    unit.phase(1).without("hwocp");
    EXPECT_EQ(answer_from_tree(cmd_hwocp_pdu, {"1"}),
              unsupported + line_in("outlet 1", "not tripped") + line_in("outlet 2", "not tripped") + declined);
}

TEST_F(hwocp, unit_without_elements_that_can_not_be_read_ends_in_the_sentence)
{
    fake_node bare = chain.unit({.outlets = 0, .phases = 0});
    bare.serve("hwocp", "tripped").refuse("info", "hwocp");
    cli_own_name = 0;
    called done = call(cmd_hwocp_pdu, {"2"});
    EXPECT_EQ(done.result, 1);
    EXPECT_EQ(done.text, "IPDU #2 does not support HW overcurrent protection.\n");
}

TEST_F(hwocp, state_absent_from_its_answer_is_none)
{
    tree.absent(unit.path("hwocp"));
    EXPECT_EQ(answer_from_tree(cmd_hwocp_pdu, {"1"}), elements_ok + declined);
    EXPECT_EQ(failures_behind_locating(), texts{});
}

TEST_F(hwocp, failed_name_is_logged_and_drops_the_line)
{
    unit.phase(1).refuse("info", "sys-name");
    EXPECT_EQ(answer_from_tree(cmd_hwocp_pdu, {"1"}),
              unit_ok + line_in("outlet 1", "not tripped") + line_in("outlet 2", "not tripped"));
    EXPECT_EQ(failures_behind_locating(),
              (texts{"Fail to get name for element 1@1@1, type 0", "Fail to execute for elem 1, type 0"}));
    const texts &all = exchanges();
    EXPECT_NE(std::find(all.begin(), all.end(), "info power.port.1.pdu.1.phase.1.hwocp"), all.end());
}

TEST_F(hwocp, failed_name_and_state_are_one_failure)
{
    unit.phase(1).refuse("info", "sys-name").refuse("info", "hwocp");
    answer_from_tree(cmd_hwocp_pdu, {"1"});
    EXPECT_EQ(failures_behind_locating(),
              (texts{"Fail to get name for element 1@1@1, type 0", "Fail to execute for elem 1, type 0"}));
}

TEST_F(hwocp, element_without_a_name_has_no_line_and_no_word)
{
    const std::string others = unit_ok + line_in("outlet 1", "not tripped") + line_in("outlet 2", "not tripped");
    const texts silent = {"Fail to execute for elem 1, type 0"};
    unit.phase(1).publish("sys-name", "");
    EXPECT_EQ(answer("hwocp 1"), others);
    EXPECT_EQ(failures_behind_locating(), silent);
    EXPECT_EQ(answer_from_tree(cmd_hwocp_pdu, {"1"}), others);
    tree.absent(unit.phase(1).path("sys-name"));
    EXPECT_EQ(answer_from_tree(cmd_hwocp_pdu, {"1"}), others);
    EXPECT_EQ(failures_behind_locating(), silent);
}

TEST_F(hwocp, name_of_any_length_with_anything_in_it_is_shown_whole)
{
    const std::string name = std::string(300, 'x') + " %s %n";
    unit.phase(1).serve("sys-name", name);
    EXPECT_EQ(answer_from_tree(cmd_hwocp_pdu, {"1"}), unit_ok + line_in("phase " + name, "not tripped") +
                                                          line_in("outlet 1", "not tripped") +
                                                          line_in("outlet 2", "not tripped"));
}

TEST_F(hwocp, walk_lets_each_unit_without_the_feature_say_so)
{
    chain.unit({.outlets = 0, .phases = 0});
    chain.unit({.outlets = 0, .phases = 0}).publish("hwocp", "tripped");
    chain.unit({.outlets = 0, .phases = 0});
    EXPECT_EQ(answer("hwocp"), unit_ok + elements_ok + "IPDU #2 does not support HW overcurrent protection.\n" +
                                   "IPDU #3: HW overcurrent protection is tripped.\n" +
                                   "IPDU #4 does not support HW overcurrent protection.\n");
    EXPECT_EQ(last_result(), 0);
    EXPECT_FAILURES({"Node hwocp unavailable for 2@1", "Fail to execute for PDU 2", "Node hwocp unavailable for 4@1",
                     "Fail to execute for PDU 4"});
}

TEST_F(hwocp, unit_of_a_walk_that_can_not_be_read_is_silent_behind_others)
{
    chain.unit({.outlets = 0, .phases = 0}).serve("hwocp", "tripped").refuse("info", "hwocp");
    EXPECT_EQ(answer_from_tree(cmd_hwocp), unit_ok + elements_ok);
    unit.refuse("info", "hwocp");
    for (const fake_node &element : {unit.phase(1), unit.outlet(1), unit.outlet(2)})
        element.without("hwocp");
    EXPECT_EQ(answer_from_tree(cmd_hwocp), unsupported);
}

TEST(hwocp_addresses, are_logged_from_the_inside_out)
{
    fake_chain chain;
    fake_node unit = third_unit_of_second_port(chain, {.outlets = 4, .phases = 0});
    EXPECT_EQ(answer("hwocp 3"), "IPDU #3 does not support HW overcurrent protection.\n");
    EXPECT_LOGGED("Node hwocp unavailable for 3@2");
    EXPECT_LOGGED("Node hwocp unavailable for 4@3@2");
    EXPECT_EQ(answer("hwocp 3 reset"), "IPDU #3 does not support HW overcurrent protection.\n");
    EXPECT_LOGGED("Node hwocp unavailable for 3@2");

    unit.publish("hwocp", "tripped").refuse("info", "hwocp");
    unit.outlet(4).publish("hwocp", "tripped").refuse("info", "hwocp");
    answer("hwocp 3 reset");
    EXPECT_LOGGED("Fail to get hwocp for pdu 3@2");
    answer_from_tree(cmd_hwocp_pdu, {"3"});
    EXPECT_LOGGED("Fail to get hwocp for pdu 3@2");
    EXPECT_LOGGED("Fail to get hwocp for element 4@3@2, type 2");

    tree.allow("info", unit.path("hwocp")).refuse("admin", unit.path("hwocp.reset"));
    answer("hwocp 3 reset");
    EXPECT_LOGGED("Fail to reset hwocp for pdu 3@2");
    tree.allow("admin", unit.path("hwocp.reset"));
    EXPECT_EQ(answer("hwocp 3 reset"), "IPDU #3: HW overcurrent protection was reset.\n");
    EXPECT_EQ(exchanges().back(), "admin power.port.2.pdu.3.hwocp.reset");
    EXPECT_EQ(answer("hwocp 3"),
              "IPDU #3: HW overcurrent protection is tripped.\n" + line_in("outlet 4", "tripped", 3));
}

TEST_F(hwocp, lists_that_can_not_be_had_decline_the_line)
{
    tree.refuse("mlist", "power.port");
    EXPECT_EQ(answer_from_tree(cmd_hwocp), declined);
    EXPECT_FAILURES({"Fail to retrieve list of Ports"});
}

TEST_F(hwocp, argument_that_is_no_unit_is_told)
{
    for (const char *line : {"hwocp nobody", "hwocp 0", "hwocp 2", "hwocp -1", "hwocp reset", "hwocp nobody reset",
                             "hwocp 0 reset", "hwocp 2 reset"})
        EXPECT_EQ(answer(line), no_such_ipdu) << line;
    EXPECT_EQ(answer("hwocp 1 reset now"), failure_text);
    EXPECT_EQ(answer("hwocp 1 clear"), failure_text);
    EXPECT_EQ(answer("hwocp " + std::string(65, '1')), failure_text);
}

// --- Reset ----------------------------------------------------------------------------------------------------------

TEST_F(hwocp, reset_with_nothing_tripped_shows_the_state_and_resets_nothing)
{
    EXPECT_EQ(answer("hwocp 1 reset"), unit_ok);
    EXPECT_EQ(last_result(), 0);
    EXPECT_EQ(exchanges_behind_locating(), (texts{"mlist power.port.1.pdu.1", "info power.port.1.pdu.1.hwocp"}));
    EXPECT_EQ(failures_behind_locating(), texts{});
}

TEST_F(hwocp, reset_without_elements_shows_the_state_and_resets_nothing)
{
    chain.unit({.outlets = 0, .phases = 0}).publish("hwocp", "not tripped");
    EXPECT_EQ(answer("hwocp 2 reset"), "IPDU #2: HW overcurrent protection is not tripped.\n");
    EXPECT_EQ(last_result(), 0);
}

TEST_F(hwocp, tripped_element_lets_the_reset_through)
{
    unit.outlet(2).publish("hwocp", "tripped");
    EXPECT_EQ(answer("hwocp 1 reset"), reset_done);
    EXPECT_EQ(exchanges().back(), "admin power.port.1.pdu.1.hwocp.reset");
    unit.outlet(2).publish("hwocp", "not tripped");
    unit.phase(1).publish("hwocp", "tripped");
    EXPECT_EQ(answer("hwocp 1 reset"), reset_done);
}

TEST_F(hwocp, look_at_the_elements_for_a_reset_is_private)
{
    unit.phase(1).without("hwocp");
    unit.outlet(1).without("hwocp");
    EXPECT_EQ(answer("hwocp 1 reset"), unit_ok);
    EXPECT_EQ(failures_behind_locating(),
              (texts{"Node hwocp unavailable for 1@1@1", "Fail to execute for elem 1, type 0",
                     "Node hwocp unavailable for 1@1@1", "Fail to execute for elem 1, type 2"}));
}

TEST_F(hwocp, reset_takes_the_state_of_the_unit_from_the_tree)
{
    unit.serve("hwocp", "tripped");
    EXPECT_EQ(answer("hwocp 1 reset"), reset_done);
    unit.serve("hwocp", "not tripped").poll("hwocp", "tripped");
    EXPECT_EQ(answer("hwocp 1 reset"), unit_ok);
}

TEST_F(hwocp, reset_without_the_segment_looks_at_the_elements_in_the_tree)
{
    unit.outlet(2).serve("hwocp", "tripped");
    EXPECT_EQ(answer_from_tree(cmd_hwocp_pdu_reset, {"1"}), reset_done);
    EXPECT_EQ(exchanges_behind_locating(),
              (texts{"mlist power.port.1.pdu.1", "info power.port.1.pdu.1.hwocp", "mlist power.port.1.pdu.1.phase",
                     "mlist power.port.1.pdu.1.phase.1", "info power.port.1.pdu.1.phase.1.sys-name",
                     "info power.port.1.pdu.1.phase.1.hwocp", "mlist power.port.1.pdu.1.outlet",
                     "mlist power.port.1.pdu.1.outlet.1", "info power.port.1.pdu.1.outlet.1.hwocp",
                     "mlist power.port.1.pdu.1.outlet.2", "info power.port.1.pdu.1.outlet.2.hwocp",
                     "admin power.port.1.pdu.1.hwocp.reset"}));
}

TEST_F(hwocp, reset_asks_the_tree_alone_whether_the_unit_has_it)
{
    tree.remove(unit.path("hwocp"));
    EXPECT_EQ(answer("hwocp 1 reset"), unsupported);
    EXPECT_EQ(exchanges_behind_locating(), (texts{"mlist power.port.1.pdu.1"}));
    EXPECT_EQ(failures_behind_locating(), (texts{"Node hwocp unavailable for 1@1"}));
}

TEST_F(hwocp, state_that_can_not_be_read_for_a_reset_is_a_failure)
{
    unit.refuse("info", "hwocp");
    EXPECT_EQ(answer("hwocp 1 reset"), unsupported);
    EXPECT_EQ(failures_behind_locating(), (texts{"Fail to get hwocp for pdu 1@1"}));
}

TEST_F(hwocp, refused_reset_is_a_failure)
{
    unit.publish("hwocp", "tripped");
    tree.refuse("admin", unit.path("hwocp.reset"));
    EXPECT_EQ(answer("hwocp 1 reset"), unsupported);
    EXPECT_EQ(failures_behind_locating(), (texts{"Fail to reset hwocp for pdu 1@1"}));
}

TEST_F(hwocp, fixed_word_of_the_row_is_tried_before_the_unit_alone)
{
    unit.publish("hwocp", "tripped");
    EXPECT_EQ(answer("hwocp 1   reset"), reset_done);
    EXPECT_EQ(answer("hwocp unit1 reset"), reset_done);
}

// --- Failures -------------------------------------------------------------------------------------------------------

TEST_F(hwocp, any_exchange_may_fail_with_the_segment_in_use)
{
    expect_with_each_exchange_failing({unit_ok + elements_ok, no_such_ipdu, no_such_ipdu, unit_ok + elements_ok},
                                      [] { return answer("hwocp 1"); });
    expect_with_each_exchange_failing({unit_ok + elements_ok}, [] { return answer("hwocp"); });
    unit.outlet(1).publish("hwocp", "tripped");
    expect_with_each_exchange_failing(
        {reset_done, no_such_ipdu, no_such_ipdu, unsupported, unsupported, unsupported, reset_done},
        [] { return answer("hwocp 1 reset"); });
}

TEST_F(hwocp, any_exchange_may_fail_without_the_segment)
{
    const std::string phase = line_in("phase P1", "not tripped");
    const std::string first = line_in("outlet 1", "not tripped");
    const std::string second = line_in("outlet 2", "not tripped");
    const texts answers = {
        unsupported + elements_ok + declined, // its capability
        elements_ok + declined,               // its state
        unit_ok + first + second,             // the list of phases
        unit_ok + first + second,             // the phase: capability, name, state
        unit_ok + first + second,
        unit_ok + first + second,
        unit_ok + phase, // the list of outlets
        unit_ok + phase + second,
        unit_ok + phase + second,
        unit_ok + phase + first,
        unit_ok + phase + first,
        unit_ok + elements_ok,
    };
    texts one = {unit_ok + elements_ok, no_such_ipdu + declined, no_such_ipdu + declined};
    one.insert(one.end(), answers.begin(), answers.end());
    expect_with_each_exchange_failing(one, [] { return answer_from_tree(cmd_hwocp_pdu, {"1"}); });

    texts all = {declined, declined};
    for (const std::string &text : answers)
        all.push_back(text.ends_with(declined) ? text.substr(0, text.size() - declined.size()) : text);
    expect_with_each_exchange_failing(all, [] { return answer_from_tree(cmd_hwocp); });
}

TEST_F(hwocp, any_exchange_of_a_reset_may_fail_without_the_segment)
{
    unit.outlet(1).serve("hwocp", "tripped");
    const std::string nobody = no_such_ipdu + declined;
    const std::string failed = unsupported + declined;
    expect_with_each_exchange_failing({reset_done, nobody, nobody, failed, failed, reset_done, reset_done, reset_done,
                                       reset_done, unit_ok, unit_ok, unit_ok, reset_done, reset_done, failed,
                                       reset_done},
                                      [] { return answer_from_tree(cmd_hwocp_pdu_reset, {"1"}); });
}

TEST(hwocp_memory, any_allocation_may_fail)
{
    fake_chain chain;
    fake_node unit = chain.unit({.outlets = 1, .phases = 0});
    unit.publish("hwocp", "not tripped");
    unit.outlet(1).publish("hwocp", "not tripped");
    const texts others = {failure_text, no_such_ipdu, unsupported};
    for (const char *line : {"hwocp", "hwocp 1", "hwocp 1 reset"})
        expect_with_each_allocation_failing(others, [&] { return answer(line); });
    const texts partial = {declined, no_such_ipdu, unsupported, unit_ok};
    expect_with_each_allocation_failing(partial, [] { return answer_from_tree(cmd_hwocp_pdu, {"1"}); });
    unit.outlet(1).publish("hwocp", "tripped");
    expect_with_each_allocation_failing(partial, [] { return answer_from_tree(cmd_hwocp_pdu_reset, {"1"}); });
}

TEST_F(hwocp, lines_that_can_not_be_built_are_logged)
{
    bool unit_line = false, element_line = false, element_name = false;
    each_failing_allocation([&](int) {
        answer("hwocp 1");
        unit_line |= logged("Fail to printf pdu 1 hwocp not tripped string");
        element_line |= logged("Fail to printf elem 1, type 2, hwocp not tripped string");
        element_name |= logged("Fail to get name for element 2@1@1, type 2");
    });
    EXPECT_TRUE(unit_line && element_line && element_name);
}

TEST_F(hwocp, reset_stays_done_where_its_line_can_not_be_built)
{
    unit.publish("hwocp", "tripped");
    answer("hwocp 1 reset");
    heap.fail_at(0);
    answer("hwocp 1 reset");
    heap.fail_at(heap.count() - 1); // append_output takes two: the fragment and the text
    EXPECT_EQ(answer("hwocp 1 reset"), "");
    EXPECT_EQ(last_result(), 0);
    EXPECT_LOGGED("Fail to printf pdu 1 hwocp reset string");
}

} // namespace

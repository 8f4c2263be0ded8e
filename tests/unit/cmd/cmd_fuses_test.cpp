// The fuses of segments.

#include "cmd/cmd_fuses.h"

#include "core/walkers.h"
#include "tests/unit/cmd/each_failure.h"

namespace {

std::string fuse_line(const std::string &segment, const std::string &state, int pdu = 1)
{
    return "IPDU #" + std::to_string(pdu) + ": Fuse status in segment " + segment + " is " + state + "\n";
}

struct fuses : testing::TestWithParam<int> {
    fake_chain chain;
    fake_node unit = chain.unit({.outlets = 1, .phases = 1, .circuits = 3, .model = GetParam()});

    fuses()
    {
        unit.circuit(1).publish("blown-fuse", "OK");
        unit.circuit(2).publish("blown-fuse", "BLOWN");
        unit.circuit(3).publish("blown-fuse", "N/A");
    }
};

// Legacy and current family alike.
INSTANTIATE_TEST_SUITE_P(models, fuses, testing::Values(1, 128));

const std::string all_lines = fuse_line("S1", "OK") + fuse_line("S2", "BLOWN") + fuse_line("S3", "N/A");

TEST_P(fuses, shows_each_segment_from_the_segment_of_the_monitor)
{
    EXPECT_EQ(answer("fuses 1"), all_lines);
    EXPECT_EQ(last_result(), 0);
    EXPECT_EQ(exchanges_behind_locating(), texts{});
    EXPECT_EQ(failures_behind_locating(), texts{});
}

TEST_P(fuses, reads_all_of_it_from_the_tree_without_the_segment)
{
    EXPECT_EQ(answer_from_tree(cmd_fuses_pdu, {"1"}), all_lines);
    EXPECT_EQ(exchanges_behind_locating(),
              (texts{"mlist power.port.1.pdu.1.circuit", "mlist power.port.1.pdu.1.circuit.1",
                     "info power.port.1.pdu.1.circuit.1.sys-name", "info power.port.1.pdu.1.circuit.1.blown-fuse",
                     "mlist power.port.1.pdu.1.circuit.2", "info power.port.1.pdu.1.circuit.2.sys-name",
                     "info power.port.1.pdu.1.circuit.2.blown-fuse", "mlist power.port.1.pdu.1.circuit.3",
                     "info power.port.1.pdu.1.circuit.3.sys-name", "info power.port.1.pdu.1.circuit.3.blown-fuse"}));
}

TEST_P(fuses, fuse_that_only_the_tree_confirms_is_still_read_from_the_segment)
{
    unit.circuit(2).without("blown-fuse").serve("blown-fuse", "OK");
    EXPECT_EQ(answer("fuses 1"), all_lines);
    EXPECT_EQ(exchanges_behind_locating(), (texts{"mlist power.port.1.pdu.1.circuit.2"}));
}

TEST_P(fuses, state_is_shown_as_it_comes)
{
    unit.circuit(1).serve("blown-fuse", "half %s\xF8 blown");
    unit.circuit(2).serve("blown-fuse", "");
    tree.absent(unit.circuit(3).path("blown-fuse"));
    EXPECT_EQ(answer_from_tree(cmd_fuses_pdu, {"1"}),
              fuse_line("S1", "half %s\xF8 blown") + fuse_line("S2", "") + fuse_line("S3", ""));
}

TEST_P(fuses, name_of_any_length_is_shown_whole)
{
    const std::string name = std::string(400, 'n') + " %n";
    unit.circuit(1).serve("sys-name", name);
    EXPECT_EQ(answer_from_tree(cmd_fuses_pdu, {"1"}),
              fuse_line(name, "OK") + fuse_line("S2", "BLOWN") + fuse_line("S3", "N/A"));
}

// The answer is empty, not the failure text.
TEST_P(fuses, unit_without_fuses_is_done_without_a_word)
{
    for (int number : {1, 2, 3})
        unit.circuit(number).without("blown-fuse");
    EXPECT_EQ(answer("fuses 1"), "");
    EXPECT_EQ(last_result(), 0);
    EXPECT_EQ(failures_behind_locating(),
              (texts{"Node fuses unavailable for 1@1@1", "Fail to execute for elem 1, type 1",
                     "Node fuses unavailable for 2@1@1", "Fail to execute for elem 2, type 1",
                     "Node fuses unavailable for 3@1@1", "Fail to execute for elem 3, type 1"}));
    EXPECT_EQ(answer("fuses"), "");
    EXPECT_EQ(last_result(), 0);
}

TEST_P(fuses, segment_without_a_fuse_has_no_line)
{
    unit.circuit(1).without("blown-fuse");
    EXPECT_EQ(answer("fuses 1"), fuse_line("S2", "BLOWN") + fuse_line("S3", "N/A"));
    EXPECT_EQ(failures_behind_locating(),
              (texts{"Node fuses unavailable for 1@1@1", "Fail to execute for elem 1, type 1"}));
}

TEST_P(fuses, failed_name_or_state_is_logged_and_drops_the_line)
{
    unit.circuit(1).refuse("info", "sys-name");
    unit.circuit(2).drop("info", "blown-fuse");
    unit.circuit(3).refuse("info", "sys-name").refuse("info", "blown-fuse");
    EXPECT_EQ(answer_from_tree(cmd_fuses_pdu, {"1"}), "");
    EXPECT_EQ(failures_behind_locating(),
              (texts{"Fail to get name for element 1@1@1, type 1", "Fail to execute for elem 1, type 1",
                     "Fail to get fuses for element 2@1@1, type 1", "Fail to execute for elem 2, type 1",
                     "Fail to get name for element 3@1@1, type 1", "Fail to execute for elem 3, type 1"}));
}

TEST_P(fuses, segment_without_a_name_has_no_line_and_no_word)
{
    unit.circuit(1).publish("sys-name", "");
    EXPECT_EQ(answer("fuses 1"), fuse_line("S2", "BLOWN") + fuse_line("S3", "N/A"));
    EXPECT_EQ(failures_behind_locating(), (texts{"Fail to execute for elem 1, type 1"}));
}

TEST_P(fuses, state_that_the_segment_can_not_tell_is_a_failed_read)
{
    unit.circuit(1).block().blown_fuse = 3;
    EXPECT_EQ(answer("fuses 1"), fuse_line("S2", "BLOWN") + fuse_line("S3", "N/A"));
    EXPECT_EQ(failures_behind_locating(),
              (texts{"Fail to get fuses for element 1@1@1, type 1", "Fail to execute for elem 1, type 1"}));
}

TEST_P(fuses, type_without_fuses_is_logged)
{
    unit.phase(1).serve("blown-fuse", "OK");
    char *out = nullptr;
    EXPECT_EQ(one_element(1, 1, 0, find_command_row(cmd_fuses_pdu), &out, 1, fuses_elem_get), 1);
    EXPECT_EQ(out, nullptr);
    EXPECT_FAILURES({"Invalid element for fuses 1@1@1, type 0"});
}

TEST(fuses_addresses, are_logged_from_the_inside_out)
{
    fake_chain chain;
    fake_node unit = third_unit_of_second_port(chain, {.outlets = 0, .circuits = 4});
    answer("fuses 3");
    EXPECT_LOGGED("Node fuses unavailable for 4@3@2");
    unit.circuit(4).publish("blown-fuse", "OK").refuse("info", "blown-fuse");
    EXPECT_EQ(answer("fuses 3"), fuse_line("S4", "OK", 3));
    answer_from_tree(cmd_fuses_pdu, {"3"});
    EXPECT_LOGGED("Fail to get fuses for element 4@3@2, type 1");
    unit.circuit(4).refuse("info", "sys-name");
    answer_from_tree(cmd_fuses_pdu, {"3"});
    EXPECT_LOGGED("Fail to get name for element 4@3@2, type 1");
}

TEST_P(fuses, walk_shows_all_units)
{
    chain.unit({.outlets = 0, .circuits = 1});
    chain.unit({.outlets = 0, .circuits = 1}).circuit(1).publish("blown-fuse", "BLOWN");
    EXPECT_EQ(answer("fuses"), all_lines + fuse_line("S1", "BLOWN", 3));
    EXPECT_EQ(last_result(), 0);
    // A unit never fails, so the walk has nothing to say about it.
    EXPECT_FAILURES({"Node fuses unavailable for 1@2@1", "Fail to execute for elem 1, type 1"});
}

TEST_P(fuses, reset_that_the_usage_promises_is_no_row)
{
    EXPECT_EQ(answer("fuses 1 reset"), failure_text);
    EXPECT_EXCHANGES({});
}

TEST_P(fuses, argument_that_is_no_unit_is_told)
{
    for (const char *line : {"fuses nobody", "fuses 0", "fuses 2", "fuses reset"})
        EXPECT_EQ(answer(line), no_such_ipdu) << line;
    chain.unit({.outlets = 0, .circuits = 1, .id = "cellar"}).circuit(1).publish("blown-fuse", "OK");
    EXPECT_EQ(answer("fuses cellar"), fuse_line("S1", "OK", 2));
}

TEST_P(fuses, any_exchange_may_fail)
{
    expect_with_each_exchange_failing({all_lines, no_such_ipdu, no_such_ipdu, all_lines},
                                      [] { return answer("fuses 1"); });
    expect_with_each_exchange_failing({all_lines}, [] { return answer("fuses"); });

    const std::string first = fuse_line("S1", "OK"), second = fuse_line("S2", "BLOWN"), third = fuse_line("S3", "N/A");
    const std::string without[] = {second + third, first + third, first + second};
    texts answers = {""};
    for (const std::string &text : without)
        answers.insert(answers.end(), 3, text);
    answers.push_back(all_lines);
    texts one = {all_lines, no_such_ipdu + declined, no_such_ipdu + declined};
    one.insert(one.end(), answers.begin(), answers.end());
    expect_with_each_exchange_failing(one, [] { return answer_from_tree(cmd_fuses_pdu, {"1"}); });
    texts all = {declined, declined};
    all.insert(all.end(), answers.begin(), answers.end());
    expect_with_each_exchange_failing(all, [] { return answer_from_tree(cmd_fuses); });
}

TEST(fuses_memory, any_allocation_may_fail)
{
    fake_chain chain;
    chain.unit({.outlets = 0, .phases = 0, .circuits = 1}).circuit(1).publish("blown-fuse", "OK");
    for (const char *line : {"fuses", "fuses 1"})
        expect_with_each_allocation_failing({failure_text, no_such_ipdu}, [&] { return answer(line); });
    const texts others = {declined, no_such_ipdu};
    expect_with_each_allocation_failing(others, [] { return answer_from_tree(cmd_fuses); });
    expect_with_each_allocation_failing(others, [] { return answer_from_tree(cmd_fuses_pdu, {"1"}); });
}

TEST_P(fuses, line_that_can_not_be_built_is_logged)
{
    int told = 0;
    each_failing_allocation([&](int) {
        answer("fuses 1");
        told += logged("Fail to printf elem 2, type 1, fuse BLOWN string");
    });
    EXPECT_EQ(told, 2);
}

} // namespace

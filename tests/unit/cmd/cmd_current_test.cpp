// The command `current`: its forms, the walks over units and elements, what the dispatcher makes of a form that has
// nothing to show, and failures anywhere on the way.

#include "cmd/cmd_current.h"

#include <set>

#include "tests/unit/cmd/measure_support.h"

using namespace measure_support;

namespace {

const char unit_line[] = "IPDU #1: True RMS current: 2.5A. Maximum current: 3.0A. Minimum current: 0.1A. "
                         "Average current: 1.2A\n";

struct current_command : testing::Test {
    fake_chain chain;

    current_command() { errno = 0; }

    static fake_node with_current(const fake_node &node, const std::string &now = "2.5")
    {
        node.publish("current", now).publish("current-max", "3.0").publish("current-min", "0.1");
        return node.publish("current-avg", "1.2");
    }
    fake_node bare_unit() { return chain.unit({.outlets = 1, .circuits = 1}); }
    fake_node full_unit()
    {
        fake_node unit = bare_unit();
        for (const fake_node &node : {unit, unit.phase(1), unit.circuit(1), unit.outlet(1)})
            with_current(node);
        return unit;
    }
};

std::string element_line(const std::string &what)
{
    return "IPDU #1: True RMS current for " + what + ": 2.5A. Maximum current for " + what +
           ": 3.0A. Minimum current for " + what + ": 0.1A. Average current for " + what + ": 1.2A\n";
}

// --- Forms and their order ------------------------------------------------------------------------------------------

TEST_F(current_command, phase_x_reads_as_told)
{
    full_unit().phase(1).publish("sys-name", "X");
    EXPECT_EQ(answer("current 1 X"), "IPDU #1: True RMS current for phase X: 2.5A. Maximum current for phase X: 3.0A. "
                                     "Minimum current for phase X: 0.1A. Average current for phase X: 1.2A\n");
    EXPECT_EQ(answer("current summary 1 X"), "1,X:2.5A,3.0A,0.1A,1.2A\n");
}

TEST_F(current_command, unit_comes_first_then_phases_segments_and_outlets)
{
    fake_node unit = chain.unit({.outlets = 2, .phases = 2, .circuits = 2});
    for (int k : {2, 1})
        for (const fake_node &node : {unit.outlet(k), unit.circuit(k), unit.phase(k), unit})
            with_current(node);
    const std::string all = unit_line + element_line("phase P1") + element_line("phase P2") +
                            element_line("segment S1") + element_line("segment S2") + element_line("outlet 1") +
                            element_line("outlet 2");
    for (const char *line : {"current", "current 1", "current unit1"})
        EXPECT_EQ(answer(line), all) << line;
    const std::string values = ":2.5A,3.0A,0.1A,1.2A\n1";
    for (const char *line : {"current summary", "current summary 1", "current summary unit1"})
        EXPECT_EQ(answer(line) + "1", "1" + values + ",P1" + values + ",P2" + values + ",S1" + values + ",S2" + values +
                                          ",1" + values + ",2" + values)
            << line;
}

TEST_F(current_command, what_the_segment_knows_costs_no_exchange)
{
    full_unit();
    EXPECT_EQ(answer("current"),
              unit_line + element_line("phase P1") + element_line("segment S1") + element_line("outlet 1"));
    EXPECT_EXCHANGES({});
    EXPECT_FAILURES({});
    answer("current unit1 S1");
    EXPECT_EXCHANGES({"info power.num-devices", "info power.port.1.num-pdus", "mlist power.port.1.pdu.1.outlet",
                      "mlist power.port.1.pdu.1.phase", "mlist power.port.1.pdu.1.circuit"});
}

TEST_F(current_command, walks_without_a_segment_over_all_ports_of_the_tree)
{
    with_current(bare_unit());
    with_current(bare_unit(), "2.6");
    chain.next_port();
    with_current(bare_unit(), "2.7");
    cli_own_name = 0;
    EXPECT_EQ(call(17).text, "1:2.5A,3.0A,0.1A,1.2A\n2:2.6A,3.0A,0.1A,1.2A\n1:2.7A,3.0A,0.1A,1.2A\n");
    EXPECT_EQ(exchanges().front(), "mlist power.port");
}

TEST_F(current_command, walks_by_the_segment_over_the_first_port_alone)
{
    with_current(bare_unit());
    with_current(bare_unit(), "2.6");
    chain.next_port();
    with_current(bare_unit(), "2.7");
    EXPECT_EQ(answer("current summary"), "1:2.5A,3.0A,0.1A,1.2A\n2:2.6A,3.0A,0.1A,1.2A\n");
}

TEST_F(current_command, number_of_a_unit_on_a_later_port_is_handed_on_unchanged)
{
    full_unit();
    chain.next_port();
    with_current(bare_unit(), "2.7");
    EXPECT_EQ(answer("current 2"), failure_text);
    EXPECT_FAILURES(
        {"Fail to get pdu from pdu name 2", "Fail to get model for pdu 2@2", "Fail to get model from pdu 2@2"});
}

TEST_F(current_command, unit_without_values_does_not_stop_a_walk)
{
    bare_unit();
    with_current(bare_unit(), "2.6");
    EXPECT_EQ(answer("current summary"), "2:2.6A,3.0A,0.1A,1.2A\n");
    EXPECT_EQ(failures()[0], "Node current unavailable for 1@1");
    EXPECT_LOGGED("Fail to execute for elem 1, type 0");
    EXPECT_LOGGED("Fail to execute for elem 1, type 1");
    EXPECT_LOGGED("Fail to execute for elem 1, type 2");
    EXPECT_LOGGED("Fail to execute for PDU 1");
}

TEST_F(current_command, walk_that_cannot_list_is_declined)
{
    full_unit();
    cli_own_name = 0;
    tree.refuse("mlist", "power.port");
    for (int row : {16, 17, 18, 19}) {
        called done = call(row);
        EXPECT_EQ(done.result, 1);
        EXPECT_EQ(done.text, std::nullopt);
        EXPECT_FAILURES({"Fail to retrieve list of Ports"});
    }
}

TEST_F(current_command, unit_without_a_value_of_its_own_still_shows_its_elements)
{
    full_unit();
    fake_node unit = bare_unit();
    with_current(unit.phase(1));
    with_current(unit.outlet(1));
    EXPECT_EQ(answer("current summary 2"), "2,P1:2.5A,3.0A,0.1A,1.2A\n2,1:2.5A,3.0A,0.1A,1.2A\n");
    EXPECT_EQ(last_result(), 0);
    EXPECT_FAILURES({"Fail to get pdu from pdu name 2", "Node current unavailable for 2@1",
                     "Node current unavailable for 1@2@1", "Fail to execute for elem 1, type 1"});
}

TEST_F(current_command, legacy_unit_shows_and_clears_the_maximum_alone)
{
    fake_node unit = chain.unit({.outlets = 1, .model = 127});
    for (const fake_node &node : {unit, unit.outlet(1)})
        node.publish("current", "2.5").publish("current-max", "3.0");
    EXPECT_EQ(answer("current"), "IPDU #1: True RMS current: 2.5A. Maximum current: 3.0A\n"
                                 "IPDU #1: True RMS current for outlet 1: 2.5A. Maximum current for outlet 1: 3.0A\n");
    EXPECT_EQ(answer("current summary"), "1:2.5A,3.0A\n1,1:2.5A,3.0A\n");
    EXPECT_EQ(answer("current reset 1"), "IPDU #1: Clearing maximum recorded current to zero.\n");
}

TEST_F(current_command, each_unit_of_a_walk_is_served_by_its_own_family)
{
    chain.unit({.outlets = 0, .phases = 0, .model = 127}).publish("current", "2.5").publish("current-max", "3.0");
    with_current(bare_unit(), "2.6");
    EXPECT_EQ(answer("current summary"), "1:2.5A,3.0A\n2:2.6A,3.0A,0.1A,1.2A\n");
    EXPECT_EQ(answer("current reset"), "IPDU #1: Clearing maximum recorded current to zero.\n"
                                       "IPDU #2: Clearing maximum, minimum and average recorded current to zero.\n");
    chain.at(1).without("current");
    EXPECT_EQ(answer("current reset"), "IPDU #2: Clearing maximum, minimum and average recorded current to zero.\n");
    EXPECT_FAILURES({"Node current unavailable for 1@1", "Fail to execute for PDU 1"});
}

TEST_F(current_command, name_with_a_percent_sign_is_shown_as_it_is)
{
    full_unit().phase(1).publish("sys-name", "%n%s");
    EXPECT_EQ(answer("current summary 1 %n%s"), "1,%n%s:2.5A,3.0A,0.1A,1.2A\n");
    EXPECT_EQ(answer("current 1 %n%s"), element_line("phase %n%s"));
}

TEST_F(current_command, reset_of_a_unit_leaves_its_elements)
{
    full_unit();
    full_unit();
    EXPECT_EQ(answer("current reset unit2"),
              "IPDU #2: Clearing maximum, minimum and average recorded current to zero.\n");
    EXPECT_EQ(behind("info power.port.1.num-pdus"), texts{"admin power.port.1.pdu.2.reset-current"});
    EXPECT_EQ(answer("current reset"), "IPDU #1: Clearing maximum, minimum and average recorded current to zero.\n"
                                       "IPDU #2: Clearing maximum, minimum and average recorded current to zero.\n");
    EXPECT_EXCHANGES({"admin power.port.1.pdu.1.reset-current", "admin power.port.1.pdu.2.reset-current"});
}

TEST_F(current_command, reset_of_an_element_takes_its_name_from_the_tree)
{
    full_unit();
    EXPECT_EQ(answer("current reset 1 S1"),
              "IPDU #1: Clearing maximum, minimum and average recorded current for segment S1 to zero.\n");
    EXPECT_EQ(behind("mlist power.port.1.pdu.1.circuit"), (texts{"info power.port.1.pdu.1.circuit.1.sys-name",
                                                                 "admin power.port.1.pdu.1.circuit.1.reset-current"}));
    EXPECT_EQ(answer("current reset 1 O1"),
              "IPDU #1: Clearing maximum, minimum and average recorded current for outlet 1 to zero.\n");
    EXPECT_EQ(exchanges().back(), "admin power.port.1.pdu.1.outlet.1.reset-current");
}

// --- What the dispatcher answers ------------------------------------------------------------------------------------

TEST_F(current_command, unit_without_a_sensor_is_an_invalid_argument)
{
    bare_unit();
    EXPECT_EQ(answer("current 1"), failure_text);
    EXPECT_EQ(last_result(), 1);
    EXPECT_FAILURES({"Fail to get pdu from pdu name 1", "Node current unavailable for 1@1",
                     "Node current unavailable for 1@1@1", "Fail to execute for elem 1, type 0",
                     "Node current unavailable for 1@1@1", "Fail to execute for elem 1, type 1",
                     "Node current unavailable for 1@1@1", "Fail to execute for elem 1, type 2"});
}

TEST_F(current_command, word_that_declines_in_silence_is_tried_as_a_unit)
{
    chain.unit({.outlets = 1, .model = 127});
    for (const char *line : {"current summary 1", "current reset 1", "current threshold 1"}) {
        EXPECT_EQ(answer(line), no_such_ipdu) << line;
        EXPECT_EQ(last_result(), 0);
    }
}

TEST_F(current_command, unit_that_bears_the_word_as_its_id_is_shown)
{
    bare_unit();
    fake_node odd = chain.unit({.outlets = 1, .id = "summary"});
    with_current(odd.outlet(1).publish("sys-name", "1"));
    EXPECT_EQ(answer("current summary 1"),
              "IPDU #2: True RMS current for outlet 1: 2.5A. Maximum current for outlet 1: 3.0A. "
              "Minimum current for outlet 1: 0.1A. Average current for outlet 1: 1.2A\n");
}

TEST_F(current_command, walk_that_shows_nothing_counts_as_dealt_with)
{
    bare_unit();
    for (const char *line : {"current", "current summary", "current reset", "current threshold"}) {
        EXPECT_EQ(answer(line), "") << line;
        EXPECT_EQ(last_result(), 0) << line;
    }
}

TEST_F(current_command, element_of_no_name_is_an_invalid_argument)
{
    full_unit();
    EXPECT_EQ(answer("current unit1 Q"), failure_text);
    EXPECT_FAILURES({});
    EXPECT_EQ(answer("current summary unit1 Q"), failure_text);
    EXPECT_EQ(answer("current reset unit1 Q"), failure_text);
    EXPECT_FAILURES({});
}

TEST_F(current_command, reset_knows_no_banks)
{
    full_unit();
    EXPECT_EQ(answer("current reset unit1 XY"), failure_text);
}

TEST_F(current_command, element_of_an_unknown_unit_is_not_looked_at)
{
    full_unit();
    EXPECT_EQ(answer("current 7 X"), no_such_ipdu);
    EXPECT_EXCHANGES({"info power.pdu.7.pdu", "info power.num-devices", "info power.port.1.num-pdus"});
    for (const char *line : {"current 7", "current 0", "current nosuch", "current -1", "current summary 7",
                             "current reset 7", "current reset 7 P1", "current summary 7 P1", "current threshold 7",
                             "current threshold 7 P1", "current threshold 7 1:1:1:1", "current threshold 7 P1 1:1:1:1"})
        EXPECT_EQ(answer(line), no_such_ipdu) << line;
}

TEST_F(current_command, unit_is_an_id_first_and_then_the_digits_that_the_word_begins_with)
{
    full_unit().publish("id", "2");
    with_current(chain.unit({.outlets = 0, .phases = 0, .id = "rack"}), "9.0");
    EXPECT_EQ(answer("current summary 2 P1"), "1,P1:2.5A,3.0A,0.1A,1.2A\n");
    EXPECT_EQ(answer("current summary 2nd"), "2:9.0A,3.0A,0.1A,1.2A\n");
}

TEST_F(current_command, outlets_win_over_phases_and_phases_over_segments)
{
    fake_node unit = full_unit();
    unit.circuit(1).publish("sys-name", "A1");
    unit.phase(1).publish("sys-name", "A1");
    EXPECT_EQ(answer("current summary 1 A1"), "1,A1:2.5A,3.0A,0.1A,1.2A\n");
    EXPECT_EQ(answer("current 1 A1"), element_line("phase A1"));
    unit.outlet(1).publish("sys-name", "A1");
    EXPECT_EQ(answer("current 1 A1"), element_line("outlet 1"));
}

// --- The number of outlets ------------------------------------------------------------------------------------------

TEST_F(current_command, unit_that_cannot_count_its_outlets_ends_an_element_form)
{
    full_unit().refuse("info", "num-outlets");
    segment.root().ports = 0;
    for (int row : {20, 21, 22, 23, 28}) {
        called done = call(row, {"unit1", "P1", "1:1:1:1"});
        EXPECT_EQ(done.result, 1);
        EXPECT_EQ(done.text, std::nullopt);
        EXPECT_FAILURES({"Fail to get number of outlets for 1@1"});
        EXPECT_EQ(exchanges().back(), "info power.port.1.pdu.1.num-outlets");
    }
}

TEST_F(current_command, outlets_may_be_counted_by_the_tree)
{
    full_unit();
    cli_own_name = 0;
    EXPECT_EQ(call(28, {"unit1", "P1"}).text, element_line("phase P1"));
    EXPECT_TRUE(asked("info power.port.1.pdu.1.num-outlets"));
}

// --- Segment and tree -----------------------------------------------------------------------------------------------

TEST_F(current_command, value_that_the_segment_lacks_is_fetched_for_a_unit_and_not_for_an_element)
{
    full_unit();
    segment.root().ports = 0; // up, without this unit
    EXPECT_EQ(answer("current unit1"), unit_line);
    EXPECT_EQ(answer("current unit1 P1"), failure_text);
    EXPECT_FAILURES({});
    EXPECT_EQ(answer("current unit1 S1"), failure_text);
    EXPECT_FAILURES({});
    EXPECT_EQ(answer("current unit1 O1"), failure_text);
    EXPECT_FAILURES({"Fail to get info for element 1@1@1, type 2"});
    for (const std::string &exchange : exchanges())
        EXPECT_FALSE(exchange.ends_with(".current")) << exchange;
}

TEST_F(current_command, value_that_the_tree_alone_confirms_is_still_read_from_the_segment)
{
    fake_node unit = bare_unit();
    for (const fake_node &node : {unit, unit.outlet(1)})
        node.serve("current", "7.0").serve("current-max", "7.0").serve("current-min", "7.0").serve("current-avg", "7");
    EXPECT_EQ(answer("current summary 1"), "1:0.0A,0.0A,0.0A,0.0A\n1,1:0.0A,0.0A,0.0A,0.0A\n");
}

TEST_F(current_command, unconvertible_value_drops_the_line_of_its_node_alone)
{
    fake_node unit = full_unit();
    cli_own_name = 0;
    unit.phase(1).serve("current", "12.5A");
    EXPECT_EQ(call(29, {"unit1"}).text, unit_line + element_line("segment S1") + element_line("outlet 1"));
    EXPECT_FAILURES({"Fail to convert current 12.5A to double", "Fail to execute for elem 1, type 0"});
    unit.serve("current", "12.5A");
    EXPECT_EQ(call(29, {"unit1"}).text, element_line("segment S1") + element_line("outlet 1"));
}

TEST_F(current_command, value_out_of_range_fails_all_that_follow_too)
{
    fake_node unit = full_unit();
    cli_own_name = 0;
    unit.phase(1).serve("current", "1e999");
    EXPECT_EQ(call(29, {"unit1"}).text, unit_line);
    EXPECT_FAILURES({"Fail to convert current 1e999 to double", "Fail to execute for elem 1, type 0",
                     "Fail to convert current 2.5 to double", "Fail to execute for elem 1, type 1",
                     "Fail to convert current 2.5 to double", "Fail to execute for elem 1, type 2"});
}

// --- Failures anywhere ----------------------------------------------------------------------------------------------

struct form {
    int row;
    const char *element;
};
const form forms[] = {{16, ""},   {17, ""},   {18, ""},   {25, ""},   {26, ""},   {29, ""},  {21, "O1"},
                      {21, "P1"}, {22, "S1"}, {22, "O1"}, {28, "P1"}, {28, "S1"}, {28, "O1"}};

// Every line of the answer is one of the whole answer, or stands for it.
void expect_part_of(const std::string &whole, const called &done, const std::string &about)
{
    const std::vector<std::string> known = lines(whole + no_such_ipdu);
    for (const std::string &line : lines(done.text.value_or("")))
        EXPECT_TRUE(std::count(known.begin(), known.end(), line)) << about << ": " << line;
}

TEST_F(current_command, failed_exchange_costs_whole_lines_alone)
{
    full_unit();
    for (int own_name : {1, 0}) {
        cli_own_name = own_name;
        for (const form &at : forms) {
            const std::string whole = call(at.row, {"unit1", at.element}).text.value();
            for (how way : {refused, dropped})
                each_failing_exchange(way, [&](int n) {
                    expect_part_of(whole, call(at.row, {"unit1", at.element}),
                                   "row " + std::to_string(at.row) + ", exchange " + std::to_string(n));
                });
        }
    }
}

TEST_F(current_command, failed_allocation_costs_whole_lines_or_the_tail)
{
    fake_node unit = chain.unit({.outlets = 1, .phases = 0});
    with_current(unit);
    with_current(unit.outlet(1));
    for (int own_name : {1, 0}) {
        cli_own_name = own_name;
        for (const form &at : forms) {
            if (*at.element != 'O' && *at.element)
                continue;
            const std::string whole = call(at.row, {"unit1", at.element}).text.value();
            std::string tailless;
            for (const std::string &line : lines(whole))
                tailless += line.substr(0, line.find(at.row == 16 || at.row > 27 ? ". Minimum" : ",0.1A")) + "\n";
            EXPECT_GT(each_failing_allocation([&](int n) {
                          expect_part_of(whole + tailless, call(at.row, {"unit1", at.element}),
                                         "row " + std::to_string(at.row) + ", allocation " + std::to_string(n));
                      }),
                      0);
        }
    }
}

// What the handler answers, and what it logs last, over all allocations that fail.
std::set<std::string> outcomes(int row, const char *element)
{
    std::set<std::string> seen;
    each_failing_allocation([&](int) {
        called done = call(row, {"unit1", element});
        seen.insert(std::to_string(done.result) + " " + done.text.value_or("nothing"));
        for (const std::string &line : failures())
            seen.insert(line);
    });
    return seen;
}

TEST_F(current_command, line_that_cannot_be_added_is_logged)
{
    with_current(chain.unit({.outlets = 1, .phases = 1, .circuits = 1}).outlet(1));
    with_current(chain.at(1).circuit(1));
    with_current(chain.at(1));
    EXPECT_TRUE(outcomes(29, "").contains("Fail to printf pdu 1 current 2.5 string"));
    EXPECT_TRUE(outcomes(25, "").contains("Fail to printf pdu 1 summary current 2.5 string"));
    EXPECT_TRUE(outcomes(28, "O1").contains("Fail to printf pdu 1 current 2.5 string, type 2"));
    EXPECT_TRUE(outcomes(21, "S1").contains("Fail to printf pdu 1 summary current 2.5 string, type 1"));
    EXPECT_TRUE(outcomes(26, "").contains("Fail to printf pdu 1 reset current string"));
    EXPECT_TRUE(outcomes(22, "S1").contains("Fail to printf pdu 1 reset current string, type 1"));
    EXPECT_TRUE(outcomes(28, "O1").contains("No element string to print for 1@1@1"));
    EXPECT_TRUE(outcomes(22, "O1").contains("No element string to print for 1@1@1"));
}

TEST_F(current_command, line_without_memory_for_its_tail_has_none)
{
    full_unit();
    EXPECT_TRUE(outcomes(28, "P1").contains(
        "0 IPDU #1: True RMS current for phase P1: 2.5A. Maximum current for phase P1: 3.0A\n"));
    EXPECT_TRUE(outcomes(21, "P1").contains("0 1,P1:2.5A,3.0A\n"));
}

TEST_F(current_command, words_for_an_unknown_unit_that_cannot_be_added_are_logged)
{
    for (int row : {21, 22, 25, 26, 28, 29}) {
        std::set<std::string> seen = outcomes(row, "P1");
        EXPECT_TRUE(seen.contains("Fail to printf pdu 0 display invalid PDU")) << row;
        EXPECT_TRUE(seen.contains("1 nothing")) << row;
    }
}

} // namespace

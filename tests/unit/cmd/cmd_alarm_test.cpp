// The command `alarm`: one threshold of current, read and written in the tree alone.

#include "cmd/cmd_alarm.h"

#include <set>

#include "tests/unit/cmd/measure_support.h"

using namespace measure_support;

namespace {

const char invalid_value[] = "Invalid current threshold value.\n";

enum { row_all = 1, row_element_set = 2, row_unit_set = 3, row_unit = 4 };

struct alarm_node : node_test {
    alarm_node() { node.serve("current-alarm", "25.06"); }

    // An element is shown by its unit alone.
    called show() const
    {
        return is_unit() ? call(row_unit, {"unit1"}) : call_element(alarm_elem_get, row_unit, type, 2);
    }
    called set(double value) const
    {
        return is_unit() ? call(row_unit_set, {"unit1", value})
                         : call(row_element_set, {"unit1", value, word().c_str()});
    }
    std::string shown(const std::string &value) const
    {
        return "Alarm threshold on IPDU #1 " + plain_label() + "is " + value + "A\n";
    }
    std::string line(const std::string &value) const
    {
        return "Setting alarm threshold on IPDU #1 " + plain_label() + "to " + value + "A\n";
    }
    void expect_failure(const called &done, const texts &log) const
    {
        EXPECT_EQ(done.result, 1);
        EXPECT_EQ(done.text, invalid_value);
        EXPECT_EQ(failures(), log);
    }
};

INSTANTIATE_TEST_SUITE_P(nodes, alarm_node, everywhere, title);

// --- Showing --------------------------------------------------------------------------------------------------------

TEST_P(alarm_node, threshold_is_shown_from_the_tree)
{
    if (GetParam().from == segment_up)
        node.poll("current-alarm", "99.0");
    called done = show();
    EXPECT_EQ(done.result, 0);
    EXPECT_EQ(done.text, shown("25.1"));
    EXPECT_FAILURES({});
    EXPECT_TRUE(asked("mlist " + node.path()));
    EXPECT_TRUE(asked("info " + node.path("current-alarm")));
}

TEST_P(alarm_node, unit_of_any_model_is_served)
{
    for (int model : {0, 127, 144, 255}) {
        be_model(model);
        EXPECT_EQ(show().text, shown("25.1")) << model;
        EXPECT_EQ(set(25.06).text, line("25.1")) << model;
        EXPECT_FALSE(asked("info power.port.1.pdu.1.model_nr"));
    }
}

TEST_P(alarm_node, node_without_the_threshold_is_an_invalid_value)
{
    node.without("current-alarm").poll("current-alarm", "25.0");
    expect_failure(show(), {"Node alarm unavailable for " + address()});
}

TEST_P(alarm_node, refused_read_is_an_invalid_value)
{
    const std::string words =
        is_unit() ? "Fail to get alarm for pdu 1@1" : "Fail to get alarm for element " + typed_address();
    node.refuse("info", "current-alarm");
    expect_failure(show(), {words});
    node.drop("info", "current-alarm");
    expect_failure(show(), {words});
}

TEST_P(alarm_node, empty_or_absent_threshold_is_an_invalid_value_without_a_word)
{
    node.serve("current-alarm", "");
    expect_failure(show(), {});
    tree.absent(node.path("current-alarm"));
    expect_failure(show(), {});
}

TEST_P(alarm_node, threshold_that_is_no_number_is_an_invalid_value)
{
    for (const char *text : {"12.5A", "x", "1e999"}) {
        node.serve("current-alarm", text);
        errno = 0;
        expect_failure(show(), {std::string("Fail to convert alarm ") + text + " to double"});
    }
}

TEST_P(alarm_node, range_error_of_an_earlier_command_fails_the_threshold)
{
    show(); // the segment is attached, which leaves an errno of its own
    errno = ERANGE;
    expect_failure(show(), {"Fail to convert alarm 25.06 to double"});
}

// --- Setting --------------------------------------------------------------------------------------------------------

TEST_P(alarm_node, threshold_goes_out_with_one_decimal)
{
    called done = set(25.06);
    EXPECT_EQ(done.result, 0);
    EXPECT_EQ(done.text, line("25.1"));
    EXPECT_FAILURES({});
    EXPECT_EQ(exchanges().back(), "admin " + node.path("current-alarm") + " 25.1");
    EXPECT_EQ(set(0.0).text, line("0.0"));
    EXPECT_EQ(set(1e6).text, line("1000000.0"));
    EXPECT_EQ(node.value("current-alarm"), "1000000.0");
}

TEST_P(alarm_node, what_is_no_number_is_not_below_0)
{
    EXPECT_EQ(set(__builtin_nan("")).text, line("nan"));
    EXPECT_EQ(set(__builtin_inf()).text, line("inf"));
}

TEST_P(alarm_node, value_below_0_is_refused_behind_the_unit)
{
    for (double value : {-1.0, -0.01, -__builtin_inf()})
        expect_failure(set(value), {});
    for (const std::string &exchange : exchanges())
        EXPECT_TRUE(exchange == "info power.pdu.unit1.pdu" || exchange == "info power.num-devices" ||
                    exchange == "info power.port.1.num-pdus")
            << exchange;
    EXPECT_EQ(set(-0.0).text, line("-0.0"));
}

TEST_P(alarm_node, refused_write_is_an_invalid_value)
{
    const std::string words = is_unit() ? "Fail to set threshold 5.0 for pdu 1@1"
                                        : "Fail to set threshold for element " + typed_address() + ", value 5.0";
    node.refuse("admin", "current-alarm");
    expect_failure(set(5.0), {words});
    node.drop("admin", "current-alarm");
    expect_failure(set(5.0), {words});
}

// --- Elements -------------------------------------------------------------------------------------------------------

struct alarm_element : alarm_node {};
INSTANTIATE_TEST_SUITE_P(elements, alarm_element, elements_by_tree, title);

TEST_P(alarm_element, without_the_threshold_is_not_set)
{
    node.without("current-alarm");
    expect_failure(set(5.0), {"Node alarm unavailable for 2@1@1"});
}

TEST_P(alarm_element, asks_in_order)
{
    texts expected = {"mlist " + node.path()};
    if (type != elem_outlet)
        expected.push_back("info " + node.path("sys-name"));
    expected.push_back("info " + node.path("current-alarm"));
    show();
    EXPECT_EQ(exchanges(), expected);
    expected.back() = "admin " + node.path("current-alarm") + " 5.0";
    call_element(alarm_elem_set, row_element_set, type, 2, 5.0);
    EXPECT_EQ(exchanges(), expected);
}

struct alarm_named : alarm_node {
    called set_here() const { return call_element(alarm_elem_set, row_element_set, type, 2, 5.0); }
};
INSTANTIATE_TEST_SUITE_P(elements, alarm_named, named_elements_by_tree, title);

TEST_P(alarm_named, without_a_name_is_read_and_written_and_has_no_line)
{
    node.refuse("info", "sys-name").refuse("info", "current-alarm");
    expect_failure(show(), {"Fail to get name for element " + typed_address()});
    EXPECT_TRUE(asked("info " + node.path("current-alarm")));
    expect_failure(set_here(), {"Fail to get name for element " + typed_address()});
    EXPECT_EQ(exchanges().back(), "admin " + node.path("current-alarm") + " 5.0");
}

TEST_P(alarm_named, with_an_empty_name_has_no_line)
{
    for (bool absent : {false, true}) {
        node.serve("sys-name", "");
        if (absent)
            tree.absent(node.path("sys-name"));
        expect_failure(show(), {"No element string to print for 2@1@1"});
        expect_failure(set_here(), {"No element string to print for 2@1@1"});
    }
    node.serve("current-alarm", "x");
    expect_failure(show(), {"Fail to convert alarm x to double"}); // the value comes before the name
}

// --- Forms ----------------------------------------------------------------------------------------------------------

struct alarm_command : testing::Test {
    fake_chain chain;
    fake_node unit = chain.unit({.outlets = 2, .circuits = 1});

    alarm_command() { errno = 0; }
    void serve_all() const
    {
        for (const fake_node &node : {unit, unit.phase(1), unit.circuit(1), unit.outlet(1), unit.outlet(2)})
            node.serve("current-alarm", "10.0");
    }
};

TEST_F(alarm_command, unit_comes_first_then_phases_segments_and_outlets)
{
    serve_all();
    chain.unit({.outlets = 0, .phases = 0}).serve("current-alarm", "16");
    const std::string first = "Alarm threshold on IPDU #1 is 10.0A\n"
                              "Alarm threshold on IPDU #1 phase P1 is 10.0A\n"
                              "Alarm threshold on IPDU #1 segment S1 is 10.0A\n"
                              "Alarm threshold on IPDU #1 outlet 1 is 10.0A\n"
                              "Alarm threshold on IPDU #1 outlet 2 is 10.0A\n";
    EXPECT_EQ(answer("alarm 1"), first);
    EXPECT_EQ(answer("alarm unit1"), first);
    EXPECT_EQ(answer("alarm"), first + "Alarm threshold on IPDU #2 is 16.0A\n");
    EXPECT_EQ(last_result(), 0);
}

TEST_F(alarm_command, setting_a_unit_and_its_elements)
{
    serve_all();
    unit.phase(1).publish("sys-name", "X");
    EXPECT_EQ(answer("alarm 1 25.06"), "Setting alarm threshold on IPDU #1 to 25.1A\n");
    EXPECT_EQ(unit.value("current-alarm"), "25.1");
    EXPECT_EQ(unit.outlet(1).value("current-alarm"), "10.0") << "a unit that has the node is written alone";
    EXPECT_EQ(answer("alarm 1 5 X"), "Setting alarm threshold on IPDU #1 phase X to 5.0A\n");
    EXPECT_EQ(unit.phase(1).value("current-alarm"), "5.0");
    EXPECT_EQ(answer("alarm unit1 5e0 S1"), "Setting alarm threshold on IPDU #1 segment S1 to 5.0A\n");
    EXPECT_EQ(answer("alarm 1 0.25 O2"), "Setting alarm threshold on IPDU #1 outlet 2 to 0.2A\n");
}

TEST_F(alarm_command, value_out_of_range_or_none_at_all_is_left_to_the_daemon)
{
    serve_all();
    EXPECT_EQ(answer("alarm 1 1e999"), "Setting alarm threshold on IPDU #1 to infA\n");
    EXPECT_EQ(answer("alarm 1 nan P1"), "Setting alarm threshold on IPDU #1 phase P1 to nanA\n");
    tree.refuse("admin", unit.path("current-alarm"));
    EXPECT_EQ(answer("alarm unit1 1e3"), invalid_value);
    EXPECT_FAILURES({"Fail to set threshold 1000.0 for pdu 1@1"});
}

TEST_F(alarm_command, unit_is_located_before_the_value_is_tested)
{
    serve_all();
    EXPECT_EQ(answer("alarm 1 -1"), invalid_value);
    EXPECT_EQ(answer("alarm 1 -1 P1"), invalid_value);
    EXPECT_EQ(answer("alarm 1 -1 nosuch"), invalid_value);
    for (const char *line : {"alarm 9 -1", "alarm 9 -1 P1", "alarm 9 1", "alarm 9 1 P1", "alarm 9", "alarm nosuch"})
        EXPECT_EQ(answer(line), no_such_ipdu) << line;
}

TEST_F(alarm_command, element_cannot_be_shown)
{
    serve_all();
    EXPECT_EQ(answer("alarm 1 P1"), failure_text);
    EXPECT_EXCHANGES({});
}

TEST_F(alarm_command, unit_without_the_node_hands_the_value_to_its_elements)
{
    for (const fake_node &node : {unit.phase(1), unit.circuit(1), unit.outlet(1), unit.outlet(2)})
        node.serve("current-alarm", "10.0");
    const std::string all = "Setting alarm threshold on IPDU #1 phase P1 to 5.0A\n"
                            "Setting alarm threshold on IPDU #1 segment S1 to 5.0A\n"
                            "Setting alarm threshold on IPDU #1 outlet 1 to 5.0A\n"
                            "Setting alarm threshold on IPDU #1 outlet 2 to 5.0A\n";
    EXPECT_EQ(answer("alarm unit1 5"), all);
    EXPECT_EQ(last_result(), 0);
    EXPECT_FAILURES({"Node alarm unavailable for 1@1"});
    unit.outlet(1).without("current-alarm");
    EXPECT_EQ(answer("alarm unit1 5").size(), all.size() - lines(all)[2].size());
    EXPECT_FAILURES(
        {"Node alarm unavailable for 1@1", "Node alarm unavailable for 1@1@1", "Fail to execute for elem 1, type 2"});
}

TEST_F(alarm_command, unit_without_any_node_is_an_invalid_value)
{
    EXPECT_EQ(answer("alarm 1"), invalid_value);
    EXPECT_EQ(answer("alarm unit1 5"), invalid_value);
    EXPECT_FAILURES({"Node alarm unavailable for 1@1", "Node alarm unavailable for 1@1@1",
                     "Fail to execute for elem 1, type 0", "Node alarm unavailable for 1@1@1",
                     "Fail to execute for elem 1, type 1", "Node alarm unavailable for 1@1@1",
                     "Fail to execute for elem 1, type 2", "Node alarm unavailable for 2@1@1",
                     "Fail to execute for elem 2, type 2"});
}

TEST_F(alarm_command, unit_without_elements_and_node_is_set_in_silence)
{
    chain.unit({.outlets = 0, .phases = 0});
    EXPECT_EQ(answer("alarm unit2 5"), "");
    EXPECT_EQ(last_result(), 0);
    EXPECT_FAILURES({"Node alarm unavailable for 2@1"});
    cli_own_name = 0;
    for (const char *list : {"power.port.1.pdu.2.phase", "power.port.1.pdu.2.circuit", "power.port.1.pdu.2.outlet"}) {
        tree.refuse("mlist", list);
        called done = call(row_unit_set, {"unit2", 5.0});
        EXPECT_EQ(done.result, 1) << list;
        EXPECT_EQ(done.text, invalid_value) << list;
        tree.allow("mlist", list);
    }
}

// Intended: the failure of the first element stands before the lines of those that follow.
TEST_F(alarm_command, first_element_that_fails_puts_the_failure_before_the_others)
{
    unit.circuit(1).serve("current-alarm", "10.0");
    unit.outlet(2).serve("current-alarm", "10.0");
    EXPECT_EQ(answer("alarm 1"), std::string(invalid_value) + "Alarm threshold on IPDU #1 segment S1 is 10.0A\n"
                                                              "Alarm threshold on IPDU #1 outlet 2 is 10.0A\n");
    EXPECT_EQ(answer("alarm 1 5"), std::string(invalid_value) +
                                       "Setting alarm threshold on IPDU #1 segment S1 to 5.0A\n"
                                       "Setting alarm threshold on IPDU #1 outlet 2 to 5.0A\n");
    unit.serve("current-alarm", "9.0");
    EXPECT_EQ(answer("alarm 1"), "Alarm threshold on IPDU #1 is 9.0A\nAlarm threshold on IPDU #1 segment S1 is 5.0A\n"
                                 "Alarm threshold on IPDU #1 outlet 2 is 5.0A\n");
}

TEST_F(alarm_command, walk_over_units_has_the_failure_once)
{
    chain.unit({.outlets = 0}).serve("current-alarm", "16");
    EXPECT_EQ(answer("alarm"), std::string(invalid_value) + "Alarm threshold on IPDU #2 is 16.0A\n");
    EXPECT_EQ(last_result(), 0);
}

TEST_F(alarm_command, element_of_no_name_gets_the_dispatchers_words)
{
    serve_all();
    for (const char *name : {"Q", "XY", "A"}) {
        EXPECT_EQ(answer(std::string("alarm unit1 5 ") + name), failure_text);
        EXPECT_EQ(last_result(), 1);
        EXPECT_FAILURES({});
    }
}

TEST_F(alarm_command, outlets_are_counted_by_the_tree_alone)
{
    serve_all();
    answer("alarm unit1 5 P1");
    EXPECT_EQ(behind("info power.port.1.num-pdus")[0], "info power.port.1.pdu.1.num-outlets");
    unit.refuse("info", "num-outlets");
    EXPECT_EQ(answer("alarm unit1 5 P1"), failure_text);
    EXPECT_FAILURES({"Fail to get number of outlets for 1@1"});
    EXPECT_EQ(exchanges().back(), "info power.port.1.pdu.1.num-outlets");
}

TEST_F(alarm_command, outlets_win_over_phases_and_phases_over_segments)
{
    serve_all();
    unit.circuit(1).publish("sys-name", "N");
    unit.phase(1).publish("sys-name", "N");
    EXPECT_EQ(answer("alarm 1 5 N"), "Setting alarm threshold on IPDU #1 phase N to 5.0A\n");
    unit.outlet(2).publish("sys-name", "N");
    EXPECT_EQ(answer("alarm 1 5 N"), "Setting alarm threshold on IPDU #1 outlet 2 to 5.0A\n");
}

TEST_F(alarm_command, element_of_an_unknown_type_has_nothing)
{
    serve_all();
    const texts log = {"Invalid elem to find a list: 1@1, type 4", "Node alarm unavailable for 2@1@1"};
    EXPECT_EQ(call_element(alarm_elem_get, row_unit, 4, 2).text, invalid_value);
    EXPECT_EQ(failures(), log);
    EXPECT_EQ(call_element(alarm_elem_set, row_element_set, 4, 2, 5.0).text, invalid_value);
    EXPECT_EQ(failures(), log);
}

TEST_F(alarm_command, row_without_a_format_is_done_without_a_line)
{
    serve_all();
    const int formatless = find_command_row(cmd_exit);
    for (const called &done :
         {call_unit(alarm_pdu_get, formatless), call_element(alarm_elem_get, formatless, elem_outlet, 1),
          call_element(alarm_elem_set, formatless, elem_outlet, 1, 5.0), call_unit(alarm_pdu_set, formatless, 6.0)}) {
        EXPECT_EQ(done.result, 0);
        EXPECT_EQ(done.text, std::nullopt);
    }
    EXPECT_EQ(unit.outlet(1).value("current-alarm"), "5.0");
    EXPECT_EQ(unit.value("current-alarm"), "6.0");
}

// --- Failures anywhere ----------------------------------------------------------------------------------------------

struct form {
    int row;
    const char *element;
};
const form forms[] = {{row_all, ""},           {row_unit, ""},          {row_unit_set, ""},
                      {row_element_set, "P1"}, {row_element_set, "S1"}, {row_element_set, "O2"}};

TEST_F(alarm_command, failed_exchange_costs_whole_lines_alone)
{
    serve_all();
    for (int own_name : {1, 0}) {
        cli_own_name = own_name;
        for (const form &at : forms) {
            auto run = [&] { return call(at.row, {"unit1", 10.0, at.element}); };
            std::string known = run().text.value() + no_such_ipdu + invalid_value;
            if (at.row == row_unit_set) // what its elements say where the unit cannot be asked
                for (const char *what : {"phase P1", "segment S1", "outlet 1", "outlet 2"})
                    known += std::string("Setting alarm threshold on IPDU #1 ") + what + " to 10.0A\n";
            const std::vector<std::string> whole = lines(known);
            for (how way : {refused, dropped})
                EXPECT_GT(each_failing_exchange(way,
                                                [&](int n) {
                                                    for (const std::string &line : lines(run().text.value_or("")))
                                                        EXPECT_TRUE(std::count(whole.begin(), whole.end(), line))
                                                            << at.row << ", " << n << ": " << line;
                                                }),
                          0);
        }
    }
}

TEST_F(alarm_command, failed_allocation_is_told)
{
    for (const fake_node &node : {unit, unit.phase(1), unit.outlet(2)})
        node.serve("current-alarm", "10.0");
    std::set<std::string> seen;
    for (const form &at : forms)
        each_failing_allocation([&](int) {
            call(at.row, {"unit1", 10.0, at.element});
            for (const std::string &line : failures())
                seen.insert(line);
        });
    for (const char *expected :
         {"Fail to printf pdu 1 alarm 10.0 string", "Fail to printf elem 1, type 0,  alarm 10.0 string",
          "Fail to convert threshold 10.0 for pdu 1@1", "Fail to printf pdu 1 threshold 10.0 string",
          "Fail to convert threshold for element 1@1@1, type 0, value 10.0",
          "Fail to convert threshold for element 2@1@1, type 2, value 10.0",
          "Fail to printf elem 1, type 0, threshold 10.0 string",
          "Fail to printf elem 2, type 2, threshold 10.0 string", "No element string to print for 2@1@1"})
        EXPECT_TRUE(seen.contains(expected)) << expected;
}

// Intended: the value is set then, whether its line can be added or not.
TEST_F(alarm_command, unit_that_is_set_counts_as_done_without_its_line)
{
    unit.serve("current-alarm", "10.0");
    int done_without = 0;
    each_failing_allocation([&](int) {
        called done = call(row_unit_set, {"unit1", 5.0});
        if (done.result == 0 && !done.text) {
            EXPECT_EQ(failures().back(), "Fail to printf pdu 1 threshold 5.0 string");
            done_without++;
        }
    });
    EXPECT_EQ(done_without, 2) << "the fragment and the accumulator";
}

// The unit's own type has no elements: asked for with a number it is no unit either.
TEST_F(alarm_command, unit_type_with_an_element_number_has_no_alarm)
{
    serve_all();
    const called done = call_element(alarm_elem_get, row_unit, elem_pdu, 5);
    EXPECT_EQ(done.result, 1);
    EXPECT_EQ(done.text, invalid_value);
    EXPECT_FAILURES({"Invalid elem to find a list: 1@1, type 3", "Node alarm unavailable for 5@1@1"});
    EXPECT_EXCHANGES({});
}

} // namespace

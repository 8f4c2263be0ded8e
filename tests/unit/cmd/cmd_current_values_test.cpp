// The command `current` on one node: its values at each level of a unit, and what becomes of each when it fails.

#include "cmd/cmd_current.h"

#include "tests/unit/cmd/measure_support.h"

using namespace measure_support;

namespace {

constexpr const char *leaves[] = {"current", "current-max", "current-min", "current-avg"};

enum { row_unit = 29, row_unit_summary = 25, row_unit_reset = 26 };
enum { row_element = 28, row_element_summary = 21, row_element_reset = 22 };

struct current_node : node_test {
    current_node() { publish(); }

    void publish() const
    {
        node.publish("current", "2.5")
            .publish("current-max", "3.0")
            .publish("current-min", "0.1")
            .publish("current-avg", "1.2");
    }

    called show() const { return run(row_unit, row_element); }
    called show_summary() const { return run(row_unit_summary, row_element_summary); }
    called reset() const { return run(row_unit_reset, row_element_reset); }

    std::string legacy_line() const
    {
        const std::string label = reading_label();
        return "IPDU #1: True RMS current" + label + ": 2.5A. Maximum current" + label + ": 3.0A\n";
    }
    std::string whole_line() const
    {
        const std::string label = reading_label();
        std::string line = legacy_line();
        line.pop_back();
        return line + ". Minimum current" + label + ": 0.1A. Average current" + label + ": 1.2A\n";
    }
    std::string cleared_line(const std::string &inserted) const
    {
        return "IPDU #1: Clearing maximum" + inserted + " recorded current " + cleared_label() + "to zero.\n";
    }

    void expect_nothing(const called &done, const texts &log) const
    {
        EXPECT_EQ(done.result, 1);
        EXPECT_EQ(done.text, std::nullopt);
        EXPECT_EQ(failures(), log);
    }
};

INSTANTIATE_TEST_SUITE_P(nodes, current_node, everywhere, title);

TEST_P(current_node, shows_four_values)
{
    called done = show();
    EXPECT_EQ(done.result, 0);
    EXPECT_EQ(done.text, whole_line());
    EXPECT_FAILURES({});
}

TEST_P(current_node, summary_shows_four_values)
{
    called done = show_summary();
    EXPECT_EQ(done.result, 0);
    EXPECT_EQ(done.text, "1" + summary_label() + ":2.5A,3.0A,0.1A,1.2A\n");
}

TEST_P(current_node, legacy_unit_has_present_and_maximum_alone)
{
    for (const char *leaf : {"current-min", "current-avg"})
        node.without(leaf);
    for (int model : {0, 127, 144, 255}) {
        be_model(model);
        EXPECT_EQ(show().text, legacy_line()) << model;
        for (const std::string &exchange : exchanges())
            EXPECT_FALSE(exchange.ends_with("-min") || exchange.ends_with("-avg")) << exchange;
        EXPECT_EQ(show_summary().text, "1" + summary_label() + ":2.5A,3.0A\n") << model;
        EXPECT_FAILURES({});
    }
}

TEST_P(current_node, legacy_unit_that_has_minimum_and_average_does_not_show_them)
{
    be_model(127);
    EXPECT_EQ(show().text, legacy_line());
}

TEST_P(current_node, first_and_last_model_of_the_current_family_show_four)
{
    for (int model : {128, 143}) {
        be_model(model);
        EXPECT_EQ(show().text, whole_line()) << model;
    }
}

TEST_P(current_node, absent_value_leaves_no_line)
{
    for (const char *leaf : leaves) {
        publish();
        node.without(leaf);
        expect_nothing(show(), {std::string("Node ") + leaf + " unavailable for " + address()});
        expect_nothing(show_summary(), {std::string("Node ") + leaf + " unavailable for " + address()});
    }
}

TEST_P(current_node, name_that_begins_like_the_value_is_not_the_value)
{
    node.without("current-max").serve("current-maximum", "9.0");
    expect_nothing(show(), {"Node current-max unavailable for " + address()});
}

TEST_P(current_node, range_error_of_an_earlier_command_fails_the_value)
{
    show(); // the segment is attached, which leaves an errno of its own
    errno = ERANGE;
    expect_nothing(show(), {"Fail to convert current 2.5 to double"});
    errno = 0;
    EXPECT_EQ(show().text, whole_line());
}

// --- Clearing -------------------------------------------------------------------------------------------------------

TEST_P(current_node, reset_tells_what_the_family_has_recorded)
{
    EXPECT_EQ(reset().text, cleared_line(", minimum and average"));
    EXPECT_EQ(exchanges().back(), "admin " + node.path("reset-current"));
    EXPECT_FAILURES({});
    be_model(143);
    EXPECT_EQ(reset().text, cleared_line(", minimum and average"));
    be_model(144);
    EXPECT_EQ(reset().text, cleared_line(""));
    be_model(127);
    called done = reset();
    EXPECT_EQ(done.result, 0);
    EXPECT_EQ(done.text, cleared_line(""));
}

TEST_P(current_node, reset_asks_for_the_present_value_alone)
{
    for (const char *leaf : {"current-max", "current-min", "current-avg"})
        node.without(leaf);
    EXPECT_EQ(reset().text, cleared_line(", minimum and average"));
    node.without("current");
    expect_nothing(reset(), {"Node current unavailable for " + address()});
}

TEST_P(current_node, refused_reset_leaves_no_line)
{
    const std::string words =
        is_unit() ? "Fail to get current for pdu " + address() : "Fail to reset current for element " + typed_address();
    node.refuse("admin", "reset-current");
    expect_nothing(reset(), {words});
    node.drop("admin", "reset-current");
    expect_nothing(reset(), {words});
}

// --- The model ------------------------------------------------------------------------------------------------------

struct current_of_no_model : current_node {};
INSTANTIATE_TEST_SUITE_P(nodes, current_of_no_model, read_from_the_tree, title);

TEST_P(current_of_no_model, refused_absent_or_negative_model_leaves_no_line)
{
    const std::string line = "Fail to get model from pdu 1@1";
    unit.serve("model_nr", "-1");
    expect_nothing(show(), {line});
    expect_nothing(reset(), {line});
    tree.absent(unit.path("model_nr"));
    expect_nothing(show(), {line});
    unit.refuse("info", "model_nr");
    expect_nothing(show(), {"Fail to get model for pdu 1@1", line});
    expect_nothing(show_summary(), {"Fail to get model for pdu 1@1", line});
    expect_nothing(reset(), {"Fail to get model for pdu 1@1", line});
    for (const std::string &exchange : exchanges())
        EXPECT_FALSE(exchange.starts_with("admin")) << exchange;
}

// --- Texts of the tree ----------------------------------------------------------------------------------------------

struct current_in_tree : current_node {};
INSTANTIATE_TEST_SUITE_P(nodes, current_in_tree, read_from_the_tree, title);

TEST_P(current_in_tree, refused_read_leaves_no_line)
{
    static constexpr const char *words[] = {"current", "currentMax", "currentMin", "currentMin"};
    for (int i = 0; i < 4; i++) {
        const std::string line = is_unit() ? std::string("Fail to get ") + words[i] + " for pdu " + address()
                                           : "Fail to get info for element " + typed_address();
        node.refuse("info", leaves[i]);
        expect_nothing(show(), {line});
        node.drop("info", leaves[i]);
        expect_nothing(show_summary(), {line});
        tree.allow("info", node.path(leaves[i]));
    }
}

TEST_P(current_in_tree, value_with_a_letter_is_not_converted)
{
    for (const char *leaf : leaves) {
        publish();
        node.serve(leaf, "12.5A");
        expect_nothing(show(), {std::string("Fail to convert ") + leaf + " 12.5A to double"});
    }
}

TEST_P(current_in_tree, value_out_of_range_is_not_converted)
{
    for (const char *leaf : leaves) {
        publish();
        node.serve(leaf, "1e999");
        errno = 0;
        expect_nothing(show(), {std::string("Fail to convert ") + leaf + " 1e999 to double"});
    }
}

TEST_P(current_in_tree, empty_or_absent_value_leaves_no_line_and_no_word)
{
    for (const char *leaf : leaves) {
        publish();
        node.serve(leaf, "");
        expect_nothing(show(), {});
        tree.absent(node.path(leaf));
        expect_nothing(show_summary(), {});
    }
}

TEST_P(current_in_tree, values_are_rounded_to_one_decimal)
{
    node.serve("current", "2.46").serve("current-max", "3").serve("current-min", " 1e-1").serve("current-avg", "-0.04");
    EXPECT_EQ(show_summary().text, "1" + summary_label() + ":2.5A,3.0A,0.1A,-0.0A\n");
}

TEST_P(current_in_tree, asks_for_each_value_once_and_in_order)
{
    show();
    texts expected(4, "mlist " + node.path());
    if (type == elem_phase || type == elem_circuit)
        expected.push_back("info " + node.path("sys-name"));
    for (const char *leaf : leaves)
        expected.push_back("info " + node.path(leaf));
    if (is_unit() && GetParam().from == segment_away)
        for (const char *kind : {"phase", "circuit", "outlet"})
            expected.push_back("mlist " + node.path(kind));
    EXPECT_EQ(behind("info power.port.1.pdu.1.model_nr"), expected);
}

TEST_P(current_in_tree, refused_present_or_maximum_skips_the_rest)
{
    node.refuse("info", "current");
    show();
    EXPECT_FALSE(asked("info " + node.path("current-max")));
    tree.allow("info", node.path("current"));
    node.refuse("info", "current-max");
    show();
    EXPECT_FALSE(asked("info " + node.path("current-min")));
}

TEST_P(current_in_tree, present_and_maximum_of_a_unit_are_converted_before_the_others_are_fetched)
{
    node.serve("current", "x").refuse("info", "current-max");
    show();
    EXPECT_FAILURES(
        {is_unit() ? "Fail to get currentMax for pdu 1@1" : "Fail to get info for element " + typed_address()});
    tree.allow("info", node.path("current-max"));
    node.refuse("info", "current-avg");
    show();
    EXPECT_FAILURES(
        {is_unit() ? "Fail to convert current x to double" : "Fail to get info for element " + typed_address()});
    EXPECT_EQ(asked("info " + node.path("current-min")), !is_unit());
}

// --- Rows without texts, and with one for failures ------------------------------------------------------------------

TEST(current_rows, row_without_a_format_is_done_without_a_line)
{
    fake_chain chain;
    fake_node unit = chain.unit({.outlets = 1, .phases = 0});
    for (const char *leaf : leaves) {
        unit.publish(leaf, "1.0");
        unit.outlet(1).publish(leaf, "1.0");
    }
    const int formatless = find_command_row(cmd_exit);
    for (const called &done : {call_unit(current_pdu_get, formatless, 0), call_unit(current_pdu_reset, formatless),
                               call_element(current_elem_get, formatless, elem_outlet, 1, 1),
                               call_element(current_elem_reset, formatless, elem_outlet, 1)}) {
        EXPECT_EQ(done.result, 0);
        EXPECT_EQ(done.text, std::nullopt);
    }
    EXPECT_EQ(unit.outlet(1).value("current"), "1.0");
    EXPECT_EXCHANGES({"admin power.port.1.pdu.1.outlet.1.reset-current"});
}

TEST(current_rows, error_format_stands_for_a_reading_that_shows_nothing)
{
    fake_chain chain;
    chain.unit({.outlets = 1, .phases = 0});
    const int alarm_row = 4;
    EXPECT_EQ(call_unit(current_pdu_get, alarm_row, 0).text, command_table[alarm_row].error_format);
    EXPECT_EQ(call_element(current_elem_get, alarm_row, elem_outlet, 1, 0).text, command_table[alarm_row].error_format);
    EXPECT_EQ(call_element(current_elem_reset, alarm_row, elem_outlet, 1).text, std::nullopt);
}

// --- Elements -------------------------------------------------------------------------------------------------------

TEST(current_element, unknown_type_is_refused)
{
    fake_chain chain;
    fake_node unit = chain.unit();
    for (const char *leaf : leaves)
        unit.publish(leaf, "1.0");
    EXPECT_EQ(call_element(current_elem_get, row_element, elem_pdu, 2, 0).result, 1);
    EXPECT_FAILURES({"Invalid element for current 2@1@1, type 3"});
    EXPECT_EQ(call_element(current_elem_reset, row_element_reset, elem_pdu, 2).result, 1);
    EXPECT_FAILURES({"Invalid element for current 2@1@1, type 3"});
    cli_own_name = 0;
    EXPECT_EQ(call_element(current_elem_get, row_element, 4, 2, 0).result, 1);
    EXPECT_FAILURES({"Invalid elem to find a list: 1@1, type 4", "Node current unavailable for 2@1@1"});
}

TEST(current_element, empty_name_in_the_segment_makes_no_line)
{
    fake_chain chain;
    fake_node unit = chain.unit({.outlets = 1, .phases = 1, .circuits = 1});
    for (const fake_node &node : {unit.phase(1), unit.circuit(1), unit.outlet(1)})
        for (const char *leaf : leaves)
            node.publish(leaf, "1.0").poll("sys-name", "");
    for (int type : {elem_phase, elem_circuit}) {
        EXPECT_EQ(call_element(current_elem_get, row_element, type, 1, 0).result, 1);
        EXPECT_FAILURES({"No element string to print for 1@1@1"});
    }
    EXPECT_EQ(call_element(current_elem_get, row_element_summary, elem_outlet, 1, 1).text, "1,1:1.0A,1.0A,1.0A,1.0A\n");
}

struct current_element_in_tree : current_node {};
INSTANTIATE_TEST_SUITE_P(elements, current_element_in_tree, elements_by_tree, title);

TEST_P(current_element_in_tree, refused_minimum_does_not_spare_the_average)
{
    node.refuse("info", "current-min");
    show();
    EXPECT_EQ(exchanges().back(), "info " + node.path("current-avg"));
}

struct current_named_element_in_tree : current_node {};
INSTANTIATE_TEST_SUITE_P(elements, current_named_element_in_tree, named_elements_by_tree, title);

TEST_P(current_named_element_in_tree, nameless_element_is_passed_over_in_silence)
{
    node.refuse("info", "sys-name");
    EXPECT_EQ(call_element(current_elem_get, row_element, type, 2, 0).text, std::nullopt);
    EXPECT_FAILURES({});
    EXPECT_EQ(exchanges().back(), "info " + node.path("sys-name")) << "not read any further";
}

TEST_P(current_named_element_in_tree, reset_goes_out_also_without_a_name)
{
    node.refuse("info", "sys-name");
    EXPECT_EQ(call_element(current_elem_reset, row_element_reset, type, 2).text, std::nullopt);
    EXPECT_FAILURES({"Fail to reset current for element " + typed_address()});
    EXPECT_EQ(exchanges().back(), "admin " + node.path("reset-current"));
}

TEST_P(current_named_element_in_tree, empty_name_makes_no_line)
{
    node.serve("sys-name", "");
    for (int summary : {0, 1}) {
        EXPECT_EQ(call_element(current_elem_get, row_element, type, 2, summary).text, std::nullopt);
        EXPECT_FAILURES({"No element string to print for 2@1@1"});
    }
    EXPECT_EQ(call_element(current_elem_reset, row_element_reset, type, 2).text, std::nullopt);
    EXPECT_FAILURES({"No element string to print for 2@1@1"});
    tree.absent(node.path("sys-name"));
    EXPECT_EQ(call_element(current_elem_get, row_element, type, 2, 0).text, std::nullopt);
    EXPECT_FAILURES({"No element string to print for 2@1@1"});
    node.serve("current-avg", "x");
    EXPECT_EQ(call_element(current_elem_get, row_element, type, 2, 0).text, std::nullopt);
    EXPECT_FAILURES({"Fail to convert current-avg x to double"}); // the values come before the name
}

} // namespace

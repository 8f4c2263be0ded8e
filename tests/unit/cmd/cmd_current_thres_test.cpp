// The command `current threshold`: how the four levels are shown.

#include <cstring>
#include <set>

#include "cmd/cmd_current.h"
#include "tests/unit/cmd/measure_support.h"

using namespace measure_support;

namespace {

struct level {
    const char *leaf;
    const char *text;
    const char *word;     // of a failed conversion
    const char *unit_log; // of a failed read
};
const level levels[] = {{"current-alarm", "40.0", "hcrit", "high critical"},
                        {"current-warning", "30.0", "hwarn", "high warning"},
                        {"current-low", "2.0", "lwarn", "low warning"},
                        {"current-lowcrit", "1.0", "lcrit", "lowcrit"}};

enum { row_all = 19, row_element = 23, row_unit = 27 };

void publish_levels(const fake_node &node)
{
    for (const level &at : levels)
        node.publish(at.leaf, at.text);
}

struct thres_node : node_test {
    thres_node() { publish_levels(node); }

    called show() const { return run(row_unit, row_element); }

    std::string line(const std::string &texts) const
    {
        return "IPDU #1: Threshold " + cleared_label() + "(A): " + texts + "\n";
    }
    // With one level shown otherwise.
    std::string line_with(int changed, const std::string &text) const
    {
        std::string all;
        for (int i = 0; i < 4; i++)
            all += (i ? ":" : "") + (i == changed ? text : levels[i].text);
        return line(all);
    }
    void expect_nothing(const texts &log) const
    {
        called done = show();
        EXPECT_EQ(done.result, 1);
        EXPECT_EQ(done.text, std::nullopt);
        EXPECT_EQ(failures(), log);
    }
};

INSTANTIATE_TEST_SUITE_P(nodes, thres_node, everywhere, title);

TEST_P(thres_node, shows_four_levels)
{
    called done = show();
    EXPECT_EQ(done.result, 0);
    EXPECT_EQ(done.text, line("40.0:30.0:2.0:1.0"));
    EXPECT_FAILURES({});
}

TEST_P(thres_node, current_family_alone_is_served)
{
    for (int model : {128, 143}) {
        be_model(model);
        EXPECT_EQ(show().text, line("40.0:30.0:2.0:1.0")) << model;
    }
    for (int model : {0, 127, 144, 255}) {
        be_model(model);
        expect_nothing({"Current threshold not supported for legacy ZT 1@1"});
        EXPECT_FALSE(asked("mlist " + node.path()));
    }
}

TEST_P(thres_node, node_without_the_high_critical_level_has_no_line)
{
    node.without("current-alarm");
    expect_nothing({is_unit() ? "Node current unavailable for 1@1" : "Node current-alarm unavailable for 2@1@1"});
}

TEST_P(thres_node, range_error_of_an_earlier_command_fails_the_levels)
{
    show(); // the segment is attached, which leaves an errno of its own
    errno = ERANGE;
    expect_nothing({"Fail to convert hcrit 40.0 to double"});
    errno = 0;
    EXPECT_EQ(show().text, line("40.0:30.0:2.0:1.0"));
}

// --- Texts of the tree ----------------------------------------------------------------------------------------------

struct thres_in_tree : thres_node {};
INSTANTIATE_TEST_SUITE_P(nodes, thres_in_tree, read_from_the_tree, title);

TEST_P(thres_in_tree, refused_absent_or_negative_model_leaves_no_line)
{
    unit.serve("model_nr", "-3");
    expect_nothing({"Fail to get model from pdu 1@1"});
    tree.absent(unit.path("model_nr"));
    expect_nothing({"Fail to get model from pdu 1@1"});
    unit.refuse("info", "model_nr");
    expect_nothing({"Fail to get model for pdu 1@1", "Fail to get model from pdu 1@1"});
}

TEST_P(thres_in_tree, text_is_shown_as_it_came)
{
    node.serve("current-alarm", "40").serve("current-warning", "3.00e1");
    node.serve("current-low", " -2").serve("current-lowcrit", "0x1");
    EXPECT_EQ(show().text, line("40:3.00e1: -2:0x1"));
}

TEST_P(thres_in_tree, empty_or_absent_level_is_shown_empty)
{
    for (int i = 0; i < 4; i++) {
        publish_levels(node);
        node.serve(levels[i].leaf, "");
        EXPECT_EQ(show().text, line_with(i, "")) << i;
        tree.absent(node.path(levels[i].leaf));
        EXPECT_EQ(show().text, line_with(i, "")) << i;
        EXPECT_FAILURES({});
    }
}

TEST_P(thres_in_tree, level_that_the_node_lacks_is_shown_empty)
{
    for (int i = 1; i < 4; i++) {
        publish_levels(node);
        node.without(levels[i].leaf);
        EXPECT_EQ(show().text, line_with(i, "")) << i;
        EXPECT_FAILURES({});
    }
}

TEST_P(thres_in_tree, level_that_is_no_number_leaves_no_line)
{
    for (const level &at : levels)
        for (const char *text : {"12.5A", "x", "1e999", "1e-999"}) {
            publish_levels(node);
            node.serve(at.leaf, text);
            errno = 0;
            expect_nothing({std::string("Fail to convert ") + at.word + " " + text + " to double"});
        }
}

TEST_P(thres_in_tree, low_critical_is_tested_before_the_low_warning)
{
    node.serve("current-low", "x").serve("current-lowcrit", "y");
    expect_nothing({"Fail to convert lcrit y to double"});
    node.serve("current-warning", "z");
    expect_nothing({"Fail to convert hwarn z to double"});
    node.serve("current-alarm", "w");
    expect_nothing({"Fail to convert hcrit w to double"});
}

TEST_P(thres_in_tree, refused_high_critical_level_leaves_no_line)
{
    node.refuse("info", "current-alarm");
    expect_nothing({is_unit() ? "Fail to get high critical threshold for pdu 1@1"
                              : "Fail to get current thresholds for element " + typed_address()});
    EXPECT_EQ(asked("info " + node.path("current-lowcrit")), !is_unit()) << "an element's are all read first";
}

TEST_P(thres_in_tree, refused_other_level_ends_a_unit_and_is_empty_for_an_element)
{
    for (int i = 1; i < 4; i++) {
        node.drop("info", levels[i].leaf);
        if (is_unit()) {
            expect_nothing({std::string("Fail to get ") + levels[i].unit_log + " threshold for pdu 1@1"});
        } else {
            EXPECT_EQ(show().text, line_with(i, "")) << i;
            EXPECT_FAILURES({});
        }
        tree.allow("info", node.path(levels[i].leaf));
    }
}

TEST_P(thres_in_tree, asks_for_each_level_in_order)
{
    show();
    texts expected = {"mlist " + node.path()};
    if (type == elem_phase || type == elem_circuit)
        expected.push_back("info " + node.path("sys-name"));
    for (int i = 0; i < 4; i++) {
        if (is_unit() && i > 0)
            expected.push_back("mlist " + node.path());
        expected.push_back("info " + node.path(levels[i].leaf));
    }
    if (is_unit() && GetParam().from == segment_away)
        for (const char *kind : {"phase", "circuit", "outlet"})
            expected.push_back("mlist " + node.path(kind));
    EXPECT_EQ(behind("info power.port.1.pdu.1.model_nr"), expected);
}

struct thres_named_in_tree : thres_node {};
INSTANTIATE_TEST_SUITE_P(elements, thres_named_in_tree, named_elements_by_tree, title);

TEST_P(thres_named_in_tree, nameless_element_is_passed_over_in_silence)
{
    node.refuse("info", "sys-name");
    EXPECT_EQ(call_element(current_elem_thres, row_element, type, 2, 0).text, std::nullopt);
    EXPECT_FAILURES({});
    EXPECT_EQ(exchanges().back(), "info " + node.path("sys-name"));
}

TEST_P(thres_named_in_tree, empty_name_makes_no_line)
{
    node.serve("sys-name", "").serve("current-low", "x");
    EXPECT_EQ(call_element(current_elem_thres, row_element, type, 2, 0).text, std::nullopt);
    EXPECT_FAILURES({"No element string to print for 2@1@1"}); // the name comes before the texts
    tree.absent(node.path("sys-name"));
    EXPECT_EQ(call_element(current_elem_thres, row_element, type, 2, 0).result, 1);
    EXPECT_FAILURES({"No element string to print for 2@1@1"});
}

// --- Segment and tree -----------------------------------------------------------------------------------------------

struct thres_command : testing::Test {
    fake_chain chain;
    fake_node unit = chain.unit({.outlets = 1, .circuits = 1});

    thres_command() { errno = 0; }
};

TEST_F(thres_command, each_level_of_a_unit_comes_from_where_it_is_known)
{
    unit.poll("current-alarm", "40.0").poll("current-low", "2.0");
    unit.serve("current-alarm", "4").serve("current-warning", "3").serve("current-low", "2");
    EXPECT_EQ(answer("current threshold 1"), "IPDU #1: Threshold (A): 40.0:3:2.0:\n");
    EXPECT_FALSE(asked("info " + unit.path("current-low")));
    unit.refuse("info", "current-warning");
    EXPECT_EQ(answer("current threshold unit1"), no_such_ipdu);
    EXPECT_EQ(failures()[0], "Fail to get high warning threshold for pdu 1@1");
}

TEST_F(thres_command, levels_of_an_element_are_read_from_the_segment_whether_there_or_not)
{
    unit.outlet(1).publish("current-alarm", "40.0").serve("current-low", "2");
    EXPECT_EQ(answer("current threshold 1 O1"), "IPDU #1: Threshold for outlet 1 (A): 40.0:0.0:0.0:0.0\n");
    segment.root().ports = 0; // up, without this unit
    EXPECT_EQ(answer("current threshold unit1 O1"), failure_text);
    EXPECT_FAILURES({"Fail to get current thresholds for element 1@1@1, type 2"});
    publish_levels(unit.phase(1));
    EXPECT_EQ(answer("current threshold unit1 P1"), failure_text);
    EXPECT_FAILURES({});
}

TEST_F(thres_command, unknown_type_is_refused)
{
    publish_levels(unit);
    EXPECT_EQ(call_element(current_elem_thres, row_element, elem_pdu, 2, 0).result, 1);
    EXPECT_FAILURES({"Invalid element for current 2@1@1, type 3"});
}

// --- Forms ----------------------------------------------------------------------------------------------------------

TEST_F(thres_command, unit_comes_first_then_phases_segments_and_outlets)
{
    for (const fake_node &node : {unit.outlet(1), unit.circuit(1), unit.phase(1), unit})
        publish_levels(node);
    const std::string all = "IPDU #1: Threshold (A): 40.0:30.0:2.0:1.0\n"
                            "IPDU #1: Threshold for phase P1 (A): 40.0:30.0:2.0:1.0\n"
                            "IPDU #1: Threshold for segment S1 (A): 40.0:30.0:2.0:1.0\n"
                            "IPDU #1: Threshold for outlet 1 (A): 40.0:30.0:2.0:1.0\n";
    for (const char *line : {"current threshold", "current threshold 1", "current threshold unit1"})
        EXPECT_EQ(answer(line), all) << line;
    chain.unit({.outlets = 0}).publish("current-alarm", "16.0");
    EXPECT_EQ(answer("current threshold"), all + "IPDU #2: Threshold (A): 16.0:::\n");
}

TEST_F(thres_command, unit_without_levels_still_shows_its_elements)
{
    publish_levels(unit.circuit(1));
    EXPECT_EQ(answer("current threshold unit1"), "IPDU #1: Threshold for segment S1 (A): 40.0:30.0:2.0:1.0\n");
    EXPECT_FAILURES({"Node current unavailable for 1@1", "Node current-alarm unavailable for 1@1@1",
                     "Fail to execute for elem 1, type 0", "Node current-alarm unavailable for 1@1@1",
                     "Fail to execute for elem 1, type 2"});
}

TEST_F(thres_command, legacy_unit_is_refused_once_for_itself_and_once_for_each_element)
{
    unit.publish("model_nr", "127");
    for (const fake_node &node : {unit.outlet(1), unit.circuit(1), unit.phase(1), unit})
        publish_levels(node);
    EXPECT_EQ(answer("current threshold"), "");
    EXPECT_EQ(last_result(), 0);
    const std::string words = "Current threshold not supported for legacy ZT 1@1";
    EXPECT_FAILURES({words, words, "Fail to execute for elem 1, type 0", words, "Fail to execute for elem 1, type 1",
                     words, "Fail to execute for elem 1, type 2", "Fail to execute for PDU 1"});
    EXPECT_EQ(answer("current threshold 1"), no_such_ipdu);
    EXPECT_EQ(answer("current threshold 1 O1"), failure_text);
}

TEST_F(thres_command, second_word_without_a_colon_is_an_element_first)
{
    publish_levels(unit.outlet(1).publish("sys-name", "5"));
    EXPECT_EQ(answer("current threshold 1 5"), "IPDU #1: Threshold for outlet 1 (A): 40.0:30.0:2.0:1.0\n");
    unit.outlet(1).publish("sys-name", "6");
    EXPECT_EQ(answer("current threshold unit1 5"), failure_text);
    EXPECT_FAILURES({"Invalid threshold 0@1@1 5"});
    EXPECT_EQ(answer("current threshold unit1 Q"), failure_text);
    EXPECT_FAILURES({});
}

TEST_F(thres_command, bank_has_four_levels_of_0)
{
    EXPECT_EQ(answer("current threshold 1 XY"), "IPDU #1: Threshold for segment XY (A): 0.0:0.0:0.0:0.0\n");
}

// --- Failures anywhere ----------------------------------------------------------------------------------------------

// A line of the answer, or the same without some of its levels.
bool is_part_of(const std::string &whole, const std::string &line)
{
    for (const std::string &known : lines(whole + no_such_ipdu)) {
        size_t at = 0;
        for (char letter : known)
            if (at < line.size() && line[at] == letter)
                at++;
            else if (!strchr(".0123456789", letter))
                break;
        if (at == line.size())
            return true;
    }
    return false;
}

struct form {
    int row;
    const char *element;
};
const form forms[] = {{row_all, ""}, {row_unit, ""}, {row_element, "P1"}, {row_element, "S1"}, {row_element, "O1"}};

TEST_F(thres_command, failed_exchange_or_allocation_costs_lines_and_levels_alone)
{
    for (const fake_node &node : {unit, unit.outlet(1)})
        publish_levels(node);
    for (int own_name : {1, 0}) {
        cli_own_name = own_name;
        for (const form &at : forms) {
            const std::string whole = call(at.row, {"unit1", at.element}).text.value_or("");
            auto body = [&](int n) {
                called done = call(at.row, {"unit1", at.element});
                for (const std::string &line : lines(done.text.value_or("")))
                    EXPECT_TRUE(is_part_of(whole, line)) << "row " << at.row << ", " << n << ": " << line;
            };
            EXPECT_GT(each_failing_allocation(body), 0);
            for (how way : {refused, dropped})
                EXPECT_GT(each_failing_exchange(way, body), 0);
        }
    }
}

TEST_F(thres_command, line_that_cannot_be_added_is_logged)
{
    publish_levels(unit);
    publish_levels(unit.phase(1));
    std::set<std::string> seen;
    auto note = [&](const called &done) {
        seen.insert(std::to_string(done.result) + " " + done.text.value_or("nothing"));
        for (const std::string &line : failures())
            seen.insert(line);
    };
    each_failing_allocation([&](int) { note(call(row_unit, {"unit1"})); });
    each_failing_allocation([&](int) { note(call(row_element, {"unit1", "P1"})); });
    EXPECT_TRUE(seen.contains("Fail to printf pdu 1 threshold current string"));
    EXPECT_TRUE(seen.contains("Fail to printf pdu 1 threshold current string, type 0"));
    EXPECT_TRUE(seen.contains("No element string to print for 1@1@1"));
    EXPECT_TRUE(seen.contains("1 IPDU #1: Threshold for phase P1 (A): 40.0:30.0:2.0:1.0\n"));
    EXPECT_TRUE(seen.contains("1 nothing"));
}

// Intended: a level that the segment has and cannot give ends the unit without a word.
TEST_F(thres_command, level_that_the_segment_cannot_give_ends_a_unit_in_silence)
{
    fake_node alone = chain.unit({.outlets = 0, .phases = 0});
    publish_levels(alone);
    int silent = 0;
    each_failing_allocation([&](int) {
        called done = call(row_unit, {"unit2"});
        silent += done.result == 1 && !done.text && failures().empty();
    });
    EXPECT_EQ(silent, 3) << "once for each level behind the first";
}

} // namespace

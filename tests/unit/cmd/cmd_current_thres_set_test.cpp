// The command `current threshold` with levels to set: how they are taken apart, written and echoed.

#include <set>

#include "cmd/cmd_current.h"
#include "tests/unit/cmd/measure_support.h"

using namespace measure_support;

namespace {

constexpr const char *leaves[] = {"current-alarm", "current-warning", "current-low", "current-lowcrit"};

enum { row_element = 20, row_unit = 24 };

void publish_levels(const fake_node &node)
{
    for (const char *leaf : leaves)
        node.publish(leaf, "5.0");
}

struct thres_set_node : node_test {
    thres_set_node() { publish_levels(node); }

    called set(const char *levels) const
    {
        return is_unit() ? call(row_unit, {"unit1", levels}) : call(row_element, {"unit1", word().c_str(), levels});
    }
    std::string whole_address() const { return (is_unit() ? "0@" : "") + address(); }
    std::string line(const std::string &texts) const
    {
        return "IPDU #1: Threshold " + plain_label() + "(A): " + texts + "\n";
    }
    void expect_nothing(const called &done, const texts &log) const
    {
        EXPECT_EQ(done.result, 1);
        EXPECT_EQ(done.text, std::nullopt);
        EXPECT_EQ(failures(), log);
    }
    texts written() const
    {
        texts all;
        for (const std::string &exchange : exchanges())
            if (exchange.starts_with("admin " + node.path() + "."))
                all.push_back(exchange.substr(7 + node.path().size()));
            else
                EXPECT_FALSE(exchange.starts_with("admin")) << exchange;
        return all;
    }
};

INSTANTIATE_TEST_SUITE_P(nodes, thres_set_node, everywhere, title);

TEST_P(thres_set_node, four_levels_are_written_in_order_and_echoed)
{
    called done = set("40:30:2:1");
    EXPECT_EQ(done.result, 0);
    EXPECT_EQ(done.text, line("40:30:2:1"));
    EXPECT_EQ(written(), (texts{"current-alarm 40", "current-warning 30", "current-low 2", "current-lowcrit 1"}));
    EXPECT_FAILURES({});
}

TEST_P(thres_set_node, level_goes_out_as_it_was_typed)
{
    EXPECT_EQ(set("40.50:+3e1:-2:0x10").text, line("40.50:+3e1:-2:0x10"));
    EXPECT_EQ(written(),
              (texts{"current-alarm 40.50", "current-warning +3e1", "current-low -2", "current-lowcrit 0x10"}));
    EXPECT_EQ(set("inf:nan:0:00").text, line("inf:nan:0:00"));
}

TEST_P(thres_set_node, empty_field_is_not_written)
{
    EXPECT_EQ(set("40::2:").text, line("40::2:"));
    EXPECT_EQ(written(), (texts{"current-alarm 40", "current-low 2"}));
    EXPECT_EQ(set(":30::1").text, line(":30::1"));
    EXPECT_EQ(written(), (texts{"current-warning 30", "current-lowcrit 1"}));
    called done = set(":::");
    EXPECT_EQ(done.result, 0);
    EXPECT_EQ(done.text, line(":::"));
    EXPECT_EQ(written(), texts{});
}

TEST_P(thres_set_node, level_that_the_node_lacks_is_neither_written_nor_echoed)
{
    const std::string echoed[] = {":30:2:1", "40::2:1", "40:30::1", "40:30:2:"};
    for (size_t i = 0; i < 4; i++) {
        publish_levels(node);
        node.without(leaves[i]);
        EXPECT_EQ(set("40:30:2:1").text, line(echoed[i]));
        EXPECT_EQ(written().size(), 3U);
        EXPECT_FAILURES({});
    }
}

TEST_P(thres_set_node, legacy_unit_is_asked_like_any_other)
{
    for (int model : {127, 144}) {
        be_model(model);
        EXPECT_EQ(set("40:30:2:1").text, line("40:30:2:1"));
    }
    for (const char *leaf : leaves)
        node.without(leaf);
    EXPECT_EQ(set("40:30:2:1").text, line(":::"));
    EXPECT_EQ(written(), texts{});
    EXPECT_FALSE(asked("info power.port.1.pdu.1.model_nr"));
}

TEST_P(thres_set_node, refused_level_does_not_spare_the_others_and_leaves_no_line)
{
    const std::string ret[] = {"-15:0:0:0", "0:-15:0:0", "0:0:-15:0", "0:0:0:-15"};
    for (size_t i = 0; i < 4; i++) {
        node.refuse("admin", leaves[i]);
        expect_nothing(set("40:30:2:1"), {"Fail to set threshold for element " + whole_address() + ", type " +
                                          std::to_string(type) + ", value 40:30:2:1 (ret " + ret[i] + ")"});
        EXPECT_EQ(written().size(), 4U);
        tree.allow("admin", node.path(leaves[i]));
    }
    node.refuse("admin", "current-alarm").drop("admin", "current-lowcrit");
    expect_nothing(set("40::2:1"), {"Fail to set threshold for element " + whole_address() + ", type " +
                                    std::to_string(type) + ", value 40::2:1 (ret -15:0:0:-2)"});
    EXPECT_EQ(node.value("current-low"), "2");
}

TEST_P(thres_set_node, bad_field_writes_nothing)
{
    for (const char *levels : {"", "40", "40:30", "40:30:2", "40:30:2:1:0", "40:30:2:1:", "::::", "40:abc:2:1",
                               "40A:30:2:1", "40:30:2:1A", "40:30:1e999:1", "x:::", ":::x"}) {
        errno = 0;
        expect_nothing(set(levels), {"Invalid threshold " + whole_address() + " " + levels});
        EXPECT_EQ(written(), texts{});
    }
}

TEST_P(thres_set_node, range_error_of_an_earlier_command_fails_the_levels)
{
    set("40:::"); // the segment is attached, which leaves an errno of its own
    errno = ERANGE;
    expect_nothing(set("40:::"), {"Invalid threshold " + whole_address() + " 40:::"});
    EXPECT_EQ(set(":::").text, line(":::")) << "nothing is converted";
}

TEST_P(thres_set_node, asks_for_all_levels_and_then_writes)
{
    set("40::2:");
    texts expected;
    if (GetParam().from != segment_up)
        expected = texts(4, "mlist " + node.path());
    if (type == elem_phase || type == elem_circuit)
        expected.push_back("info " + node.path("sys-name"));
    expected.push_back("admin " + node.path("current-alarm") + " 40");
    expected.push_back("admin " + node.path("current-low") + " 2");
    texts last = exchanges();
    ASSERT_GE(last.size(), expected.size());
    last.erase(last.begin(), last.end() - static_cast<std::ptrdiff_t>(expected.size()));
    EXPECT_EQ(last, expected);
}

// --- Names ----------------------------------------------------------------------------------------------------------

struct thres_set_named : thres_set_node {
    called set_here(const char *levels) { return call_element(current_thres_set, row_element, type, 2, levels); }
};
INSTANTIATE_TEST_SUITE_P(elements, thres_set_named, named_elements_by_tree, title);

// Intended: the levels are written also where the name cannot be had.
TEST_P(thres_set_named, levels_are_written_also_without_a_name)
{
    node.refuse("info", "sys-name");
    expect_nothing(set_here("40:30:2:1"), {"Fail to get name for element " + typed_address()});
    EXPECT_EQ(written().size(), 4U);
    node.refuse("admin", "current-low");
    expect_nothing(set_here("40:30:2:1"), {"Fail to get name for element " + typed_address()});
}

TEST_P(thres_set_named, empty_name_makes_no_line)
{
    node.serve("sys-name", "");
    expect_nothing(set_here("40:30:2:1"), {"No element string to print for 2@1@1"});
    tree.absent(node.path("sys-name"));
    expect_nothing(set_here("40:30:2:1"), {"No element string to print for 2@1@1"});
    EXPECT_EQ(written().size(), 4U);
}

// --- Forms ----------------------------------------------------------------------------------------------------------

struct thres_set_command : testing::Test {
    fake_chain chain;
    fake_node unit = chain.unit({.outlets = 1});

    thres_set_command()
    {
        errno = 0;
        unit.phase(1).publish("sys-name", "X");
        for (const fake_node &node : {unit, unit.phase(1), unit.outlet(1)})
            publish_levels(node);
    }
};

TEST_F(thres_set_command, levels_of_a_unit)
{
    EXPECT_EQ(answer("current threshold 1 40:30:2:1"), "IPDU #1: Threshold (A): 40:30:2:1\n");
    EXPECT_EQ(last_result(), 0);
    EXPECT_EQ(answer("current threshold 1 40::2:"), "IPDU #1: Threshold (A): 40::2:\n");
    EXPECT_EQ(answer("current threshold 1 :::"), "IPDU #1: Threshold (A): :::\n");
    EXPECT_EQ(answer("current threshold unit1 .5:.5:.5:.5"), "IPDU #1: Threshold (A): .5:.5:.5:.5\n");
}

TEST_F(thres_set_command, levels_of_an_element_are_echoed_in_other_words_than_they_are_shown)
{
    EXPECT_EQ(answer("current threshold 1 X 40:30:2:1"), "IPDU #1: Threshold phase X (A): 40:30:2:1\n");
    EXPECT_EQ(answer("current threshold 1 O1 40:30:2:1"), "IPDU #1: Threshold outlet 1 (A): 40:30:2:1\n");
    for (const char *leaf : leaves)
        unit.phase(1).poll(leaf, unit.phase(1).value(leaf).value());
    EXPECT_EQ(answer("current threshold 1 X"), "IPDU #1: Threshold for phase X (A): 40.0:30.0:2.0:1.0\n");
}

TEST_F(thres_set_command, wrong_number_of_colons_is_an_invalid_argument)
{
    for (const char *levels : {"40:30:2", "40:30:2:1:0"}) {
        EXPECT_EQ(answer(std::string("current threshold unit1 ") + levels), failure_text);
        EXPECT_EQ(last_result(), 1);
        EXPECT_FAILURES({std::string("Invalid threshold 0@1@1 ") + levels});
        EXPECT_EQ(exchanges().back(), "info power.port.1.num-pdus");
    }
}

TEST_F(thres_set_command, letters_for_a_unit_match_no_row_and_for_an_element_write_nothing)
{
    EXPECT_EQ(answer("current threshold unit1 40:abc:2:1"), failure_text);
    EXPECT_EXCHANGES({});
    EXPECT_EQ(answer("current threshold unit1 X 40:abc:2:1"), failure_text);
    EXPECT_FAILURES({"Invalid threshold 1@1@1 40:abc:2:1"});
    EXPECT_EQ(exchanges().back(), "mlist power.port.1.pdu.1.phase");
}

TEST_F(thres_set_command, element_and_one_level_are_tried_as_an_element_of_two_words)
{
    EXPECT_EQ(answer("current threshold unit1 X 40"), failure_text);
    EXPECT_FAILURES({"Invalid threshold 1@1@1 40"});
    unit.outlet(1).publish("sys-name", "X 40");
    EXPECT_EQ(answer("current threshold unit1 X 40"), "IPDU #1: Threshold for outlet 1 (A): 5.0:5.0:5.0:5.0\n");
}

TEST_F(thres_set_command, element_of_no_name_is_no_bank_either)
{
    for (const char *name : {"Q", "XY", "A"}) {
        EXPECT_EQ(answer(std::string("current threshold unit1 ") + name + " 40:30:2:1"), failure_text);
        EXPECT_FAILURES({});
    }
}

TEST_F(thres_set_command, text_that_is_missing_is_refused)
{
    called done = call_element(current_thres_set, row_unit, elem_pdu, 0, static_cast<const char *>(nullptr));
    EXPECT_EQ(done.result, 1);
    EXPECT_FAILURES({"Invalid threshold 0@1@1 (null)"});
    EXPECT_EXCHANGES({});
}

TEST_F(thres_set_command, unknown_type_is_refused)
{
    EXPECT_EQ(call_element(current_thres_set, row_element, 4, 2, "40:30:2:1").result, 1);
    const std::string list = "Invalid elem to find a list: 1@1, type 4";
    EXPECT_FAILURES({list, list, list, list, "Invalid element for set alarm 2@1@1, type 4, value 0.0"});
    EXPECT_EQ(call_element(current_thres_set, row_element, -1, 2, "40:30:2:1").result, 1);
    EXPECT_EQ(failures().back(), "Invalid element for set alarm 2@1@1, type -1, value 0.0");
}

TEST_F(thres_set_command, row_without_a_format_is_done_without_a_line)
{
    const int formatless = find_command_row(cmd_exit);
    EXPECT_EQ(call_element(current_thres_set, formatless, elem_pdu, 0, "40:::").result, 0);
    EXPECT_EXCHANGES({"admin power.port.1.pdu.1.current-alarm 40"});
    called done = call_element(current_elem_thres, formatless, elem_outlet, 1, 0);
    EXPECT_EQ(done.result, 0);
    EXPECT_EQ(done.text, std::nullopt);
    EXPECT_EQ(call_unit(current_pdu_thres, formatless, 0).result, 0);
    EXPECT_FAILURES({});
}

// --- Failures anywhere ----------------------------------------------------------------------------------------------

struct form {
    int row;
    const char *second;
    const char *third;
};
const form forms[] = {{row_unit, "40:30:2:1", ""}, {row_element, "X", "40:30:2:1"}, {row_element, "O1", "40:30:2:1"}};

// What the handler answers and logs over all exchanges or allocations that fail.
struct outcomes {
    std::set<std::string> seen;
    void operator()(const form &at)
    {
        called done = call(at.row, {"unit1", at.second, at.third});
        EXPECT_EQ(done.result == 0, done.text && done.text != no_such_ipdu);
        seen.insert(done.text.value_or("nothing"));
        for (const std::string &line : failures())
            seen.insert(line);
    }
};

TEST_F(thres_set_command, failed_exchange_costs_a_level_or_the_line)
{
    for (int own_name : {1, 0}) {
        cli_own_name = own_name;
        for (const form &at : forms)
            for (how way : {refused, dropped}) {
                outcomes all;
                EXPECT_GE(each_failing_exchange(way, [&](int) { all(at); }), 6);
                EXPECT_TRUE(all.seen.contains("nothing"));
                EXPECT_TRUE(all.seen.contains(no_such_ipdu));
                const std::string label = at.row == row_unit ? "" : *at.second == 'X' ? "phase X " : "outlet 1 ";
                for (const char *levels : {"40:30:2:1", ":30:2:1", "40::2:1", "40:30::1", "40:30:2:"})
                    EXPECT_EQ(all.seen.contains("IPDU #1: Threshold " + label + "(A): " + levels + "\n"),
                              !own_name || levels == std::string("40:30:2:1"))
                        << levels;
            }
    }
}

TEST_F(thres_set_command, failed_allocation_is_told)
{
    outcomes all;
    for (const form &at : forms)
        each_failing_allocation([&](int) { all(at); });
    for (const char *expected : {"Invalid threshold 0@1@1 40:30:2:1", "Invalid threshold 1@1@1 40:30:2:1",
                                 "Fail to printf elem 0, type 3, threshold 40:30:2:1 string",
                                 "Fail to printf elem 1, type 0, threshold 40:30:2:1 string",
                                 "Fail to printf elem 1, type 2, threshold 40:30:2:1 string",
                                 "No element string to print for 1@1@1", "Fail to get name for element 1@1@1, type 0"})
        EXPECT_TRUE(all.seen.contains(expected)) << expected;
}

} // namespace

// The outlet string: every form and its precedence, the faults of the whole string, unresolved tokens, the limit of
// 128.

#include <string>

#include "core/outlet_string.h"
#include "tests/fakes/fakes.h"

namespace {

// "outx@pdu@port.outlet(text)" for each record, or "fault".
texts parsed(const std::string &text)
{
    forget();
    owned_outstr block = parse_outstr(text.c_str());
    if (!block)
        return {"fault"};
    texts found;
    for (const outstr_entry &record : outstr_records(block))
        found.push_back(std::to_string(record.port) + "." + std::to_string(record.pdu) + "." +
                        std::to_string(record.outlet) + "=" + std::to_string(record.outx) + " " + record.text);
    return found;
}

// The numbers of the resolved records alone.
std::vector<int> numbers(const std::string &text)
{
    owned_outstr block = parse_outstr(text.c_str());
    std::vector<int> found;
    if (block)
        for (const outstr_entry &record : outstr_records(block))
            if (outstr_resolved(record))
                found.push_back(record.outx);
    return found;
}

std::vector<int> count_up(int first, int last)
{
    std::vector<int> run;
    for (int n = first; n <= last; n++)
        run.push_back(n);
    return run;
}

struct outlet_string : testing::Test {
    fake_chain chain;
    void units(std::initializer_list<int> outlets)
    {
        for (int count : outlets)
            chain.unit({.outlets = count});
    }
};

// --- Nothing at all -------------------------------------------------------------------------------------------------

TEST_F(outlet_string, absent_or_empty_text_yields_nothing_and_asks_nothing)
{
    units({8});
    EXPECT_FALSE(parse_outstr(nullptr));
    EXPECT_EQ(parsed(""), texts{"fault"});
    EXPECT_EXCHANGES({});
}

TEST_F(outlet_string, only_commas_give_an_empty_block)
{
    units({8});
    EXPECT_EQ(parsed(",,,"), texts{});
    EXPECT_EXCHANGES({});
}

TEST_F(outlet_string, failed_allocations_yield_nothing_or_the_whole)
{
    units({8});
    int failing = each_failing_allocation([&](int) {
        owned_outstr block = parse_outstr("1-2");
        if (block) {
            for (const outstr_entry &record : outstr_records(block))
                EXPECT_STREQ(record.text, "1-2");
        }
    });
    EXPECT_GE(failing, 2);
}

// --- all ------------------------------------------------------------------------------------------------------------

TEST_F(outlet_string, all_is_every_outlet_of_every_unit)
{
    units({2, 1});
    EXPECT_EQ(parsed("all"), (texts{"1.1.1=1 all", "1.1.2=2 all", "1.2.1=3 all"}));
}

TEST_F(outlet_string, all_over_more_than_128_outlets_gives_the_first_128_and_no_terminator)
{
    units({100, 100});
    owned_outstr block = parse_outstr("all");
    ASSERT_TRUE(block);
    auto records = outstr_records(block);
    ASSERT_EQ(records.size(), 128U);
    EXPECT_EQ(records[127].outx, 128);
    EXPECT_STREQ(records[127].text, "all");
}

TEST_F(outlet_string, all_still_reads_the_units_behind_the_128th_outlet)
{
    units({128, 8});
    fake_node last = chain.at(2);
    segment.exists = false; // not attached yet: the counts come from the tree
    tree.refuse("info", last.path("num-outlets"));
    EXPECT_EQ(parsed("all"), texts{"fault"});
    EXPECT_LOGGED("Fail to get number of outlets on 2@1");
}

TEST_F(outlet_string, all_must_be_the_whole_token)
{
    units({1});
    EXPECT_EQ(parsed("allx"), texts{"fault"});
    EXPECT_LOGGED("Fail to get outlet from outlet name allx");
}

TEST_F(outlet_string, all_fails_as_a_whole_where_a_read_fails)
{
    units({2});
    tree.refuse("info", "power.num-devices");
    EXPECT_EQ(parsed("all"), texts{"fault"});
    EXPECT_LOGGED("Fail to get number of ports");
    tree.allow("info", "power.num-devices").refuse("info", "power.port.1.num-pdus");
    EXPECT_EQ(parsed("all"), texts{"fault"});
    EXPECT_LOGGED("Fail to get number of pdus on port 1");
}

// --- By unit number -------------------------------------------------------------------------------------------------

TEST_F(outlet_string, unit_number_and_outlet)
{
    units({8, 8});
    EXPECT_EQ(parsed("2.3"), texts{"1.2.3=11 2.3"});
}

TEST_F(outlet_string, unit_number_and_range)
{
    units({8, 8});
    EXPECT_EQ(parsed("2.1-3"), (texts{"1.2.1=9 2.1-3", "1.2.2=10 2.1-3", "1.2.3=11 2.1-3"}));
}

TEST_F(outlet_string, range_of_one_outlet_checks_it_once)
{
    units({8});
    EXPECT_EQ(parsed("1.3-3"), texts{"1.1.3=3 1.3-3"});
    // pdu2port, then the outlet's number once to check and once for the record.
    EXPECT_EXCHANGES({"info power.num-devices", "info power.port.1.num-pdus", "info power.num-devices",
                      "info power.port.1.num-pdus", "info power.num-devices", "info power.port.1.num-pdus"});
}

TEST_F(outlet_string, range_that_ends_before_it_begins_is_a_fault)
{
    units({8});
    EXPECT_EQ(parsed("1.3-2"), texts{"fault"});
    EXPECT_FAILURES({"ini outlet 3 greater than end outlet 2"});
}

TEST_F(outlet_string, first_outlet_beyond_the_unit_is_a_fault)
{
    units({8});
    EXPECT_EQ(parsed("1.99"), texts{"fault"});
    EXPECT_FAILURES({"Invalid initial outlet 99 on 1@1"});
}

TEST_F(outlet_string, last_outlet_beyond_the_unit_is_a_fault)
{
    units({8});
    EXPECT_EQ(parsed("1.2-99"), texts{"fault"});
    EXPECT_FAILURES({"Invalid final outlet 99 on 1@1"});
}

TEST_F(outlet_string, unknown_unit_is_a_fault_at_its_first_outlet)
{
    units({8});
    EXPECT_EQ(parsed("7.1"), texts{"fault"});
    EXPECT_FAILURES({"Invalid initial outlet 1 on 7@-1"});
}

TEST_F(outlet_string, outlet_zero_is_a_fault)
{
    units({8});
    EXPECT_EQ(parsed("1.0"), texts{"fault"});
    EXPECT_FAILURES({"Invalid initial outlet 0 on 1@1"});
}

TEST_F(outlet_string, numbers_beyond_32_bits_stay_out_of_range)
{
    units({8});
    EXPECT_EQ(parsed("4294967297"), texts{"fault"}); // would be outlet 1 with its upper half cut off
    EXPECT_EQ(parsed("1.4294967297"), texts{"fault"});
    EXPECT_EQ(parsed("4294967297.1"), texts{"fault"});
}

TEST_F(outlet_string, range_with_a_tail_is_a_name_and_its_shorter_form_is_not_tried)
{
    units({8});
    EXPECT_EQ(parsed("1.2-3x"), texts{"fault"});
    EXPECT_FAILURES({"Fail to get outlet from outlet name 1.2-3x"});
}

// --- By unit ID -----------------------------------------------------------------------------------------------------

TEST_F(outlet_string, unit_id_and_outlet)
{
    chain.unit({.outlets = 8, .id = "rack0"});
    chain.unit({.outlets = 8, .id = "rack1"});
    EXPECT_EQ(parsed("rack1.3"), texts{"1.2.3=11 rack1.3"});
}

TEST_F(outlet_string, unit_id_and_range)
{
    chain.unit({.outlets = 8, .id = "rack1"});
    EXPECT_EQ(parsed("rack1.2-3"), (texts{"1.1.2=2 rack1.2-3", "1.1.3=3 rack1.2-3"}));
}

TEST_F(outlet_string, unknown_unit_id_is_a_fault_at_its_first_outlet)
{
    units({8});
    EXPECT_EQ(parsed("rack1.3"), texts{"fault"});
    EXPECT_FAILURES({"Fail to get pdu from pdu name rack1", "Fail to get port from pdu name rack1",
                     "Invalid initial outlet 3 on -1@-1"});
}

TEST_F(outlet_string, id_of_digits_is_read_as_a_number)
{
    chain.unit({.outlets = 8, .id = "2"});
    chain.unit({.outlets = 8, .id = "1"});
    EXPECT_EQ(parsed("2.3"), texts{"1.2.3=11 2.3"});
}

TEST_F(outlet_string, dotted_name_without_a_number_behind_is_an_outlet_name)
{
    units({8});
    chain.at(1).outlet(4).publish("name", "rack.a");
    EXPECT_EQ(parsed("rack.a"), texts{"1.1.4=4 rack.a"});
}

// --- Chain numbers --------------------------------------------------------------------------------------------------

TEST_F(outlet_string, chain_number_counts_over_the_units)
{
    units({8, 8});
    EXPECT_EQ(parsed("10"), texts{"1.2.2=10 10"});
}

TEST_F(outlet_string, chain_range_runs_over_the_units)
{
    units({2, 2, 2});
    EXPECT_EQ(parsed("2-5"), (texts{"1.1.2=2 2-5", "1.2.1=3 2-5", "1.2.2=4 2-5", "1.3.1=5 2-5"}));
}

TEST_F(outlet_string, chain_number_stops_reading_at_its_unit)
{
    units({8, 8});
    parsed("1");
    EXPECT_EXCHANGES({"info power.num-devices", "info power.port.1.num-pdus", "info power.num-devices",
                      "info power.port.1.num-pdus"});
}

TEST_F(outlet_string, chain_numbers_out_of_range_are_faults)
{
    units({8});
    EXPECT_EQ(parsed("0"), texts{"fault"});
    EXPECT_FAILURES({"ini (0) or end (0) outlet out of range"});
    EXPECT_EQ(parsed("-3"), texts{"fault"});
    EXPECT_FAILURES({"ini (-3) or end (-3) outlet out of range"});
    EXPECT_EQ(parsed("9"), texts{"fault"});
}

TEST_F(outlet_string, chain_range_that_ends_beyond_the_chain_is_a_fault_as_a_whole)
{
    units({8});
    EXPECT_EQ(parsed("7-9"), texts{"fault"});
    EXPECT_FAILURES({"ini (7) or end (9) outlet out of range"});
}

TEST_F(outlet_string, chain_range_backwards_on_one_unit_leaves_its_text_uncounted)
{
    units({8});
    EXPECT_EQ(parsed("5-2"), texts{"0.0.0=0 5-2"});
    EXPECT_FAILURES({});
}

TEST_F(outlet_string, chain_range_backwards_over_two_units_leaves_its_text_uncounted)
{
    units({8, 8});
    EXPECT_EQ(parsed("12-2"), texts{"0.0.0=0 12-2"});
}

TEST_F(outlet_string, uncounted_token_is_overwritten_by_the_next)
{
    units({8});
    EXPECT_EQ(parsed("5-2,1"), texts{"1.1.1=1 1"});
}

TEST_F(outlet_string, uncounted_last_token_stays_behind_the_good_ones)
{
    units({8});
    EXPECT_EQ(parsed("1,5-2"), (texts{"1.1.1=1 1", "0.0.0=0 5-2"}));
}

TEST_F(outlet_string, chain_range_with_one_bound_missing_is_a_name)
{
    units({8});
    EXPECT_EQ(parsed("3-"), texts{"fault"});
    EXPECT_FAILURES({"Fail to get outlet from outlet name 3-"});
}

TEST_F(outlet_string, chain_range_over_128_records_ends_with_the_128th)
{
    units({64, 64, 64});
    EXPECT_EQ(numbers("1-192"), count_up(1, 128));
}

TEST_F(outlet_string, outlet_behind_number_128_has_no_chain_number)
{
    units({128, 8});
    owned_outstr block = parse_outstr("130");
    ASSERT_TRUE(block);
    auto records = outstr_records(block);
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].outx, -1);
    EXPECT_FALSE(outstr_resolved(records[0]));
}

TEST_F(outlet_string, what_stands_behind_the_128th_record_is_dropped_in_silence)
{
    units({128});
    EXPECT_EQ(numbers("all,nosuch"), count_up(1, 128));
}

// --- Names ----------------------------------------------------------------------------------------------------------

TEST_F(outlet_string, name_is_found_in_the_segment)
{
    units({8, 8});
    chain.at(2).outlet(3).publish("name", "web");
    EXPECT_EQ(parsed("web"), texts{"1.2.3=11 web"});
}

TEST_F(outlet_string, name_that_the_segment_lacks_is_asked_of_the_tree)
{
    units({8});
    tree.text("power.outlet.web.outlet", "4").text("power.outlet.web.pdu", "1").text("power.outlet.web.port", "1");
    EXPECT_EQ(parsed("web"), texts{"1.1.4=4 web"});
    EXPECT_EXCHANGES({"info power.outlet.web.outlet", "info power.outlet.web.pdu", "info power.outlet.web.port",
                      "info power.num-devices", "info power.port.1.num-pdus"});
}

TEST_F(outlet_string, each_failed_read_of_a_name_is_a_fault)
{
    units({8});
    tree.text("power.outlet.web.outlet", "4").text("power.outlet.web.pdu", "1");
    EXPECT_EQ(parsed("web"), texts{"fault"});
    EXPECT_FAILURES({"Fail to get port from outlet name web"});
    tree.remove("power.outlet.web.pdu");
    EXPECT_EQ(parsed("web"), texts{"fault"});
    EXPECT_FAILURES({"Fail to get pdu from outlet name web"});
}

TEST_F(outlet_string, name_at_an_impossible_place_is_a_fault)
{
    units({8});
    tree.text("power.outlet.web.outlet", "0").text("power.outlet.web.pdu", "1").text("power.outlet.web.port", "1");
    EXPECT_EQ(parsed("web"), texts{"fault"});
    EXPECT_FAILURES({"Invalid component port 1, pdu 1, outlet 0"});
}

TEST_F(outlet_string, unknown_name_spoils_the_good_tokens_before_it)
{
    units({8});
    EXPECT_EQ(parsed("2,nosuchname"), texts{"fault"});
}

TEST_F(outlet_string, name_of_64_characters_is_accepted_and_of_65_unresolved)
{
    units({8});
    std::string name(64, 'w');
    tree.text("power.outlet." + name + ".outlet", "4")
        .text("power.outlet." + name + ".pdu", "1")
        .text("power.outlet." + name + ".port", "1");
    EXPECT_EQ(parsed(name), texts{"1.1.4=4 " + name});
    EXPECT_EQ(parsed(name + "w"), texts{"0.0.0=0 " + name + "w"});
    EXPECT_EXCHANGES({});
}

TEST_F(outlet_string, record_keeps_100_bytes_of_a_long_token)
{
    units({8});
    EXPECT_EQ(parsed(std::string(1000, 'w')), texts{"0.0.0=0 " + std::string(100, 'w')});
}

TEST_F(outlet_string, unresolved_token_stands_between_its_good_neighbours)
{
    units({8});
    std::string token(65, 'w');
    EXPECT_EQ(parsed("1," + token + ",2"), (texts{"1.1.1=1 1", "0.0.0=0 " + token, "1.1.2=2 2"}));
}

TEST_F(outlet_string, name_is_encoded_for_the_tree)
{
    units({8});
    tree.text("power.outlet.a%2Eb%25%FF.outlet", "4")
        .text("power.outlet.a%2Eb%25%FF.pdu", "1")
        .text("power.outlet.a%2Eb%25%FF.port", "1");
    EXPECT_EQ(parsed("a.b%\xff"), texts{"1.1.4=4 a.b%\xff"});
}

TEST_F(outlet_string, each_failed_exchange_is_a_fault_or_leaves_a_record_without_number)
{
    units({8, 8});
    for (how way : {refused, dropped})
        for (const char *text : {"all", "2.1-2", "unit2.3", "9-10", "3"}) {
            each_failing_exchange(way, [&](int) {
                owned_outstr block = parse_outstr(text);
                if (!block)
                    return;
                for (const outstr_entry &record : outstr_records(block))
                    EXPECT_TRUE(outstr_resolved(record) || record.outx == -1) << text;
            });
        }
}

// --- Reads that are not made, and odd tokens -----------------------------------------------------------------------

TEST_F(outlet_string, ports_behind_the_last_outlet_wanted_are_not_asked)
{
    cli_own_name = 0;
    units({8});
    chain.next_port();
    units({8});
    EXPECT_EQ(numbers("3"), std::vector<int>{3});
    EXPECT_EXCHANGES({"info power.num-devices", "info power.port.1.num-pdus", "info power.port.1.pdu.1.num-outlets",
                      // the chain-wide number of what was found
                      "info power.num-devices", "info power.port.1.num-pdus", "info power.port.1.pdu.1.num-outlets"});
}

TEST_F(outlet_string, range_that_ends_below_one_is_out_of_range)
{
    units({8});
    EXPECT_EQ(parsed("1--1"), texts{"fault"});
    EXPECT_FAILURES({"ini (1) or end (-1) outlet out of range"});
}

TEST_F(outlet_string, token_of_blanks_is_unresolved)
{
    units({8});
    EXPECT_EQ(parsed(" ,2"), (texts{"0.0.0=0  ", "1.1.2=2 2"}));
}

TEST_F(outlet_string, name_of_an_outlet_without_a_port_or_a_unit_is_a_fault)
{
    units({8});
    tree.text("power.outlet.web.outlet", "2").text("power.outlet.web.pdu", "0").text("power.outlet.web.port", "1");
    EXPECT_EQ(parsed("web"), texts{"fault"});
    EXPECT_FAILURES({"Invalid component port 1, pdu 0, outlet 2"});
    tree.text("power.outlet.web.pdu", "1").text("power.outlet.web.port", "0");
    EXPECT_EQ(parsed("web"), texts{"fault"});
    EXPECT_FAILURES({"Invalid component port 0, pdu 1, outlet 2"});
}

TEST(outstr_resolved, each_number_of_a_record_counts)
{
    EXPECT_TRUE(outstr_resolved({.outx = 1, .port = 1, .pdu = 1, .outlet = 1, .text = "x"}));
    EXPECT_FALSE(outstr_resolved({.outx = -1, .port = 1, .pdu = 1, .outlet = 1, .text = "x"}));
    EXPECT_FALSE(outstr_resolved({.outx = 1, .port = 0, .pdu = 1, .outlet = 1, .text = "x"}));
    EXPECT_FALSE(outstr_resolved({.outx = 1, .port = 1, .pdu = 0, .outlet = 1, .text = "x"}));
    EXPECT_FALSE(outstr_resolved({.outx = 1, .port = 1, .pdu = 1, .outlet = 0, .text = "x"}));
}

} // namespace

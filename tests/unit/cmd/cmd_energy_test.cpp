// energy: the energy of units, phases, segments and outlets, and since when it is counted. Its resets are in
// readings_reset_test.cpp.

#include "cmd/cmd_energy.h"

#include <set>

#include "core/ztd_shm.h"
#include "tests/unit/cmd/measure_values.h"

namespace {

const char legacy[] = "Legacy ZT don't support energy command.";
const char start[] = "2024-01-31 10:00:00";
const char no_start[] = "1970-01-01 00:00:00";

const fake_node &give(const fake_node &node, const char *count = "12.345")
{
    return node.publish("cumulative-watthour", count).publish("cumulative-starttime", start);
}

std::string line(const std::string &label, const std::string &count = "12.345", const std::string &since = start)
{
    return filled("IPDU #2: Energy@: $kWh since $.\n", label, {count, since});
}

std::string short_line(const std::string &label, const std::string &count = "12.345", const std::string &since = start)
{
    return filled("2@:$kWh,$\n", label, {count, since});
}

struct energy : measured_chain, testing::WithParamInterface<measured_level> {
    void renew()
    {
        fakes::reset();
        chain = fake_chain();
    }
    static called show(const measured_level &level, int summary = 0)
    {
        int row = row_of(summary ? "energy summary" : "energy");
        return level.type == elem_pdu ? call_unit(energy_pdu_get, row, summary)
                                      : call_element(energy_elem_get, row, level.type, level.elem, summary);
    }
    static called show_on_tree(const measured_level &level, int summary = 0)
    {
        cli_own_name = 0;
        return show(level, summary);
    }
    static bool is_unit(const measured_level &level) { return level.type == elem_pdu; }
    static std::string typed(const measured_level &level) { return ", type " + std::to_string(level.type); }
    static std::string command(const measured_level &level, const char *form = "")
    {
        return std::string("energy") + form + " 2" + level.word;
    }
};

// The same at every level.
struct energy_levels : energy {
    const measured_level &level = GetParam();
    std::string unavailable() const { return std::string("Node energy unavailable for ") + level.at; }
    std::string unreadable() const
    {
        return is_unit(level) ? "Fail to get energy for pdu 2@1"
                              : std::string("Fail to get info for element ") + level.at + typed(level);
    }
    // What the tree's line says of the start: an element's is not read.
    std::string tree_line(const std::string &count) const
    {
        return line(level.label, count, is_unit(level) ? start : "(null)");
    }
};

std::string named(const testing::TestParamInfo<measured_level> &info)
{
    return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(all, energy_levels, testing::ValuesIn(all_levels), named);

// --- All levels -----------------------------------------------------------------------------------------------------

TEST_P(energy_levels, shows_what_the_segment_holds)
{
    fake_node node = give(make(level));
    node.serve("cumulative-watthour", "1").serve("cumulative-starttime", "never");
    EXPECT_EQ(answer(command(level)), line(level.label));
    EXPECT_EQ(exchanges_of("mlist " + node.path()), texts{});
    EXPECT_EQ(exchanges_of("info " + node.path("cumulative")), texts{});
    EXPECT_EQ(answer(command(level, " summary")), short_line(level.summary));
}

TEST_P(energy_levels, tree_serves_where_the_segment_is_out_of_reach)
{
    fake_node node = make(level);
    node.serve("cumulative-watthour", "7.5").serve("cumulative-starttime", start);
    EXPECT_EQ(show_on_tree(level).text, tree_line("7.500"));
    EXPECT_FAILURES({});
    EXPECT_EQ(show_on_tree(level, 1).text, short_line(level.summary, "7.500", is_unit(level) ? start : "(null)"));
}

TEST_P(energy_levels, legacy_unit_is_refused)
{
    for (int model : {127, 144}) {
        renew();
        give(make(level, model));
        called done = show(level);
        EXPECT_EQ(done.result, 1);
        EXPECT_FALSE(done.text);
        EXPECT_FAILURES({legacy});
        EXPECT_EQ(answer(command(level)), failure_text);
    }
    renew();
    give(make(level, 143));
    EXPECT_EQ(answer(command(level)), line(level.label));
}

TEST_P(energy_levels, model_that_cannot_be_read_ends_the_node)
{
    fake_node node = give(make(level));
    node.unit().refuse("info", "model_nr");
    EXPECT_EQ(show_on_tree(level).result, 1);
    EXPECT_FAILURES({"Fail to get model for pdu 2@1", "Fail to get model from pdu 2@1"});
    tree.allow("info", node.unit().path("model_nr")).absent(node.unit().path("model_nr"));
    EXPECT_EQ(show_on_tree(level).result, 1);
    EXPECT_FAILURES({"Fail to get model from pdu 2@1"});
}

TEST_P(energy_levels, both_values_are_missed_in_the_same_words)
{
    fake_node node = make(level);
    for (const char *leaf : {"cumulative-watthour", "cumulative-starttime"}) {
        give(node).without(leaf);
        called done = show(level);
        EXPECT_EQ(done.result, 1);
        EXPECT_FALSE(done.text);
        EXPECT_FAILURES({unavailable()});
        EXPECT_EQ(answer(command(level)), failure_text);
    }
}

TEST_P(energy_levels, values_that_the_tree_alone_confirms_are_still_read_from_the_segment)
{
    fake_node node = give(make(level));
    node.serve("cumulative-watthour", "1").serve("cumulative-starttime", "never");
    node.block().available = 0;
    EXPECT_EQ(show(level).text, line(level.label));
    EXPECT_EXCHANGES({"mlist " + node.path(), "mlist " + node.path()});
}

TEST_P(energy_levels, energy_that_cannot_be_read_is_logged)
{
    fake_node node = give(make(level));
    for (how way : {refused, dropped}) {
        way == refused ? node.refuse("info", "cumulative-watthour") : node.drop("info", "cumulative-watthour");
        called done = show_on_tree(level);
        EXPECT_EQ(done.result, 1);
        EXPECT_FALSE(done.text);
        EXPECT_EQ(failures(), texts{unreadable()});
        EXPECT_EQ(exchanges_of("info " + node.path("cumulative")), texts{"info " + node.path("cumulative-watthour")});
    }
}

TEST_P(energy_levels, empty_energy_leaves_the_line_out_in_silence)
{
    fake_node node = give(make(level));
    for (bool absent : {false, true}) {
        absent ? tree.absent(node.path("cumulative-watthour")) : tree.text(node.path("cumulative-watthour"), "");
        called done = show_on_tree(level);
        EXPECT_EQ(done.result, 1);
        EXPECT_FALSE(done.text);
        EXPECT_FAILURES({});
    }
}

TEST_P(energy_levels, energy_that_is_no_number_is_logged_as_it_came)
{
    fake_node node = give(make(level));
    for (const char *text : {"12.5A", "x", "1 2", "1e999"}) {
        errno = 0;
        node.serve("cumulative-watthour", text);
        called done = show_on_tree(level);
        EXPECT_EQ(done.result, 1);
        EXPECT_FALSE(done.text);
        EXPECT_FAILURES({std::string("Fail to convert energy ") + text + " to double"});
    }
}

TEST_P(energy_levels, range_error_left_over_fails_the_conversion)
{
    give(make(level));
    ASSERT_EQ(shm_usable(), 1); // attaching leaves an error number of its own
    called done = call_worker([&](char **out) {
        errno = ERANGE;
        int row = row_of("energy");
        return is_unit(level) ? one_pdu(row, out, 1, 2, energy_pdu_get, 0)
                              : one_element(1, 2, level.type, row, out, level.elem, energy_elem_get, 0);
    });
    EXPECT_EQ(done.result, 1);
    EXPECT_FALSE(done.text);
    EXPECT_FAILURES({"Fail to convert energy 12.345 to double"});
}

TEST_P(energy_levels, count_without_a_start_in_the_segment_began_with_time)
{
    give(make(level)).publish("cumulative-starttime", "");
    EXPECT_EQ(answer(command(level)), line(level.label, "12.345", no_start));
    EXPECT_EQ(answer(command(level, " summary")), short_line(level.summary, "12.345", no_start));
}

TEST_P(energy_levels, line_that_cannot_be_added_is_logged)
{
    give(make(level));
    for (int summary : {0, 1}) {
        std::string wanted = std::string("Fail to printf pdu 2 ") + (summary ? "summary " : "") +
                             "energy 12.345 since " + start + " string" + (is_unit(level) ? "" : typed(level));
        std::set<std::string> seen;
        each_failing_allocation([&](int) {
            errno = 0;
            called done = show(level, summary);
            EXPECT_EQ(done.result == 0, done.text.has_value());
            for (const std::string &message : failures())
                seen.insert(message);
        });
        EXPECT_TRUE(seen.contains(wanted)) << wanted << "\n" << testing::PrintToString(seen);
    }
}

TEST_P(energy_levels, failing_exchanges_leave_a_whole_line_or_none)
{
    give(make(level));
    for (how way : {refused, dropped})
        for (const char *form : {"", " summary"}) {
            std::string whole = *form ? short_line(level.summary) : line(level.label);
            EXPECT_GT(
                each_failing_exchange(way,
                                      [&](int n) {
                                          std::string made = answer(command(level, form));
                                          EXPECT_TRUE(made == whole || made == no_such_ipdu || made == failure_text)
                                              << n << ": " << made;
                                      }),
                2);
            EXPECT_GT(each_failing_exchange(way,
                                            [&](int n) {
                                                called done = show_on_tree(level, *form != '\0');
                                                EXPECT_EQ(done.result == 0, done.text.has_value()) << n;
                                                EXPECT_TRUE(!done.text || done.text == tree_line("12.345") || *form)
                                                    << n;
                                            }),
                      3);
            cli_own_name = 1;
        }
}

TEST_P(energy_levels, failing_allocations_leave_a_whole_line_or_none)
{
    give(make(level));
    for (const char *form : {"", " summary"}) {
        std::set<std::string> seen, wanted = {*form ? short_line(level.summary) : line(level.label), no_such_ipdu};
        if (!is_unit(level) || !*form)
            wanted.insert(failure_text);
        each_failing_allocation([&](int) {
            errno = 0;
            seen.insert(answer(command(level, form)));
        });
        EXPECT_EQ(seen, wanted);
    }
}

TEST_P(energy_levels, row_without_a_format_is_done_without_a_line)
{
    give(make(level));
    int row = row_of("shell");
    called done =
        is_unit(level) ? call_unit(energy_pdu_get, row) : call_element(energy_elem_get, row, level.type, level.elem);
    EXPECT_EQ(done.result, 0);
    EXPECT_FALSE(done.text);
}

// --- Units ----------------------------------------------------------------------------------------------------------

TEST_F(energy, shows_unit_then_phases_then_segments_then_outlets)
{
    chain.unit({.outlets = 0, .phases = 0});
    fake_node unit = chain.unit({.outlets = 2, .phases = 3, .circuits = 1});
    give(unit);
    give(unit.phase(2).publish("sys-name", "X"), "1.234");
    give(unit.circuit(1), "2.345");
    give(unit.outlet(2), "3.456");
    std::string all =
        line("") + line(" for phase X", "1.234") + line(" for segment S1", "2.345") + line(" for outlet 2", "3.456");
    EXPECT_EQ(answer("energy 2"), all);
    EXPECT_EQ(answer("energy"), all);
    EXPECT_EQ(answer("energy summary 2"), "2:12.345kWh,2024-01-31 10:00:00\n2,X:1.234kWh,2024-01-31 10:00:00\n"
                                          "2,S1:2.345kWh,2024-01-31 10:00:00\n2,2:3.456kWh,2024-01-31 10:00:00\n");
    EXPECT_EQ(answer("energy summary"), printed());
}

TEST_F(energy, walk_shows_the_units_of_the_current_family_alone)
{
    give(chain.unit({.outlets = 1, .model = 127}));
    give(chain.unit({.outlets = 0}));
    EXPECT_EQ(answer("energy"), line(""));
    EXPECT_EQ(failures(), (texts{legacy, legacy, "Fail to execute for elem 1, type 0", legacy,
                                 "Fail to execute for elem 1, type 2", "Fail to execute for PDU 1",
                                 "Node energy unavailable for 1@2@1", "Fail to execute for elem 1, type 0"}));
}

TEST_F(energy, unit_that_fails_in_silence_falls_through_the_table)
{
    unit_for(unit_level, 144);
    EXPECT_EQ(answer("energy 2"), failure_text);
    EXPECT_EQ(answer("energy summary 2"), no_such_ipdu);
    EXPECT_EQ(answer("energy"), "");
    EXPECT_EQ(last_result(), 0);
}

TEST_F(energy, unit_that_the_segment_does_not_hold_is_read_from_the_tree)
{
    give(unit_for(unit_level));
    hide_from_segment();
    std::string unit = "power.port.1.pdu.2";
    EXPECT_EQ(answer("energy 2"), line(""));
    EXPECT_EXCHANGES({"info power.pdu.2.pdu", "info power.num-devices", "info power.port.1.num-pdus",
                      "info " + unit + ".model_nr", "mlist " + unit, "mlist " + unit,
                      "info " + unit + ".cumulative-watthour", "info " + unit + ".cumulative-starttime"});
}

TEST_F(energy, start_of_a_unit_is_shown_as_the_tree_tells_it)
{
    fake_node unit = give(unit_for(unit_level));
    unit.serve("cumulative-starttime", "last week");
    EXPECT_EQ(show_on_tree(unit_level).text, line("", "12.345", "last week"));
    unit.serve("cumulative-starttime", "");
    EXPECT_EQ(show_on_tree(unit_level).text, line("", "12.345", no_start));
    tree.absent(unit.path("cumulative-starttime"));
    EXPECT_EQ(show_on_tree(unit_level).text, line("", "12.345", no_start));
    unit.refuse("info", "cumulative-starttime");
    EXPECT_FALSE(show_on_tree(unit_level).text);
    EXPECT_FAILURES({"Fail to get energy for pdu 2@1"});
}

// --- Elements -------------------------------------------------------------------------------------------------------

TEST_F(energy, segment_path_tells_its_steps_in_notices)
{
    for (const measured_level &level : element_levels) {
        renew();
        give(make(level));
        show(level);
        EXPECT_EQ(log_texts(6),
                  (texts{"### Checked cap for port 1, pdu 2, elem " + std::to_string(level.elem) + typed(level),
                         "### Got from shm tsr1 0 tsr2 0"}));
        EXPECT_FAILURES({});
    }
}

TEST_F(energy, start_that_the_tree_confirms_is_not_noticed)
{
    fake_node node = give(make(outlet_level));
    node.block().available = shm_mask_cumulative_watthour;
    EXPECT_EQ(show(outlet_level).text, line(" for outlet 4"));
    EXPECT_EQ(log_texts(6), texts{"### Got from shm tsr1 0 tsr2 0"});
}

TEST_F(energy, unit_has_no_notices)
{
    give(make(unit_level));
    show(unit_level);
    EXPECT_EQ(log_texts(6), texts{});
}

TEST_F(energy, element_is_read_from_the_tree_in_one_order)
{
    for (const measured_level &level : element_levels) {
        renew();
        std::string node = give(make(level)).path(), unit = "power.port.1.pdu.2";
        EXPECT_EQ(show_on_tree(level).text, line(level.label, "12.345", "(null)"));
        texts wanted = {"info " + unit + ".model_nr", "mlist " + node, "mlist " + node};
        if (level.type == elem_phase)
            wanted.push_back("info " + unit + ".num-phases");
        if (level.type != elem_outlet)
            wanted.push_back("info " + node + ".sys-name");
        wanted.push_back("info " + node + ".cumulative-watthour");
        EXPECT_EQ(exchanges(), wanted);
        EXPECT_EQ(log_texts(6), texts{"### Got from tsapi tsr1 0 tsr2 0"});
    }
}

TEST_F(energy, start_of_an_element_is_not_read_from_the_tree_that_has_one_for_the_unit)
{
    chain.unit({.outlets = 0, .phases = 0});
    fake_node unit = chain.unit({.outlets = 1, .phases = 0});
    give(unit);
    give(unit.outlet(1), "1.5");
    EXPECT_EQ(show_on_tree(unit_level).text, line("") + "IPDU #2: Energy for outlet 1: 1.500kWh since (null).\n");
}

TEST_F(energy, phase_of_a_single_phase_unit_is_refused_by_the_tree_alone)
{
    chain.unit();
    fake_node unit = chain.unit({.outlets = 1, .phases = 1, .circuits = 1});
    give(unit.phase(1));
    give(unit.circuit(1));
    EXPECT_EQ(answer("energy 2 P1"), line(" for phase P1"));
    EXPECT_EQ(log_texts(6).size(), 2U);
    cli_own_name = 0;
    EXPECT_EQ(call_element(energy_elem_get, row_of("energy"), 0, 1).result, 1);
    EXPECT_FAILURES({"pdu 2@1 is single phase"});
    EXPECT_EQ(log_texts(6), texts{});
    EXPECT_EQ(call_element(energy_elem_get, row_of("energy"), 1, 1).text, line(" for segment S1", "12.345", "(null)"));
    unit.refuse("info", "num-phases");
    EXPECT_EQ(call_element(energy_elem_get, row_of("energy"), 0, 1).result, 1);
    EXPECT_FAILURES({"Fail to get number of phases of pdu 2@1"});
}

TEST_F(energy, name_that_cannot_be_read_is_noticed_and_ends_behind_the_energy)
{
    for (const measured_level &level : {phase_level, circuit_level}) {
        renew();
        fake_node node = give(make(level));
        node.refuse("info", "sys-name");
        EXPECT_EQ(show_on_tree(level).result, 1);
        EXPECT_FAILURES({std::string("Fail to get info for element ") + level.at + typed(level)});
        EXPECT_EQ(exchanges().back(), "info " + node.path("cumulative-watthour"));
        ASSERT_EQ(log_texts(6).size(), 1U);
        EXPECT_FALSE(log_texts(6)[0].starts_with("### Got from tsapi tsr1 0"));
        EXPECT_TRUE(log_texts(6)[0].ends_with(" tsr2 0"));
    }
}

TEST_F(energy, energy_that_cannot_be_read_is_noticed_too)
{
    give(make(outlet_level)).refuse("info", "cumulative-watthour");
    EXPECT_EQ(show_on_tree(outlet_level).result, 1);
    EXPECT_EQ(log_texts(6), texts{"### Got from tsapi tsr1 0 tsr2 -15"});
}

TEST_F(energy, element_without_a_name_has_no_line)
{
    for (const measured_level &level : {phase_level, circuit_level})
        for (bool on_tree : {false, true}) {
            renew();
            give(make(level)).publish("sys-name", "");
            cli_own_name = !on_tree;
            EXPECT_EQ(show(level).result, 1);
            EXPECT_FAILURES({std::string("No element string to print for ") + level.at});
        }
}

TEST_F(energy, element_of_an_unknown_type_is_refused)
{
    give(unit_for(unit_level));
    EXPECT_EQ(call_element(energy_elem_get, row_of("energy"), 3, 1).result, 1);
    EXPECT_FAILURES({"Invalid element for energy 1@2@1, type 3"});
    EXPECT_EQ(call_element(energy_elem_get, row_of("energy"), 7, 1).result, 1);
    EXPECT_FAILURES({"Invalid elem to find a list: 1@2, type 7", "Node energy unavailable for 1@2@1"});
}

// --- Names of no element --------------------------------------------------------------------------------------------

TEST_F(energy, bank_is_declined)
{
    fake_node unit = chain.unit({.outlets = 1, .phases = 3, .circuits = 2});
    give(unit.circuit(1).publish("sys-name", "XY1"));
    for (const char *command : {"energy 1 XY", "energy summary 1 XY", "energy 1 Q"}) {
        EXPECT_EQ(answer(command), failure_text) << command;
        EXPECT_EQ(exchanges_of("info power.port.1.pdu.1.circuit"), texts{});
    }
}

TEST_F(energy, unit_that_is_not_there_is_told)
{
    chain.unit();
    for (const char *command : {"energy 7", "energy 7 P1", "energy summary 7", "energy summary 7 P1", "energy 0"})
        EXPECT_EQ(answer(command), no_such_ipdu) << command;
}

} // namespace

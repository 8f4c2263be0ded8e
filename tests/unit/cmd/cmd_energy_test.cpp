// energy: units, their elements and the two sources. What it does alike at every level is in energy_levels_test.cpp,
// its resets are in readings_reset_test.cpp.

#include <set>

#include "tests/unit/cmd/energy_values.h"

namespace {

using namespace energy_values;

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

TEST_F(energy, notices_are_of_level_6_and_say_where_they_come_from)
{
    give(make(phase_level));
    show(phase_level);
    std::vector<log_record> notices = log_records();
    std::erase_if(notices, [](const log_record &record) { return record.level != 6; });
    ASSERT_EQ(notices.size(), 4U);
    for (size_t at : {0U, 2U}) {
        EXPECT_TRUE(is_position(notices[at])) << notices[at].message;
        EXPECT_EQ(notices[at + 1].tag, "ZTCLI");
    }
}

TEST_F(energy, segment_path_notices_what_it_could_not_have)
{
    give(make(phase_level));
    std::set<std::string> seen;
    each_failing_allocation([&](int) {
        errno = 0;
        if (show(phase_level).text)
            return;
        for (const std::string &message : log_texts(6))
            seen.insert(message);
    });
    EXPECT_EQ(seen, (std::set<std::string>{"### Checked cap for port 1, pdu 2, elem 2, type 0",
                                           "### Got from shm tsr1 1 tsr2 0", "### Got from shm tsr1 0 tsr2 1",
                                           "### Got from shm tsr1 0 tsr2 0"}));
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

// power: what it does in its own way. The steps that it shares with voltage and powerfactor are in readings_test.cpp,
// its resets in readings_reset_test.cpp.

#include "cmd/cmd_power.h"
#include "tests/unit/cmd/measure_values.h"

namespace {

const char legacy[] = "Legacy ZT don't support power command.";

const fake_node &give(const fake_node &node, const char *now = "10.0", const char *kind = "MEASURED")
{
    return node.publish("power", now)
        .publish("power-max", "20.0")
        .publish("power-min", "5.0")
        .publish("power-avg", "12.5")
        .publish("power-type", kind);
}

std::string line(const std::string &pdu, const std::string &label, const std::string &now = "10.0")
{
    return filled("IPDU #$: Power@: $W. Maximum power@: 20.0W. Minimum power@: 5.0W. Average power@: 12.5W\n", label,
                  {pdu, now});
}

struct power : measured_chain {
    fake_node single(int phases = 3, int model = 128)
    {
        return chain.unit({.outlets = 2, .phases = phases, .circuits = 1, .model = model});
    }
    called show(const measured_level &level) { return call_node(power_pdu_get, power_elem_get, "power", level); }
};

// --- Units and their elements ---------------------------------------------------------------------------------------

TEST_F(power, shows_unit_then_phases_then_segments_then_outlets)
{
    fake_node unit = single(2);
    give(unit);
    give(unit.phase(2), "11.0");
    give(unit.circuit(1), "12.0");
    give(unit.outlet(1), "13.0");
    std::string all = line("1", "") + line("1", " for phase P2", "11.0") + line("1", " for segment S1", "12.0") +
                      line("1", " for outlet 1", "13.0");
    EXPECT_EQ(answer("power 1"), all);
    EXPECT_EQ(answer("power"), all);
    EXPECT_EQ(answer("power summary"), "1:10.0W,20.0W,5.0W,12.5W\n1,P2:11.0W,20.0W,5.0W,12.5W\n"
                                       "1,S1:12.0W,20.0W,5.0W,12.5W\n1,1:13.0W,20.0W,5.0W,12.5W\n");
}

TEST_F(power, summary_stands_in_one_line_a_node)
{
    fake_node unit = single(1);
    give(unit);
    give(unit.circuit(1).publish("sys-name", "A"));
    EXPECT_EQ(answer("power summary 1"), "1:10.0W,20.0W,5.0W,12.5W\n1,A:10.0W,20.0W,5.0W,12.5W\n");
    EXPECT_EQ(answer("power summary 1 A"), "1,A:10.0W,20.0W,5.0W,12.5W\n");
    EXPECT_EQ(answer("power 1 A"), line("1", " for segment A"));
}

TEST_F(power, legacy_unit_is_refused_at_every_node)
{
    for (int model : {127, 144, 0, 255}) {
        renew();
        fake_node unit = single(1, model);
        give(unit);
        give(unit.phase(1));
        give(unit.outlet(2));
        EXPECT_EQ(answer("power 1"), failure_text);
        EXPECT_FAILURES({"Fail to get pdu from pdu name 1", legacy, legacy, "Fail to execute for elem 1, type 0",
                         legacy, "Fail to execute for elem 1, type 1", legacy, "Fail to execute for elem 1, type 2",
                         legacy, "Fail to execute for elem 2, type 2"});
        EXPECT_EQ(answer("power 1 O2"), failure_text);
        EXPECT_EQ(answer("power summary 1 O2"), failure_text);
    }
}

TEST_F(power, summary_of_a_legacy_unit_is_tried_as_a_unit_of_that_name)
{
    give(single(1, 127));
    EXPECT_EQ(answer("power summary 1"), no_such_ipdu);
    EXPECT_LOGGED("Fail to get pdu from pdu name summary");
}

TEST_F(power, unit_that_bears_the_name_summary_is_asked_for_its_element)
{
    give(single(1, 127));
    fake_node second = chain.unit({.outlets = 1, .phases = 1, .id = "summary"});
    give(second.outlet(1).publish("sys-name", "1"));
    EXPECT_EQ(answer("power summary 1"), line("2", " for outlet 1"));
}

TEST_F(power, walk_shows_the_units_of_the_current_family_alone)
{
    give(single(1, 127));
    give(chain.unit({.outlets = 0, .phases = 1}));
    EXPECT_EQ(answer("power"), line("2", ""));
    EXPECT_EQ(last_result(), 0);
    EXPECT_EQ(answer("power summary"), "2:10.0W,20.0W,5.0W,12.5W\n");
}

TEST_F(power, walk_that_shows_nothing_says_nothing)
{
    single(1, 127);
    EXPECT_EQ(answer("power"), "");
    EXPECT_EQ(last_result(), 0);
    EXPECT_EQ(failures().back(), "Fail to execute for PDU 1");
}

TEST_F(power, unit_without_a_reading_shows_its_elements)
{
    give(single(1).outlet(2));
    EXPECT_EQ(answer("power unit1"), line("1", " for outlet 2"));
    EXPECT_LOGGED("Node power unavailable for 1@1");
}

TEST_F(power, unit_that_the_segment_does_not_hold_is_read_from_the_tree)
{
    give(unit_for(unit_level));
    hide_from_segment();
    std::string unit = "power.port.1.pdu.2";
    EXPECT_EQ(answer("power 2"), line("2", ""));
    EXPECT_EXCHANGES({"info power.pdu.2.pdu", "info power.num-devices", "info power.port.1.num-pdus",
                      "info " + unit + ".model_nr", "mlist " + unit, "mlist " + unit, "mlist " + unit, "mlist " + unit,
                      "info " + unit + ".power-type", "info " + unit + ".power", "info " + unit + ".power-max",
                      "info " + unit + ".power-min", "info " + unit + ".power-avg"});
}

TEST_F(power, element_is_read_from_the_tree_in_one_order)
{
    for (const measured_level &level : element_levels) {
        renew();
        std::string node = give(make(level)).path(), unit = "power.port.1.pdu.2";
        cli_own_name = 0;
        EXPECT_EQ(show(level).text, line("2", level.label));
        texts wanted = {
            "info " + unit + ".model_nr",  "mlist " + node, "mlist " + node, "mlist " + node, "mlist " + node,
            "info " + node + ".power-type"};
        if (level.type == elem_phase)
            wanted.push_back("info " + unit + ".num-phases");
        if (level.type != elem_outlet)
            wanted.push_back("info " + node + ".sys-name");
        for (const char *leaf : {".power", ".power-max", ".power-min", ".power-avg"})
            wanted.push_back("info " + node + leaf);
        EXPECT_EQ(exchanges(), wanted);
        EXPECT_FAILURES({});
    }
}

// --- Phases and names -----------------------------------------------------------------------------------------------

TEST_F(power, phase_of_a_single_phase_unit_is_shown_by_the_segment_and_refused_by_the_tree)
{
    for (int phases : {1, 0}) {
        renew();
        fake_node unit = chain.unit({.outlets = 0, .phases = 1});
        give(unit.phase(1));
        unit.serve("num-phases", std::to_string(phases));
        EXPECT_EQ(answer("power 1 P1"), line("1", " for phase P1"));
        cli_own_name = 0;
        called done =
            call_worker([](char **out) { return one_element(1, 1, 0, row_of("power"), out, 1, power_elem_get, 0); });
        EXPECT_EQ(done.result, 1);
        EXPECT_FALSE(done.text);
        EXPECT_FAILURES({"pdu 1@1 is single phase"});
        EXPECT_EQ(exchanges().back(), "info power.port.1.pdu.1.num-phases");
    }
}

TEST_F(power, segments_and_outlets_of_a_single_phase_unit_are_shown_by_the_tree)
{
    for (const measured_level &level : {circuit_level, outlet_level}) {
        renew();
        unit_for(level, 128, 1);
        give(node_at(level));
        cli_own_name = 0;
        EXPECT_EQ(show(level).text, line("2", level.label));
    }
}

TEST_F(power, phase_is_not_read_from_the_tree_without_the_number_of_phases)
{
    give(make(phase_level)).unit().refuse("info", "num-phases");
    cli_own_name = 0;
    EXPECT_EQ(show(phase_level).result, 1);
    EXPECT_FAILURES({"Fail to get number of phases of pdu 2@1"});
}

TEST_F(power, name_that_cannot_be_read_ends_behind_all_values)
{
    for (const measured_level &level : {phase_level, circuit_level}) {
        renew();
        fake_node node = give(make(level));
        node.refuse("info", "sys-name");
        cli_own_name = 0;
        EXPECT_EQ(show(level).result, 1);
        EXPECT_FAILURES({std::string("Fail to get info for element ") + level.at + typed(level)});
        EXPECT_EQ(exchanges().back(), "info " + node.path("power-avg"));
    }
}

TEST_F(power, element_without_a_name_has_no_line)
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

TEST_F(power, element_of_an_unknown_type_is_refused)
{
    give(unit_for(unit_level));
    EXPECT_EQ(call_element(power_elem_get, row_of("power"), 3, 1).result, 1);
    EXPECT_FAILURES({"Invalid element for power 1@2@1, type 3"});
    EXPECT_EQ(call_element(power_elem_get, row_of("power"), 7, 1).result, 1);
    EXPECT_FAILURES({"Invalid elem to find a list: 1@2, type 7", "Node power unavailable for 1@2@1"});
}

// --- Kinds ----------------------------------------------------------------------------------------------------------

TEST_F(power, kind_of_a_unit_from_the_segment_is_not_looked_at)
{
    fake_node unit = give(unit_for(unit_level));
    for (const char *kind : {"ESTIMATED", "UNDEFINED"}) {
        unit.publish("power-type", kind);
        EXPECT_EQ(answer("power 2"), line("2", "")) << kind;
    }
}

TEST_F(power, kind_of_a_unit_from_the_tree_counts)
{
    fake_node unit = give(unit_for(unit_level));
    unit.block().power_type = 3; // no kind: the tree is asked
    EXPECT_EQ(show(unit_level).text, line("2", ""));
    EXPECT_EXCHANGES({"info power.port.1.pdu.2.power-type"});
    for (const char *kind : {"ESTIMATED", "UNDEFINED", ""}) {
        unit.serve("power-type", kind);
        EXPECT_FALSE(show(unit_level).text);
        EXPECT_FAILURES({"Power is not measured in 2@1"});
    }
    tree.absent(unit.path("power-type"));
    EXPECT_FALSE(show(unit_level).text);
    EXPECT_FAILURES({"Power is not measured in 2@1"});
    unit.refuse("info", "power-type");
    EXPECT_FALSE(show(unit_level).text);
    EXPECT_FAILURES({"Fail to get power type 2@1"});
    unit.drop("info", "power-type");
    EXPECT_EQ(answer("power 2"), failure_text);
    EXPECT_LOGGED("Fail to get power type 2@1");
}

TEST_F(power, kind_of_an_element_counts_from_both_sources)
{
    for (const measured_level &level : element_levels) {
        renew();
        fake_node node = give(make(level));
        std::string refusal = std::string("Power is not measured in ") + level.at;
        for (const char *kind : {"ESTIMATED", "UNDEFINED"}) {
            node.poll("power-type", kind);
            EXPECT_EQ(show(level).result, 1);
            EXPECT_FAILURES({refusal});
        }
        node.block().power_type = 3;
        EXPECT_EQ(show(level).result, 1);
        EXPECT_FAILURES({"Fail to get power type 2@1"});
        EXPECT_EXCHANGES({});

        cli_own_name = 0;
        EXPECT_TRUE(show(level).text);
        for (const char *kind : {"ESTIMATED", "UNDEFINED", ""}) {
            node.serve("power-type", kind);
            EXPECT_FALSE(show(level).text);
            EXPECT_FAILURES({refusal});
        }
        tree.absent(node.path("power-type"));
        EXPECT_FALSE(show(level).text);
        EXPECT_FAILURES({refusal});
        node.refuse("info", "power-type");
        EXPECT_FALSE(show(level).text);
        EXPECT_FAILURES({"Fail to get power type 2@1"});
    }
}

// --- Names of no element --------------------------------------------------------------------------------------------

TEST_F(power, bank_is_the_sum_of_its_segments)
{
    fake_node unit = chain.unit({.outlets = 1, .phases = 3, .circuits = 2});
    give(unit.circuit(1).publish("sys-name", "A1"));
    give(unit.circuit(2), "7.5");
    EXPECT_EQ(answer("power 1 A"), "IPDU #1: Power for segment A: 17.5W. Maximum power for segment A: 40.0W. "
                                   "Minimum power for segment A: 10.0W. Average power for segment A: 25.0W\n");
    EXPECT_EQ(answer("power summary 1 A"), "1,A:17.5W,40.0W,10.0W,25.0W\n");
    EXPECT_EQ(answer("power 1 Q"), failure_text);
    unit.publish("model_nr", "127");
    EXPECT_EQ(answer("power 1 A"), failure_text);
}

TEST_F(power, unit_that_is_not_there_is_told)
{
    single();
    for (const char *command : {"power 7", "power 7 P1", "power summary 7", "power summary 7 P1", "power 0"})
        EXPECT_EQ(answer(command), no_such_ipdu) << command;
    EXPECT_EQ(exchanges_of("mlist"), texts{});
}

} // namespace

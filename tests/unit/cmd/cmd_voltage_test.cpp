// voltage: what it does in its own way. The steps that it shares with power and powerfactor are in readings_test.cpp,
// its resets in readings_reset_test.cpp.

#include "cmd/cmd_voltage.h"
#include "tests/unit/cmd/measure_values.h"

namespace {

const char measured[] = "measured voltage type. returning MEASURED";
const char estimated[] = "estimaed voltage type. returning ESTIMATED";

const fake_node &give(const fake_node &node, const char *now = "230.1", const char *kind = "MEASURED")
{
    return node.publish("voltage", now)
        .publish("voltage-max", "240.2")
        .publish("voltage-min", "220.3")
        .publish("voltage-avg", "229.4")
        .publish("voltage-type", kind);
}

std::string line(const std::string &pdu, const std::string &label, const std::string &now = "230.1")
{
    return filled("IPDU #$: RMS voltage@: $V. Maximum voltage@: 240.2V. Minimum voltage@: 220.3V. Average voltage@: "
                  "229.4V\n",
                  label, {pdu, now});
}

struct voltage : measured_chain {
    // One unit, the first of the chain.
    fake_node single(int phases = 3, int model = 128)
    {
        return chain.unit({.outlets = 2, .phases = phases, .circuits = 2, .model = model});
    }
    called call_on_tree(int type, int elem, int summary = 0)
    {
        cli_own_name = 0;
        return call_element(voltage_elem_get, row_of(summary ? "voltage summary" : "voltage"), type, elem, summary);
    }
};

// --- Units and their elements ---------------------------------------------------------------------------------------

TEST_F(voltage, shows_unit_then_phases_then_segments_then_outlets)
{
    fake_node unit = single(1);
    give(unit);
    give(unit.phase(1), "231.0");
    give(unit.circuit(1), "232.0");
    give(unit.circuit(2), "233.0");
    give(unit.outlet(1), "234.0");
    give(unit.outlet(2), "235.0");
    std::string all = line("1", "") + line("1", " for phase P1", "231.0") + line("1", " for segment S1", "232.0") +
                      line("1", " for segment S2", "233.0") + line("1", " for outlet 1", "234.0") +
                      line("1", " for outlet 2", "235.0");
    EXPECT_EQ(answer("voltage 1"), all);
    EXPECT_EQ(answer("voltage unit1"), all);
    EXPECT_EXCHANGES({"info power.num-devices", "info power.port.1.num-pdus"});
    EXPECT_EQ(answer("voltage"), all);
    EXPECT_EXCHANGES({});
    EXPECT_EQ(answer("voltage summary"), "1:230.1V,240.2V,220.3V,229.4V\n1,P1:231.0V,240.2V,220.3V,229.4V\n"
                                         "1,S1:232.0V,240.2V,220.3V,229.4V\n1,S2:233.0V,240.2V,220.3V,229.4V\n"
                                         "1,1:234.0V,240.2V,220.3V,229.4V\n1,2:235.0V,240.2V,220.3V,229.4V\n");
    EXPECT_EQ(answer("voltage summary 1"), printed());
}

TEST_F(voltage, legacy_unit_shows_the_voltage_alone)
{
    for (int model : {127, 144, 0}) {
        renew();
        fake_node unit = single(1, model);
        give(unit).publish("voltage", "230.0");
        give(unit.outlet(2), "231.0");
        EXPECT_EQ(answer("voltage 1"), "IPDU #1: RMS voltage: 230.0V\nIPDU #1: RMS voltage for outlet 2: 231.0V\n");
        EXPECT_EQ(answer("voltage summary 1"), "1:230.0V\n1,2:231.0V\n");
        EXPECT_EQ(answer("voltage 1 O2"), "IPDU #1: RMS voltage for outlet 2: 231.0V\n");
        EXPECT_EQ(answer("voltage summary 1 O2"), "1,2:231.0V\n");
    }
}

TEST_F(voltage, legacy_unit_is_neither_probed_nor_read_beyond_the_voltage)
{
    for (const measured_level &level : all_levels) {
        renew();
        fake_node node = make(level, 127);
        node.serve("voltage", "230.0").serve("voltage-type", "Measured");
        cli_own_name = 0;
        called done = level.type == elem_pdu
                          ? call_unit(voltage_pdu_get, row_of("voltage"))
                          : call_element(voltage_elem_get, row_of("voltage"), level.type, level.elem);
        EXPECT_EQ(done.result, 0) << level.name;
        EXPECT_FAILURES({});
        EXPECT_EQ(exchanges_of("info " + node.path("voltage")),
                  (texts{"info " + node.path("voltage-type"), "info " + node.path("voltage")}));
    }
}

TEST_F(voltage, value_that_is_no_number_drops_the_line_of_its_node_alone)
{
    chain.unit({.outlets = 0, .phases = 0});
    fake_node unit = chain.unit({.outlets = 3, .phases = 0});
    give(unit).serve("voltage", "12.5A");
    give(unit.outlet(1), "231.0");
    give(unit.outlet(2)).serve("voltage-max", "12.5A");
    give(unit.outlet(3), "233.0");
    cli_own_name = 0;
    called done = call_unit(voltage_pdu_get, row_of("voltage"));
    EXPECT_EQ(done.result, 1);
    EXPECT_EQ(done.text, line("2", " for outlet 1", "231.0") + line("2", " for outlet 3", "233.0"));
    EXPECT_FAILURES({"Fail to convert voltage 12.5A to double", "Fail to convert voltage-max 12.5A to double",
                     "Fail to execute for elem 2, type 2"});
}

TEST_F(voltage, unit_that_the_segment_does_not_hold_is_read_from_the_tree)
{
    give(unit_for(unit_level));
    hide_from_segment();
    std::string unit = "power.port.1.pdu.2";
    EXPECT_EQ(answer("voltage 2"), line("2", ""));
    EXPECT_EXCHANGES({"info power.pdu.2.pdu", "info power.num-devices", "info power.port.1.num-pdus",
                      "info " + unit + ".model_nr", "mlist " + unit, "mlist " + unit, "mlist " + unit, "mlist " + unit,
                      "info " + unit + ".voltage-type", "info " + unit + ".voltage", "info " + unit + ".voltage-max",
                      "info " + unit + ".voltage-min", "info " + unit + ".voltage-avg"});
}

TEST_F(voltage, element_is_read_from_the_tree_in_one_order)
{
    give(make(circuit_level));
    std::string unit = "power.port.1.pdu.2", node = unit + ".circuit.3";
    EXPECT_EQ(call_on_tree(1, 3).text, line("2", " between S and 3"));
    EXPECT_EXCHANGES({"info " + unit + ".model_nr", "mlist " + node, "mlist " + node, "mlist " + node, "mlist " + node,
                      "info " + node + ".voltage-type", "info " + unit + ".num-phases", "info " + node + ".sys-name",
                      "info " + node + ".voltage", "info " + node + ".voltage-max", "info " + node + ".voltage-min",
                      "info " + node + ".voltage-avg"});
    EXPECT_FAILURES({});
}

// --- Lines between --------------------------------------------------------------------------------------------------

TEST_F(voltage, segment_of_a_three_phase_unit_lies_between_two_lines)
{
    fake_node unit = single(3);
    give(unit.circuit(1).publish("sys-name", "XY"));
    give(unit.circuit(2).publish("sys-name", "A"));
    EXPECT_EQ(answer("voltage 1 XY"), line("1", " between X and Y"));
    EXPECT_EQ(answer("voltage summary 1 XY"), "1,XY:230.1V,240.2V,220.3V,229.4V\n");
    EXPECT_EQ(answer("voltage 1 A"), line("1", " between A and "));
}

TEST_F(voltage, segment_of_a_unit_with_other_than_three_phases_is_a_segment)
{
    for (int phases : {0, 1, 2}) {
        renew();
        give(single(phases).circuit(1).publish("sys-name", "A"));
        EXPECT_EQ(answer("voltage 1 A"), line("1", " for segment A")) << phases;
        cli_own_name = 0;
        EXPECT_EQ(call_worker([](char **out) {
                      return one_element(1, 1, elem_circuit, row_of("voltage"), out, 1, voltage_elem_get, 0);
                  }).text,
                  line("1", " for segment A"));
    }
}

TEST_F(voltage, phase_and_outlet_of_a_three_phase_unit_keep_their_words)
{
    fake_node unit = single(3);
    give(unit.phase(2).publish("sys-name", "XY"));
    give(unit.outlet(2));
    EXPECT_EQ(answer("voltage 1 XY"), line("1", " for phase XY"));
    EXPECT_EQ(answer("voltage 1 O2"), line("1", " for outlet 2"));
    EXPECT_EQ(answer("voltage summary 1 O2"), "1,2:230.1V,240.2V,220.3V,229.4V\n");
}

TEST_F(voltage, segment_is_not_read_from_the_tree_without_the_number_of_phases)
{
    give(make(circuit_level)).unit().refuse("info", "num-phases");
    called done = call_on_tree(1, 3);
    EXPECT_EQ(done.result, 1);
    EXPECT_FALSE(done.text);
    EXPECT_FAILURES({"Fail to get number of phases of pdu 2@1"});
    EXPECT_EQ(exchanges().back(), "info power.port.1.pdu.2.num-phases");
}

TEST_F(voltage, name_that_cannot_be_read_ends_behind_the_voltage)
{
    for (const measured_level &level : {phase_level, circuit_level}) {
        renew();
        fake_node node = give(make(level));
        node.refuse("info", "sys-name");
        EXPECT_EQ(call_on_tree(level.type, level.elem).result, 1);
        EXPECT_FAILURES({std::string("Fail to get info for element ") + level.at + typed(level)});
        EXPECT_EQ(exchanges().back(), "info " + node.path("voltage"));
    }
}

TEST_F(voltage, element_without_a_name_has_no_line)
{
    for (const measured_level &level : {phase_level, circuit_level})
        for (bool on_tree : {false, true})
            for (int summary : {0, 1}) {
                renew();
                give(make(level)).publish("sys-name", "");
                cli_own_name = !on_tree;
                called done = call_element(voltage_elem_get, row_of("voltage"), level.type, level.elem, summary);
                EXPECT_EQ(done.result, 1);
                EXPECT_FALSE(done.text);
                texts wanted = {std::string("No element string to print for ") + level.at};
                if (!on_tree)
                    wanted.insert(wanted.begin(), {measured, "getting max volt", "getting min and avg"});
                EXPECT_EQ(failures(), wanted);
            }
}

TEST_F(voltage, element_of_an_unknown_type_is_refused)
{
    give(unit_for(unit_level));
    EXPECT_EQ(call_element(voltage_elem_get, row_of("voltage"), 3, 1).result, 1);
    EXPECT_FAILURES({"Invalid element for voltage 1@2@1, type 3"});
    EXPECT_EQ(call_element(voltage_elem_get, row_of("voltage"), 7, 1).result, 1);
    EXPECT_FAILURES({"Invalid elem to find a list: 1@2, type 7", "Node voltage unavailable for 1@2@1"});
}

// --- Kinds ----------------------------------------------------------------------------------------------------------

TEST_F(voltage, unit_whose_voltage_is_not_measured_shows_its_elements)
{
    fake_node unit = single(1);
    give(unit, "230.1", "ESTIMATED");
    give(unit.outlet(1));
    EXPECT_EQ(answer("voltage unit1"), line("1", " for outlet 1"));
    EXPECT_LOGGED(estimated);
    EXPECT_LOGGED("Voltge is not measured in 1@1");
}

TEST_F(voltage, kind_of_a_unit_counts_from_either_source)
{
    fake_node unit = give(unit_for(unit_level));
    int row = row_of("voltage");
    std::string sensor = "IPDU #2 does not have voltage sensor.\n";
    for (const char *kind : {"ESTIMATED", "UNDEFINED"}) {
        unit.poll("voltage-type", kind).serve("voltage-type", "MEASURED");
        EXPECT_EQ(call_unit(voltage_pdu_get, row).text, sensor);
        EXPECT_EQ(failures().back(), "Voltge is not measured in 2@1");
        EXPECT_EXCHANGES({});
    }
    hide_from_segment();
    for (const char *kind : {"ESTIMATED", "UNDEFINED", "MEASURED ", ""}) {
        unit.serve("voltage-type", kind);
        EXPECT_EQ(call_unit(voltage_pdu_get, row).text, sensor);
        EXPECT_FAILURES({"Voltge is not measured in 2@1"});
    }
    tree.absent(unit.path("voltage-type"));
    EXPECT_EQ(call_unit(voltage_pdu_get, row).text, sensor);
    EXPECT_FAILURES({"Voltge is not measured in 2@1"});
    unit.serve("voltage-type", "measureD");
    EXPECT_EQ(call_unit(voltage_pdu_get, row).text, line("2", ""));
}

TEST_F(voltage, kind_of_a_unit_that_the_segment_cannot_tell_comes_from_the_tree)
{
    fake_node unit = give(unit_for(unit_level));
    unit.block().voltage_type = 3;
    EXPECT_EQ(call_unit(voltage_pdu_get, row_of("voltage")).text, line("2", ""));
    EXPECT_FAILURES({"unknown voltage type"});
    EXPECT_EXCHANGES({"info power.port.1.pdu.2.voltage-type"});
    for (how way : {refused, dropped}) {
        way == refused ? unit.refuse("info", "voltage-type") : unit.drop("info", "voltage-type");
        EXPECT_EQ(call_unit(voltage_pdu_get, row_of("voltage")).result, 1);
        EXPECT_FAILURES({"unknown voltage type", "Fail to get voltage type 2@1"});
    }
}

TEST_F(voltage, kind_of_an_element_comes_from_its_source_alone)
{
    for (const measured_level &level : element_levels) {
        renew();
        fake_node node = give(make(level));
        std::string at = level.at;
        auto shown = [&] { return call_element(voltage_elem_get, row_of("voltage"), level.type, level.elem).text; };
        node.poll("voltage-type", "ESTIMATED");
        EXPECT_FALSE(shown());
        EXPECT_FAILURES({estimated, "Voltage is not measured in " + at});
        node.poll("voltage-type", "UNDEFINED");
        EXPECT_FALSE(shown());
        EXPECT_FAILURES({"undefined voltage type. returning UNDEFINED", "Voltage is not measured in " + at});
        node.block().voltage_type = -1;
        EXPECT_FALSE(shown());
        EXPECT_FAILURES({"unknown voltage type", "Fail to get voltage type 2@1"});
        EXPECT_EXCHANGES({});

        cli_own_name = 0;
        EXPECT_TRUE(shown()) << "the segment's kind plays no part";
        for (const char *kind : {"ESTIMATED", "UNDEFINED", ""}) {
            node.serve("voltage-type", kind);
            EXPECT_FALSE(shown());
            EXPECT_FAILURES({"Voltge is not measured in " + at});
        }
        tree.absent(node.path("voltage-type"));
        EXPECT_FALSE(shown());
        EXPECT_FAILURES({"Voltge is not measured in " + at});
        node.drop("info", "voltage-type");
        EXPECT_FALSE(shown());
        EXPECT_FAILURES({"Fail to get voltage type 2@1"});
    }
}

// --- The sensor line ------------------------------------------------------------------------------------------------

TEST_F(voltage, unit_that_shows_nothing_has_no_sensor)
{
    single();
    for (const char *command : {"voltage 1", "voltage summary 1", "voltage", "voltage summary"}) {
        EXPECT_EQ(answer(command), "IPDU #1 does not have voltage sensor.\n") << command;
        EXPECT_NE(printed(), failure_text);
    }
    EXPECT_EQ(answer("voltage 1 O1"), failure_text);
}

TEST_F(voltage, failure_of_each_element_is_logged_and_the_walk_goes_on)
{
    single(1);
    answer("voltage");
    EXPECT_FAILURES({"Node voltage unavailable for 1@1", "Node voltage unavailable for 1@1@1",
                     "Fail to execute for elem 1, type 0", "Node voltage unavailable for 1@1@1",
                     "Fail to execute for elem 1, type 1", "Node voltage unavailable for 2@1@1",
                     "Fail to execute for elem 2, type 1", "Node voltage unavailable for 1@1@1",
                     "Fail to execute for elem 1, type 2", "Node voltage unavailable for 2@1@1",
                     "Fail to execute for elem 2, type 2", "Fail to execute for PDU 1"});
}

TEST_F(voltage, each_unit_that_shows_nothing_at_the_head_of_a_walk_is_told)
{
    single(1);
    give(chain.unit({.outlets = 0}));
    EXPECT_EQ(answer("voltage"), "IPDU #1 does not have voltage sensor.\n" + line("2", ""));
}

// A first unit that shows its line, and a second one that shows none.
struct voltage_walk : voltage {
    fake_node second()
    {
        give(chain.unit({.outlets = 0}));
        return give(chain.unit({.outlets = 1}));
    }
    const std::string first = line("1", "");
    const std::string told = first + "IPDU #2 does not have voltage sensor.\n";
};

TEST_F(voltage_walk, unit_without_a_voltage_is_told_behind_another)
{
    second().without("voltage");
    EXPECT_EQ(answer("voltage"), told);
    EXPECT_EQ(answer("voltage summary"), "1:230.1V,240.2V,220.3V,229.4V\nIPDU #2 does not have voltage sensor.\n");
}

TEST_F(voltage_walk, unit_whose_voltage_is_not_measured_is_told_behind_another)
{
    second().publish("voltage-type", "UNDEFINED");
    EXPECT_EQ(answer("voltage"), told);
}

TEST_F(voltage_walk, unit_without_voltage_whose_outlet_has_one_is_not_told)
{
    fake_node unit = second();
    unit.without("voltage");
    give(unit.outlet(1));
    EXPECT_EQ(answer("voltage"), first + line("2", " for outlet 1"));
    unit.publish("voltage", "230.1").publish("voltage-type", "ESTIMATED");
    EXPECT_EQ(answer("voltage"), first + line("2", " for outlet 1"));
}

TEST_F(voltage_walk, unit_that_fails_otherwise_adds_nothing_behind_another)
{
    fake_node unit = second();
    for (const char *leaf : {"voltage-max", "voltage-min", "voltage-avg"}) {
        unit.without(leaf);
        EXPECT_EQ(answer("voltage"), first) << leaf;
        unit.publish(leaf, "1.0");
    }
    unit.block().voltage_type = 9;
    unit.refuse("info", "voltage-type");
    EXPECT_EQ(answer("voltage"), first);
    unit.poll("voltage-type", "MEASURED");

    hide_from_segment();
    unit.refuse("info", "voltage");
    tree.allow("info", unit.path("voltage-type"));
    EXPECT_EQ(call_unit(voltage_pdu_get, row_of("voltage")).text, "IPDU #2 does not have voltage sensor.\n");
    EXPECT_FAILURES({"Fail to get voltage for pdu 2@1"});
}

// --- Names ----------------------------------------------------------------------------------------------------------

TEST_F(voltage, outlets_come_before_phases_before_segments)
{
    fake_node unit = single(1);
    give(unit.outlet(1).publish("sys-name", "Q"), "231.0");
    give(unit.phase(1).publish("sys-name", "Q"), "232.0");
    give(unit.circuit(1).publish("sys-name", "Q"), "233.0");
    EXPECT_EQ(answer("voltage 1 Q"), line("1", " for outlet 1", "231.0"));
    unit.outlet(1).publish("sys-name", "O1");
    EXPECT_EQ(answer("voltage 1 Q"), line("1", " for phase Q", "232.0"));
    unit.phase(1).publish("sys-name", "P1");
    EXPECT_EQ(answer("voltage 1 Q"), line("1", " for segment Q", "233.0"));
}

TEST_F(voltage, name_of_no_element_is_declined)
{
    single();
    EXPECT_EQ(answer("voltage 1 Q"), failure_text);
    EXPECT_EQ(answer("voltage summary 1 Q"), failure_text);
}

TEST_F(voltage, bank_lies_between_its_lines)
{
    fake_node unit = single(3);
    give(unit.circuit(1).publish("sys-name", "XY1"));
    EXPECT_EQ(answer("voltage 1 XY"), line("1", " between X and Y"));
    EXPECT_EQ(last_result(), 0);
    EXPECT_EQ(answer("voltage summary 1 XY"), "1,XY:230.1V,240.2V,220.3V,229.4V\n");
    unit.publish("model_nr", "127");
    EXPECT_EQ(answer("voltage 1 XY"), failure_text);
}

TEST_F(voltage, unit_that_is_not_there_is_told)
{
    single();
    for (const char *command : {"voltage 7", "voltage 7 P1", "voltage summary 7", "voltage summary 7 P1", "voltage 0"})
        EXPECT_EQ(answer(command), no_such_ipdu) << command;
    EXPECT_EQ(exchanges_of("mlist"), texts{}) << "the element is not looked at";
}

TEST_F(voltage, unit_that_cannot_count_its_outlets_ends_an_element_form)
{
    give(make(phase_level));
    hide_from_segment();
    chain.at(2).refuse("info", "num-outlets");
    EXPECT_EQ(answer("voltage 2 P2"), failure_text);
    EXPECT_LOGGED("Fail to get number of outlets for 2@1");
    EXPECT_EQ(exchanges_of("mlist"), texts{});
}

} // namespace

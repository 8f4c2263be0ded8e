// powerfactor: what it does in its own way. The steps that it shares with voltage and power are in readings_test.cpp,
// its resets in readings_reset_test.cpp.

#include "cmd/cmd_pwfactor.h"
#include "tests/unit/cmd/measure_values.h"

namespace {

const char legacy[] = "Legacy ZT don't support power-factor command.";
const char second_step[] = "getting max power-factory";
const char third_step[] = "getting min and avg power-factor";

const fake_node &give(const fake_node &node, const char *now = "0.95", const char *kind = "MEASURED")
{
    return node.publish("power-factor", now)
        .publish("power-factor-max", "0.99")
        .publish("power-factor-min", "0.80")
        .publish("power-factor-avg", "0.91")
        .publish("power-factor-type", kind);
}

std::string line(const std::string &pdu, const std::string &label, const std::string &now = "0.95")
{
    return filled("IPDU #$: Power factor@: $. Maximum power factor@: 0.99. Minimum power factor@: 0.80. Average power "
                  "factor@: 0.91\n",
                  label, {pdu, now});
}

struct pwfact : measured_chain {
    fake_node single(int phases = 3, int model = 128)
    {
        return chain.unit({.outlets = 2, .phases = phases, .circuits = 1, .model = model});
    }
    called show(const measured_level &level)
    {
        return call_node(pwfact_pdu_get, pwfact_elem_get, "powerfactor", level);
    }
};

// --- Units and their elements ---------------------------------------------------------------------------------------

TEST_F(pwfact, shows_unit_then_phases_then_segments_then_outlets)
{
    fake_node unit = single(2);
    give(unit);
    give(unit.phase(2), "0.94");
    give(unit.circuit(1), "0.93");
    give(unit.outlet(1), "0.92");
    std::string all = line("1", "") + line("1", " for phase P2", "0.94") + line("1", " for segment S1", "0.93") +
                      line("1", " for outlet 1", "0.92");
    EXPECT_EQ(answer("powerfactor 1"), all);
    EXPECT_EQ(answer("powerfactor"), all);
    EXPECT_EQ(answer("powerfactor summary 1"), "1:0.95,0.99,0.80,0.91\n1,P2:0.94,0.99,0.80,0.91\n"
                                               "1,S1:0.93,0.99,0.80,0.91\n1,1:0.92,0.99,0.80,0.91\n");
}

TEST_F(pwfact, two_decimals_and_no_unit_everywhere)
{
    fake_node node = give(single(1).circuit(1).publish("sys-name", "A"));
    EXPECT_EQ(answer("powerfactor summary 1 A"), "1,A:0.95,0.99,0.80,0.91\n");
    EXPECT_EQ(answer("powerfactor 1 A"),
              "IPDU #1: Power factor for segment A: 0.95. Maximum power factor for segment A: 0.99. "
              "Minimum power factor for segment A: 0.80. Average power factor for segment A: 0.91\n");
    node.serve("power-factor", "1").serve("power-factor-max", "0.987");
    cli_own_name = 0;
    EXPECT_EQ(call_worker([](char **out) {
                  return one_element(1, 1, elem_circuit, row_of("powerfactor summary"), out, 1, pwfact_elem_get, 1);
              }).text,
              "1,A:1.00,0.99,0.80,0.91\n");
}

TEST_F(pwfact, legacy_unit_has_no_line_at_any_level)
{
    for (int model : {127, 144}) {
        renew();
        fake_node unit = single(2, model);
        give(unit);
        give(unit.phase(1));
        give(unit.outlet(2));
        EXPECT_EQ(answer("powerfactor unit1"), failure_text);
        EXPECT_FAILURES({legacy, legacy, "Fail to execute for elem 1, type 0", legacy,
                         "Fail to execute for elem 2, type 0", legacy, "Fail to execute for elem 1, type 1", legacy,
                         "Fail to execute for elem 1, type 2", legacy, "Fail to execute for elem 2, type 2"});
        EXPECT_EQ(answer("powerfactor 1 O2"), failure_text);
        EXPECT_EQ(answer("powerfactor 1 P1"), failure_text);
        EXPECT_EQ(answer("powerfactor summary 1"), no_such_ipdu);
        EXPECT_EQ(answer("powerfactor"), "");
    }
}

TEST_F(pwfact, walk_shows_the_units_of_the_current_family_alone)
{
    give(single(1, 144));
    give(chain.unit({.outlets = 0, .phases = 1}));
    EXPECT_EQ(answer("powerfactor"), line("2", ""));
}

TEST_F(pwfact, unit_that_the_segment_does_not_hold_is_read_from_the_tree)
{
    give(unit_for(unit_level));
    hide_from_segment();
    std::string unit = "power.port.1.pdu.2";
    EXPECT_EQ(answer("powerfactor 2"), line("2", ""));
    EXPECT_EXCHANGES({"info power.pdu.2.pdu", "info power.num-devices", "info power.port.1.num-pdus",
                      "info " + unit + ".model_nr", "mlist " + unit, "mlist " + unit, "mlist " + unit, "mlist " + unit,
                      "info " + unit + ".power-factor-type", "info " + unit + ".power-factor",
                      "info " + unit + ".power-factor-max", "info " + unit + ".power-factor-min",
                      "info " + unit + ".power-factor-avg"});
}

TEST_F(pwfact, element_is_read_from_the_tree_in_one_order)
{
    for (const measured_level &level : element_levels) {
        renew();
        std::string node = give(make(level)).path(), unit = "power.port.1.pdu.2";
        cli_own_name = 0;
        EXPECT_EQ(show(level).text, line("2", level.label));
        texts wanted = {
            "info " + unit + ".model_nr",         "mlist " + node, "mlist " + node, "mlist " + node, "mlist " + node,
            "info " + node + ".power-factor-type"};
        if (level.type == elem_phase)
            wanted.push_back("info " + unit + ".num-phases");
        if (level.type != elem_outlet)
            wanted.push_back("info " + node + ".sys-name");
        for (const char *leaf : {".power-factor", ".power-factor-max", ".power-factor-min", ".power-factor-avg"})
            wanted.push_back("info " + node + leaf);
        EXPECT_EQ(exchanges(), wanted);
        EXPECT_FAILURES({"using tsapi"});
    }
}

// --- Phases and names -----------------------------------------------------------------------------------------------

TEST_F(pwfact, phase_of_a_single_phase_unit_is_refused_by_both_sources)
{
    fake_node unit = single(1);
    give(unit.phase(1));
    give(unit.circuit(1));
    EXPECT_EQ(answer("powerfactor unit1 P1"), failure_text);
    EXPECT_FAILURES({"using shm", "pdu 1@1 is single phase"});
    EXPECT_EQ(answer("powerfactor unit1 S1"), line("1", " for segment S1"));
    cli_own_name = 0;
    auto tree_shows = [](int type) {
        return call_worker([=](char **out) {
                   return one_element(1, 1, type, row_of("powerfactor"), out, 1, pwfact_elem_get, 0);
               })
            .text;
    };
    EXPECT_FALSE(tree_shows(elem_phase));
    EXPECT_FAILURES({"using tsapi", "pdu 1@1 is single phase"});
    EXPECT_EQ(tree_shows(elem_circuit), line("1", " for segment S1"));
}

TEST_F(pwfact, phase_of_a_two_phase_unit_is_shown)
{
    give(single(2).phase(1));
    EXPECT_EQ(answer("powerfactor 1 P1"), line("1", " for phase P1"));
}

TEST_F(pwfact, phase_is_not_read_from_the_tree_without_the_number_of_phases)
{
    give(make(phase_level)).unit().refuse("info", "num-phases");
    cli_own_name = 0;
    EXPECT_EQ(show(phase_level).result, 1);
    EXPECT_FAILURES({"using tsapi", "Fail to get number of phases of pdu 2@1"});
}

TEST_F(pwfact, name_that_cannot_be_read_ends_behind_all_values)
{
    for (const measured_level &level : {phase_level, circuit_level}) {
        renew();
        fake_node node = give(make(level));
        node.refuse("info", "sys-name");
        cli_own_name = 0;
        EXPECT_EQ(show(level).result, 1);
        EXPECT_FAILURES({"using tsapi", std::string("Fail to get info for element ") + level.at + typed(level)});
        EXPECT_EQ(exchanges().back(), "info " + node.path("power-factor-avg"));
    }
}

TEST_F(pwfact, element_without_a_name_has_no_line)
{
    for (const measured_level &level : {phase_level, circuit_level}) {
        renew();
        give(make(level)).publish("sys-name", "");
        std::string last = std::string("No element string to print for ") + level.at;
        EXPECT_EQ(show(level).result, 1);
        EXPECT_FAILURES({"using shm", second_step, third_step, last});
        cli_own_name = 0;
        EXPECT_EQ(show(level).result, 1);
        EXPECT_FAILURES({"using tsapi", last});
    }
}

TEST_F(pwfact, element_of_an_unknown_type_is_refused)
{
    give(unit_for(unit_level));
    EXPECT_EQ(call_element(pwfact_elem_get, row_of("powerfactor"), 3, 1).result, 1);
    EXPECT_FAILURES({"using shm", "Invalid element for power-factor 1@2@1, type 3"});
    EXPECT_EQ(call_element(pwfact_elem_get, row_of("powerfactor"), 7, 1).result, 1);
    EXPECT_FAILURES({"Invalid elem to find a list: 1@2, type 7", "Node power-factor unavailable for 1@2@1"});
}

// --- Kinds ----------------------------------------------------------------------------------------------------------

TEST_F(pwfact, kind_of_a_unit_from_the_segment_is_not_looked_at)
{
    fake_node unit = give(unit_for(unit_level));
    for (const char *kind : {"ESTIMATED", "UNDEFINED"}) {
        unit.publish("power-factor-type", kind);
        EXPECT_EQ(answer("powerfactor 2"), line("2", "")) << kind;
    }
}

TEST_F(pwfact, kind_of_a_unit_from_the_tree_counts)
{
    fake_node unit = give(unit_for(unit_level));
    unit.block().power_factor_type = -1; // no kind: the tree is asked
    EXPECT_EQ(show(unit_level).text, line("2", ""));
    EXPECT_EXCHANGES({"info power.port.1.pdu.2.power-factor-type"});
    for (const char *kind : {"ESTIMATED", "UNDEFINED", ""}) {
        unit.serve("power-factor-type", kind);
        EXPECT_FALSE(show(unit_level).text);
        EXPECT_FAILURES({"Power factor is not measured in 2@1"});
    }
    tree.absent(unit.path("power-factor-type"));
    EXPECT_FALSE(show(unit_level).text);
    EXPECT_FAILURES({"Power factor is not measured in 2@1"});
    unit.refuse("info", "power-factor-type");
    EXPECT_FALSE(show(unit_level).text);
    EXPECT_FAILURES({"Fail to get power factor type 2@1"});
}

TEST_F(pwfact, kind_of_an_element_is_refused_in_the_words_of_its_source)
{
    for (const measured_level &level : element_levels) {
        renew();
        fake_node node = give(make(level));
        std::string at = level.at;
        for (const char *kind : {"ESTIMATED", "UNDEFINED"}) {
            node.poll("power-factor-type", kind);
            EXPECT_EQ(show(level).result, 1);
            EXPECT_FAILURES({"using shm", "power-factor is not measured in " + at});
        }
        node.block().power_factor_type = 3;
        EXPECT_EQ(show(level).result, 1);
        EXPECT_FAILURES({"using shm", "Fail to get power-factor type 2@1"});
        EXPECT_EXCHANGES({});

        cli_own_name = 0;
        EXPECT_TRUE(show(level).text);
        for (const char *kind : {"ESTIMATED", "UNDEFINED", ""}) {
            node.serve("power-factor-type", kind);
            EXPECT_FALSE(show(level).text);
            EXPECT_FAILURES({"using tsapi", "Power factor is not measured in " + at});
        }
        tree.absent(node.path("power-factor-type"));
        EXPECT_FALSE(show(level).text);
        EXPECT_FAILURES({"using tsapi", "Power factor is not measured in " + at});
        node.drop("info", "power-factor-type");
        EXPECT_FALSE(show(level).text);
        EXPECT_FAILURES({"using tsapi", "Fail to get power factor type 2@1"});
    }
}

// --- Banks ----------------------------------------------------------------------------------------------------------

TEST_F(pwfact, bank_comes_out_of_its_two_segments)
{
    fake_node unit = chain.unit({.outlets = 1, .phases = 3, .circuits = 2});
    for (int k : {1, 2})
        for (const char *end : {"", "-max", "-min", "-avg"})
            unit.circuit(k)
                .publish(std::string("current") + end, "1.0")
                .publish(std::string("voltage") + end, "100.0")
                .publish(std::string("power") + end, *end ? "500.0" : "80.0");
    unit.circuit(1).publish("sys-name", "XY1");
    // 160 W of 2 A at 100 V; the others are capped.
    EXPECT_EQ(answer("powerfactor 1 XY"),
              "IPDU #1: Power factor for segment XY: 0.80. Maximum power factor for segment XY: 1.00. "
              "Minimum power factor for segment XY: 1.00. Average power factor for segment XY: 1.00\n");
    EXPECT_EQ(answer("powerfactor summary 1 XY"), "1,XY:0.80,1.00,1.00,1.00\n");
    EXPECT_EQ(answer("powerfactor 1 Q"), failure_text);
}

TEST_F(pwfact, unit_that_is_not_there_is_told)
{
    single();
    for (const char *command :
         {"powerfactor 7", "powerfactor 7 P1", "powerfactor summary 7", "powerfactor summary 7 P1"})
        EXPECT_EQ(answer(command), no_such_ipdu) << command;
}

} // namespace

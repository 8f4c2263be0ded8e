// The resets of voltage, power, powerfactor and energy: what each asks before, what it says, and what refuses it.

#include <set>

#include "cmd/cmd_energy.h"
#include "cmd/cmd_power.h"
#include "cmd/cmd_pwfactor.h"
#include "cmd/cmd_voltage.h"
#include "tests/unit/cmd/measure_values.h"

namespace {

struct reset_words {
    const char *command;
    const char *log_word;
    texts needed;          // capabilities
    const char *operation; // the leaf
    const char *line;
    const char *legacy;
    const char *unit_refusal;
    pdu_callback pdu_reset;
    elem_callback elem_reset;
};

const reset_words voltage_words = {"voltage",
                                   "voltage",
                                   {"voltage"},
                                   "reset-voltage",
                                   "IPDU #2: Clearing maximum, minimum and average recorded voltage @to zero.\n",
                                   "Legacy ZT doesn't support reset-voltage",
                                   "Fail to reset voltage for pdu 2@1",
                                   voltage_pdu_reset,
                                   voltage_elem_reset};

const reset_words power_words = {"power",
                                 "power",
                                 {"power"},
                                 "reset-power",
                                 "IPDU #2: Clearing maximum, minimum and average recorded power @to zero.\n",
                                 "Legacy ZT don't support reset-power command.",
                                 "Fail to get power for pdu 2@1",
                                 power_pdu_reset,
                                 power_elem_reset};

const reset_words pwfact_words = {"powerfactor",
                                  "pwfact",
                                  {"power-factor"},
                                  "reset-power-factor",
                                  "IPDU #2: Clearing maximum, minimum and average recorded power factor @to zero.\n",
                                  "Legacy ZT don't support reset-power-factor command.",
                                  "Fail to get pwfact for pdu 2@1",
                                  pwfact_pdu_reset,
                                  pwfact_elem_reset};

const reset_words energy_words = {"energy",
                                  "energy",
                                  {"cumulative-watthour", "cumulative-starttime"},
                                  "cumulative-watthour.reset",
                                  "IPDU #2: Clearing start time for energy @.\n",
                                  "Legacy ZT don't support reset-energy command.",
                                  "Fail to reset cumulative-watthour for pdu 2@1",
                                  energy_pdu_reset,
                                  energy_elem_reset};

std::ostream &operator<<(std::ostream &out, const reset_words &words)
{
    return out << words.command;
}

using where = std::tuple<reset_words, measured_level>;

struct resets : measured_chain, testing::WithParamInterface<where> {
    const reset_words &m = std::get<0>(GetParam());
    const measured_level &level = std::get<1>(GetParam());
    const std::string unit_path = "power.port.1.pdu.2";

    bool is_unit() const { return level.type == elem_pdu; }
    bool has_name() const { return level.type == elem_phase || level.type == elem_circuit; }
    bool between_lines() const { return level.type == elem_circuit && m.pdu_reset == voltage_pdu_reset; }
    // Whether the element's words depend on the unit's phases, or its reset does.
    bool asks_phases() const
    {
        return between_lines() || (level.type == elem_phase && m.pdu_reset != voltage_pdu_reset);
    }
    fake_node ready(int model = 128)
    {
        fake_node node = make(level, model);
        for (const std::string &leaf : m.needed)
            node.serve(leaf, "1.0");
        return node;
    }
    std::string line() const { return filled(m.line, between_lines() ? "between S and 3 " : level.cleared); }
    std::string command() const { return std::string(m.command) + " reset 2" + level.word; }
    std::string element_refusal() const
    {
        return std::string("Fail to reset ") + m.log_word + " for element " + level.at + typed(level);
    }
    called run(const std::string &pattern) const { return call_node(m.pdu_reset, m.elem_reset, pattern, level); }
    called run() const { return run(std::string(m.command) + " reset"); }
    std::string operation(fake_node node) const { return "admin " + node.path(m.operation); }
};

std::string named(const testing::TestParamInfo<where> &info)
{
    return std::string(std::get<0>(info.param).command) + "_" + std::get<1>(info.param).name;
}

INSTANTIATE_TEST_SUITE_P(all, resets,
                         testing::Combine(testing::Values(voltage_words, power_words, pwfact_words, energy_words),
                                          testing::ValuesIn(all_levels)),
                         named);

// Of the elements whose names are the tree's.
struct named_resets : resets {};

INSTANTIATE_TEST_SUITE_P(all, named_resets,
                         testing::Combine(testing::Values(voltage_words, power_words, pwfact_words, energy_words),
                                          testing::Values(phase_level, circuit_level)),
                         named);

// --- Clearing -------------------------------------------------------------------------------------------------------

TEST_P(resets, clears_the_node_and_says_so)
{
    fake_node node = ready();
    EXPECT_EQ(answer(command()), line());
    EXPECT_EQ(last_result(), 0);
    EXPECT_EQ(exchanges_of("admin"), texts{operation(node)});
}

TEST_P(resets, asks_the_tree_in_one_order)
{
    fake_node node = ready();
    EXPECT_EQ(run().text, line());
    texts wanted(m.needed.size(), "mlist " + node.path());
    std::string phases = "info " + unit_path + ".num-phases", name = "info " + node.path("sys-name");
    if (asks_phases() && !between_lines())
        wanted.push_back(phases);
    if (has_name())
        wanted.push_back(name);
    if (between_lines())
        wanted.push_back(phases);
    wanted.push_back(operation(node));
    EXPECT_EQ(exchanges(), wanted);
    EXPECT_FAILURES({});
}

TEST_P(resets, works_where_the_segment_is_out_of_reach)
{
    ready(143);
    cli_own_name = 0;
    called done = run();
    EXPECT_EQ(done.result, 0);
    EXPECT_EQ(done.text, line());
    EXPECT_EQ(exchanges().front(), "info " + unit_path + ".model_nr");
}

TEST_P(resets, row_without_a_format_is_done_without_a_line)
{
    fake_node node = ready();
    called done = run("shell");
    EXPECT_EQ(done.result, 0);
    EXPECT_FALSE(done.text);
    EXPECT_EQ(exchanges_of("admin"), texts{operation(node)});
}

// --- Refusals -------------------------------------------------------------------------------------------------------

TEST_P(resets, legacy_unit_is_refused)
{
    for (int model : {127, 144, 0}) {
        renew();
        ready(model);
        called done = run();
        EXPECT_EQ(done.result, 1);
        EXPECT_FALSE(done.text);
        EXPECT_FAILURES({m.legacy});
        EXPECT_EXCHANGES({});
        // The unit's form is tried as an element of a unit called "reset".
        EXPECT_EQ(answer(command()), is_unit() ? no_such_ipdu : failure_text);
    }
}

TEST_P(resets, model_that_cannot_be_read_ends_it)
{
    fake_node node = ready();
    cli_own_name = 0;
    node.unit().refuse("info", "model_nr");
    EXPECT_EQ(run().result, 1);
    EXPECT_FAILURES({"Fail to get model for pdu 2@1", "Fail to get model from pdu 2@1"});
    tree.allow("info", node.unit().path("model_nr")).absent(node.unit().path("model_nr"));
    EXPECT_EQ(run().result, 1);
    EXPECT_FAILURES({"Fail to get model from pdu 2@1"});
    EXPECT_EQ(exchanges_of("admin"), texts{});
}

TEST_P(resets, tree_alone_says_what_can_be_cleared)
{
    fake_node node = ready();
    for (const std::string &leaf : m.needed) {
        node.poll(leaf, leaf == "cumulative-starttime" ? "2024-01-31 10:00:00" : "1.0");
        tree.remove(node.path(leaf));
        EXPECT_EQ(run().result, 1);
        EXPECT_FAILURES({"Node " + leaf + " unavailable for " + level.at});
        EXPECT_EQ(exchanges_of("admin"), texts{});
        node.serve(leaf, "1.0");
    }
    EXPECT_EQ(run().text, line());
}

TEST_P(resets, capabilities_that_cannot_be_listed_are_absent)
{
    fake_node node = ready();
    tree.drop("mlist", node.path());
    EXPECT_EQ(run().result, 1);
    EXPECT_FAILURES({is_unit()
                         ? "Fail to retrieve list of pdu capabilities in 2@1"
                         : std::string("Fail to retrieve list of element capabilities in ") + level.at + typed(level),
                     "Node " + m.needed[0] + " unavailable for " + level.at});
}

TEST_P(resets, refused_operation_is_logged)
{
    fake_node node = ready();
    for (how way : {refused, dropped}) {
        way == refused ? node.refuse("admin", m.operation) : node.drop("admin", m.operation);
        called done = run();
        EXPECT_EQ(done.result, 1);
        EXPECT_FALSE(done.text);
        EXPECT_EQ(failures(), texts{is_unit() ? m.unit_refusal : element_refusal()});
        EXPECT_EQ(answer(command()), is_unit() ? no_such_ipdu : failure_text);
    }
}

TEST_P(named_resets, element_is_cleared_although_its_name_cannot_be_read)
{
    fake_node node = ready();
    node.refuse("info", "sys-name");
    called done = run();
    EXPECT_EQ(done.result, 1);
    EXPECT_FALSE(done.text);
    EXPECT_EQ(exchanges_of("admin"), texts{operation(node)});
    EXPECT_FAILURES({element_refusal()});
}

TEST_P(named_resets, element_without_a_name_is_cleared_without_a_line)
{
    fake_node node = ready();
    node.serve("sys-name", "");
    EXPECT_EQ(run().result, 1);
    EXPECT_EQ(exchanges_of("admin"), texts{operation(node)});
    EXPECT_FAILURES({std::string("No element string to print for ") + level.at});
}

TEST_P(resets, number_of_phases_must_be_known_where_it_counts)
{
    fake_node node = ready();
    for (how way : {refused, dropped}) {
        way == refused ? node.unit().refuse("info", "num-phases") : node.unit().drop("info", "num-phases");
        called done = run();
        EXPECT_EQ(done.result, asks_phases() ? 1 : 0);
        EXPECT_EQ(failures(), asks_phases() ? texts{"Fail to get number of phases of pdu 2@1"} : texts{});
        EXPECT_EQ(exchanges_of("admin"), asks_phases() ? texts{} : texts{operation(node)});
    }
}

TEST_P(resets, phase_of_a_single_phase_unit_is_not_cleared)
{
    fake_node node = ready();
    for (const char *phases : {"1", "0"}) {
        node.unit().serve("num-phases", phases);
        called done = run();
        bool refused_here = level.type == elem_phase && asks_phases();
        EXPECT_EQ(done.text, refused_here ? std::nullopt : std::optional(filled(m.line, level.cleared)));
        EXPECT_EQ(failures(), refused_here ? texts{"pdu 2@1 is single phase"} : texts{});
        EXPECT_EQ(exchanges_of("admin"), refused_here ? texts{} : texts{operation(node)});
    }
    node.unit().serve("num-phases", "2");
    EXPECT_EQ(run().text, filled(m.line, level.cleared));
}

TEST_P(resets, element_of_an_unknown_type_is_refused)
{
    ready();
    EXPECT_EQ(call_element(m.elem_reset, row_of(std::string(m.command) + " reset"), 7, 1).result, 1);
    EXPECT_FAILURES({"Invalid elem to find a list: 1@2, type 7", "Node " + m.needed[0] + " unavailable for 1@2@1"});
    EXPECT_EQ(exchanges_of("admin"), texts{});
}

// --- Failing exchanges and memory -----------------------------------------------------------------------------------

TEST_P(resets, line_that_cannot_be_added_is_logged)
{
    ready();
    std::string wanted =
        std::string("Fail to printf pdu 2 reset ") + m.log_word + " string" + (is_unit() ? "" : typed(level));
    std::set<std::string> seen;
    each_failing_allocation([&](int) {
        called done = run();
        EXPECT_EQ(done.result == 0, done.text == line());
        for (const std::string &message : failures())
            seen.insert(message);
    });
    EXPECT_TRUE(seen.contains(wanted)) << wanted << "\n" << testing::PrintToString(seen);
}

TEST_P(resets, failing_exchanges_leave_a_whole_line_or_none)
{
    ready();
    for (how way : {refused, dropped})
        EXPECT_GT(each_failing_exchange(way,
                                        [&](int n) {
                                            std::string made = answer(command());
                                            EXPECT_TRUE(made == line() || made == no_such_ipdu || made == failure_text)
                                                << n << ": " << made;
                                            EXPECT_TRUE(made != line() || exchanges_of("admin").size() == 1);
                                        }),
                  3);
}

TEST_P(resets, failing_allocations_leave_a_whole_line_or_none)
{
    ready();
    std::set<std::string> seen, wanted = {line(), no_such_ipdu};
    if (!is_unit())
        wanted.insert(failure_text);
    each_failing_allocation([&](int) { seen.insert(answer(command())); });
    EXPECT_EQ(seen, wanted);
}

// --- Forms ----------------------------------------------------------------------------------------------------------

struct reset_forms : measured_chain, testing::WithParamInterface<reset_words> {
    const reset_words &m = GetParam();

    void serve(fake_node node)
    {
        for (const std::string &leaf : m.needed)
            node.serve(leaf, "1.0");
    }
    std::string command(const std::string &rest) const { return std::string(m.command) + " reset" + rest; }
    std::string line_of(int pdu, const std::string &label) const
    {
        std::string made = filled(m.line, label);
        return made.replace(made.find('2'), 1, std::to_string(pdu));
    }
};

INSTANTIATE_TEST_SUITE_P(all, reset_forms, testing::Values(voltage_words, power_words, pwfact_words, energy_words),
                         [](const auto &form) { return form.param.command; });

TEST_P(reset_forms, unit_is_cleared_without_its_elements)
{
    fake_node unit = chain.unit({.outlets = 2, .phases = 3});
    serve(unit);
    serve(unit.outlet(1));
    EXPECT_EQ(answer(command(" 1")), line_of(1, ""));
    EXPECT_EQ(exchanges_of("admin").size(), 1U);
}

TEST_P(reset_forms, walk_clears_each_unit_that_can_be)
{
    serve(chain.unit({.outlets = 1}));
    serve(chain.unit({.outlets = 1, .model = 127}));
    fake_node third = chain.unit({.outlets = 1});
    serve(chain.unit({.outlets = 1}));
    EXPECT_EQ(answer(command("")), line_of(1, "") + line_of(4, ""));
    EXPECT_FAILURES({m.legacy, "Fail to execute for PDU 2", "Node " + m.needed[0] + " unavailable for 3@1",
                     "Fail to execute for PDU 3"});
    serve(third);
    third.refuse("admin", m.operation);
    EXPECT_EQ(answer(command("")), line_of(1, "") + line_of(4, ""));
    EXPECT_EQ(exchanges_of("admin").size(), 3U);
}

TEST_P(reset_forms, walk_that_clears_nothing_says_nothing)
{
    chain.unit({.outlets = 1});
    EXPECT_EQ(answer(command("")), "");
    EXPECT_EQ(last_result(), 0);
}

TEST_P(reset_forms, bank_is_not_cleared)
{
    fake_node unit = chain.unit({.outlets = 1, .phases = 3, .circuits = 2});
    serve(unit.circuit(1).publish("sys-name", "XY1"));
    EXPECT_EQ(answer(command(" 1 XY")), failure_text);
    EXPECT_EQ(exchanges_of("admin"), texts{});
}

TEST_P(reset_forms, unit_that_is_not_there_is_told)
{
    chain.unit({.outlets = 1});
    EXPECT_EQ(answer(command(" 7")), no_such_ipdu);
    EXPECT_EQ(answer(command(" 7 O1")), no_such_ipdu);
    EXPECT_EQ(answer(command(" 0")), no_such_ipdu);
}

TEST_P(reset_forms, unit_that_cannot_count_its_outlets_ends_an_element_form)
{
    chain.unit({.outlets = 0});
    fake_node unit = chain.unit({.outlets = 1});
    serve(unit.outlet(1));
    hide_from_segment();
    unit.refuse("info", "num-outlets");
    EXPECT_EQ(answer(command(" 2 O1")), failure_text);
    EXPECT_EQ(failures().back(), "Fail to get number of outlets for 2@1");
}

// --- Words ----------------------------------------------------------------------------------------------------------

TEST_F(measured_chain, segment_between_two_lines_is_cleared_under_both)
{
    fake_node unit = chain.unit({.outlets = 1, .phases = 3, .circuits = 2});
    unit.circuit(1).publish("sys-name", "XY").serve("voltage", "1.0");
    unit.circuit(2).publish("sys-name", "A").serve("voltage", "1.0");
    EXPECT_EQ(answer("voltage reset 1 XY"),
              "IPDU #1: Clearing maximum, minimum and average recorded voltage between X and Y to zero.\n");
    unit.publish("num-phases", "1");
    EXPECT_EQ(answer("voltage reset 1 A"),
              "IPDU #1: Clearing maximum, minimum and average recorded voltage for segment A to zero.\n");
}

TEST_F(measured_chain, energy_keeps_a_blank_before_the_full_stop)
{
    fake_node unit = chain.unit({.outlets = 1, .phases = 3});
    for (fake_node node : {unit, unit.phase(1).publish("sys-name", "X")})
        node.serve("cumulative-watthour", "1.0").serve("cumulative-starttime", "");
    EXPECT_EQ(answer("energy reset 1"), "IPDU #1: Clearing start time for energy .\n");
    EXPECT_EQ(answer("energy reset 1 X"), "IPDU #1: Clearing start time for energy for phase X .\n");
}

TEST_F(measured_chain, resets_without_an_element_read_with_one_blank)
{
    fake_node unit = chain.unit({.outlets = 1});
    for (const char *leaf : {"voltage", "power", "power-factor"})
        unit.serve(leaf, "1.0");
    EXPECT_EQ(answer("voltage reset 1"), "IPDU #1: Clearing maximum, minimum and average recorded voltage to zero.\n");
    EXPECT_EQ(answer("power reset 1"), "IPDU #1: Clearing maximum, minimum and average recorded power to zero.\n");
    EXPECT_EQ(answer("powerfactor reset unit1"),
              "IPDU #1: Clearing maximum, minimum and average recorded power factor to zero.\n");
}

} // namespace

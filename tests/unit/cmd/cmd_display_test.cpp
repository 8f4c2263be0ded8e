// What a display shows: the three kinds of unit, each form of the command, right and wrong.

#include "cmd/cmd_display.h"

#include <regex>

#include "tests/fakes/fakes.h"

namespace {

// A unit is looked for by its ID first: a number is none.
const char no_id[] = "Fail to get pdu from pdu name 1";

struct displays : testing::Test {
    fake_chain chain;

    // A unit with all that a display can have.
    fake_node unit(int phases, int circuits, const texts &modes = {"0/I", "0/V", "180/I", "180/V"})
    {
        fake_node made = chain.unit({.phases = phases, .circuits = circuits});
        made.serve("display-mode", "0/I").serve("display-cycle", "9");
        tree.list(made.path("display-mode"), modes);
        return made;
    }
    fake_node three_phase() { return unit(3, 3); }
    fake_node two_segment() { return unit(1, 2, {"0/I", "180/I"}); }
    fake_node other() { return unit(1, 0, {"0/I", "180/I"}); }
};

// What was asked of the unit itself, without the way to it.
texts behind_locating()
{
    texts rest;
    for (const std::string &exchange : exchanges())
        if (!exchange.starts_with("info power.pdu.") && exchange.find("num-devices") == exchange.npos &&
            exchange.find("num-pdus") == exchange.npos)
            rest.push_back(exchange);
    return rest;
}

std::string mode_of(const fake_node &unit)
{
    return *unit.value("display-mode") + " " + *unit.value("display-cycle");
}

std::string line(const std::string &description, int pdu = 1)
{
    return "IPDU #" + std::to_string(pdu) + ": Display mode set to " + description + ".\n";
}

// --- Reading --------------------------------------------------------------------------------------------------------

TEST_F(displays, reading_takes_mode_modes_and_cycle)
{
    three_phase();
    EXPECT_EQ(answer("display 1"), line("normal, show current, and cycle each 9 seconds"));
    EXPECT_EQ(last_result(), 0);
    EXPECT_FAILURES({no_id});
    EXPECT_EXCHANGES({"info power.pdu.1.pdu", "info power.num-devices", "info power.port.1.num-pdus",
                      "mlist power.port.1.pdu.1", "info power.port.1.pdu.1.display-mode",
                      "mlist power.port.1.pdu.1.display-mode", "mlist power.port.1.pdu.1",
                      "info power.port.1.pdu.1.display-cycle"});
}

TEST_F(displays, unit_without_a_cycle_is_described_without_one)
{
    three_phase().without("display-cycle").serve("display-mode", "180/V");
    EXPECT_EQ(answer("display 1"), line("180 degrees rotated, show voltage"));
}

TEST_F(displays, cycle_of_zero_is_told_and_a_negative_one_is_not)
{
    fake_node unit = three_phase().serve("display-cycle", "0");
    EXPECT_EQ(answer("display 1"), line("normal, show current, and cycle each 0 seconds"));
    unit.serve("display-cycle", "-1");
    EXPECT_EQ(answer("display 1"), line("normal, show current"));
}

TEST_F(displays, intended_unit_without_voltage_never_says_current)
{
    two_segment();
    EXPECT_EQ(answer("display 1"), line("normal, and cycle each 9 seconds"));
}

TEST_F(displays, any_mode_with_voltage_makes_the_unit_able_to_show_it)
{
    unit(1, 0, {"0/I", "rotated 180/V too"});
    EXPECT_EQ(answer("display 1"), line("normal, show current, and cycle each 9 seconds"));
}

TEST_F(displays, modes_of_the_tree_in_words)
{
    fake_node unit = three_phase().without("display-cycle");
    const std::pair<const char *, const char *> modes[] = {
        {"0/V", "normal, show voltage"},
        {"180/I", "180 degrees rotated, show current"},
        {"180", "180 degrees rotated"},
        {"0/", "normal"},
        {"0/i", "normal"},
        {"0/X/V", "normal"},
        {"180 degrees/Volt", "180 degrees rotated, show voltage"},
        {"upright", "normal"},
        {"", "normal"},
    };
    for (const auto &[mode, words] : modes) {
        unit.serve("display-mode", mode);
        EXPECT_EQ(answer("display 1"), line(words)) << mode;
    }
    tree.absent(unit.path("display-mode"));
    EXPECT_EQ(answer("display 1"), line("normal"));
}

TEST_F(displays, mode_with_another_orientation_is_printed_by_nobody)
{
    fake_node unit = three_phase().serve("display-mode", "90/I");
    EXPECT_EQ(answer("display 1"), failure_text);
    EXPECT_FAILURES({no_id, "Fail to create display string 90/I,9 for pdu 1@1"});
    unit.without("display-cycle").serve("display-mode", "-180");
    EXPECT_EQ(answer("display"), "");
    EXPECT_FAILURES({"Fail to create display string -180,-1 for pdu 1@1", "Fail to execute for PDU 1"});
}

TEST_F(displays, walk_shows_the_units_that_answered)
{
    three_phase();
    chain.unit();
    two_segment().refuse("info", "display-mode");
    other().refuse("mlist", "display-mode");
    other().refuse("info", "display-cycle");
    two_segment();
    EXPECT_EQ(answer("display"),
              line("normal, show current, and cycle each 9 seconds") + line("normal, and cycle each 9 seconds", 6));
    EXPECT_FAILURES({"Node display-mode unavailable for 2@1", "Fail to execute for PDU 2",
                     "Fail to get display mode for pdu 3@1", "Fail to execute for PDU 3",
                     "List display-mode unavailable for 4@1", "Fail to execute for PDU 4",
                     "Fail to get display cycle for pdu 5@1", "Fail to execute for PDU 5"});
}

TEST_F(displays, chain_where_no_unit_answers_prints_nothing)
{
    chain.unit();
    EXPECT_EQ(answer("display"), "");
    EXPECT_EQ(last_result(), 0);
}

TEST_F(displays, refused_readings_of_one_unit_are_declined)
{
    const std::pair<const char *, const char *> refusals[] = {
        {"info power.port.1.pdu.1.display-mode", "Fail to get display mode for pdu 1@1"},
        {"mlist power.port.1.pdu.1.display-mode", "List display-mode unavailable for 1@1"},
        {"info power.port.1.pdu.1.display-cycle", "Fail to get display cycle for pdu 1@1"},
    };
    three_phase();
    for (const auto &[exchange, log] : refusals) {
        const std::string verb(exchange, strcspn(exchange, " "));
        tree.refuse(verb, exchange + verb.size() + 1);
        EXPECT_EQ(answer("display 1"), failure_text);
        EXPECT_FAILURES({no_id, log});
        tree.allow(verb, exchange + verb.size() + 1);
    }
}

TEST_F(displays, unit_without_a_mode_is_declined)
{
    three_phase().without("display-mode");
    for (const char *form : {"display 1", "display 1 0 I", "display 1 0 I 5"}) {
        EXPECT_EQ(answer(form), failure_text) << form;
        EXPECT_FAILURES({no_id, "Node display-mode unavailable for 1@1"});
    }
}

// --- Which form a kind of unit takes --------------------------------------------------------------------------------

TEST_F(displays, three_phase_unit_takes_a_letter)
{
    fake_node unit = three_phase();
    EXPECT_EQ(answer("display 1 180 V"), line("180 degrees rotated, show voltage"));
    EXPECT_EQ(mode_of(unit), "180/V 9");
    EXPECT_EQ(behind_locating(),
              (texts{"info power.port.1.pdu.1.num-phases", "mlist power.port.1.pdu.1",
                     "mlist power.port.1.pdu.1.display-mode", "admin power.port.1.pdu.1.display-mode 180/V"}));
    EXPECT_EQ(answer("display 1 0 I"), line("normal, show current"));
    EXPECT_EQ(mode_of(unit), "0/I 9");
}

TEST_F(displays, three_phase_unit_takes_a_letter_and_a_cycle)
{
    fake_node unit = three_phase();
    EXPECT_EQ(answer("display 1 0 I 30"), line("normal, show current, and cycle each 30 seconds"));
    EXPECT_EQ(mode_of(unit), "0/I 30");
    EXPECT_EQ(behind_locating(),
              (texts{"info power.port.1.pdu.1.num-phases", "mlist power.port.1.pdu.1", "mlist power.port.1.pdu.1",
                     "mlist power.port.1.pdu.1.display-mode", "admin power.port.1.pdu.1.display-mode 0/I",
                     "admin power.port.1.pdu.1.display-cycle 30"}));
}

TEST_F(displays, three_phase_unit_that_offers_no_voltage_is_described_without_a_letter)
{
    unit(3, 3, {"0/I", "180/I"});
    EXPECT_EQ(answer("display 1 0 I 30"), line("normal, and cycle each 30 seconds"));
}

TEST_F(displays, two_phases_make_a_three_phase_unit)
{
    unit(2, 2);
    EXPECT_EQ(answer("display 1 0 V"), line("normal, show voltage"));
    EXPECT_EQ(answer("display 1 0"), failure_text);
    EXPECT_EQ(answer("display 1 0 30"), failure_text);
}

TEST_F(displays, three_phase_unit_must_name_its_letter)
{
    fake_node unit = three_phase();
    for (const char *form : {"display 1 0", "display 1 180", "display 1 180 5", "display 1 180 30"}) {
        EXPECT_EQ(answer(form), failure_text) << form;
        EXPECT_FAILURES({no_id});
        EXPECT_EQ(behind_locating(),
                  (texts{"info power.port.1.pdu.1.num-phases", "info power.port.1.pdu.1.num-circuits"}))
            << form;
    }
    EXPECT_EQ(mode_of(unit), "0/I 9");
}

TEST_F(displays, two_segment_unit_takes_an_orientation)
{
    fake_node unit = two_segment();
    EXPECT_EQ(answer("display 1 180"), line("180 degrees rotated"));
    EXPECT_EQ(mode_of(unit), "180/I 9");
    EXPECT_EQ(behind_locating(), (texts{"info power.port.1.pdu.1.num-phases", "info power.port.1.pdu.1.num-circuits",
                                        "mlist power.port.1.pdu.1", "mlist power.port.1.pdu.1.display-mode",
                                        "admin power.port.1.pdu.1.display-mode 180/I"}));
}

TEST_F(displays, intended_cycle_of_a_two_segment_unit_falls_through_the_rows_with_a_letter)
{
    fake_node unit = two_segment();
    EXPECT_EQ(answer("display 1 180 30"), line("180 degrees rotated, and cycle each 30 seconds"));
    EXPECT_EQ(mode_of(unit), "180/I 30");
    EXPECT_EXCHANGES({"info power.pdu.1.pdu", "info power.num-devices", "info power.port.1.num-pdus",
                      "info power.port.1.pdu.1.num-phases", "info power.port.1.pdu.1.num-circuits",
                      "mlist power.port.1.pdu.1", "mlist power.port.1.pdu.1", "mlist power.port.1.pdu.1.display-mode",
                      "admin power.port.1.pdu.1.display-mode 180/I", "admin power.port.1.pdu.1.display-cycle 30"});
    EXPECT_EQ(answer("display 1 0 5"), line("normal, and cycle each 5 seconds"));
    EXPECT_EQ(mode_of(unit), "0/I 5");
}

TEST_F(displays, letters_are_for_three_phase_units)
{
    for (const fake_node &unit : {two_segment(), other()})
        for (const char *rest : {" 0 I", " 0 V", " 180 I 30", " 180 V 5"}) {
            EXPECT_EQ(answer("display unit" + std::to_string(unit.pdu()) + rest), failure_text) << rest;
            EXPECT_FAILURES({});
            EXPECT_EQ(behind_locating(), (texts{"info " + unit.path("num-phases")})) << rest;
            EXPECT_EQ(mode_of(unit), "0/I 9");
        }
}

TEST_F(displays, other_unit_takes_an_orientation_and_no_cycle)
{
    fake_node unit = other();
    EXPECT_EQ(answer("display 1 180"), line("180 degrees rotated"));
    EXPECT_EQ(mode_of(unit), "180/I 9");
    for (const char *form : {"display 1 0 30", "display 1 0 5", "display 1 0 -1"})
        EXPECT_EQ(answer(form), failure_text) << form;
    EXPECT_EQ(mode_of(unit), "180/I 9");
}

TEST_F(displays, counts_below_the_usual_make_an_other_unit)
{
    unit(1, 1, {"0/I"});
    unit(1, 2, {"0/I"}).serve("num-phases", "-1").serve("num-circuits", "-1");
    for (const char *number : {"1", "2"}) {
        EXPECT_EQ(answer(std::string("display ") + number + " 0"), line("normal", *number - '0'));
        EXPECT_EQ(answer(std::string("display ") + number + " 0 30"), failure_text);
    }
}

TEST_F(displays, orientation_is_tested_before_the_unit_is_looked_up)
{
    three_phase();
    two_segment();
    for (const char *form : {"display 1 90", "display 9 90", "display 9 -180", "display 9 1 I", "display 9 360 V 5",
                             "display 9 90 30", "display 9 90 5"}) {
        EXPECT_EQ(answer(form), failure_text) << form;
        EXPECT_EXCHANGES({});
    }
}

TEST_F(displays, letter_is_tested_before_the_unit_is_looked_up)
{
    three_phase();
    for (const char *form :
         {"display 9 0 i", "display 9 0 X", "display 9 180 v 5", "display 9 180 Volt", "display 9 180 W 30"}) {
        EXPECT_EQ(answer(form), failure_text) << form;
        EXPECT_EXCHANGES({});
    }
}

TEST_F(displays, argument_that_is_no_unit_is_told_once)
{
    three_phase();
    for (const char *form : {"display nobody", "display 0", "display 9", "display 9 0", "display 9 180 I",
                             "display 9 180 V 30", "display 9 0 30", "display 9 0 3"})
        EXPECT_EQ(answer(form), no_such_ipdu) << form;
}

TEST_F(displays, forms_that_there_are_not_match_no_row)
{
    three_phase();
    for (const char *form : {"display 1 I", "display 1 0 I x", "display 1 0 I 30x", "display 1 0 I 30 40",
                             "display 1 0 I30s", "display 1 0.5"}) {
        EXPECT_EQ(answer(form), failure_text) << form;
        EXPECT_EXCHANGES({});
    }
}

TEST_F(displays, refused_counts_are_logged_and_declined)
{
    two_segment().refuse("info", "num-circuits");
    three_phase().refuse("info", "num-phases");
    for (const char *form : {"display unit1 0", "display unit1 0 30"}) {
        EXPECT_EQ(answer(form), failure_text) << form;
        EXPECT_FAILURES({"Fail to get number of circuits of pdu 1@1"});
    }
    for (const char *form : {"display unit2 0", "display unit2 0 30", "display unit2 0 I", "display unit2 0 I 30"}) {
        EXPECT_EQ(answer(form), failure_text) << form;
        EXPECT_FAILURES({"Fail to get number of phases of pdu 2@1"});
    }
}

// --- Setting --------------------------------------------------------------------------------------------------------

TEST_F(displays, setting_without_a_cycle_leaves_and_hides_the_one_that_the_next_reading_tells)
{
    three_phase();
    EXPECT_EQ(answer("display 1 180 I"), line("180 degrees rotated, show current"));
    EXPECT_EQ(answer("display 1"), line("180 degrees rotated, show current, and cycle each 9 seconds"));
}

TEST_F(displays, intended_reading_and_writing_say_the_same)
{
    three_phase();
    const std::string written = answer("display 1 180 V 4");
    EXPECT_EQ(answer("display 1"), written);
}

TEST_F(displays, cycle_of_zero_is_set_and_told)
{
    fake_node unit = three_phase();
    EXPECT_EQ(answer("display 1 0 I 0"), line("normal, show current, and cycle each 0 seconds"));
    EXPECT_EQ(mode_of(unit), "0/I 0");
}

TEST_F(displays, negative_cycle_counts_as_not_given)
{
    fake_node unit = three_phase();
    fake_node second = two_segment();
    EXPECT_EQ(answer("display 1 180 I -5"), line("180 degrees rotated, show current"));
    EXPECT_EQ(mode_of(unit), "180/I 9");
    EXPECT_EQ(answer("display 2 180 -5"), line("180 degrees rotated", 2));
    EXPECT_EQ(mode_of(second), "180/I 9");
}

TEST_F(displays, voltage_on_a_unit_without_it_writes_nothing)
{
    fake_node made = unit(3, 3, {"0/I", "180/I"});
    for (const char *form : {"display 1 180 V", "display 1 180 V 30"}) {
        EXPECT_EQ(answer(form), failure_text);
        EXPECT_FAILURES({no_id, "No volt in display-mode for 1@1"});
    }
    EXPECT_EQ(mode_of(made), "0/I 9");
}

TEST_F(displays, cycle_on_a_unit_without_one_writes_nothing)
{
    fake_node made = three_phase().without("display-cycle");
    EXPECT_EQ(answer("display 1 180 I 30"), failure_text);
    EXPECT_FAILURES({no_id, "Node display-cycle unavailable for 1@1"});
    EXPECT_EQ(made.value("display-mode"), "0/I");
    EXPECT_EQ(answer("display 1 180 I"), line("180 degrees rotated, show current"));
}

TEST_F(displays, modes_that_can_not_be_listed_write_nothing)
{
    fake_node made = three_phase().refuse("mlist", "display-mode");
    EXPECT_EQ(answer("display 1 180 I 30"), failure_text);
    EXPECT_FAILURES({no_id, "List display-mode unavailable for 1@1"});
    EXPECT_EQ(mode_of(made), "0/I 9");
}

TEST_F(displays, refused_mode_is_logged_and_the_cycle_stays)
{
    fake_node made = three_phase().refuse("admin", "display-mode");
    EXPECT_EQ(answer("display 1 180 I 30"), failure_text);
    EXPECT_FAILURES({no_id, "Fail to set display mode for pdu 1@1, value 180/I"});
    EXPECT_EQ(mode_of(made), "0/I 9");
}

TEST_F(displays, intended_refused_cycle_leaves_the_new_mode)
{
    fake_node made = three_phase().refuse("admin", "display-cycle");
    EXPECT_EQ(answer("display 1 180 I 30"), failure_text);
    EXPECT_FAILURES({no_id, "Fail to set display cycle for pdu 1@1, value 30"});
    EXPECT_EQ(mode_of(made), "180/I 9");
}

// --- What no row can bring ------------------------------------------------------------------------------------------

TEST_F(displays, orientation_below_zero_fails_before_the_unit_is_asked)
{
    three_phase();
    char *out = nullptr;
    EXPECT_EQ(display_pdu_set(find_command_row(cmd_display_set3), &out, 1, 1, -1, 'I', -1), 1);
    EXPECT_EQ(out, nullptr);
    EXPECT_EXCHANGES({});
}

TEST_F(displays, orientation_that_there_is_not_is_written_and_then_has_no_words)
{
    fake_node made = three_phase();
    char *out = nullptr;
    EXPECT_EQ(display_pdu_set(find_command_row(cmd_display_set3), &out, 1, 1, 90, 'I', -1), 1);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(made.value("display-mode"), "90/I");
    EXPECT_FAILURES({"Fail to create display string 90/I,-1 for pdu 1@1"});
}

TEST_F(displays, mode_without_a_letter_has_no_separator)
{
    fake_node made = three_phase();
    char *out = nullptr;
    EXPECT_EQ(display_pdu_set(find_command_row(cmd_display_set3), &out, 1, 1, 180, '\0', -1), 0);
    EXPECT_EQ(out, line("180 degrees rotated"));
    free(out);
    EXPECT_EQ(made.value("display-mode"), "180");
}

// --- Failures -------------------------------------------------------------------------------------------------------

TEST_F(displays, any_exchange_of_a_reading_may_fail)
{
    three_phase();
    const std::string whole = line("normal, show current, and cycle each 9 seconds");
    // The first asks for a unit of the ID "1", which there is not; a failed probe for the cycle shows none.
    const texts expected = {whole,
                            no_such_ipdu,
                            no_such_ipdu,
                            failure_text,
                            failure_text,
                            failure_text,
                            line("normal, show current"),
                            failure_text,
                            whole};
    for (how way : {refused, dropped})
        EXPECT_EQ(
            each_failing_exchange(
                way, [&](int n) { EXPECT_EQ(answer("display 1"), expected.at(static_cast<size_t>(n - 1))) << n; }),
            8);
    EXPECT_EQ(each_failing_exchange(dropped, [](int) { answer("display"); }), 5);
}

TEST_F(displays, any_exchange_of_a_setting_may_fail)
{
    three_phase();
    two_segment();
    other();
    const std::pair<const char *, int> forms[] = {
        {"display 1 0 I", 7}, {"display 1 0 I 9", 9}, {"display 2 0", 8}, {"display 2 0 9", 10}, {"display 3 0", 8}};
    for (how way : {refused, dropped})
        for (const auto &[form, count] : forms) {
            const std::string whole = answer(form);
            const int last = count;
            int failed = each_failing_exchange(way, [&](int n) {
                const std::string text = answer(form);
                if (n == 1 || n > last)
                    EXPECT_EQ(text, whole) << form << ", " << n;
                else
                    EXPECT_EQ(text, n <= 3 ? no_such_ipdu : failure_text) << form << ", " << n;
            });
            EXPECT_EQ(failed, count) << form;
        }
}

// Each line of the text is a whole one. A lost list of modes or of children is as an empty one: no voltage, no cycle.
bool has_whole_lines(const std::string &text)
{
    if (text.empty() || text == no_such_ipdu || text == failure_text)
        return true;
    static const std::regex lines("(IPDU #[12]: Display mode set to normal(, show current)?"
                                  "(, and cycle each 9 seconds)?\\.\n){1,2}");
    return std::regex_match(text, lines);
}

TEST_F(displays, any_allocation_may_fail)
{
    three_phase();
    two_segment();
    for (const char *form :
         {"display", "display 1", "display 1 0 I", "display 1 0 I 9", "display 2 0", "display 2 0 9", "display 9"}) {
        int failed = each_failing_allocation([&](int n) {
            const std::string text = answer(form);
            EXPECT_TRUE(has_whole_lines(text)) << form << ", " << n << ": " << text;
        });
        EXPECT_GT(failed, 2) << form;
    }
}

TEST_F(displays, line_that_cannot_be_built_is_logged)
{
    three_phase();
    // The last allocations are the description, the fragment and the joined text.
    const texts logs = {"Fail to printf pdu 1 display normal, show current, and cycle each 9 seconds string",
                        "Fail to printf pdu 1 display normal, show current, and cycle each 9 seconds string",
                        "Fail to create display string 0/I,9 for pdu 1@1"};
    for (const char *form : {"display 1", "display 1 0 I 9"})
        for (int back = 0; back < 3; back++) {
            heap.fail_at(0);
            answer(form);
            heap.fail_at(heap.count() - back);
            EXPECT_EQ(answer(form), failure_text);
            EXPECT_LOGGED(logs[static_cast<size_t>(back)]);
        }
}

TEST_F(displays, absent_unit_that_cannot_be_told_is_logged)
{
    three_phase();
    for (const char *form : {"display 9", "display 9 0 I"}) {
        heap.fail_at(0);
        answer(form);
        heap.fail_at(heap.count() - 1);
        EXPECT_EQ(answer(form), failure_text);
        EXPECT_LOGGED("Fail to printf pdu 9 display invalid PDU");
    }
}

} // namespace

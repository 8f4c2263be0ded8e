// The switches of all units, `buzzer` and `syslog`: each behaviour holds for both.

#include "cmd/unit_switch.h"

#include "cmd/cmd_buzzer.h"
#include "cmd/cmd_syslog.h"
#include "tests/fakes/fakes.h"

namespace {

struct command {
    const char *word;
    const char *shown; // in the answers
    command_handler status;
};

struct unit_switches : testing::TestWithParam<command> {
    fake_chain chain;
    std::string word = GetParam().word;
    std::string leaf = "power.port.1.pdu.1." + word;

    std::string is(const std::string &state, int pdu = 1) const { return line(" is ", state, pdu); }
    std::string turned(const std::string &state, int pdu = 1) const { return line(" turned ", state, pdu); }

private:
    std::string line(const char *verb, const std::string &state, int pdu) const
    {
        return GetParam().shown + (verb + state) + " on IPDU #" + std::to_string(pdu) + "\n";
    }
};

INSTANTIATE_TEST_SUITE_P(both, unit_switches,
                         testing::Values(command{"buzzer", "Buzzer", cmd_buzzer_status},
                                         command{"syslog", "Syslog", cmd_syslog_status}),
                         [](const auto &given) { return std::string(given.param.word); });

// --- Reading --------------------------------------------------------------------------------------------------------

TEST_P(unit_switches, status_probes_and_reads_the_leaf)
{
    chain.unit().serve(word, "off");
    EXPECT_EQ(answer(word + " status"), is("OFF"));
    EXPECT_EQ(last_result(), 0);
    EXPECT_EXCHANGES({"mlist power.port.1.pdu.1", "info " + leaf});
    EXPECT_FAILURES({});
}

TEST_P(unit_switches, bare_word_shows_the_status)
{
    chain.unit().serve(word, "on");
    EXPECT_EQ(answer(word), is("ON"));
    EXPECT_EQ(answer(word + " status"), is("ON"));
}

TEST_P(unit_switches, all_units_are_shown_together_at_the_end)
{
    chain.unit().serve(word, "on");
    chain.unit().serve(word, "off");
    EXPECT_EQ(answer(word), is("ON") + is("OFF", 2));
    EXPECT_EQ(session.tap.size(), 1U);
}

TEST_P(unit_switches, tree_value_prints_in_capitals_and_whole)
{
    chain.unit().serve(word, "on until further notice, 24\xe9");
    EXPECT_EQ(answer(word), is("ON UNTIL FURTHER NOTICE, 24\xe9"));
}

TEST_P(unit_switches, value_absent_from_its_answer_shows_as_empty)
{
    chain.unit();
    tree.absent(leaf);
    EXPECT_EQ(answer(word), is(""));
}

TEST_P(unit_switches, unit_without_the_leaf_has_no_line_and_the_walk_goes_on)
{
    chain.unit();
    chain.unit().serve(word, "on");
    EXPECT_EQ(answer(word), is("ON", 2));
    EXPECT_FAILURES({"Node " + word + " unavailable for 1@1", "Fail to execute for PDU 1"});
}

TEST_P(unit_switches, refused_read_has_no_line_and_the_walk_goes_on)
{
    chain.unit().serve(word, "on").refuse("info", word);
    chain.unit().serve(word, "off");
    EXPECT_EQ(answer(word), is("OFF", 2));
    EXPECT_FAILURES({"Fail to get " + word + " status for pdu 1@1", "Fail to execute for PDU 1"});
}

TEST_P(unit_switches, chain_without_the_leaf_gives_an_empty_answer)
{
    chain.unit();
    chain.unit();
    for (const char *form : {"", " status", " on", " off"}) {
        EXPECT_EQ(answer(word + form), "");
        EXPECT_EQ(last_result(), 0);
    }
}

TEST_P(unit_switches, units_that_cannot_be_listed_decline_the_line)
{
    cli_own_name = 0; // without the segment the tree is asked
    tree.refuse("mlist", "power.port");
    called done = call(GetParam().status);
    EXPECT_EQ(done.result, 1);
    EXPECT_EQ(done.text, std::nullopt);
}

// --- Setting --------------------------------------------------------------------------------------------------------

TEST_P(unit_switches, setting_writes_small_letters_and_prints_capitals)
{
    chain.unit().serve(word, "off");
    EXPECT_EQ(answer(word + " on"), turned("ON"));
    EXPECT_EXCHANGES({"mlist power.port.1.pdu.1", "admin " + leaf + " on"});
    EXPECT_EQ(tree.value(leaf), "on");
    EXPECT_EQ(answer(word + " off"), turned("OFF"));
    EXPECT_EXCHANGES({"mlist power.port.1.pdu.1", "admin " + leaf + " off"});
    EXPECT_EQ(tree.value(leaf), "off");
}

TEST_P(unit_switches, setting_tells_what_was_asked_for_and_reads_nothing_back)
{
    fake_node unit = chain.unit().serve(word, "off");
    tree.when("admin", leaf, [&](const texts &) { unit.serve(word, "off"); });
    EXPECT_EQ(answer(word + " on"), turned("ON"));
}

TEST_P(unit_switches, one_of_two_units_with_the_leaf_is_set_and_told)
{
    chain.unit().serve(word, "off");
    chain.unit();
    EXPECT_EQ(answer(word + " on"), turned("ON"));
    EXPECT_EQ(tree.value(leaf), "on");
    EXPECT_EQ(chain.at(2).value(word), std::nullopt);
    EXPECT_FAILURES({"Node " + word + " unavailable for 2@1", "Fail to execute for PDU 2"});
}

TEST_P(unit_switches, every_unit_of_a_walk_gets_the_same_value)
{
    for (int pdu = 1; pdu <= 3; pdu++)
        chain.unit().serve(word, "off");
    EXPECT_EQ(answer(word + " on"), turned("ON") + turned("ON", 2) + turned("ON", 3));
    for (int pdu = 1; pdu <= 3; pdu++)
        EXPECT_EQ(chain.at(pdu).value(word), "on");
}

TEST_P(unit_switches, refused_write_has_no_line_and_the_walk_goes_on)
{
    chain.unit().serve(word, "off").refuse("admin", word);
    chain.unit().serve(word, "off");
    EXPECT_EQ(answer(word + " on"), turned("ON", 2));
    EXPECT_EQ(tree.value(leaf), "off");
    EXPECT_FAILURES({"Fail to set " + word + " on for pdu 1@1", "Fail to execute for PDU 1"});
}

TEST_P(unit_switches, forms_that_there_are_not_match_no_row)
{
    chain.unit().serve(word, "off");
    for (const char *form : {" 1", " on 1", " ON", "  on", " status 1", " toggle"}) {
        EXPECT_EQ(answer(word + form), failure_text) << form;
        EXPECT_EXCHANGES({});
    }
}

// --- Failures -------------------------------------------------------------------------------------------------------

TEST_P(unit_switches, any_exchange_may_fail)
{
    chain.unit().serve(word, "off");
    for (how way : {refused, dropped})
        for (const char *form : {"", " status", " on", " off"}) {
            const std::string whole = answer(word + form);
            int failed = each_failing_exchange(way, [&](int n) {
                EXPECT_EQ(answer(word + form), n <= 2 ? "" : whole) << form << ", " << n;
                EXPECT_EQ(last_result(), 0);
            });
            EXPECT_EQ(failed, 2);
        }
}

TEST_P(unit_switches, any_allocation_may_fail)
{
    chain.unit().serve(word, "off");
    for (const char *form : {"", " status", " on", " off"}) {
        const std::string whole = answer(word + form);
        int failed = each_failing_allocation([&](int n) {
            std::string text = answer(word + form);
            EXPECT_TRUE(text == whole || text == failure_text || text.empty()) << form << ", " << n << ": " << text;
        });
        EXPECT_GT(failed, 3) << form;
    }
}

TEST_P(unit_switches, line_that_cannot_be_built_is_logged)
{
    chain.unit().serve(word, "off");
    // The last allocations are the capitals, the fragment and the joined text.
    const texts logs = {"Fail to printf pdu 1 " + word + " ON string", "Fail to printf pdu 1 " + word + " ON string",
                        "Fail to printf pdu 1 " + word + " on string"};
    for (int back = 0; back < 3; back++) {
        heap.fail_at(0);
        answer(word + " on");
        heap.fail_at(heap.count() - back);
        EXPECT_EQ(answer(word + " on"), "");
        EXPECT_TRUE(heap.failed());
        EXPECT_LOGGED(logs[static_cast<size_t>(back)]);
    }
}

// --- What no row can bring ------------------------------------------------------------------------------------------

int silent_info(vrn_tsapi_handle *, char **, const char *const *, int, int)
{
    return 1;
}

int silent_admin(vrn_tsapi_handle *, const char *const *, int, int)
{
    return 0;
}

TEST(unit_switch, absent_or_empty_value_fails_before_the_unit_is_asked)
{
    fake_chain chain;
    chain.unit().serve("lamp", "off");
    constexpr unit_switch lamp = {"lamp", silent_info, silent_admin};
    char *out = nullptr;
    EXPECT_EQ(switch_set(lamp, 6, &out, 1, 1, nullptr), 1);
    EXPECT_EQ(switch_set(lamp, 6, &out, 1, 1, ""), 1);
    EXPECT_EQ(out, nullptr);
    EXPECT_EXCHANGES({});
    EXPECT_FAILURES({});
}

TEST(unit_switch, row_without_a_format_prints_nothing_and_succeeds)
{
    fake_chain chain;
    chain.unit().serve("lamp", "off");
    constexpr unit_switch lamp = {"lamp", silent_info, silent_admin};
    const int row = command_row_count - 1;
    ASSERT_EQ(command_table[row].format, nullptr);
    char *out = nullptr;
    EXPECT_EQ(switch_set(lamp, row, &out, 1, 1, "on"), 0);
    EXPECT_EQ(out, nullptr);
}

} // namespace

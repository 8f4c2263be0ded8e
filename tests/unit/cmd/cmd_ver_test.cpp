#include "cmd/cmd_ver.h"
#include "tests/fakes/fakes.h"

static const char one_phase[] = "IPDU #1: Hw with 8 outlets 32.0 AMPs max Sw V 2.1 id unit1 model 128. 0 banks.\n";

// The exchanges of `ver 1`: the unit, the probes, the reads.
static const texts locate = {"info power.pdu.1.pdu", "info power.num-devices", "info power.port.1.num-pdus"};
static const texts probes(3, "mlist power.port.1.pdu.1");
static const texts reads = {"info power.port.1.pdu.1.num-outlets", "info power.port.1.pdu.1.max-current",
                            "info power.port.1.pdu.1.version",     "info power.port.1.pdu.1.id",
                            "info power.port.1.pdu.1.num-phases",  "info power.port.1.pdu.1.num-circuits"};
static const texts topology = {"mlist power.port.1.pdu.1", "info power.port.1.pdu.1.topology"};

// A unit is looked for by its ID first: a number is none.
static const char no_id[] = "Fail to get pdu from pdu name 1";

static texts joined(std::initializer_list<texts> parts)
{
    texts all;
    for (const texts &part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

static texts first(const texts &all, size_t count)
{
    return {all.begin(), all.begin() + static_cast<ptrdiff_t>(count)};
}

// --- The line -------------------------------------------------------------------------------------------------------

TEST(ver, describes_a_unit_in_one_line)
{
    fake_chain chain;
    chain.unit({.outlets = 8, .phases = 1, .circuits = 2, .model = 130, .id = "rack-7"});

    EXPECT_EQ(answer("ver 1"), "IPDU #1: Hw with 8 outlets 32.0 AMPs max Sw V 2.1 id rack-7 model 130. 2 banks.\n");
    EXPECT_EQ(last_result(), 0);
    EXPECT_FAILURES({no_id});
}

TEST(ver, probes_and_reads_in_order)
{
    fake_chain chain;
    chain.unit();

    answer("ver 1");
    EXPECT_EQ(exchanges(), joined({locate, probes, reads}));
}

TEST(ver, single_and_three_phase_units_print_a_line_each_only_the_second_with_phases)
{
    fake_chain chain;
    chain.unit({.phases = 1});
    chain.unit({.outlets = 24, .phases = 3, .circuits = 6});

    EXPECT_EQ(answer("ver"),
              "IPDU #1: Hw with 8 outlets 32.0 AMPs max Sw V 2.1 id unit1 model 128. 0 banks.\n"
              "IPDU #2: Hw with 24 outlets 32.0 AMPs max Sw V 2.1 id unit2 model 128 (3 phases). 6 banks.\n");
}

TEST(ver, finds_a_unit_by_its_id)
{
    fake_chain chain;
    chain.unit();
    chain.unit({.id = "cellar"});

    EXPECT_EQ(answer("ver cellar"),
              "IPDU #2: Hw with 8 outlets 32.0 AMPs max Sw V 2.1 id cellar model 128. 0 banks.\n");
}

TEST(ver, unit_with_zero_banks_still_tells_them)
{
    fake_chain chain;
    chain.unit({.circuits = 0});
    EXPECT_EQ(answer("ver 1"), one_phase);
}

TEST(ver, negative_banks_leave_the_suffix_out)
{
    fake_chain chain;
    chain.unit().serve("num-circuits", "-1");
    EXPECT_EQ(answer("ver 1"), "IPDU #1: Hw with 8 outlets 32.0 AMPs max Sw V 2.1 id unit1 model 128.\n");
}

TEST(ver, unknown_model_prints_as_minus_one)
{
    fake_chain chain;
    chain.unit().unit().without("model_nr");
    cli_own_name = 0; // the tree is asked

    called done = call(cmd_ver_pdu, {"1"});
    EXPECT_EQ(done.result, 0);
    EXPECT_EQ(done.text, "IPDU #1: Hw with 8 outlets 32.0 AMPs max Sw V 2.1 id unit1 model -1. 0 banks.\n");
    EXPECT_FAILURES({no_id, "Fail to get model for pdu 1@1"});
}

TEST(ver, model_comes_from_the_tree_where_the_segment_is_unusable)
{
    fake_chain chain;
    chain.unit({.model = 131});
    cli_own_name = 0;

    EXPECT_EQ(call(cmd_ver_pdu, {"1"}).text,
              "IPDU #1: Hw with 8 outlets 32.0 AMPs max Sw V 2.1 id unit1 model 131. 0 banks.\n");
    texts expected = joined({locate, probes, reads});
    expected.insert(expected.end() - 2, "info power.port.1.pdu.1.model_nr");
    EXPECT_EQ(exchanges(), expected);
}

TEST(ver, row_without_a_format_prints_nothing_and_succeeds)
{
    fake_chain chain;
    chain.unit();
    char number[cli_arg_buffer_size] = "1";
    char *const buffers[cli_arg_count_max] = {number};
    char *out = nullptr;
    ASSERT_EQ(command_table[command_row_count - 1].format, nullptr);
    EXPECT_EQ(cmd_ver_pdu(command_row_count - 1, &out, {buffers}), 0);
    EXPECT_EQ(out, nullptr);
}

// --- The phase type -------------------------------------------------------------------------------------------------

class ver_phase_type : public testing::Test {
protected:
    static std::string line(int model, const std::string &phases)
    {
        return "IPDU #1: Hw with 8 outlets 32.0 AMPs max Sw V 2.1 id unit1 model " + std::to_string(model) + phases +
               ". 0 banks.\n";
    }

    fake_chain chain;
};

TEST_F(ver_phase_type, current_family_reads_it_from_its_first_to_its_last_model)
{
    fake_node unit = chain.unit({.phases = 3});
    unit.serve("topology", "WYE");
    for (int model : {128, 143}) {
        unit.publish("model_nr", std::to_string(model));
        EXPECT_EQ(answer("ver 1"), line(model, " (3 phases - WYE)"));
        EXPECT_EQ(exchanges(), joined({locate, probes, reads, topology}));
    }
}

TEST_F(ver_phase_type, models_beside_the_current_family_never_ask_for_it)
{
    fake_node unit = chain.unit({.phases = 3});
    unit.serve("topology", "WYE");
    for (int model : {127, 144}) {
        unit.publish("model_nr", std::to_string(model));
        EXPECT_EQ(answer("ver 1"), line(model, " (3 phases)"));
        EXPECT_EQ(exchanges(), joined({locate, probes, reads}));
    }
}

TEST_F(ver_phase_type, one_phase_unit_never_asks_for_it)
{
    chain.unit({.phases = 1}).serve("topology", "WYE");
    EXPECT_EQ(answer("ver 1"), line(128, ""));
    EXPECT_EQ(exchanges(), joined({locate, probes, reads}));
}

TEST_F(ver_phase_type, absent_capability_is_no_failure)
{
    chain.unit({.phases = 3});
    EXPECT_EQ(answer("ver 1"), line(128, " (3 phases)"));
    EXPECT_EQ(exchanges(), joined({locate, probes, reads, first(topology, 1)}));
    EXPECT_FAILURES({no_id});
}

TEST_F(ver_phase_type, empty_type_still_has_its_dash)
{
    chain.unit({.phases = 3}).serve("topology", "");
    EXPECT_EQ(answer("ver 1"), line(128, " (3 phases - )"));
}

TEST_F(ver_phase_type, type_answered_without_a_value_is_left_out)
{
    tree.absent(chain.unit({.phases = 2}).path("topology"));
    EXPECT_EQ(answer("ver 1"), line(128, " (2 phases)"));
    EXPECT_FAILURES({no_id});
}

TEST_F(ver_phase_type, failed_read_prints_no_line_at_all)
{
    chain.unit({.phases = 3}).serve("topology", "WYE").refuse("info", "topology");
    chain.unit();

    EXPECT_EQ(answer("ver 1"), failure_text);
    EXPECT_FAILURES({no_id, "Fail to get phase type for pdu 1@1"});
    EXPECT_EQ(answer("ver"), "IPDU #2: Hw with 8 outlets 32.0 AMPs max Sw V 2.1 id unit2 model 128. 0 banks.\n");
    EXPECT_FAILURES({"Fail to get phase type for pdu 1@1", "Fail to execute for PDU 1"});
}

// --- Failures -------------------------------------------------------------------------------------------------------

struct ver_leaf {
    const char *leaf;
    const char *words;
    size_t exchanges; // behind `locate`, up to and with the failing one
};

void PrintTo(const ver_leaf &leaf, std::ostream *stream)
{
    *stream << leaf.leaf;
}

class ver_probe : public testing::TestWithParam<ver_leaf> {};

TEST_P(ver_probe, unit_without_the_capability_is_logged_and_declined)
{
    fake_chain chain;
    chain.unit().without(GetParam().leaf);

    EXPECT_EQ(answer("ver 1"), failure_text);
    EXPECT_EQ(failures(), (texts{no_id, std::string("Node ") + GetParam().leaf + " unavailable for 1@1"}));
    EXPECT_EQ(exchanges(), joined({locate, first(probes, GetParam().exchanges)}));
}

TEST_P(ver_probe, walk_shows_the_units_that_answered)
{
    fake_chain chain;
    chain.unit().without(GetParam().leaf);
    chain.unit();

    EXPECT_EQ(answer("ver"), "IPDU #2: Hw with 8 outlets 32.0 AMPs max Sw V 2.1 id unit2 model 128. 0 banks.\n");
    EXPECT_EQ(failures(),
              (texts{std::string("Node ") + GetParam().leaf + " unavailable for 1@1", "Fail to execute for PDU 1"}));
}

INSTANTIATE_TEST_SUITE_P(nodes, ver_probe,
                         testing::Values(ver_leaf{"max-current", "", 1}, ver_leaf{"version", "", 2},
                                         ver_leaf{"id", "", 3}));

class ver_read : public testing::TestWithParam<ver_leaf> {};

TEST_P(ver_read, refused_read_is_logged_and_declined)
{
    fake_chain chain;
    chain.unit().refuse("info", GetParam().leaf);

    EXPECT_EQ(answer("ver 1"), failure_text);
    EXPECT_EQ(failures(), (texts{no_id, std::string("Fail to get ") + GetParam().words + " for pdu 1@1"}));
    EXPECT_EQ(exchanges(), joined({locate, probes, first(reads, GetParam().exchanges)}));
}

TEST_P(ver_read, walk_shows_the_units_that_answered)
{
    fake_chain chain;
    chain.unit().refuse("info", GetParam().leaf);
    chain.unit();

    EXPECT_EQ(answer("ver"), "IPDU #2: Hw with 8 outlets 32.0 AMPs max Sw V 2.1 id unit2 model 128. 0 banks.\n");
}

INSTANTIATE_TEST_SUITE_P(nodes, ver_read,
                         testing::Values(ver_leaf{"num-outlets", "number of outlets", 1},
                                         ver_leaf{"max-current", "max current", 2}, ver_leaf{"version", "version", 3},
                                         ver_leaf{"id", "id", 4}, ver_leaf{"num-phases", "number of phases", 5},
                                         ver_leaf{"num-circuits", "number of banks", 6}));

TEST(ver, number_absent_from_its_answer_counts_as_a_failed_read)
{
    for (const char *leaf : {"num-outlets", "num-phases", "num-circuits"}) {
        fake_chain chain;
        tree.absent(chain.unit().path(leaf));
        EXPECT_EQ(answer("ver 1"), failure_text) << leaf;
        tree.text("power.port.1.pdu.1." + std::string(leaf), "1");
    }
}

TEST(ver, text_absent_from_its_answer_shows_as_empty)
{
    fake_chain chain;
    fake_node unit = chain.unit();
    tree.absent(unit.path("max-current")).absent(unit.path("version")).absent(unit.path("id"));
    EXPECT_EQ(answer("ver 1"), "IPDU #1: Hw with 8 outlets  AMPs max Sw V  id  model 128. 0 banks.\n");
}

TEST(ver, number_that_is_none_counts_as_a_failed_read)
{
    fake_chain chain;
    chain.unit().serve("num-outlets", "eight");
    EXPECT_EQ(answer("ver 1"), failure_text);
    EXPECT_FAILURES({no_id, "Fail to get number of outlets for pdu 1@1"});
}

TEST(ver, argument_that_is_no_unit_is_told)
{
    fake_chain chain;
    chain.unit();
    for (const char *line : {"ver nobody", "ver 0", "ver 2", "ver -1"}) {
        EXPECT_EQ(answer(line), no_such_ipdu) << line;
        EXPECT_NE(last_result(), 1) << line; // text written: the line is dealt with
    }
}

TEST(ver, chain_where_no_unit_answers_prints_nothing)
{
    fake_chain chain;
    chain.unit().without("version");
    EXPECT_EQ(answer("ver"), "");
    EXPECT_EQ(last_result(), 0);
}

TEST(ver, lists_that_cannot_be_had_decline_the_line)
{
    cli_own_name = 0;
    called done = call(cmd_ver);
    EXPECT_EQ(done.result, 1);
    EXPECT_EQ(done.text, std::nullopt);
    EXPECT_EXCHANGES({"mlist power.port"});
    EXPECT_FAILURES({"Fail to retrieve list of Ports"});
}

// The probe of the phase type is no failure: without its list the line stands without it.
static std::string output_without_exchange(int n)
{
    const int probe_of_type = 13;
    if (n == 1)
        return "whole"; // no unit has that ID in any case
    if (n <= 3)
        return no_such_ipdu;
    return n < probe_of_type || n == probe_of_type + 1 ? failure_text : n == probe_of_type ? "no type" : "whole";
}

TEST(ver, any_exchange_may_fail)
{
    const std::string before = "IPDU #1: Hw with 8 outlets 32.0 AMPs max Sw V 2.1 id unit1 model 128 (3 phases";
    fake_chain chain;
    chain.unit({.phases = 3}).serve("topology", "DELTA");
    for (how way : {refused, dropped}) {
        int failed = each_failing_exchange(way, [&](int n) {
            std::string expected = output_without_exchange(n);
            if (expected == "whole")
                expected = before + " - DELTA). 0 banks.\n";
            else if (expected == "no type")
                expected = before + "). 0 banks.\n";
            EXPECT_EQ(answer("ver 1"), expected) << n;
        });
        EXPECT_EQ(failed, 14);
    }
}

TEST(ver, any_allocation_may_fail)
{
    fake_chain chain;
    chain.unit({.phases = 3}).serve("topology", "DELTA");
    const std::string whole = answer("ver 1");
    const std::string untyped = whole.substr(0, whole.find(" - ")) + "). 0 banks.\n";
    int failed = each_failing_allocation([&](int n) {
        std::string text = answer("ver 1");
        EXPECT_TRUE(text == whole || text == untyped || text == no_such_ipdu || text == failure_text)
            << n << ": " << text;
    });
    EXPECT_GT(failed, 14);
}

TEST(ver, line_that_cannot_be_built_is_logged)
{
    fake_chain chain;
    chain.unit();
    answer("ver 1");
    heap.fail_at(0);
    answer("ver 1");
    heap.fail_at(heap.count() - 1); // append_output takes two: the fragment and the joined text
    EXPECT_EQ(answer("ver 1"), failure_text);
    EXPECT_LOGGED("Fail to printf pdu 1 ver string");
}

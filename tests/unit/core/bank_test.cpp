// Banks: values out of two circuits, and the answer of each command that knows them.

#include "core/bank.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>

#include "core/shm_layout.h"
#include "tests/fakes/fakes.h"

namespace {

// What a fully published circuit has, scaled so that no two values of a line are alike.
void publish_circuit(const fake_node &circuit, int scale)
{
    static constexpr struct {
        const char *leaf;
        double value;
    } values[] = {{"current", 1.5},   {"current-min", 0.5}, {"current-max", 2.5},   {"current-avg", 1.0},
                  {"voltage", 230.0}, {"voltage-min", 220}, {"voltage-max", 240.0}, {"voltage-avg", 229.0},
                  {"power", 300.0},   {"power-min", 50.0},  {"power-max", 500.0},   {"power-avg", 100.0}};
    for (const auto &[leaf, value] : values)
        circuit.publish(leaf, std::to_string(value * scale));
}

// A unit of six circuits; the second and third feed the bank XY, the fourth and fifth the bank A.
struct banks : testing::Test {
    fake_chain chain;
    fake_node unit = chain.unit({.outlets = 1, .phases = 3, .circuits = 6});

    banks()
    {
        errno = 0;
        unit.circuit(2).publish("sys-name", "XY1");
        unit.circuit(4).publish("sys-name", "A1");
    }
    called ask(int row, const char *name, int port = 1) const
    {
        forget();
        char *out = nullptr;
        called done;
        size_t before = heap.live();
        done.result = answer_dummy_bank(port, 1, row, &out, name);
        if (out)
            done.text = out;
        free(out);
        EXPECT_EQ(heap.live(), before);
        return done;
    }
};

enum { current_row = 28, current_summary_row = 21, threshold_row = 23 };

// --- Values ---------------------------------------------------------------------------------------------------------

TEST_F(banks, value_is_that_of_the_circuit_in_the_segment)
{
    unit.circuit(2).publish("current", "1.5");
    EXPECT_EQ(value_dummy_bank(1, 1, 2, shm_mask_current), 1.5);
    EXPECT_EXCHANGES({});
}

TEST_F(banks, value_without_a_circuit_a_value_or_a_segment_is_0)
{
    unit.circuit(2).publish("current", "1.5");
    EXPECT_EQ(value_dummy_bank(1, 1, -1, shm_mask_current), 0.0);
    EXPECT_EQ(value_dummy_bank(1, 1, 7, shm_mask_current), 0.0);
    EXPECT_EQ(value_dummy_bank(1, 2, 2, shm_mask_current), 0.0);
    EXPECT_EQ(value_dummy_bank(1, 1, 2, 0x02000000), 0.0);
    EXPECT_EQ(value_dummy_bank(1, 1, 3, shm_mask_current), 0.0);
    cli_own_name = 0;
    EXPECT_EQ(value_dummy_bank(1, 1, 2, shm_mask_current), 0.0);
    EXPECT_EXCHANGES({});
    EXPECT_FAILURES({});
}

TEST_F(banks, value_that_is_no_number_is_0)
{
    unit.circuit(2).publish("cumulative-starttime", "2011-07-22 13:17:00").publish("voltage-type", "MEASURED");
    EXPECT_EQ(value_dummy_bank(1, 1, 2, shm_mask_cumulative_starttime), 0.0) << "not 2011";
    EXPECT_EQ(value_dummy_bank(1, 1, 2, shm_mask_voltage_type), 0.0);
}

TEST_F(banks, range_error_of_an_earlier_conversion_makes_the_value_0)
{
    unit.circuit(2).publish("current", "1.5");
    value_dummy_bank(1, 1, 2, shm_mask_current); // the segment is attached, which leaves an errno of its own
    errno = ERANGE;
    EXPECT_EQ(value_dummy_bank(1, 1, 2, shm_mask_current), 0.0);
    errno = 0;
    EXPECT_EQ(value_dummy_bank(1, 1, 2, shm_mask_current), 1.5);
}

TEST_F(banks, value_is_told_in_debug_mode)
{
    unit.circuit(2).publish("current", "1.5");
    cli_debug = 1;
    value_dummy_bank(1, 1, 2, shm_mask_current);
    EXPECT_LOGGED("val 1.500000");
}

TEST_F(banks, sum_is_of_the_circuit_and_the_next)
{
    unit.circuit(2).publish("current", "1.5");
    unit.circuit(3).publish("current", "2.0");
    unit.circuit(4).publish("current", "100.0");
    EXPECT_EQ(sum_dummy_bank(1, 1, 2, shm_mask_current), 3.5);
    EXPECT_EQ(sum_dummy_bank(1, 1, 6, shm_mask_current), 0.0) << "the last one has no next";
}

TEST_F(banks, first_is_the_value_of_the_circuit_unless_that_is_0)
{
    unit.circuit(2).publish("voltage", "230.0");
    unit.circuit(3).publish("voltage", "231.0");
    EXPECT_EQ(first_dummy_bank(1, 1, 2, shm_mask_voltage), 230.0);
    unit.circuit(2).publish("voltage", "0.0");
    EXPECT_EQ(first_dummy_bank(1, 1, 2, shm_mask_voltage), 231.0);
}

// The room that a circuit 0 would have lies among the phases.
TEST_F(banks, missing_circuit_reads_nothing_of_a_circuit_0)
{
    for (const char *leaf : {"current", "current-min", "current-max", "current-avg", "voltage", "voltage-max"})
        unit.phase(3).publish(leaf, "77.0");
    unit.circuit(1).publish("current", "5.0").publish("voltage", "5.0");
    EXPECT_EQ(sum_dummy_bank(1, 1, -1, shm_mask_current), 0.0);
    EXPECT_EQ(first_dummy_bank(1, 1, -1, shm_mask_voltage), 0.0);
    EXPECT_EQ(value_dummy_bank(1, 1, 0, shm_mask_current), 0.0);
    EXPECT_EQ(pf_dummy_bank(1, 1, -1, shm_mask_power_factor), 0.0);
    cli_debug = 1;
    EXPECT_EQ(ask(current_summary_row, "B").text, "1,B:0.0A,0.0A,0.0A,0.0A\n");
    EXPECT_NOT_LOGGED("val 0.000000") << "nothing was read";
}

// --- Power factor ---------------------------------------------------------------------------------------------------

TEST_F(banks, power_factor_is_power_by_current_and_voltage)
{
    unit.circuit(2).publish("current", "1.0").publish("voltage", "100.0").publish("power", "100.0");
    unit.circuit(3).publish("current", "1.0").publish("voltage", "200.0").publish("power", "50.0");
    EXPECT_DOUBLE_EQ(pf_dummy_bank(1, 1, 2, shm_mask_power_factor), 0.75);
}

TEST_F(banks, power_factor_is_1_at_most)
{
    unit.circuit(2).publish("current", "1.0").publish("voltage", "100.0").publish("power", "500.0");
    EXPECT_EQ(pf_dummy_bank(1, 1, 2, shm_mask_power_factor), 1.0);
}

TEST_F(banks, power_factor_without_current_or_voltage_is_0)
{
    unit.circuit(2).publish("voltage", "100.0").publish("power", "500.0");
    EXPECT_EQ(pf_dummy_bank(1, 1, 2, shm_mask_power_factor), 0.0);
    unit.circuit(2).publish("current", "1.0").publish("voltage", "0.0");
    EXPECT_EQ(pf_dummy_bank(1, 1, 2, shm_mask_power_factor), 0.0);
}

TEST_F(banks, each_power_factor_has_its_own_sources)
{
    static constexpr struct {
        uint32_t mask;
        const char *ending;
    } factors[] = {{0x00040000, ""}, {0x00080000, "-min"}, {0x00100000, "-max"}, {0x00200000, "-avg"}};
    for (const auto &[mask, ending] : factors)
        unit.circuit(2)
            .publish(std::string("current") + ending, "2.0")
            .publish(std::string("voltage") + ending, "100.0");
    double expected = 0.0;
    for (const auto &[mask, ending] : factors) {
        expected += 0.1;
        unit.circuit(2).publish(std::string("power") + ending, std::to_string(expected * 200));
    }
    for (double factor = 0.1; const auto &[mask, ending] : factors) {
        EXPECT_NEAR(pf_dummy_bank(1, 1, 2, mask), factor, 1e-9) << ending;
        factor += 0.1;
    }
    for (uint32_t mask : {0u, 0x10u, 0x400000u, 0xC0000u})
        EXPECT_EQ(pf_dummy_bank(1, 1, 2, mask), 0.0) << mask;
}

// --- Answers --------------------------------------------------------------------------------------------------------

struct bank_line {
    int row;
    const char *line; // typed
    const char *answer;
    const char *nothing; // without the circuits
};

struct bank_command : banks, testing::WithParamInterface<bank_line> {};

const bank_line bank_lines[] = {
    {21, "current summary 1 XY", "1,XY:4.5A,7.5A,1.5A,3.0A\n", "1,XY:0.0A,0.0A,0.0A,0.0A\n"},
    {28, "current 1 XY",
     "IPDU #1: True RMS current for segment XY: 4.5A. Maximum current for segment XY: 7.5A. "
     "Minimum current for segment XY: 1.5A. Average current for segment XY: 3.0A\n",
     "IPDU #1: True RMS current for segment XY: 0.0A. Maximum current for segment XY: 0.0A. "
     "Minimum current for segment XY: 0.0A. Average current for segment XY: 0.0A\n"},
    {34, "voltage summary 1 XY", "1,XY:230.0V,240.0V,220.0V,229.0V\n", "1,XY:0.0V,0.0V,0.0V,0.0V\n"},
    {38, "voltage 1 XY",
     "IPDU #1: RMS voltage between X and Y: 230.0V. Maximum voltage between X and Y: 240.0V. "
     "Minimum voltage between X and Y: 220.0V. Average voltage between X and Y: 229.0V\n",
     "IPDU #1: RMS voltage between X and Y: 0.0V. Maximum voltage between X and Y: 0.0V. "
     "Minimum voltage between X and Y: 0.0V. Average voltage between X and Y: 0.0V\n"},
    {44, "power summary 1 XY", "1,XY:900.0W,1500.0W,150.0W,300.0W\n", "1,XY:0.0W,0.0W,0.0W,0.0W\n"},
    {48, "power 1 XY",
     "IPDU #1: Power for segment XY: 900.0W. Maximum power for segment XY: 1500.0W. "
     "Minimum power for segment XY: 150.0W. Average power for segment XY: 300.0W\n",
     "IPDU #1: Power for segment XY: 0.0W. Maximum power for segment XY: 0.0W. "
     "Minimum power for segment XY: 0.0W. Average power for segment XY: 0.0W\n"},
    {54, "powerfactor summary 1 XY", "1,XY:0.87,0.83,0.45,0.44\n", "1,XY:0.00,0.00,0.00,0.00\n"},
    {58, "powerfactor 1 XY",
     "IPDU #1: Power factor for segment XY: 0.87. Maximum power factor for segment XY: 0.83. "
     "Minimum power factor for segment XY: 0.45. Average power factor for segment XY: 0.44\n",
     "IPDU #1: Power factor for segment XY: 0.00. Maximum power factor for segment XY: 0.00. "
     "Minimum power factor for segment XY: 0.00. Average power factor for segment XY: 0.00\n"},
    {23, "current threshold 1 XY", "IPDU #1: Threshold for segment XY (A): 0.0:0.0:0.0:0.0\n",
     "IPDU #1: Threshold for segment XY (A): 0.0:0.0:0.0:0.0\n"},
};

std::string title(const testing::TestParamInfo<bank_line> &info)
{
    std::string words = info.param.line;
    for (char &letter : words)
        letter = isalnum(static_cast<unsigned char>(letter)) ? letter : '_';
    return words;
}

INSTANTIATE_TEST_SUITE_P(lines, bank_command, testing::ValuesIn(bank_lines), title);

TEST_P(bank_command, answers_out_of_two_circuits)
{
    publish_circuit(unit.circuit(2), 1);
    publish_circuit(unit.circuit(3), 2);
    EXPECT_EQ(answer(GetParam().line), GetParam().answer);
    EXPECT_EQ(last_result(), 0);
}

TEST_P(bank_command, answers_with_zeros_without_the_circuits)
{
    unit.circuit(2).publish("sys-name", "S2");
    for (int phase : {1, 2, 3})
        publish_circuit(unit.phase(phase), 1);
    for (int circuit : {1, 2, 3})
        publish_circuit(unit.circuit(circuit), 1);
    EXPECT_EQ(answer(GetParam().line), GetParam().nothing);
    EXPECT_EQ(last_result(), 0);
}

TEST_P(bank_command, declines_on_a_legacy_unit)
{
    for (int model : {127, 144}) {
        unit.publish("model_nr", std::to_string(model));
        EXPECT_EQ(answer(GetParam().line), failure_text) << model;
        EXPECT_EQ(last_result(), 1);
    }
}

TEST_P(bank_command, answers_on_the_whole_current_family)
{
    for (int model : {128, 143}) {
        unit.publish("model_nr", std::to_string(model));
        EXPECT_NE(answer(GetParam().line), failure_text) << model;
    }
}

TEST_P(bank_command, declines_without_memory_for_its_texts)
{
    int declined = 0;
    EXPECT_GT(each_failing_allocation([&](int n) {
                  called done = call(GetParam().row, {"unit1", "XY"});
                  if (done.text == no_such_ipdu)
                      return;
                  EXPECT_EQ(done.result == 0, done.text.has_value()) << n;
                  EXPECT_TRUE(!done.text || done.text->ends_with('\n')) << n;
                  declined += done.result;
              }),
              0);
    EXPECT_GE(declined, 3) << "the label, the fragment and the accumulator at least";
}

TEST_P(bank_command, no_circuit_is_missing_from_a_value_for_want_of_memory)
{
    const called whole = call(GetParam().row, {"unit1", "XY"});
    ASSERT_TRUE(whole.text);
    each_failing_allocation([&](int n) {
        const called done = call(GetParam().row, {"unit1", "XY"});
        EXPECT_TRUE(!done.text || done.text == whole.text || done.text == GetParam().nothing ||
                    done.text == no_such_ipdu)
            << n << ": " << *done.text;
    });
}

TEST_P(bank_command, answers_without_a_list_of_circuits)
{
    for (how way : {refused, dropped}) {
        int declined = 0;
        const int exchanges = each_failing_exchange(way, [&](int) {
            called done = call(GetParam().row, {"unit1", "XY"});
            EXPECT_TRUE(done.text == GetParam().nothing || done.text == no_such_ipdu) << done.text.value_or("nothing");
            declined += done.result;
        });
        EXPECT_EQ(exchanges, 6) << "the chain's length, each list of elements, and the circuits once more";
        EXPECT_EQ(declined, 2) << "without the chain's length";
    }
}

// --- Names ----------------------------------------------------------------------------------------------------------

TEST_F(banks, ten_names_are_known_each_by_its_own_circuit)
{
    unit.circuit(2).publish("current", "1.5");
    for (const std::string name : {"A", "B", "C", "D", "XY", "XZ", "YZ", "XN", "YN", "ZN"}) {
        unit.circuit(4).publish("sys-name", "S4");
        unit.circuit(2).publish("sys-name", name + "1");
        EXPECT_EQ(answer("current summary 1 " + name), "1," + name + ":1.5A,0.0A,0.0A,0.0A\n");
        unit.circuit(2).publish("sys-name", name + "2");
        EXPECT_EQ(answer("current summary 1 " + name), "1," + name + ":0.0A,0.0A,0.0A,0.0A\n");
    }
}

TEST_F(banks, other_names_are_declined)
{
    for (const char *name : {"E", "X", "YX", "xy", "a", "XYZ", "XY1x", "AB", "NX", "A1x"}) {
        called done = ask(current_row, name);
        EXPECT_EQ(done.result, 0) << name;
        EXPECT_EQ(done.text, std::nullopt) << name;
    }
    EXPECT_EXCHANGES({});
}

TEST_F(banks, node_of_that_name_is_shown_itself)
{
    unit.phase(1).publish("sys-name", "A");
    publish_circuit(unit.phase(1), 1);
    publish_circuit(unit.circuit(4), 1);
    EXPECT_EQ(answer("current summary 1 A"), "1,A:1.5A,2.5A,0.5A,1.0A\n");
    EXPECT_EQ(answer("current 1 A").substr(0, 39), "IPDU #1: True RMS current for phase A: ");
}

TEST_F(banks, bank_of_one_letter_reads_as_a_pair_without_its_second_in_voltages)
{
    publish_circuit(unit.circuit(4), 1);
    EXPECT_EQ(answer("voltage 1 A"),
              "IPDU #1: RMS voltage between A and : 230.0V. Maximum voltage between A and : 240.0V. "
              "Minimum voltage between A and : 220.0V. Average voltage between A and : 229.0V\n");
    EXPECT_EQ(answer("voltage summary 1 A"), "1,A:230.0V,240.0V,220.0V,229.0V\n");
    EXPECT_EQ(answer("power 1 A").substr(0, 31), "IPDU #1: Power for segment A: 3");
}

TEST_F(banks, voltage_is_that_of_the_next_circuit_where_the_first_reads_0)
{
    publish_circuit(unit.circuit(3), 1);
    EXPECT_EQ(answer("voltage summary 1 XY"), "1,XY:230.0V,240.0V,220.0V,229.0V\n");
}

// --- Commands and units ---------------------------------------------------------------------------------------------

TEST_F(banks, other_commands_are_declined)
{
    for (int row = 0; row < command_row_count; row++) {
        bool known = std::any_of(std::begin(bank_lines), std::end(bank_lines),
                                 [row](const bank_line &line) { return line.row == row; });
        called done = ask(row, "XY");
        EXPECT_EQ(done.result, known) << row;
        EXPECT_EQ(done.text.has_value(), known) << row;
    }
}

TEST_F(banks, unit_of_unknown_model_is_declined)
{
    EXPECT_EQ(ask(current_row, "XY", 2).result, 0);
    EXPECT_FAILURES({"Fail to get model for pdu 1@2"});
    EXPECT_EXCHANGES({"info power.port.2.pdu.1.model_nr"});
}

TEST_F(banks, values_come_from_the_segment_alone)
{
    publish_circuit(unit.circuit(2), 1);
    cli_own_name = 0;
    EXPECT_EQ(ask(current_summary_row, "XY").text, "1,XY:0.0A,0.0A,0.0A,0.0A\n");
    EXPECT_EQ(exchanges().back(), "info power.port.1.pdu.1.circuit.2.sys-name");
}

TEST_F(banks, answer_is_added_behind_what_stands)
{
    char *out = strdup("before\n");
    EXPECT_EQ(answer_dummy_bank(1, 1, threshold_row, &out, "A"), 1);
    EXPECT_STREQ(out, "before\nIPDU #1: Threshold for segment A (A): 0.0:0.0:0.0:0.0\n");
    free(out);
}

TEST_F(banks, debug_mode_tells_the_name_the_model_and_the_circuit)
{
    cli_debug = 1;
    ask(current_row, "XYZ");
    EXPECT_LOGGED("elem_s XYZ, model 128");
    EXPECT_NOT_LOGGED("bank XYZ1");
    ask(current_row, "XY");
    EXPECT_LOGGED("elem_s XY, model 128");
    EXPECT_LOGGED("bank XY1");
    ask(current_row, "A");
    EXPECT_LOGGED("bank A1");
}

} // namespace

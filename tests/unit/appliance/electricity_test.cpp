// What the meters of a unit read of the loads behind them: the sums agree, the phases of a delta carry what their
// circuits put on them, and time brings energy.

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "appliance/model/electricity.h"
#include "tests/unit/appliance/morvd_desk.h"

static chain one_unit(const std::string &lines, bool noise = false)
{
    return chain_from("noise = " + std::string(noise ? "true" : "false") +
                      "\n[[port]]\nname = 'local'\n[[port.unit]]\nmodel_nr = 130\nmetering = ['unit', 'phase', "
                      "'circuit', 'outlet']\n" +
                      lines)
        .units;
}

static unit measured(const std::string &lines, bool noise = false, int64_t at_ms = 0)
{
    chain units = one_unit(lines, noise);
    measure(units, at_ms);
    return units.ports[0].units[0];
}

static double value(const meter &of, quantity which)
{
    return of.now[which];
}

static constexpr quantity amperes = quantity::current;
static constexpr quantity watts = quantity::power;
static constexpr quantity volts = quantity::voltage;
static constexpr quantity factor = quantity::power_factor;

template <class Part> static double sum(const std::vector<Part> &parts, quantity which)
{
    double total = 0;
    for (const Part &one : parts)
        total += value(one.measured, which);
    return total;
}

// Every kind of circuit beside outlets of many loads, one of them off.
static constexpr char mixed_delta[] = R"(
voltage = 120
phases = 3
topology = "delta"
circuits = 6
outlets = 12
load = 200
power_factor = 0.9
[[port.unit.circuit]]
number = 6
sys_name = "ZN1"
phases = [3]
[[port.unit.outlet]]
number = 1
load = 1500
power_factor = 0.5
[[port.unit.outlet]]
number = 4
load = 800
power_factor = 1
[[port.unit.outlet]]
number = 7
state = "off"
load = 5000
[[port.unit.outlet]]
number = 12
load = 640
power_factor = 0.7
)";

// --- At one node ----------------------------------------------------------------------------------------------------

TEST(electricity, outlet_draws_its_load_at_its_power_factor)
{
    unit made = measured("outlets = 1\nload = 460\npower_factor = 0.8\n");
    const meter &outlet = made.outlets[0].measured;
    EXPECT_DOUBLE_EQ(value(outlet, watts), 460);
    EXPECT_DOUBLE_EQ(value(outlet, volts), 230);
    EXPECT_DOUBLE_EQ(value(outlet, factor), 0.8);
    EXPECT_DOUBLE_EQ(value(outlet, amperes), 460 / 0.8 / 230);
}

TEST(electricity, outlet_that_is_off_draws_nothing_and_still_has_voltage)
{
    unit made = measured("outlets = 2\nload = 100\n[[port.unit.outlet]]\nstate = 'off'\n");
    const meter &off = made.outlets[0].measured;
    EXPECT_EQ(value(off, amperes), 0);
    EXPECT_EQ(value(off, watts), 0);
    EXPECT_EQ(value(off, factor), 0);
    EXPECT_EQ(value(off, volts), 230);
    EXPECT_DOUBLE_EQ(value(made.measured, watts), 100);
}

TEST(electricity, power_is_voltage_times_current_times_power_factor_at_every_node)
{
    unit made = measured(mixed_delta, true, 12345);
    auto expect_consistent = [](const meter &of) {
        EXPECT_NEAR(value(of, watts), value(of, volts) * value(of, amperes) * value(of, factor), 1e-6);
        EXPECT_LE(value(of, factor), 1);
    };
    expect_consistent(made.measured);
    for (const phase &one : made.phases)
        expect_consistent(one.measured);
    for (const circuit &one : made.circuits)
        expect_consistent(one.measured);
    for (const outlet &one : made.outlets)
        expect_consistent(one.measured);
}

TEST(electricity, circuits_lie_at_the_voltage_between_their_ends)
{
    unit made = measured(mixed_delta);
    EXPECT_NEAR(value(made.circuits[0].measured, volts), 120 * std::numbers::sqrt3, 1e-9);
    EXPECT_NEAR(value(made.outlets[0].measured, volts), 120 * std::numbers::sqrt3, 1e-9);
    EXPECT_NEAR(value(made.circuits[5].measured, volts), 120, 1e-9);
    EXPECT_NEAR(value(made.phases[1].measured, volts), 120, 1e-9);
    EXPECT_NEAR(value(made.measured, volts), 120, 1e-9);
}

// --- Sums -----------------------------------------------------------------------------------------------------------

TEST(electricity, powers_agree_from_outlets_over_circuits_and_phases_to_the_unit)
{
    for (bool noise : {false, true}) {
        unit made = measured(mixed_delta, noise, 98765);
        double total = value(made.measured, watts);
        EXPECT_GT(total, 4000);
        EXPECT_NEAR(sum(made.outlets, watts), total, 1e-6);
        EXPECT_NEAR(sum(made.circuits, watts), total, 1e-6);
        EXPECT_NEAR(sum(made.phases, watts), total, 1e-6);
        EXPECT_NEAR(sum(made.phases, amperes), value(made.measured, amperes), 1e-9);
    }
}

TEST(electricity, circuit_adds_its_outlets_up_by_real_and_reactive_power)
{
    unit made = measured("circuits = 1\noutlets = 2\n[[port.unit.outlet]]\nload = 300\npower_factor = 0.6\n"
                         "[[port.unit.outlet]]\nload = 500\n");
    const meter &circuit = made.circuits[0].measured;
    double apparent = std::hypot(800.0, 400.0); // the first one takes 400 var
    EXPECT_NEAR(value(circuit, watts), 800, 1e-9);
    EXPECT_NEAR(value(circuit, amperes), apparent / 230, 1e-9);
    EXPECT_NEAR(value(circuit, factor), 800 / apparent, 1e-9);
}

TEST(electricity, single_phase_carries_all_circuits_and_the_unit_reads_the_same)
{
    unit made = measured("circuits = 2\noutlets = 4\nload = 230\n");
    EXPECT_NEAR(value(made.circuits[1].measured, amperes), 2, 1e-9);
    EXPECT_NEAR(value(made.phases[0].measured, amperes), 4, 1e-9);
    EXPECT_NEAR(value(made.measured, amperes), 4, 1e-9);
    EXPECT_NEAR(value(made.measured, factor), 1, 1e-9);
}

TEST(electricity, unit_without_circuits_feeds_its_outlets_from_the_phase)
{
    unit made = measured("outlets = 3\nload = 115\n");
    EXPECT_NEAR(value(made.phases[0].measured, amperes), 1.5, 1e-9);
    EXPECT_NEAR(value(made.measured, watts), 345, 1e-9);
}

TEST(electricity, unit_without_outlets_reads_its_voltage_and_nothing_else)
{
    unit made = measured("phases = 3\n");
    EXPECT_EQ(value(made.measured, amperes), 0);
    EXPECT_NEAR(value(made.measured, volts), 230, 1e-9);
}

// --- Three phases ---------------------------------------------------------------------------------------------------

TEST(electricity, balanced_delta_puts_root_three_of_a_circuit_on_each_phase)
{
    unit made = measured("voltage = 120\nphases = 3\ntopology = 'delta'\ncircuits = 3\noutlets = 3\nload = 1000\n"
                         "power_factor = 0.8\n");
    double circuit = 1000 / 0.8 / (120 * std::numbers::sqrt3);
    for (int i = 0; i < 3; i++) {
        EXPECT_NEAR(value(made.circuits[static_cast<size_t>(i)].measured, amperes), circuit, 1e-9);
        const meter &phase = made.phases[static_cast<size_t>(i)].measured;
        EXPECT_NEAR(value(phase, amperes), circuit * std::numbers::sqrt3, 1e-9);
        EXPECT_NEAR(value(phase, watts), 1000, 1e-9);
        EXPECT_NEAR(value(phase, factor), 0.8, 1e-9);
    }
}

TEST(electricity, one_circuit_of_a_delta_loads_two_phases_and_not_the_third)
{
    unit made = measured("voltage = 120\nphases = 3\ntopology = 'delta'\ncircuits = 3\noutlets = 3\n"
                         "[[port.unit.outlet]]\nload = 1000\n");
    double circuit = 1000 / (120 * std::numbers::sqrt3);
    EXPECT_NEAR(value(made.phases[0].measured, amperes), circuit, 1e-9);
    EXPECT_NEAR(value(made.phases[1].measured, amperes), circuit, 1e-9);
    EXPECT_NEAR(value(made.phases[2].measured, amperes), 0, 1e-9);
    EXPECT_NEAR(value(made.phases[0].measured, factor), std::numbers::sqrt3 / 2, 1e-9); // 30 degrees off
    EXPECT_NEAR(value(made.phases[0].measured, watts), 500, 1e-9);
}

TEST(electricity, two_circuits_of_a_delta_meet_in_a_phase_at_sixty_degrees)
{
    unit made = measured("voltage = 120\nphases = 3\ntopology = 'delta'\ncircuits = 3\noutlets = 3\nload = 600\n"
                         "[[port.unit.outlet]]\nnumber = 3\nload = 0\n"); // XY and XZ, not YZ
    double circuit = 600 / (120 * std::numbers::sqrt3);
    EXPECT_NEAR(value(made.phases[0].measured, amperes), circuit * std::numbers::sqrt3, 1e-9);
    EXPECT_NEAR(value(made.phases[1].measured, amperes), circuit, 1e-9);
    EXPECT_NEAR(value(made.phases[2].measured, amperes), circuit, 1e-9);
}

TEST(electricity, circuits_to_the_neutral_load_their_own_phase_alone)
{
    unit made = measured("phases = 3\ntopology = 'wye'\ncircuits = 6\noutlets = 6\n[[port.unit.outlet]]\nload = 230\n"
                         "[[port.unit.outlet]]\nload = 460\n[[port.unit.outlet]]\nload = 690\n");
    EXPECT_NEAR(value(made.phases[0].measured, amperes), 3, 1e-9);
    EXPECT_NEAR(value(made.phases[1].measured, amperes), 3, 1e-9);
    EXPECT_NEAR(value(made.phases[2].measured, amperes), 0, 1e-9);
    EXPECT_NEAR(value(made.measured, amperes), 6, 1e-9);
    EXPECT_NEAR(value(made.measured, factor), 1, 1e-9);
}

TEST(electricity, no_load_that_a_file_may_name_gives_power_back_to_a_phase)
{
    const std::string lines = "phases = 3\ntopology = 'delta'\ncircuits = 3\noutlets = 3\n[[port.unit.outlet]]\n"
                              "load = 5000\npower_factor = 0.5\n";
    unit even = measured(lines);
    for (const phase &one : even.phases)
        EXPECT_GE(value(one.measured, watts), -1e-9);
    unit wavering = measured(lines, true, 30'000); // the voltages are not quite even then, and the sums agree still
    EXPECT_NEAR(sum(wavering.phases, watts), value(wavering.measured, watts), 1e-9);
    EXPECT_NEAR(sum(wavering.outlets, watts), value(wavering.measured, watts), 1e-6);
    for (const phase &one : wavering.phases)
        EXPECT_GE(value(one.measured, watts), -5000 * 0.01);
}

// --- Wavering -------------------------------------------------------------------------------------------------------

TEST(electricity, loads_and_voltages_waver_a_little_and_by_the_seed)
{
    const std::string lines = "outlets = 2\nload = 1000\n";
    bool moved = false;
    for (int64_t at = 0; at < 600'000; at += 1000) {
        unit made = measured(lines, true, at);
        EXPECT_NEAR(value(made.outlets[0].measured, watts), 1000, 20);
        EXPECT_NEAR(value(made.measured, volts), 230, 1.15);
        moved = moved || std::abs(value(made.outlets[0].measured, watts) - 1000) > 5;
    }
    EXPECT_TRUE(moved);
    unit made = measured(lines, true, 7000), again = measured(lines, true, 7000);
    EXPECT_EQ(value(made.measured, watts), value(again.measured, watts));
    EXPECT_NE(value(made.outlets[0].measured, watts), value(made.outlets[1].measured, watts));

    chain other = one_unit(lines, true);
    other.seed = 2;
    measure(other, 7000);
    EXPECT_NE(value(other.ports[0].units[0].measured, watts), value(made.measured, watts));
}

TEST(electricity, outlet_that_goes_off_does_not_disturb_the_others)
{
    chain units = one_unit("outlets = 3\nload = 100\n", true);
    measure(units, 5000);
    double third = value(units.ports[0].units[0].outlets[2].measured, watts);
    units.ports[0].units[0].outlets[0].on = false;
    measure(units, 5000);
    EXPECT_EQ(value(units.ports[0].units[0].outlets[2].measured, watts), third);
}

// --- Time -----------------------------------------------------------------------------------------------------------

TEST(electricity, meters_count_energy_as_time_runs)
{
    chain units = one_unit("circuits = 1\noutlets = 2\nload = 500\n");
    start_meters(units, 0, 99);
    run_meters(units, 0, 3'600'000);
    const unit &made = units.ports[0].units[0];
    EXPECT_NEAR(kilowatt_hours(made.measured), 1, 1e-9);
    EXPECT_NEAR(kilowatt_hours(made.circuits[0].measured), 1, 1e-9);
    EXPECT_NEAR(kilowatt_hours(made.outlets[1].measured), 0.5, 1e-9);
    EXPECT_EQ(made.outlets[1].measured.counted_since, 99);
}

TEST(electricity, energies_agree_like_powers_while_everything_wavers)
{
    chain units = one_unit(mixed_delta, true);
    start_meters(units, 0, 0);
    run_meters(units, 0, 500'000);
    run_meters(units, 500'000, 90'000'000); // farther apart than samples in between can be
    const unit &made = units.ports[0].units[0];
    double outlets = 0, phases = 0;
    for (const outlet &one : made.outlets)
        outlets += kilowatt_hours(one.measured);
    for (const phase &one : made.phases)
        phases += kilowatt_hours(one.measured);
    EXPECT_NEAR(outlets, kilowatt_hours(made.measured), 1e-6);
    EXPECT_NEAR(phases, kilowatt_hours(made.measured), 1e-6);
    EXPECT_NEAR(average(made.measured, watts), kilowatt_hours(made.measured) * 1000 / 25, 1e-6);
}

TEST(electricity, statistics_span_what_the_readings_were)
{
    chain units = one_unit("outlets = 1\nload = 1000\n", true);
    start_meters(units, 0, 0);
    run_meters(units, 0, 300'000);
    const meter &of = units.ports[0].units[0].outlets[0].measured;
    EXPECT_LT(least(of, watts), average(of, watts));
    EXPECT_LT(average(of, watts), greatest(of, watts));
    EXPECT_LE(least(of, watts), value(of, watts));
    EXPECT_GE(greatest(of, watts), value(of, watts));
}

// Loads and meters in the chain file: what their keys make, what the shipped chains have, and where faults are told.

#include "appliance/model/electricity.h"
#include "tests/unit/appliance/morvd_desk.h"

static unit only_unit(const std::string &lines)
{
    return chain_from("[[port]]\nname = 'local'\n[[port.unit]]\n" + lines).units.ports.at(0).units.at(0);
}

// The fault of lines behind the head of a unit, which are lines 1 to 3.
static std::string unit_fault(const std::string &lines)
{
    chain_file read;
    std::string fault;
    bool sound = parse_chain("[[port]]\nname = 'local'\n[[port.unit]]\n" + lines, &read, &fault);
    return sound ? "no fault" : fault;
}

static certainty how(const meter &of, quantity which)
{
    return of.how[static_cast<size_t>(which)];
}

// --- What is made ---------------------------------------------------------------------------------------------------

TEST(meter_table, unit_that_says_nothing_measures_nothing_and_feeds_230_volts)
{
    unit made = only_unit("phases = 3\ncircuits = 3\noutlets = 3\n");
    EXPECT_EQ(made.volts, 230);
    EXPECT_FALSE(made.measured.present || made.phases[0].measured.present || made.circuits[0].measured.present ||
                 made.outlets[0].measured.present);
    EXPECT_EQ(made.outlets[0].load.watts, 0);
    EXPECT_EQ(made.outlets[0].load.power_factor, 1);
}

TEST(meter_table, metering_names_the_kinds_of_node_that_measure)
{
    unit made = only_unit("circuits = 2\noutlets = 2\nmetering = ['circuit', 'unit']\n[[port.unit.circuit]]\n"
                          "metered = false\n[[port.unit.outlet]]\nnumber = 2\nmetered = true\n[[port.unit.phase]]\n"
                          "metered = true\n");
    EXPECT_TRUE(made.measured.present);
    EXPECT_TRUE(made.phases[0].measured.present);
    EXPECT_FALSE(made.circuits[0].measured.present);
    EXPECT_TRUE(made.circuits[1].measured.present);
    EXPECT_FALSE(made.outlets[0].measured.present);
    EXPECT_TRUE(made.outlets[1].measured.present);
}

TEST(meter_table, load_of_the_unit_is_each_outlets_that_says_nothing_else)
{
    unit made = only_unit("outlets = 3\nload = 40\npower_factor = 0.9\n[[port.unit.outlet]]\nload = 55.5\n"
                          "[[port.unit.outlet]]\npower_factor = 0.5\n");
    EXPECT_EQ(made.outlets[0].load.watts, 55.5);
    EXPECT_EQ(made.outlets[0].load.power_factor, 0.9);
    EXPECT_EQ(made.outlets[1].load.watts, 40);
    EXPECT_EQ(made.outlets[1].load.power_factor, 0.5);
    EXPECT_EQ(made.outlets[2].load.watts, 40);
}

TEST(meter_table, kinds_of_values_pass_from_the_unit_to_its_parts)
{
    unit made = only_unit("outlets = 2\nvoltage_type = 'ESTIMATED'\npower_type = 'UNDEFINED'\n[[port.unit.outlet]]\n"
                          "voltage_type = 'MEASURED'\npower_factor_type = 'ESTIMATED'\n");
    EXPECT_EQ(how(made.measured, quantity::voltage), certainty::estimated);
    EXPECT_EQ(how(made.measured, quantity::power), certainty::undefined);
    EXPECT_EQ(how(made.measured, quantity::power_factor), certainty::measured);
    EXPECT_EQ(how(made.phases[0].measured, quantity::voltage), certainty::estimated);
    EXPECT_EQ(how(made.outlets[0].measured, quantity::voltage), certainty::measured);
    EXPECT_EQ(how(made.outlets[0].measured, quantity::power), certainty::undefined);
    EXPECT_EQ(how(made.outlets[0].measured, quantity::power_factor), certainty::estimated);
    EXPECT_EQ(how(made.outlets[1].measured, quantity::voltage), certainty::estimated);
}

TEST(meter_table, thresholds_reach_up_to_what_the_node_can_carry)
{
    unit made = only_unit("phases = 3\nmax_current = 32\noutlets = 1\n");
    EXPECT_EQ(made.measured.limits.tenths, (std::array{960, 768, 0, 0}));
    EXPECT_EQ(made.phases[2].measured.limits.tenths, (std::array{320, 256, 0, 0}));
    EXPECT_EQ(made.outlets[0].measured.limits.most, 320);
    EXPECT_EQ(only_unit("").measured.limits.most, 10000);
}

TEST(meter_table, thresholds_are_each_nodes_own)
{
    unit made = only_unit("max_current = 32\noutlets = 2\nthresholds = [30, 24.5, 2, 0]\n[[port.unit.outlet]]\n"
                          "thresholds = [8, 6, 0.5, 0.1]\n");
    EXPECT_EQ(made.measured.limits.tenths, (std::array{300, 245, 20, 0}));
    EXPECT_EQ(made.outlets[0].measured.limits.tenths, (std::array{80, 60, 5, 1}));
    EXPECT_EQ(made.outlets[1].measured.limits.tenths, (std::array{320, 256, 0, 0}));
}

TEST(meter_table, seed_and_noise_are_the_chains)
{
    EXPECT_EQ(chain_from("").units.seed, 1u);
    EXPECT_TRUE(chain_from("").units.noise);
    chain made = chain_from("seed = 12\nnoise = false\n").units;
    EXPECT_EQ(made.seed, 12u);
    EXPECT_FALSE(made.noise);
}

// --- Faults of the file ---------------------------------------------------------------------------------------------

TEST(meter_table, fault_is_told_with_line_and_key)
{
    struct {
        const char *lines, *fault;
    } const texts[] = {
        {"volts = 230\n",
         "line 4: unknown key 'volts'; known here: 'id', 'default_id', 'model', 'model_nr', 'vendor', 'version', "
         "'max_current', 'topology', 'cold_start_delay', 'buzzer', 'syslog', 'display_mode', 'display_modes', "
         "'display_cycle', 'flash_time', 'reboot_time', 'upgrade', 'cycle_interval', 'overcurrent', 'hwocp', 'fuse', "
         "'switched', 'inlets', 'phases', 'circuits', 'outlets', 'post_power_on', 'post_power_off', 'phase', "
         "'circuit', 'outlet', 'sensor', 'voltage', 'metering', 'voltage_type', 'power_type', 'power_factor_type', "
         "'thresholds', 'load' and 'power_factor'"},
        {"voltage = 49.9\n", "line 4: 'voltage' must be a number from 50 to 500 volts, not 49.9"},
        {"voltage = 'high'\n", "line 4: 'voltage' must be a number from 50 to 500 volts, not a text"},
        {"metering = true\n", "line 4: 'metering' must be a list of 'unit', 'phase', 'circuit' or 'outlet', not true"},
        {"metering = ['unit', 'sensor']\n",
         "line 4: 'metering' must be a list of 'unit', 'phase', 'circuit' or 'outlet', not 'sensor'"},
        {"metered = true\n",
         "line 4: unknown key 'metered'; known here: 'id', 'default_id', 'model', 'model_nr', 'vendor', 'version', "
         "'max_current', 'topology', 'cold_start_delay', 'buzzer', 'syslog', 'display_mode', 'display_modes', "
         "'display_cycle', 'flash_time', 'reboot_time', 'upgrade', 'cycle_interval', 'overcurrent', 'hwocp', 'fuse', "
         "'switched', 'inlets', 'phases', 'circuits', 'outlets', 'post_power_on', 'post_power_off', 'phase', "
         "'circuit', 'outlet', 'sensor', 'voltage', 'metering', 'voltage_type', 'power_type', 'power_factor_type', "
         "'thresholds', 'load' and 'power_factor'"},
        {"load = -1\n", "line 4: 'load' must be a number from 0 to 100000 watts, not -1"},
        {"power_factor = 0.49\n", "line 4: 'power_factor' must be a number from 0.5 to 1, not 0.49"},
        {"voltage_type = 'GUESSED'\n",
         "line 4: 'voltage_type' must be 'UNDEFINED', 'ESTIMATED' or 'MEASURED', not 'GUESSED'"},
        {"power_type = 'measured'\n",
         "line 4: 'power_type' must be 'UNDEFINED', 'ESTIMATED' or 'MEASURED', not 'measured'"},
        {"thresholds = 5\n", "line 4: 'thresholds' must be a list of numbers from 0 to 3000 amperes, not 5"},
        {"thresholds = [5, 'x']\n",
         "line 4: 'thresholds' must be a list of numbers from 0 to 3000 amperes, not a text"},
        {"thresholds = [5, -1, 0, 0]\n",
         "line 4: 'thresholds' must be a list of numbers from 0 to 3000 amperes, not -1"},
        {"max_current = 12.5\nthresholds = [5, 4, 3]\n",
         "line 5: 'thresholds' must be four levels, none above the one before, the first from 1 to 12.5 amperes"},
        {"max_current = 16\nphases = 3\nthresholds = [49, 4, 3, 2]\n",
         "line 6: 'thresholds' must be four levels, none above the one before, the first from 1 to 48 amperes"},
        {"thresholds = [5, 6, 0, 0]\n",
         "line 4: 'thresholds' must be four levels, none above the one before, the first from 1 to 1000 amperes"},
        {"thresholds = [0.5, 0, 0, 0]\n",
         "line 4: 'thresholds' must be four levels, none above the one before, the first from 1 to 1000 amperes"},
        {"[[port.unit.phase]]\nload = 5\n",
         "line 5: unknown key 'load'; known here: 'number', 'sys_name', 'name', 'overloaded', 'metered', "
         "'voltage_type', 'power_type', 'power_factor_type' and 'thresholds'"},
        {"[[port.unit.circuit]]\nphases = [1]\npower_factor = 1\n",
         "line 6: unknown key 'power_factor', did you mean 'power_factor_type'?"},
        {"[[port.unit.circuit]]\nmetered = 'yes'\n", "line 5: 'metered' must be true or false, not a text"},
        {"[[port.unit.outlet]]\n\nload = 'much'\n",
         "line 6: 'load' must be a number from 0 to 100000 watts, not a text"},
        {"[[port.unit.outlet]]\nthresholds = [1001, 0, 0, 0]\n",
         "line 5: 'thresholds' must be a list of numbers from 0 to 1000 amperes, not 1001"},
        {"[[port.unit.outlet]]\npower_factor_type = ''\n",
         "line 5: 'power_factor_type' must be 'UNDEFINED', 'ESTIMATED' or 'MEASURED', not ''"},
        {"[[port.unit.outlet]]\npower_factor_type = 'NONE'\n",
         "line 5: 'power_factor_type' must be 'UNDEFINED', 'ESTIMATED' or 'MEASURED', not 'NONE'"},
        {"[[port.unit.sensor]]\ntype = 'smoke'\nload = 1\n",
         "line 6: unknown key 'load'; known here: 'type', 'sys_name', 'name', 'unit', 'type_raw', 'value', 'drift', "
         "'state', 'statistics' and 'thresholds'"},
    };
    for (const auto &one : texts)
        EXPECT_EQ(unit_fault(one.lines), one.fault) << one.lines;
}

TEST(meter_table, fault_of_seed_and_noise_is_told_with_line_and_key)
{
    chain_file read;
    std::string fault;
    EXPECT_FALSE(parse_chain("seed = -1\n", &read, &fault));
    EXPECT_EQ(fault, "line 1: 'seed' must be a whole number from 0 to 2147483647, not -1");
    EXPECT_FALSE(parse_chain("\nnoise = 'loud'\n", &read, &fault));
    EXPECT_EQ(fault, "line 2: 'noise' must be true or false, not a text");
}

// --- Shipped files --------------------------------------------------------------------------------------------------

static chain shipped(const std::string &name)
{
    chain_file read;
    std::string fault;
    EXPECT_TRUE(load_chain_file(ZT_CHAINS_FOLDER "/" + name, &read, &fault)) << fault;
    start_meters(read.units, 0, 0);
    return read.units;
}

// Nothing that is shown for the first time stands at a threshold or reads nothing.
TEST(meter_table, shipped_units_measure_and_stand_below_their_thresholds)
{
    for (const char *file : {"desk.toml", "legacy.toml", "full.toml", "long.toml"}) {
        const chain units = shipped(file);
        EXPECT_FALSE(units.ports.at(0).units.empty()) << file;
        for (const unit &one : units.ports[0].units) {
            EXPECT_TRUE(one.measured.present) << file << " " << one.id;
            EXPECT_GT(one.measured.now[quantity::current], 1) << file << " " << one.id;
            auto expect_normal = [&](const meter &of) {
                EXPECT_EQ(standing_of(of.limits, of.now[quantity::current]), standing::normal) << file << " " << one.id;
            };
            expect_normal(one.measured);
            for (const phase &part : one.phases)
                expect_normal(part.measured);
            for (const circuit &part : one.circuits)
                expect_normal(part.measured);
            for (const outlet &part : one.outlets)
                expect_normal(part.measured);
        }
    }
}

TEST(meter_table, shipped_desk_has_a_unit_with_everything_and_one_with_outlets_that_do_not_measure)
{
    chain units = shipped("desk.toml");
    for (const outlet &one : units.ports[0].units[0].outlets)
        EXPECT_TRUE(one.measured.present) << one.sys_name;
    for (const outlet &one : units.ports[0].units[2].outlets)
        EXPECT_FALSE(one.measured.present) << one.sys_name;
}

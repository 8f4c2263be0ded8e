// Environment monitors and protection in the chain file: what is made, and where each fault is told to lie.

#include "tests/unit/appliance/morvd_desk.h"

static unit only_unit(const std::string &lines)
{
    return chain_from("[[port]]\nname = 'local'\n[[port.unit]]\n" + lines).units.ports.at(0).units.at(0);
}

static envmon only_sensor(const std::string &lines)
{
    return only_unit("[[port.unit.sensor]]\n" + lines).envmons.at(0);
}

// Of lines behind the head of a unit, which are lines 1 to 3.
static std::string unit_fault(const std::string &lines)
{
    chain_file read;
    std::string fault;
    return parse_chain("[[port]]\nname = 'local'\n[[port.unit]]\n" + lines, &read, &fault) ? "no fault" : fault;
}

static std::string sensor_fault(const std::string &lines)
{
    return unit_fault("[[port.unit.sensor]]\n" + lines); // its head is line 4
}

// --- Environment monitors -------------------------------------------------------------------------------------------

TEST(envmon_table, keys_left_out_follow_the_type)
{
    envmon made = only_sensor("type = 'humidity'\n");
    EXPECT_EQ(made.sys_name, "sensor1");
    EXPECT_EQ(made.name, "");
    EXPECT_EQ(made.type_raw, 3);
    EXPECT_EQ(made.unit->word, "%");
    EXPECT_TRUE(made.tells_unit && made.keeps_statistic && !made.pulled);
    EXPECT_EQ(made.usual, 45);
    EXPECT_EQ(made.drift, 3);
    EXPECT_EQ(made.levels, (envmon_levels{80, 70, 20, 10}));
}

TEST(envmon_table, contact_is_at_rest_and_held_against_nothing)
{
    envmon made = only_sensor("type = 'smoke'\n");
    EXPECT_EQ(made.usual, 0);
    EXPECT_FALSE(made.keeps_statistic);
    EXPECT_FALSE(made.levels);
}

TEST(envmon_table, numbers_are_in_the_unit_of_the_sensor)
{
    envmon made = only_sensor("type = 'external-temperature'\nthresholds = [104, 86, 50, 41]\nvalue = 68\ndrift = 9\n"
                              "unit = 'oF'\n");
    EXPECT_EQ(made.usual, 20);
    EXPECT_DOUBLE_EQ(made.drift, 5);
    EXPECT_EQ(made.levels, (envmon_levels{40, 30, 10, 5}));
}

TEST(envmon_table, everything_can_be_told)
{
    envmon made = only_sensor("type = 'dry-contact'\nsys_name = 'DOOR'\nname = 'front'\nstate = 'open'\ntype_raw = 13\n"
                              "statistics = true\nunit = 'none'\n");
    EXPECT_EQ(made.sys_name, "DOOR");
    EXPECT_EQ(made.name, "front");
    EXPECT_EQ(made.usual, 1);
    EXPECT_EQ(made.type_raw, 13);
    EXPECT_TRUE(made.keeps_statistic);
}

TEST(envmon_table, fault_is_told_with_line_and_what_would_be_right)
{
    const char *faults[][2] = {
        {"name = 'a'\n", "line 4: missing key 'type' in [[port.unit.sensor]]"},
        {"type = 'noise'\n", "line 5: 'type' must be 'internal-temperature', 'external-temperature', 'humidity', "
                             "'air-flow', 'dry-contact', 'water-level', 'motion', 'smoke' or 'UNDEFINED', not 'noise'"},
        {"type = 'smoke'\ncolour = 1\n",
         "line 6: unknown key 'colour'; known here: 'type', 'sys_name', 'name', 'unit', 'type_raw', 'value', 'drift', "
         "'state', 'statistics' and 'thresholds'"},
        {"type = 'smoke'\nname = 'abcdefghijklmnopqrstuvwxyz012345'\n",
         "line 6: 'name' must be a text of 0 to 31 bytes, not of 32"},
        {"type = 'smoke'\nname = 'a:b'\n", "line 6: the sensor name 'a:b' holds a comma or a colon"},
        {"type = 'smoke'\nname = 'a,b'\n", "line 6: the sensor name 'a,b' holds a comma or a colon"},
        {"type = 'smoke'\ntype_raw = 256\n", "line 6: 'type_raw' must be a whole number from 0 to 255, not 256"},
        {"type = 'smoke'\nstatistics = 1\n", "line 6: 'statistics' must be true or false, not 1"},
        {"type = 'smoke'\nstate = 'open'\n", "line 6: 'state' must be 'clear' or 'smoke' for type 'smoke', not 'open'"},
        {"type = 'smoke'\nvalue = 1\n", "line 6: type 'smoke' has a 'state' and no 'value'"},
        {"type = 'smoke'\ndrift = 1\n", "line 6: type 'smoke' has a 'state' and no 'drift'"},
        {"type = 'humidity'\nstate = 'wet'\n", "line 6: type 'humidity' has a 'value' and no 'state'"},
        {"type = 'humidity'\nvalue = 'wet'\n", "line 6: 'value' must be a number from -10000 to 10000, not a text"},
        {"type = 'humidity'\nvalue = 101\n", "line 6: 'value' must be from 0 to 100 % for type 'humidity', not 101"},
        {"type = 'internal-temperature'\nunit = 'oF'\nvalue = -41\n",
         "line 7: 'value' must be from -40 to 257 oF for type 'internal-temperature', not -41"},
        {"type = 'humidity'\ndrift = -1\n", "line 6: 'drift' must be a number from 0 to 10000, not -1"},
        {"type = 'humidity'\nunit = 'oC'\n", "line 6: 'unit' must be '%' for type 'humidity', not 'oC'"},
        {"type = 'internal-temperature'\nunit = 'C'\n",
         "line 6: 'unit' must be 'oC', 'oF' or 'K' for type 'internal-temperature', not 'C'"},
        {"type = 'humidity'\nthresholds = 4\n",
         "line 6: 'thresholds' must be a list of numbers from -10000 to 10000, not 4"},
        {"type = 'humidity'\nthresholds = [4, 3, 2]\n",
         "line 6: 'thresholds' must be four levels, none above the one before, from 0 to 100 %"},
        {"type = 'humidity'\nthresholds = [4, 3, 2, 3]\n",
         "line 6: 'thresholds' must be four levels, none above the one before, from 0 to 100 %"},
        {"type = 'humidity'\nthresholds = [101, 3, 2, 1]\n",
         "line 6: 'thresholds' must be four levels, none above the one before, from 0 to 100 %"},
    };
    for (const auto &[lines, fault] : faults)
        EXPECT_EQ(sensor_fault(lines), fault) << lines;
}

// --- Protection -----------------------------------------------------------------------------------------------------

TEST(protection_table, parts_have_what_the_unit_names)
{
    unit made = only_unit("hwocp = ['unit', 'outlet']\nfuse = 20\nphases = 2\ncircuits = 2\noutlets = 2\n"
                          "[[port.unit.circuit]]\nnumber = 2\nfuse = 12.5\n");
    EXPECT_EQ(made.tripped, false);
    EXPECT_FALSE(made.phases[0].tripped.has_value());
    EXPECT_EQ(made.outlets[1].tripped, false);
    EXPECT_EQ(made.circuits[0].fuse->amperes, 20);
    EXPECT_EQ(made.circuits[1].fuse->amperes, 12.5);
    EXPECT_FALSE(made.circuits[1].fuse->blown);
}

TEST(protection_table, unit_that_says_nothing_has_none)
{
    unit made = only_unit("phases = 2\ncircuits = 2\noutlets = 2\n");
    EXPECT_FALSE(made.tripped || made.phases[0].tripped || made.outlets[0].tripped || made.circuits[0].fuse);
}

TEST(protection_table, fault_is_told_with_line_and_what_would_be_right)
{
    const char *faults[][2] = {
        {"hwocp = true\n", "line 4: 'hwocp' must be a list of 'unit', 'phase' or 'outlet', not true"},
        {"hwocp = ['unit', 'circuit']\n",
         "line 4: 'hwocp' must be a list of 'unit', 'phase' or 'outlet', not 'circuit'"},
        {"fuse = 0\n", "line 4: 'fuse' must be a number from 1 to 1000 amperes, not 0"},
        {"fuse = true\n", "line 4: 'fuse' must be a number from 1 to 1000 amperes, not true"},
        {"[[port.unit.circuit]]\nfuse = 1001\n", "line 5: 'fuse' must be a number from 1 to 1000 amperes, not 1001"},
        {"[[port.unit.outlet]]\nfuse = 10\n",
         "line 5: unknown key 'fuse'; known here: 'number', 'sys_name', 'name', 'circuit', 'state', 'locked', 'fixed', "
         "'mod_status', 'post_power_on', 'post_power_off', 'metered', 'voltage_type', 'power_type', "
         "'power_factor_type', 'thresholds', 'load' and 'power_factor'"},
    };
    for (const auto &[lines, fault] : faults)
        EXPECT_EQ(unit_fault(lines), fault) << lines;
}

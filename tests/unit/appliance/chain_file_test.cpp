// Chain files: what they make, what stands where a key is left out, and where each fault is told to lie.

#include <fstream>
#include <gmock/gmock.h>
#include <set>

#include "appliance/model/status.h"
#include "tests/unit/appliance/morvd_desk.h"

static std::string fault_of(std::string_view text)
{
    chain_file read;
    std::string fault;
    return parse_chain(text, &read, &fault) ? "no fault" : fault;
}

// The fault of lines behind the head of a unit, which are lines 1 to 3.
static std::string unit_fault(const std::string &lines)
{
    return fault_of("[[port]]\nname = 'local'\n[[port.unit]]\n" + lines);
}

static unit only_unit(const std::string &lines)
{
    return chain_from("[[port]]\nname = 'local'\n[[port.unit]]\n" + lines).units.ports.at(0).units.at(0);
}

template <class Part> static std::string sys_names(const std::vector<Part> &parts)
{
    std::string names;
    for (const Part &part : parts)
        names += (names.empty() ? "" : " ") + part.sys_name;
    return names;
}

// --- What is made ---------------------------------------------------------------------------------------------------

TEST(chain_file, empty_file_is_an_appliance_without_lines)
{
    EXPECT_TRUE(chain_from("").units.ports.empty());
}

TEST(chain_file, keys_left_out_of_a_port_have_defaults)
{
    chain units = chain_from("[[port]]\nname = 'local'\n[[port]]\nname = 'far'\n").units;
    EXPECT_EQ(units.ports[1].device, "/dev/ttyS2");
    EXPECT_EQ(units.ports[1].pdu_type, "ipdu");
    EXPECT_EQ(units.ports[1].polling_rate, 5);
}

TEST(chain_file, keys_left_out_of_a_unit_are_capabilities_that_it_lacks)
{
    unit made = only_unit("");
    EXPECT_EQ(made.id, "ipdu1");
    EXPECT_EQ(made.default_id, "ipdu1");
    EXPECT_FALSE(made.model || made.model_nr || made.vendor || made.version || made.max_current || made.topology);
    EXPECT_FALSE(made.cold_start_delay || made.cycle_interval);
    EXPECT_TRUE(made.switched);
    EXPECT_EQ(made.phases.size(), 1u);
    EXPECT_TRUE(made.circuits.empty() && made.outlets.empty() && made.envmons.empty());
}

TEST(chain_file, default_ids_count_along_the_chain)
{
    chain units =
        chain_from("[[port]]\nname = 'local'\n[[port.unit]]\n[[port.unit]]\n[[port]]\nname = 'far'\n[[port.unit]]\n")
            .units;
    EXPECT_EQ(units.ports[0].units[1].id, "ipdu2");
    EXPECT_EQ(units.ports[1].units[0].id, "ipdu3");
}

TEST(chain_file, circuits_lie_between_phases_in_delta)
{
    unit made = only_unit("topology = 'delta'\nphases = 3\ncircuits = 6\n");
    EXPECT_EQ(sys_names(made.phases), "X Y Z");
    EXPECT_EQ(sys_names(made.circuits), "XY1 XY2 XZ1 XZ2 YZ1 YZ2");
    EXPECT_EQ(made.circuits[4].from_phase, 2);
    EXPECT_EQ(made.circuits[4].to_phase, 3);
}

TEST(chain_file, circuits_lie_between_phase_and_neutral_in_wye)
{
    unit made = only_unit("topology = 'wye'\nphases = 3\ncircuits = 3\n");
    EXPECT_EQ(sys_names(made.circuits), "XN1 YN1 ZN1");
    EXPECT_EQ(made.circuits[1].from_phase, 2);
    EXPECT_EQ(made.circuits[1].to_phase, 0);
}

TEST(chain_file, one_phase_feeds_banks_in_pairs)
{
    EXPECT_EQ(sys_names(only_unit("circuits = 3\n").circuits), "A1 A2 B1");
}

TEST(chain_file, outlets_spread_evenly_over_the_circuits)
{
    unit made = only_unit("circuits = 2\noutlets = 5\n");
    std::string circuits;
    for (const outlet &one : made.outlets)
        circuits += std::to_string(one.circuit);
    EXPECT_EQ(circuits, "11122");
    EXPECT_EQ(sys_names(made.outlets), "1 2 3 4 5");
}

TEST(chain_file, outlets_without_circuits_hang_on_the_phase)
{
    EXPECT_EQ(only_unit("outlets = 1\n").outlets[0].circuit, 0);
}

TEST(chain_file, described_outlet_overrides_what_the_unit_says)
{
    unit made =
        only_unit("circuits = 2\noutlets = 3\npost_power_on = 0.5\n[[port.unit.outlet]]\nnumber = 3\nname = 'web'\n"
                  "sys_name = 'O3'\nstate = 'off'\nlocked = true\ncircuit = 1\nmod_status = 'OFF(ocp)'\n"
                  "post_power_on = 2.25\npost_power_off = 2500\n");
    const outlet &third = made.outlets[2];
    EXPECT_EQ(third.name, "web");
    EXPECT_EQ(third.sys_name, "O3");
    EXPECT_FALSE(third.on);
    EXPECT_TRUE(third.locked);
    EXPECT_EQ(third.circuit, 1);
    EXPECT_EQ(third.mod_status, mod_off_ocp);
    EXPECT_EQ(third.post_power_on, 23); // tenths, rounded
    EXPECT_EQ(third.post_power_off, 25000);
    EXPECT_EQ(made.outlets[0].post_power_on, 5);
    EXPECT_FALSE(made.outlets[0].post_power_off);
}

TEST(chain_file, parts_without_a_number_are_described_in_order)
{
    unit made = only_unit("[[port.unit.outlet]]\nname = 'a'\n[[port.unit.outlet]]\nname = 'b'\n[[port.unit.phase]]\n"
                          "sys_name = 'L1'\n[[port.unit.circuit]]\nname = 'left'\nphases = [1]\n");
    EXPECT_EQ(made.outlets.size(), 2u);
    EXPECT_EQ(made.outlets[1].name, "b");
    EXPECT_EQ(made.phases[0].sys_name, "L1");
    EXPECT_EQ(made.circuits[0].name, "left");
}

TEST(chain_file, protection_and_overload_are_told_of_unit_phase_and_circuit)
{
    unit made = only_unit("overcurrent = false\nphases = 2\ncircuits = 2\n[[port.unit.phase]]\nnumber = 2\n"
                          "overloaded = true\n[[port.unit.circuit]]\noverloaded = true\n");
    EXPECT_EQ(made.overcurrent, false);
    EXPECT_FALSE(made.phases[0].overloaded);
    EXPECT_TRUE(made.phases[1].overloaded);
    EXPECT_TRUE(made.circuits[0].overloaded);
    EXPECT_FALSE(made.circuits[1].overloaded);
    EXPECT_FALSE(only_unit("").overcurrent);
}

TEST(chain_file, sensor_has_number_and_unit_of_its_kind)
{
    unit made =
        only_unit("[[port.unit.sensor]]\ntype = 'humidity'\n[[port.unit.sensor]]\ntype = 'external-temperature'\n"
                  "sys_name = 'T'\nunit = 'oF'\nname = 'hot'\n");
    EXPECT_EQ(made.envmons[0].sys_name, "sensor1");
    EXPECT_EQ(made.envmons[0].type_raw, 3);
    EXPECT_EQ(made.envmons[0].unit->word, "%");
    EXPECT_EQ(made.envmons[1].sys_name, "T");
    EXPECT_EQ(made.envmons[1].unit->word, "oF");
    EXPECT_EQ(made.envmons[1].name, "hot");
}

TEST(chain_file, groups_have_their_members)
{
    chain units = chain_from("[authorization]\nadmin = ['root', 'ann']\nempty = []\n").units;
    ASSERT_EQ(units.groups.size(), 2u);
    EXPECT_EQ(units.groups[0].name, "admin");
    EXPECT_EQ(units.groups[0].members, (std::vector<std::string>{"root", "ann"}));
    EXPECT_TRUE(units.groups[1].members.empty());
}

TEST(chain_file, faults_stand_as_if_asked_for_at_the_desk)
{
    std::vector<fault> faults =
        chain_from("[[fault]]\nkind = 'refuse'\nverb = 'info'\npath = 'power.port.*.name'\ncode = 7\n"
                   "count = 2\nskip = 1\n[[fault]]\nkind = 'drop'\n[[fault]]\nkind = 'delay'\n"
                   "milliseconds = 50\n")
            .faults;
    ASSERT_EQ(faults.size(), 3u);
    EXPECT_EQ(fault_text(faults[0]), "refuse info power.port.*.name 7 2 1");
    EXPECT_EQ(fault_text(faults[1]), "drop * * 0 0");
    EXPECT_EQ(fault_text(faults[2]), "delay * * 50 0 0");
}

// --- Shipped files --------------------------------------------------------------------------------------------------

static chain shipped(const std::string &name)
{
    chain_file read;
    std::string fault;
    EXPECT_TRUE(load_chain_file(ZT_CHAINS_FOLDER "/" + name, &read, &fault)) << fault;
    return read.units;
}

static size_t count_outlets(const chain &units)
{
    size_t count = 0;
    for (const port_line &port : units.ports)
        for (const unit &one : port.units)
            count += one.outlets.size();
    return count;
}

TEST(chain_file, shipped_legacy_chain_is_one_small_old_unit)
{
    chain units = shipped("legacy.toml");
    ASSERT_EQ(units.ports.at(0).units.size(), 1u);
    EXPECT_LT(*units.ports[0].units[0].model_nr, 128);
    EXPECT_EQ(count_outlets(units), 8u);
}

TEST(chain_file, shipped_desk_has_a_three_phase_unit_and_two_behind_it_with_sensors)
{
    chain units = shipped("desk.toml");
    ASSERT_EQ(units.ports.size(), 1u);
    EXPECT_EQ(units.ports[0].name, "local");
    ASSERT_EQ(units.ports[0].units.size(), 3u);
    EXPECT_EQ(units.ports[0].units[0].phases.size(), 3u);
    for (const unit &one : units.ports[0].units)
        EXPECT_FALSE(one.envmons.empty()) << one.id;
}

TEST(chain_file, shipped_desk_has_sensors_of_every_type_and_in_every_unit)
{
    chain units = shipped("desk.toml");
    std::set<std::string_view> types, words;
    for (const unit &unit : units.ports[0].units)
        for (const envmon &one : unit.envmons) {
            types.insert(one.kind->type);
            words.insert(one.unit->word);
        }
    EXPECT_EQ(types.size(), 9u);
    EXPECT_EQ(words.size(), 6u);
}

TEST(chain_file, shipped_desk_has_units_with_and_without_protection)
{
    chain units = shipped("desk.toml");
    std::string with;
    for (const unit &one : units.ports[0].units) {
        with += one.tripped ? " unit" : "";
        with += one.phases[0].tripped ? " phase" : "";
        with += one.outlets[0].tripped ? " outlet" : "";
        with += one.circuits[0].fuse ? " fuse;" : ";";
    }
    EXPECT_EQ(with, " unit phase outlet fuse; unit fuse;;");
}

TEST(chain_file, shipped_legacy_chain_has_a_temperature_first)
{
    EXPECT_EQ(shipped("legacy.toml").ports[0].units[0].envmons.at(0).kind->type, "internal-temperature");
}

TEST(chain_file, shipped_desk_has_outlets_of_every_kind_and_pauses_that_can_be_watched)
{
    chain units = shipped("desk.toml");
    size_t named = 0, locked = 0, fixed = 0;
    int longest = 0;
    for (const unit &unit : units.ports[0].units)
        for (const outlet &one : unit.outlets) {
            named += !one.name.empty();
            locked += one.locked;
            fixed += one.fixed;
            longest = std::max({longest, one.post_power_on.value_or(0), one.post_power_off.value_or(0)});
        }
    EXPECT_GE(named, 3u);
    EXPECT_GE(locked, 1u);
    EXPECT_GE(fixed, 1u);
    EXPECT_GE(longest, 10);
    EXPECT_LE(longest, 50);
}

TEST(chain_file, shipped_full_chain_switches_without_pauses)
{
    const chain made = shipped("full.toml");
    for (const unit &unit : made.ports[0].units)
        for (const outlet &one : unit.outlets)
            EXPECT_EQ(one.post_power_on.value_or(0) + one.post_power_off.value_or(0), 0) << one.sys_name;
}

TEST(chain_file, shipped_full_chain_has_exactly_as_many_outlets_as_can_be_numbered)
{
    EXPECT_EQ(count_outlets(shipped("full.toml")), 128u);
}

TEST(chain_file, shipped_long_chain_has_more)
{
    EXPECT_GT(count_outlets(shipped("long.toml")), 128u);
}

// --- Faults of the file ---------------------------------------------------------------------------------------------

struct faulty_text {
    const char *lines;
    const char *fault;
};

TEST(chain_file, fault_of_a_unit_is_told_with_line_and_key)
{
    const faulty_text texts[] = {
        {"outlts = 8\n", "line 4: unknown key 'outlts', did you mean 'outlets'?"},
        {"\nversion = 3\n", "line 5: 'version' must be a text of 1 to 31 bytes, not 3"},
        {"outlets = 'eight'\n", "line 4: 'outlets' must be a whole number from 0 to 255, not a text"},
        {"outlets = 8.5\n", "line 4: 'outlets' must be a whole number from 0 to 255, not 8.5"},
        {"outlets = 256\n", "line 4: 'outlets' must be a whole number from 0 to 255, not 256"},
        {"outlets = -1\n", "line 4: 'outlets' must be a whole number from 0 to 255, not -1"},
        {"phases = 4\n", "line 4: 'phases' must be a whole number from 1 to 3, not 4"},
        {"circuits = 7\n", "line 4: 'circuits' must be a whole number from 0 to 6, not 7"},
        {"model_nr = 256\n", "line 4: 'model_nr' must be a whole number from 0 to 255, not 256"},
        {"max_current = 'a lot'\n", "line 4: 'max_current' must be a number from 0 to 1000 amperes, not a text"},
        {"max_current = nan\n", "line 4: 'max_current' must be a number from 0 to 1000 amperes, not nan"},
        {"post_power_on = 2500.1\n", "line 4: 'post_power_on' must be a number from 0 to 2500 seconds, not 2500.1"},
        {"cycle_interval = 0\n", "line 4: 'cycle_interval' must be a whole number from 1 to 60 seconds, not 0"},
        {"overcurrent = 'on'\n", "line 4: 'overcurrent' must be true or false, not a text"},
        {"switched = 1\n", "line 4: 'switched' must be true or false, not 1"},
        {"topology = 'star'\n", "line 4: 'topology' must be 'delta' or 'wye', not 'star'"},
        {"id = 'abcdefghijklmnopq'\n", "line 4: 'id' must be a text of 1 to 16 bytes, not of 17"},
        {"id = ''\n", "line 4: 'id' must be a text of 1 to 16 bytes, not of 0"},
        {"id = \"a\\u0001\"\n", "line 4: 'id' must not hold control characters"},
        {"id = 'a b'\n", "line 4: the id 'a b' holds a blank, '.' or ',' or is a word of the tree"},
        {"default_id = 'a.b'\n", "line 4: the id 'a.b' holds a blank, '.' or ',' or is a word of the tree"},
        {"id = 'x'\n[[port.unit]]\n\nid = 'x'\n", "line 7: the id 'x' is given twice"},
        {"id = 'ipdu2'\n[[port.unit]]\n", "line 5: the id 'ipdu2' is given twice"},
        {"model = 'abcdefghijklmnop'\n", "line 4: 'model' must be a text of 1 to 15 bytes, not of 16"},
        {"phase = 3\n", "line 4: 'phase' must be a list of tables, not 3"},
        {"sensor = ['a']\n", "line 4: 'sensor' must be a list of tables, not a text"},
    };
    for (const faulty_text &one : texts)
        EXPECT_EQ(unit_fault(one.lines), one.fault) << one.lines;
}

TEST(chain_file, fault_of_a_part_is_told_with_line_and_key)
{
    const faulty_text texts[] = {
        {"[[port.unit.outlet]]\ncolour = 'red'\n",
         "line 5: unknown key 'colour'; known here: 'number', 'sys_name', 'name', 'circuit', 'state', 'locked', "
         "'fixed', 'mod_status', 'post_power_on', 'post_power_off', 'metered', 'voltage_type', 'power_type', "
         "'power_factor_type', 'thresholds', 'load' and 'power_factor'"},
        {"outlets = 2\n[[port.unit.outlet]]\nnumber = 3\n", "line 6: outlet 3 is beyond the last, 2"},
        {"outlets = 2\n[[port.unit.outlet]]\nnumber = 1\n[[port.unit.outlet]]\nnumber = 1\n",
         "line 8: outlet 1 is given twice"},
        {"outlets = 0\n[[port.unit.outlet]]\n", "line 5: outlet 1 is beyond the last, 0"},
        {"[[port.unit.outlet]]\nsys_name = 'ninebytes'\n",
         "line 5: 'sys_name' must be a text of 1 to 8 bytes, not of 9"},
        {"[[port.unit.outlet]]\nname = '1st'\n", "line 5: the outlet name '1st' begins with a digit or holds a comma"},
        {"[[port.unit.outlet]]\nname = 'a,b'\n", "line 5: the outlet name 'a,b' begins with a digit or holds a comma"},
        {"[[port.unit.outlet]]\nname = 'abcdefghijklmnopq'\n",
         "line 5: 'name' must be a text of 0 to 16 bytes, not of 17"},
        {"[[port.unit.outlet]]\nname = 'a'\n[[port.unit.outlet]]\nname = 'a'\n",
         "line 7: the outlet name 'a' is given twice"},
        {"[[port.unit.outlet]]\nname = 'a'\n[[port.unit]]\n[[port.unit.outlet]]\nname = 'a'\n",
         "line 8: the outlet name 'a' is given twice"},
        {"[[port.unit.outlet]]\nstate = 'no'\n", "line 5: 'state' must be 'on' or 'off', not 'no'"},
        {"[[port.unit.outlet]]\nfixed = true\nlocked = true\n", "line 5: a fixed outlet is on and takes no lock"},
        {"[[port.unit.outlet]]\nfixed = true\nstate = 'off'\n", "line 5: a fixed outlet is on and takes no lock"},
        {"[[port.unit.outlet]]\nmod_status = 'broken'\n",
         "line 5: 'mod_status' must be 'OFF', 'ON', 'OFF(error)', 'ON(error)', 'OFF(wait)', 'ON(wait)', 'OFF(fuse)', "
         "'ON(fuse)', 'OFF(ocp)', 'Reading' or 'Comm error', not 'broken'"},
        {"[[port.unit.outlet]]\ncircuit = 1\n", "line 5: circuit 1 is beyond the last, 0"},
        {"[[port.unit.outlet]]\nsys_name = '2'\n[[port.unit.outlet]]\n",
         "line 5: the system name '2' is given twice in one unit"},
        {"[[port.unit.circuit]]\nphases = [1, 2]\n", "line 5: 'phases' must be one or two of the unit's phases 1 to 1"},
        {"[[port.unit.circuit]]\nphases = []\n", "line 5: 'phases' must be one or two of the unit's phases 1 to 1"},
        {"[[port.unit.circuit]]\nphases = ['X']\n",
         "line 5: 'phases' must be a list of whole numbers from 1 to 3, not a text"},
        {"[[port.unit.circuit]]\nphases = [4]\n",
         "line 5: 'phases' must be a list of whole numbers from 1 to 3, not 4"},
        {"[[port.unit.phase]]\n[[port.unit.phase]]\n[[port.unit.phase]]\n[[port.unit.phase]]\n",
         "line 4: more than 3 of 'phase'"},
        {"[[port.unit.sensor]]\nname = 'a'\n", "line 4: missing key 'type' in [[port.unit.sensor]]"},
        {"[[port.unit.sensor]]\ntype = 'noise'\n",
         "line 5: 'type' must be 'internal-temperature', 'external-temperature', 'humidity', 'air-flow', "
         "'dry-contact', 'water-level', 'motion', 'smoke' or 'UNDEFINED', not 'noise'"},
        {"[[port.unit.sensor]]\ntype = 'smoke'\nsys_name = 'S'\n[[port.unit.sensor]]\ntype = 'smoke'\nsys_name = 'S'\n",
         "line 9: the system name 'S' is given twice in one unit"},
    };
    for (const faulty_text &one : texts)
        EXPECT_EQ(unit_fault(one.lines), one.fault) << one.lines;
}

TEST(chain_file, header_that_begins_with_no_name_is_a_fault_and_not_the_end)
{
    std::string fault;
    chain_file read;
    EXPECT_FALSE(parse_chain("# one\n[[=", &read, &fault));
    EXPECT_TRUE(fault.starts_with("line 2: ")) << fault;
}

TEST(chain_file, control_characters_are_not_told)
{
    std::string fault;
    chain_file read;
    EXPECT_FALSE(parse_chain("\"a\\nb\" = 1\n", &read, &fault));
    EXPECT_TRUE(fault.starts_with("line 1: unknown key 'a?b'; known here: ")) << fault;
    EXPECT_FALSE(parse_chain("[authorization]\n\"\\u001b[2J\" = 1\n", &read, &fault));
    EXPECT_EQ(fault, "line 2: '?[2J' must be a list of texts of 1 to 64 bytes, not 1");
    EXPECT_FALSE(parse_chain("seed = na\rr\n", &read, &fault)); // of which the parser tells as far as it has read
    EXPECT_FALSE(has_control_characters(fault)) << fault;
}

TEST(chain_file, fault_outside_units_is_told_with_line_and_key)
{
    const faulty_text texts[] = {
        {"prt = 1\n", "line 1: unknown key 'prt', did you mean 'port'?"},
        {"b = 1\na = 2\n", "line 1: unknown key 'b'; known here: 'seed', 'noise', 'port', 'authorization' and 'fault'"},
        {"port = 1\n", "line 1: 'port' must be a list of tables, not 1"},
        {"[[port]]\n", "line 1: missing key 'name' in [[port]]"},
        {"[[port]]\nname = 'a'\npolling_rate = 0\n",
         "line 3: 'polling_rate' must be a whole number from 1 to 3600 seconds, not 0"},
        {"[[port]]\nname = 'a'\n[[port]]\nname = 'a'\n", "line 4: the port name 'a' is given twice"},
        {"[[port]]\nname = 'a'\n[[port]]\nname = 'local'\n",
         "line 4: the port 'local', of the appliance's own unit, must be the first"},
        {"authorization = 1\n", "line 1: 'authorization' must be a table, not 1"},
        {"[authorization]\nadmin = 'root'\n", "line 2: 'admin' must be a list of texts of 1 to 64 bytes, not a text"},
        {"[authorization]\nadmin = ['']\n", "line 2: 'admin' must be a list of texts of 1 to 64 bytes, not of 0"},
        {"[[fault]]\nverb = 'info'\n", "line 1: missing key 'kind' in [[fault]]"},
        {"[[fault]]\nkind = 'explode'\n", "line 2: 'kind' must be 'refuse', 'drop' or 'delay', not 'explode'"},
        {"[[fault]]\nkind = 'drop'\ncode = 3\n", "line 3: only a refusal has a 'code'"},
        {"[[fault]]\nkind = 'refuse'\ncode = 0\n", "line 3: 'code' must be a whole number from 1 to 2147483647, not 0"},
        {"[[fault]]\nkind = 'drop'\nmilliseconds = 3\n", "line 3: only a delay has 'milliseconds'"},
        {"[[fault]]\nkind = 'delay'\n", "line 1: missing key 'milliseconds' in [[fault]] of kind 'delay'"},
        {"[[fault]]\nkind = 'drop'\nverb = 'put'\n",
         "line 3: 'verb' must be '*', 'login', 'resume', 'get', 'set', 'info', 'admin', 'list', 'mlist', 'add', 'del', "
         "'move' or 'commit', not 'put'"},
        {"[[fault]]\nkind = 'drop'\npath = 'a..b'\n",
         "line 3: 'path' must be words with one '.' between them, or '*', not 'a..b'"},
    };
    for (const faulty_text &one : texts)
        EXPECT_EQ(fault_of(one.lines), one.fault) << one.lines;
}

TEST(chain_file, text_that_is_no_toml_is_told_with_its_line_and_the_parsers_words)
{
    EXPECT_THAT(fault_of("[[port]]\nname = \n"), testing::MatchesRegex("line 2: .*value.*"));
    EXPECT_THAT(fault_of("[[port]]\nname = 'x\n"), testing::MatchesRegex("line 2: .*string.*"));
    EXPECT_THAT(fault_of("[[port\n"), testing::MatchesRegex("line 1: .+"));
    EXPECT_THAT(fault_of("seed = 1\nseed = 2\n"), testing::MatchesRegex("line 2: .*'seed'.*"));
}

TEST(chain_file, key_that_is_near_to_one_of_the_table_is_taken_for_a_slip)
{
    const faulty_text texts[] = {
        {"outltes = 8\n", "line 4: unknown key 'outltes', did you mean 'outlets'?"},
        {"max_curent = 8\n", "line 4: unknown key 'max_curent', did you mean 'max_current'?"},
        {"Model = 'x'\n", "line 4: unknown key 'Model', did you mean 'model'?"},
        {"treshholds = [1]\n", "line 4: unknown key 'treshholds', did you mean 'thresholds'?"},
        {"[[port.unit.outlet]]\nlock = true\n", "line 5: unknown key 'lock', did you mean 'locked'?"},
    };
    for (const faulty_text &one : texts)
        EXPECT_EQ(unit_fault(one.lines), one.fault) << one.lines;
}

TEST(chain_file, value_of_another_type_is_told_by_what_it_is)
{
    const faulty_text texts[] = {
        {"noise = 1\n", "line 1: 'noise' must be true or false, not 1"},
        {"seed = true\n", "line 1: 'seed' must be a whole number from 0 to 2147483647, not true"},
        {"seed = []\n", "line 1: 'seed' must be a whole number from 0 to 2147483647, not a list"},
        {"seed = {}\n", "line 1: 'seed' must be a whole number from 0 to 2147483647, not a table"},
        {"seed = 2024-01-01\n", "line 1: 'seed' must be a whole number from 0 to 2147483647, not a date or time"},
        {"seed = 1.5\n", "line 1: 'seed' must be a whole number from 0 to 2147483647, not 1.5"},
        {"port = [\n1]\n", "line 2: 'port' must be a list of tables, not 1"},
    };
    for (const faulty_text &one : texts)
        EXPECT_EQ(fault_of(one.lines), one.fault) << one.lines;
}

TEST(chain_file, system_name_given_twice_is_told_where_the_second_says_it)
{
    const faulty_text texts[] = {
        {"[[port.unit.outlet]]\nsys_name = 'a'\n[[port.unit.outlet]]\n\nsys_name = 'a'\n",
         "line 8: the system name 'a' is given twice in one unit"},
        {"outlets = 3\n[[port.unit.outlet]]\nsys_name = '3'\n",
         "line 6: the system name '3' is given twice in one unit"},
        {"phases = 2\n[[port.unit.phase]]\nnumber = 2\nsys_name = 'X'\n",
         "line 7: the system name 'X' is given twice in one unit"},
    };
    for (const faulty_text &one : texts)
        EXPECT_EQ(unit_fault(one.lines), one.fault) << one.lines;
}

TEST(chain_file, more_ports_units_or_faults_than_there_is_room_for_are_refused)
{
    std::string ports, units = "[[port]]\nname = 'local'\n", faults;
    for (int i = 0; i < 17; i++)
        ports += "[[port]]\nname = 'p" + std::to_string(i) + "'\n";
    for (int i = 0; i < 65; i++)
        units += "[[port.unit]]\n";
    for (int i = 0; i < 257; i++)
        faults += "[[fault]]\nkind = 'drop'\n";
    EXPECT_EQ(fault_of(ports), "line 33: more than 16 ports");
    EXPECT_EQ(fault_of(units), "line 67: more than 64 units on one port");
    EXPECT_EQ(fault_of(faults), "line 513: more than 256 faults");
}

TEST(chain_file, fault_names_the_file)
{
    test_folder folder;
    std::string path = folder.path + "/chain.toml", fault;
    std::ofstream(path) << "# one\n[[port]]\nname = 'local'\n[[port.unit]]\noutlts = 8\n";
    chain_file read;
    EXPECT_FALSE(load_chain_file(path, &read, &fault));
    EXPECT_EQ(fault, "cannot read '" + path + "': line 5: unknown key 'outlts', did you mean 'outlets'?");
}

TEST(chain_file, file_that_cannot_be_read_is_told_with_the_cause)
{
    test_folder folder;
    std::string fault;
    chain_file read;
    EXPECT_FALSE(load_chain_file(folder.path + "/none.toml", &read, &fault));
    EXPECT_EQ(fault, "cannot read '" + folder.path + "/none.toml': No such file or directory");
    EXPECT_FALSE(load_chain_file(folder.path, &read, &fault));
    EXPECT_EQ(fault, "cannot read '" + folder.path + "': Is a directory");
}

TEST(chain_file, file_of_unreasonable_size_is_refused)
{
    test_folder folder;
    std::string path = folder.path + "/huge.toml", fault;
    std::ofstream(path) << std::string(1 << 20, '#') << "#";
    chain_file read;
    EXPECT_FALSE(load_chain_file(path, &read, &fault));
    EXPECT_EQ(fault, "cannot read '" + path + "': file too large");
}

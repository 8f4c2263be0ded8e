// Meters through the control tree: who serves what, how it reads, what resets and thresholds do, and the desk's words
// for loads.

#include "appliance/morvd/tree.h"
#include "tests/unit/appliance/outlet_desk.h"

// A current-family unit that measures everywhere but at outlet 3, a legacy unit, one that measures nothing.
static constexpr char metered_chain[] = R"(
noise = false
[[port]]
name = "local"
[[port.unit]]
model_nr = 128
max_current = 16
overcurrent = true
metering = ["unit", "phase", "circuit", "outlet"]
circuits = 2
outlets = 4
load = 460
power_factor = 0.8
[[port.unit.outlet]]
number = 3
metered = false
voltage_type = "UNDEFINED"
[[port.unit.outlet]]
number = 4
state = "off"
power_type = "ESTIMATED"
[[port.unit]]
model_nr = 127
max_current = 10
metering = ["unit", "phase"]
voltage_type = "ESTIMATED"
outlets = 2
load = 230
[[port.unit.phase]]
voltage_type = "MEASURED"
[[port.unit]]
model_nr = 143
circuits = 1
outlets = 1
load = 100
[[port.unit]]
metering = ["outlet"]
outlets = 1
)";

struct metered_desk : switching_desk {
    explicit metered_desk(std::string_view text = metered_chain) : switching_desk(text) {}

    // A leaf below the first port's units.
    std::string info(const std::string &leaf) { return text_of(ask({"info", "power.port.1.pdu." + leaf})); }
    std::string admin(const std::string &leaf) { return ask({"admin", "power.port.1.pdu." + leaf}); }
    std::string admin(const std::string &leaf, const std::string &value)
    {
        return ask({"admin", "power.port.1.pdu." + leaf, value});
    }
    std::string advance(const std::string &seconds) { return ask({"desk", "clock", "advance", seconds}); }

    // The electrical ones among the names that the node lists.
    std::vector<std::string> measures(const std::string &node)
    {
        std::vector<std::string> electrical;
        for (const std::string &name : ask_tree(served.line, verb::mlist, "power.port.1.pdu." + node, {}).items)
            for (const char *word : {"current", "voltage", "power", "threshold", "cumulative", "consolidated", "reset"})
                if (name.starts_with(word)) {
                    electrical.push_back(name);
                    break;
                }
        return electrical;
    }
};

// --- Who serves what ------------------------------------------------------------------------------------------------

static const std::vector<std::string> everything = {"current",
                                                    "current-max",
                                                    "current-min",
                                                    "current-avg",
                                                    "reset-current",
                                                    "current-alarm",
                                                    "current-warning",
                                                    "current-low",
                                                    "current-lowcrit",
                                                    "threshold-status",
                                                    "voltage",
                                                    "voltage-type",
                                                    "voltage-max",
                                                    "voltage-min",
                                                    "voltage-avg",
                                                    "reset-voltage",
                                                    "power",
                                                    "power-type",
                                                    "power-max",
                                                    "power-min",
                                                    "power-avg",
                                                    "reset-power",
                                                    "power-factor",
                                                    "power-factor-type",
                                                    "power-factor-max",
                                                    "power-factor-min",
                                                    "power-factor-avg",
                                                    "reset-power-factor",
                                                    "cumulative-watthour",
                                                    "cumulative-starttime"};

TEST(meter_leaves, current_family_serves_everything_at_each_node_that_measures)
{
    metered_desk desk;
    std::vector<std::string> of_unit = everything;
    of_unit.insert(of_unit.begin() + 10, "consolidated-alarm");
    EXPECT_EQ(desk.measures("1"), of_unit);
    EXPECT_EQ(desk.measures("1.phase.1"), everything);
    EXPECT_EQ(desk.measures("1.circuit.2"), everything);
    EXPECT_EQ(desk.measures("1.outlet.4"), everything);
}

TEST(meter_leaves, legacy_unit_serves_present_and_maximum_current_voltage_and_one_level)
{
    metered_desk desk;
    const std::vector<std::string> few = {"current",       "current-max", "reset-current",
                                          "current-alarm", "voltage",     "voltage-type"};
    EXPECT_EQ(desk.measures("2"), few);
    EXPECT_EQ(desk.measures("2.phase.1"), few);
    EXPECT_EQ(desk.measures("4.outlet.1"), few); // a model that is not known is no current-family one
}

TEST(meter_leaves, node_that_does_not_measure_serves_nothing_electrical)
{
    metered_desk desk;
    for (const char *node : {"1.outlet.3", "2.outlet.1", "3", "3.phase.1", "3.circuit.1", "3.outlet.1", "4"}) {
        EXPECT_EQ(desk.measures(node), std::vector<std::string>()) << node;
        for (const std::string &leaf : everything)
            EXPECT_EQ(desk.info(std::string(node) + "." + leaf), no_such_path) << node << "." << leaf;
    }
    EXPECT_EQ(desk.admin("3.reset-current"), no_such_path);
    EXPECT_EQ(desk.admin("3.current-alarm", "5"), no_such_path);
    EXPECT_EQ(desk.admin("1.outlet.3.cumulative-watthour.reset"), no_such_path);
}

TEST(meter_leaves, legacy_unit_refuses_the_resets_and_levels_that_it_lacks)
{
    metered_desk desk;
    for (const char *leaf : {"reset-voltage", "reset-power", "reset-power-factor", "cumulative-watthour.reset"})
        EXPECT_EQ(desk.admin(std::string("2.") + leaf), no_such_path) << leaf;
    for (const char *leaf : {"current-warning", "current-low", "current-lowcrit"})
        EXPECT_EQ(desk.admin(std::string("2.") + leaf, "1"), no_such_path) << leaf;
    for (const char *leaf : {"current-min", "power", "power-factor", "cumulative-watthour", "threshold-status"})
        EXPECT_EQ(desk.info(std::string("2.") + leaf), no_such_path) << leaf;
}

TEST(meter_leaves, every_name_that_a_metered_node_lists_is_served)
{
    metered_desk desk;
    for (std::string node : {"1", "1.phase.1", "1.circuit.1", "1.outlet.1", "2", "2.phase.1"})
        for (const std::string &name : desk.measures(node)) {
            std::string path = "power.port.1.pdu." + node + "." + name;
            bool resets = name.starts_with("reset-");
            EXPECT_EQ(ask_tree(desk.served.line, resets ? verb::admin : verb::info, path, {}).kind,
                      resets ? answer::done : answer::text)
                << path;
        }
}

// --- Readings -------------------------------------------------------------------------------------------------------

TEST(meter_leaves, readings_have_a_decimal_and_power_factors_two)
{
    metered_desk desk;
    EXPECT_EQ(desk.info("1.outlet.1.current"), "2.5");
    EXPECT_EQ(desk.info("1.outlet.1.voltage"), "230.0");
    EXPECT_EQ(desk.info("1.outlet.1.power"), "460.0");
    EXPECT_EQ(desk.info("1.outlet.1.power-factor"), "0.80");
    EXPECT_EQ(desk.info("1.circuit.1.current"), "5.0");
    EXPECT_EQ(desk.info("1.circuit.2.power"), "460.0"); // outlet 3 has no meter and draws all the same
    EXPECT_EQ(desk.info("1.phase.1.current"), "7.5");
    EXPECT_EQ(desk.info("1.power"), "1380.0");
    EXPECT_EQ(desk.info("1.outlet.4.power-factor"), "0.00");
    EXPECT_EQ(desk.info("2.current"), "2.0");
}

TEST(meter_leaves, what_rounds_to_nothing_has_no_sign)
{
    metered_desk desk;
    desk.info("1.power");
    meter &its = desk.simulated.units.ports[0].units[0].measured;
    its.now[quantity::power] = -0.04;
    its.now[quantity::power_factor] = -0.004;
    EXPECT_EQ(desk.info("1.power"), "0.0");
    EXPECT_EQ(desk.info("1.power-factor"), "0.00");
    its.now[quantity::power] = -0.06;
    EXPECT_EQ(desk.info("1.power"), "-0.1");
}

TEST(meter_leaves, kind_of_a_value_is_its_own_or_the_units)
{
    metered_desk desk;
    EXPECT_EQ(desk.info("1.voltage-type"), "MEASURED");
    EXPECT_EQ(desk.info("1.outlet.4.power-type"), "ESTIMATED");
    EXPECT_EQ(desk.info("1.outlet.4.power-factor-type"), "MEASURED");
    EXPECT_EQ(desk.info("2.voltage-type"), "ESTIMATED");
    EXPECT_EQ(desk.info("2.phase.1.voltage-type"), "MEASURED");
}

TEST(meter_leaves, readings_follow_the_switching_of_outlets)
{
    metered_desk desk;
    desk.info("1.current");
    desk.at(10'000);
    desk.command("off", "1.1.1");
    EXPECT_EQ(desk.info("1.outlet.1.current"), "0.0");
    EXPECT_EQ(desk.info("1.outlet.1.current-min"), "0.0");
    EXPECT_EQ(desk.info("1.outlet.1.current-max"), "2.5");
    EXPECT_EQ(desk.info("1.outlet.1.power-factor-min"), "0.80");
    EXPECT_EQ(desk.info("1.current"), "5.0");
    desk.at(40'000);
    EXPECT_EQ(desk.info("1.current-avg"), "5.6"); // 7.5 for 10 s, 5.0 for 30 s
    EXPECT_EQ(desk.info("1.outlet.1.power-avg"), "115.0");
}

TEST(meter_leaves, outlets_that_switch_while_time_passes_count_until_their_own_moment)
{
    metered_desk desk("noise = false\n[[port]]\nname = 'local'\n[[port.unit]]\nmodel_nr = 128\noutlets = 2\n"
                      "metering = ['outlet']\nload = 3600\npost_power_off = 100\n");
    desk.command("off", "1.1.1,1.1.2");
    EXPECT_EQ(desk.advance("1000"), done);
    EXPECT_EQ(desk.info("1.outlet.1.cumulative-watthour"), "0.000");
    EXPECT_EQ(desk.info("1.outlet.2.cumulative-watthour"), "0.100");
    EXPECT_EQ(desk.info("1.outlet.2.power-avg"), "360.0");
}

TEST(meter_leaves, energy_counts_from_a_date)
{
    metered_desk desk;
    EXPECT_EQ(desk.info("1.cumulative-watthour"), "0.000");
    EXPECT_EQ(desk.info("1.cumulative-starttime"), "2024-01-01 00:00:00");
    desk.advance("3600");
    EXPECT_EQ(desk.info("1.cumulative-watthour"), "1.380");
    EXPECT_EQ(desk.info("1.phase.1.cumulative-watthour"), "1.380");
    EXPECT_EQ(desk.info("1.outlet.1.cumulative-watthour"), "0.460");
    EXPECT_EQ(desk.info("1.cumulative-starttime"), "2024-01-01 00:00:00");
}

TEST(meter_leaves, transcripts_of_the_same_times_are_the_same_however_often_is_asked)
{
    metered_desk often(std::string(metered_chain).replace(1, 13, "seed = 5")),
        once(std::string(metered_chain).replace(1, 13, "seed = 5"));
    once.info("1.power");
    for (int i = 0; i < 100; i++) {
        often.advance("0.9");
        for (int j = 0; j < 3; j++)
            often.info("1.power");
        once.simulated.clock.driven = *often.simulated.clock.driven;
        once.ask({"info", "power.num-devices"});
    }
    for (const char *leaf : {"1.power", "1.power-min", "1.power-avg", "1.outlet.1.current-max", "1.voltage-avg"})
        EXPECT_EQ(often.info(leaf), once.info(leaf)) << leaf;
    EXPECT_NE(often.info("1.power-max"), often.info("1.power-min"));
}

TEST(meter_leaves, readings_stand_still_between_samples)
{
    metered_desk desk(std::string(metered_chain).replace(1, 13, "seed = 5"));
    desk.at(1000);
    desk.info("1.power");
    double before = desk.simulated.units.ports[0].units[0].measured.now[quantity::power];
    desk.at(1999);
    desk.info("1.power");
    EXPECT_EQ(desk.simulated.units.ports[0].units[0].measured.now[quantity::power], before);
    desk.at(2000);
    desk.info("1.power");
    EXPECT_NE(desk.simulated.units.ports[0].units[0].measured.now[quantity::power], before);
}

// --- Resets ---------------------------------------------------------------------------------------------------------

TEST(meter_leaves, each_reset_clears_its_own_and_at_its_own_node)
{
    metered_desk desk;
    desk.info("1.current");
    desk.at(100'000);
    desk.ask({"desk", "load", "1", "1", "1", "0"});
    desk.at(200'000);
    struct {
        const char *reset, *greatest, *before, *after;
    } const rows[] = {
        {"reset-current", "current-max", "7.5", "5.0"},
        {"reset-power", "power-max", "1380.0", "920.0"},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(desk.info(std::string("1.") + row.greatest), row.before);
        EXPECT_EQ(desk.admin(std::string("1.") + row.reset), done);
        EXPECT_EQ(desk.info(std::string("1.") + row.greatest), row.after);
        EXPECT_EQ(desk.info(std::string("1.phase.1.") + row.greatest), row.before);
    }
    EXPECT_EQ(desk.info("1.circuit.1.current-max"), "5.0");
    EXPECT_EQ(desk.admin("1.circuit.1.reset-current"), done);
    EXPECT_EQ(desk.info("1.circuit.1.current-max"), "2.5");
    EXPECT_EQ(desk.info("1.circuit.1.power-max"), "920.0");
    EXPECT_EQ(desk.info("1.circuit.1.current-avg"), "2.5");
    EXPECT_EQ(desk.admin("2.reset-current"), done);
}

TEST(meter_leaves, voltage_and_power_factor_are_reset_on_their_own)
{
    metered_desk desk;
    desk.info("1.current");
    desk.ask({"desk", "load", "1", "1", "1", "460", "0.5"});
    EXPECT_EQ(desk.info("1.outlet.1.power-factor-max"), "0.80");
    EXPECT_EQ(desk.admin("1.outlet.1.reset-voltage"), done);
    EXPECT_EQ(desk.info("1.outlet.1.power-factor-max"), "0.80");
    EXPECT_EQ(desk.admin("1.outlet.1.reset-power-factor"), done);
    EXPECT_EQ(desk.info("1.outlet.1.power-factor-max"), "0.50");
    EXPECT_EQ(desk.info("1.outlet.1.current-min"), "2.5");
}

TEST(meter_leaves, reset_of_the_energy_begins_a_new_count_today)
{
    metered_desk desk;
    desk.info("1.current");
    desk.at(int64_t{86'400'500} + 3'600'000);
    EXPECT_EQ(desk.admin("1.phase.1.cumulative-watthour.reset"), done);
    EXPECT_EQ(desk.info("1.phase.1.cumulative-watthour"), "0.000");
    EXPECT_EQ(desk.info("1.phase.1.cumulative-starttime"), "2024-01-02 01:00:00");
    EXPECT_EQ(desk.info("1.cumulative-watthour"), "34.500");
    EXPECT_EQ(desk.info("1.cumulative-starttime"), "2024-01-01 00:00:00");
    desk.advance("3600");
    EXPECT_EQ(desk.info("1.phase.1.cumulative-watthour"), "1.380");
}

TEST(meter_leaves, reset_takes_no_word)
{
    metered_desk desk;
    EXPECT_EQ(desk.admin("1.reset-current", "now"), bad_arguments);
    EXPECT_EQ(desk.admin("1.cumulative-watthour.reset", "now"), bad_arguments);
    EXPECT_EQ(desk.info("1.reset-current"), no_such_verb);
}

// --- Thresholds -----------------------------------------------------------------------------------------------------

TEST(meter_leaves, thresholds_are_set_at_their_own_node_and_read_with_a_decimal)
{
    metered_desk desk;
    EXPECT_EQ(desk.admin("1.current-alarm", "14"), done);
    EXPECT_EQ(desk.admin("1.current-warning", "1.05e1"), done);
    EXPECT_EQ(desk.admin("1.current-low", "2.06"), done);
    EXPECT_EQ(desk.admin("1.current-lowcrit", "1"), done);
    EXPECT_EQ(desk.info("1.current-alarm"), "14.0");
    EXPECT_EQ(desk.info("1.current-warning"), "10.5");
    EXPECT_EQ(desk.info("1.current-low"), "2.1");
    EXPECT_EQ(desk.info("1.current-lowcrit"), "1.0");
    for (const char *node : {"1.phase.1", "1.circuit.2", "1.outlet.1"}) {
        std::string alarm = std::string(node) + ".current-alarm";
        EXPECT_EQ(desk.info(alarm), "16.0") << node;
        EXPECT_EQ(desk.admin(alarm, "9"), done) << node;
        EXPECT_EQ(desk.info(alarm), "9.0") << node;
    }
    EXPECT_EQ(desk.info("1.circuit.1.current-alarm"), "16.0");
    EXPECT_EQ(desk.admin("2.current-alarm", "3.5"), done);
    EXPECT_EQ(desk.info("2.current-alarm"), "3.5");
}

TEST(meter_leaves, threshold_that_is_no_number_is_refused)
{
    metered_desk desk;
    for (const char *text : {"", "x", "12A", " 12", "12 ", "nan", "inf", "-inf", "0x10", "1e999", "12,5"})
        EXPECT_EQ(desk.admin("1.current-alarm", text), bad_value) << text;
    EXPECT_EQ(desk.admin("1.current-alarm"), bad_arguments);
    EXPECT_EQ(desk.info("1.current-alarm"), "16.0");
}

TEST(meter_leaves, threshold_out_of_range_or_order_is_refused_and_changes_nothing)
{
    metered_desk desk;
    EXPECT_EQ(desk.admin("1.current-alarm", "16.1"), bad_value);
    EXPECT_EQ(desk.admin("1.current-alarm", "0.9"), bad_value);
    EXPECT_EQ(desk.admin("1.current-warning", "16.1"), bad_value);
    EXPECT_EQ(desk.admin("1.current-low", "12.9"), bad_value);
    EXPECT_EQ(desk.admin("1.current-lowcrit", "0.1"), bad_value);
    EXPECT_EQ(desk.admin("1.current-lowcrit", "-1"), bad_value);
    EXPECT_EQ(desk.info("1.current-alarm"), "16.0");
    EXPECT_EQ(desk.info("1.current-warning"), "12.8");
    EXPECT_EQ(desk.info("1.current-low"), "0.0");
}

TEST(meter_leaves, status_follows_current_and_thresholds)
{
    metered_desk desk;
    EXPECT_EQ(desk.info("1.threshold-status"), "normal");
    EXPECT_EQ(desk.info("1.consolidated-alarm"), "none");
    desk.admin("1.circuit.1.current-warning", "5");
    EXPECT_EQ(desk.info("1.circuit.1.threshold-status"), "high warning");
    EXPECT_EQ(desk.info("1.threshold-status"), "normal");
    EXPECT_EQ(desk.info("1.consolidated-alarm"), "warning");
    desk.admin("1.outlet.1.current-alarm", "2.5");
    EXPECT_EQ(desk.info("1.outlet.1.threshold-status"), "high critical");
    EXPECT_EQ(desk.info("1.consolidated-alarm"), "critical");
    desk.command("off", "1.1.1");
    EXPECT_EQ(desk.info("1.outlet.1.threshold-status"), "normal");
    desk.admin("1.outlet.1.current-low", "1");
    EXPECT_EQ(desk.info("1.outlet.1.threshold-status"), "low warning");
    desk.admin("1.outlet.1.current-lowcrit", "1");
    EXPECT_EQ(desk.info("1.outlet.1.threshold-status"), "low critical");
}

// --- Over-current protection ----------------------------------------------------------------------------------------

TEST(meter_leaves, current_at_the_threshold_keeps_outlets_of_the_circuit_off)
{
    metered_desk desk;
    desk.admin("1.circuit.2.current-alarm", "2.5"); // outlet 3 draws that much
    EXPECT_EQ(desk.mod("1.1.4"), "OFF(ocp)");
    desk.command("on", "1.1.4");
    EXPECT_EQ(desk.ctrl("1.1.4"), "OFF");
    EXPECT_EQ(desk.ask({"get", "power.pdu.pdu-local.overcurrent"}), bulk("1"));
    desk.command("off", "1.1.3");
    EXPECT_EQ(desk.mod("1.1.4"), "OFF");
    desk.command("on", "1.1.4");
    EXPECT_EQ(desk.ctrl("1.1.4"), "ON");
    desk.command("on", "1.1.3");
    EXPECT_EQ(desk.ctrl("1.1.3"), "OFF");
}

TEST(meter_leaves, current_below_the_threshold_holds_nothing)
{
    metered_desk desk;
    desk.admin("1.circuit.2.current-alarm", "2.6");
    desk.command("on", "1.1.4");
    EXPECT_EQ(desk.ctrl("1.1.4"), "ON");
}

TEST(meter_leaves, phase_at_its_threshold_holds_all_its_circuits)
{
    metered_desk desk;
    desk.admin("1.phase.1.current-alarm", "7.5");
    desk.command("on", "1.1.4");
    EXPECT_EQ(desk.ctrl("1.1.4"), "OFF");
    desk.admin("1.overcurrent", "off");
    desk.command("on", "1.1.4");
    EXPECT_EQ(desk.ctrl("1.1.4"), "ON");
}

TEST(meter_leaves, outlets_of_one_action_come_on_until_the_threshold_is_reached)
{
    metered_desk desk("noise = false\n[[port]]\nname = 'local'\n[[port.unit]]\nmodel_nr = 128\nmax_current = 16\n"
                      "overcurrent = true\nmetering = ['phase']\noutlets = 4\nload = 1150\npost_power_on = 1\n");
    desk.command("ioff", "1.1.1,1.1.2,1.1.3,1.1.4");
    desk.admin("1.phase.1.current-alarm", "10");
    desk.command("on", "1.1.1,1.1.2,1.1.3,1.1.4");
    desk.advance("10");
    EXPECT_EQ(desk.states({"1.1.1", "1.1.2", "1.1.3", "1.1.4"}), "ON ON OFF OFF");
}

TEST(meter_leaves, circuit_without_a_meter_is_overloaded_only_if_the_desk_says_so)
{
    metered_desk desk("[[port]]\nname = 'local'\n[[port.unit]]\nmodel_nr = 128\nmax_current = 2\novercurrent = true\n"
                      "circuits = 1\noutlets = 2\nload = 2300\n");
    desk.command("off", "1.1.1");
    desk.command("on", "1.1.1");
    EXPECT_EQ(desk.ctrl("1.1.1"), "ON");
    desk.ask({"desk", "circuit", "1.1.1", "overload"});
    desk.command("off", "1.1.1");
    desk.command("on", "1.1.1");
    EXPECT_EQ(desk.ctrl("1.1.1"), "OFF");
}

// --- The desk -------------------------------------------------------------------------------------------------------

TEST(meter_leaves, desk_changes_the_load_of_an_outlet_at_once)
{
    metered_desk desk;
    desk.info("1.current");
    desk.at(1500);
    EXPECT_EQ(desk.ask({"desk", "load", "1", "1", "1", "920"}), done);
    EXPECT_EQ(desk.info("1.outlet.1.power"), "920.0");
    EXPECT_EQ(desk.info("1.outlet.1.power-factor"), "0.80");
    EXPECT_EQ(desk.info("1.outlet.1.power-max"), "920.0");
    EXPECT_EQ(desk.info("1.power"), "1840.0");
    EXPECT_EQ(desk.ask({"desk", "load", "1", "1", "1", "230.5", "1"}), done);
    EXPECT_EQ(desk.info("1.outlet.1.power"), "230.5");
    EXPECT_EQ(desk.info("1.outlet.1.power-factor"), "1.00");
    desk.at(3000);
    EXPECT_EQ(desk.info("1.outlet.1.power-avg"), "345.2"); // 460.0 for 1.5 s, 230.5 for as long
}

TEST(meter_leaves, desk_stops_and_starts_the_wavering)
{
    metered_desk desk(std::string(metered_chain).replace(1, 13, "seed = 5"));
    desk.at(10'000);
    EXPECT_NE(desk.info("1.outlet.1.power"), "460.0");
    EXPECT_EQ(desk.ask({"desk", "noise", "off"}), done);
    EXPECT_EQ(desk.info("1.outlet.1.power"), "460.0");
    EXPECT_EQ(desk.ask({"desk", "noise", "on"}), done);
    EXPECT_NE(desk.info("1.outlet.1.power"), "460.0");
}

TEST(meter_leaves, words_for_a_load_that_make_no_sense_are_refused)
{
    metered_desk desk;
    using words = std::vector<std::string>;
    for (const words &wrong : std::initializer_list<words>{{"load"},
                                                           {"load", "1", "1", "1"},
                                                           {"load", "1", "1", "1", "5", "1", "1"},
                                                           {"noise"},
                                                           {"noise", "loud"},
                                                           {"noise", "on", "off"}}) {
        words asked = {"desk"};
        asked.insert(asked.end(), wrong.begin(), wrong.end());
        EXPECT_EQ(desk.ask(asked), bad_arguments) << wrong.size();
    }
    EXPECT_EQ(desk.ask({"desk", "load", "1", "9", "1", "5"}), no_such_part);
    EXPECT_EQ(desk.ask({"desk", "load", "1", "1", "5", "5"}), no_such_part);
    for (const words &wrong : std::initializer_list<words>{{"x", "1", "1", "5"},
                                                           {"1", "0", "1", "5"},
                                                           {"1", "1", "1.1", "5"},
                                                           {"1", "1", "1", "-1"},
                                                           {"1", "1", "1", "100001"},
                                                           {"1", "1", "1", "much"},
                                                           {"1", "1", "1", "5", "0.4"},
                                                           {"1", "1", "1", "5", "1.1"},
                                                           {"1", "1", "1", "5", "cos"}}) {
        words asked = {"desk", "load"};
        asked.insert(asked.end(), wrong.begin(), wrong.end());
        EXPECT_EQ(desk.ask(asked), bad_value) << wrong.back();
    }
    EXPECT_EQ(desk.info("1.outlet.1.power"), "460.0");
}

// Environment monitors in the tree: what each kind serves, how its values go along the clock, and what users and the
// desk tell it.

#include "tests/unit/appliance/outlet_desk.h"

static constexpr char too_long[] = "-ERR 11 value too long\r\n";

// A unit of the current family with one monitor of each kind, at rest, and a legacy unit with two.
static constexpr char sensor_chain[] = R"(
noise = false
[[port]]
name = "local"
[[port.unit]]
model_nr = 130
[[port.unit.sensor]]
type = "internal-temperature"
value = 30
[[port.unit.sensor]]
type = "external-temperature"
unit = "oF"
value = 68
thresholds = [104, 86, 50, 41]
[[port.unit.sensor]]
type = "humidity"
value = 40
[[port.unit.sensor]]
type = "air-flow"
value = 55.55
[[port.unit.sensor]]
type = "dry-contact"
state = "open"
[[port.unit.sensor]]
type = "water-level"
[[port.unit.sensor]]
type = "motion"
[[port.unit.sensor]]
type = "smoke"
[[port.unit.sensor]]
type = "UNDEFINED"
[[port.unit.sensor]]
type = "external-temperature"
unit = "K"
value = 300
[[port.unit]]
model_nr = 17
[[port.unit.sensor]]
type = "internal-temperature"
value = -0.04
[[port.unit.sensor]]
type = "dry-contact"
statistics = true
thresholds = [1, 1, 0, 0]
)";

struct sensor_desk : switching_desk {
    explicit sensor_desk(std::string_view text = sensor_chain) : switching_desk(text) {}

    static std::string path(int sensor, int pdu = 1)
    {
        return "power.port.1.pdu." + std::to_string(pdu) + ".envmon." + std::to_string(sensor);
    }
    std::string info(int sensor, const std::string &leaf, int pdu = 1)
    {
        return text_of(ask({"info", path(sensor, pdu) + "." + leaf}));
    }
    std::string write(int sensor, const std::string &leaf, const std::string &value, int pdu = 1)
    {
        return ask({"admin", path(sensor, pdu) + "." + leaf, value});
    }
    std::string names(int sensor, int pdu = 1) { return ask({"mlist", path(sensor, pdu)}); }
    std::string levels(int sensor, int pdu = 1)
    {
        std::string all;
        for (const char *leaf : {"high-thres", "high-warn-thres", "low-warn-thres", "low-thres"})
            all += (all.empty() ? "" : ":") + info(sensor, leaf, pdu);
        return all;
    }
    void set_value(int sensor, const std::string &value)
    {
        EXPECT_EQ(ask({"desk", "sensor", "set", "1", "1", std::to_string(sensor), value}), done) << value;
    }
    void advance(const std::string &seconds) { EXPECT_EQ(ask({"desk", "clock", "advance", seconds}), done); }
};

static const std::vector<std::string> identity = {"sys-name", "name", "type", "type-raw", "unit"};

static std::string array_of(std::vector<std::string> names, const std::vector<std::string> &more)
{
    names.insert(names.end(), more.begin(), more.end());
    return array(names);
}

// --- What each kind serves ------------------------------------------------------------------------------------------

TEST(envmon, every_kind_has_its_word_number_unit_and_value)
{
    const char *kinds[][5] = {{"internal-temperature", "1", "oC", "30.0", "30.0\370C"},
                              {"external-temperature", "2", "oF", "68.0", "68.0\370F"},
                              {"humidity", "3", "%", "40.0", "40.0%"},
                              {"air-flow", "4", "afu", "55.6", "55.6afu"},
                              {"dry-contact", "5", "none", "open", "open"},
                              {"water-level", "6", "none", "dry", "dry"},
                              {"motion", "7", "none", "still", "still"},
                              {"smoke", "8", "none", "clear", "clear"},
                              {"UNDEFINED", "22", "none", "unknown", "unknown"},
                              {"external-temperature", "2", "K", "300.00", "26.9\370C"}};
    sensor_desk desk;
    int sensor = 0;
    for (const auto &[type, number, unit, value, rendered] : kinds) {
        sensor++;
        EXPECT_EQ(desk.info(sensor, "type"), type);
        EXPECT_EQ(desk.info(sensor, "type-raw"), number) << type;
        EXPECT_EQ(desk.info(sensor, "unit"), unit) << type;
        EXPECT_EQ(desk.info(sensor, "value"), value) << type;
        EXPECT_EQ(desk.info(sensor, "value-units"), rendered) << type;
    }
}

TEST(envmon, monitor_of_a_quantity_lists_everything)
{
    sensor_desk desk;
    EXPECT_EQ(desk.names(1),
              array_of(identity, {"value", "max-value", "min-value", "avg-value", "value-units", "max-value-units",
                                  "min-value-units", "avg-value-units", "num-samples", "reset", "high-thres",
                                  "high-warn-thres", "low-warn-thres", "low-thres", "thres-status"}));
}

TEST(envmon, contact_lists_neither_statistic_nor_levels)
{
    sensor_desk desk;
    EXPECT_EQ(desk.names(5), array_of(identity, {"value", "value-units"}));
    EXPECT_EQ(desk.info(5, "max-value"), no_such_path);
    EXPECT_EQ(desk.info(5, "high-thres"), no_such_path);
    EXPECT_EQ(desk.ask({"admin", sensor_desk::path(5) + ".reset"}), no_such_path);
}

TEST(envmon, legacy_unit_keeps_a_maximum_only_and_knows_no_levels)
{
    sensor_desk desk;
    std::vector<std::string> kept = {"value", "max-value", "value-units", "max-value-units", "reset"};
    EXPECT_EQ(desk.names(1, 2), array_of(identity, kept));
    EXPECT_EQ(desk.names(2, 2), array_of(identity, kept)); // though the file gives it levels
    EXPECT_EQ(desk.write(1, "high-thres", "30", 2), no_such_path);
}

TEST(envmon, value_that_rounds_to_nothing_has_no_sign)
{
    sensor_desk desk;
    EXPECT_EQ(desk.info(1, "value", 2), "0.0");
}

TEST(envmon, contact_may_have_a_maximum_and_levels)
{
    sensor_desk desk("noise = false\n[[port]]\nname = 'local'\n[[port.unit]]\nmodel_nr = 128\n[[port.unit.sensor]]\n"
                     "type = 'dry-contact'\nstatistics = true\nthresholds = [1, 1, 0, 0]\n");
    EXPECT_EQ(desk.info(1, "thres-status"), "normal");
    desk.set_value(1, "open");
    EXPECT_EQ(desk.info(1, "max-value"), "open");
    EXPECT_EQ(desk.info(1, "min-value"), "closed");
    EXPECT_EQ(desk.info(1, "thres-status"), "high critical");
    EXPECT_EQ(desk.levels(1), "1.0:1.0:0.0:0.0");
}

TEST(envmon, monitor_may_tell_no_unit_and_any_number)
{
    sensor_desk desk("noise = false\n[[port]]\nname = 'local'\n[[port.unit]]\n[[port.unit.sensor]]\n"
                     "type = 'external-temperature'\nunit = ''\nvalue = 70\ntype_raw = 0\n");
    EXPECT_EQ(desk.names(1), array({"sys-name", "name", "type", "type-raw", "value", "max-value", "value-units",
                                    "max-value-units", "reset"}));
    EXPECT_EQ(desk.info(1, "type-raw"), "0");
    EXPECT_EQ(desk.info(1, "value"), "70.0"); // degrees Fahrenheit, as readers take it
    EXPECT_EQ(desk.info(1, "unit"), no_such_path);
    EXPECT_EQ(desk.write(1, "unit", "C"), no_such_path);
}

// --- Along the clock ------------------------------------------------------------------------------------------------

static std::string drifting_chain(int seed)
{
    return "seed = " + std::to_string(seed) +
           "\n[[port]]\nname = 'local'\n[[port.unit]]\nmodel_nr = 130\n[[port.unit.sensor]]\n"
           "type = 'external-temperature'\nvalue = 20\ndrift = 5\n[[port.unit.sensor]]\ntype = 'humidity'\n";
}

TEST(envmon, values_stray_no_farther_than_their_drift)
{
    sensor_desk desk(drifting_chain(3));
    double least = 100, greatest = 0;
    for (int step = 0; step < 100; step++) {
        double value = std::stod(desk.info(1, "value"));
        least = std::min(least, value);
        greatest = std::max(greatest, value);
        desk.advance("60");
    }
    EXPECT_GE(least, 15);
    EXPECT_LE(greatest, 25);
    EXPECT_GT(greatest - least, 3);
    EXPECT_LE(std::stod(desk.info(1, "min-value")), least);
    EXPECT_GE(std::stod(desk.info(1, "max-value")), greatest);
}

TEST(envmon, values_follow_from_seed_and_time_and_not_from_who_asks)
{
    sensor_desk one(drifting_chain(3)), other(drifting_chain(3)), third(drifting_chain(4));
    for (int step = 0; step < 100; step++)
        one.advance("5"), one.info(1, "value");
    other.advance("500");
    third.advance("500");
    for (const char *leaf : {"value", "max-value", "min-value", "avg-value", "num-samples"})
        EXPECT_EQ(one.info(1, leaf), other.info(1, leaf)) << leaf;
    EXPECT_NE(one.info(1, "value"), third.info(1, "value"));
    EXPECT_NE(one.info(1, "value"), one.info(2, "value"));
}

TEST(envmon, values_stand_still_without_noise)
{
    sensor_desk desk(drifting_chain(3));
    EXPECT_EQ(desk.ask({"desk", "noise", "off"}), done);
    desk.advance("1000");
    EXPECT_EQ(desk.info(1, "value"), "20.0");
}

TEST(envmon, maximum_minimum_and_average_follow_the_value)
{
    sensor_desk desk;
    desk.advance("10");
    desk.set_value(1, "40");
    desk.advance("30");
    desk.set_value(1, "20");
    EXPECT_EQ(desk.info(1, "value"), "20.0");
    EXPECT_EQ(desk.info(1, "max-value"), "40.0");
    EXPECT_EQ(desk.info(1, "min-value"), "20.0");
    EXPECT_EQ(desk.info(1, "avg-value"), "37.5");
    EXPECT_EQ(desk.info(1, "max-value-units"), "40.0\370C");
    EXPECT_EQ(desk.info(1, "min-value-units"), "20.0\370C");
    EXPECT_EQ(desk.info(1, "avg-value-units"), "37.5\370C");
}

TEST(envmon, reset_begins_anew_with_the_present_value)
{
    sensor_desk desk;
    desk.set_value(1, "40");
    desk.set_value(3, "60");
    desk.set_value(1, "20");
    desk.advance("10");
    EXPECT_EQ(desk.ask({"admin", sensor_desk::path(1) + ".reset"}), done);
    for (const char *leaf : {"value", "max-value", "min-value", "avg-value"})
        EXPECT_EQ(desk.info(1, leaf), "20.0") << leaf;
    EXPECT_EQ(desk.info(1, "num-samples"), "1");
    EXPECT_EQ(desk.info(3, "min-value"), "40.0"); // of another monitor
    EXPECT_EQ(desk.ask({"admin", sensor_desk::path(1) + ".reset", "now"}), bad_arguments);
}

TEST(envmon, long_time_costs_a_bounded_number_of_samples)
{
    sensor_desk desk;
    desk.advance("100000");
    EXPECT_LE(std::stoi(desk.info(1, "num-samples")), 700);
}

// --- Names ----------------------------------------------------------------------------------------------------------

TEST(envmon, name_is_kept_with_its_blanks)
{
    sensor_desk desk;
    for (std::string name : {"room 2", "1st", "", "caf\xc3\xa9", "abcdefghijklmnopqrstuvwxyz01234"}) {
        EXPECT_EQ(desk.write(1, "name", name), done) << name;
        EXPECT_EQ(desk.info(1, "name"), name);
    }
}

TEST(envmon, name_that_breaks_the_rules_is_refused_and_changes_nothing)
{
    sensor_desk desk;
    desk.write(1, "name", "old");
    EXPECT_EQ(desk.write(1, "name", std::string(32, 'x')), too_long);
    for (const char *name : {"a,b", "a:b", ",", ":", "a\tb", "\x7f"})
        EXPECT_EQ(desk.write(1, "name", name), bad_value) << name;
    EXPECT_EQ(desk.ask({"admin", sensor_desk::path(1) + ".name"}), bad_arguments);
    EXPECT_EQ(desk.ask({"admin", sensor_desk::path(1) + ".name", "a", "b"}), bad_arguments);
    EXPECT_EQ(desk.info(1, "name"), "old");
    EXPECT_EQ(desk.info(1, "sys-name"), "sensor1");
}

TEST(envmon, two_monitors_may_have_one_name)
{
    sensor_desk desk;
    EXPECT_EQ(desk.write(1, "name", "aisle"), done);
    EXPECT_EQ(desk.write(2, "name", "aisle"), done);
}

TEST(envmon, monitor_beyond_the_last_is_no_path)
{
    sensor_desk desk;
    EXPECT_EQ(desk.write(11, "name", "x"), no_such_path);
    EXPECT_EQ(desk.info(0, "value"), no_such_path);
}

// --- Units and levels -----------------------------------------------------------------------------------------------

TEST(envmon, monitor_lists_the_units_that_it_can_work_in)
{
    sensor_desk desk;
    EXPECT_EQ(desk.ask({"mlist", sensor_desk::path(2) + ".unit"}), array({"oC", "oF", "K"}));
    EXPECT_EQ(desk.ask({"mlist", sensor_desk::path(3) + ".unit"}), array({"%"}));
    EXPECT_EQ(desk.ask({"mlist", sensor_desk::path(4) + ".unit"}), array({"afu"}));
    EXPECT_EQ(desk.ask({"mlist", sensor_desk::path(5) + ".unit"}), array({"none"}));
}

TEST(envmon, value_statistic_and_levels_go_over_to_the_unit_that_is_written)
{
    sensor_desk desk;
    desk.set_value(2, "86");
    EXPECT_EQ(desk.write(2, "unit", "C"), done);
    EXPECT_EQ(desk.info(2, "unit"), "oC");
    EXPECT_EQ(desk.info(2, "value"), "30.0");
    EXPECT_EQ(desk.info(2, "min-value"), "20.0");
    EXPECT_EQ(desk.levels(2), "40.0:30.0:10.0:5.0");
    EXPECT_EQ(desk.write(2, "unit", "Kelvin"), done);
    EXPECT_EQ(desk.info(2, "unit"), "K");
    EXPECT_EQ(desk.levels(2), "313.15:303.15:283.15:278.15");
    EXPECT_EQ(desk.write(2, "unit", "Fahrenheit"), done);
    EXPECT_EQ(desk.levels(2), "104.0:86.0:50.0:41.0");
}

TEST(envmon, levels_are_taken_in_the_unit_that_was_written_before_them)
{
    sensor_desk desk;
    desk.write(2, "unit", "C");
    const char *typed[][2] = {
        {"high-thres", "10.0"}, {"high-warn-thres", "8.0"}, {"low-warn-thres", "2.0"}, {"low-thres", "1.0"}};
    for (const auto &[leaf, value] : typed)
        EXPECT_EQ(desk.write(2, leaf, value), done) << leaf;
    EXPECT_EQ(desk.levels(2), "10.0:8.0:2.0:1.0");
    desk.write(2, "unit", "F");
    EXPECT_EQ(desk.levels(2), "50.0:46.4:35.6:33.8");
}

TEST(envmon, temperature_takes_its_units_by_word_or_first_letter_and_no_other)
{
    sensor_desk desk;
    for (const char *unit : {"oC", "oF", "K", "C", "F", "Celsius"})
        EXPECT_EQ(desk.write(1, "unit", unit), done) << unit;
    for (const char *unit : {"", "c", "f", "%", "afu", "o", "oK", "none"})
        EXPECT_EQ(desk.write(1, "unit", unit), bad_value) << unit;
    EXPECT_EQ(desk.info(1, "unit"), "oC");
    EXPECT_EQ(desk.ask({"admin", sensor_desk::path(1) + ".unit"}), bad_arguments);
}

TEST(envmon, other_kinds_take_their_own_unit_only)
{
    sensor_desk desk;
    EXPECT_EQ(desk.write(3, "unit", "%"), done);
    EXPECT_EQ(desk.write(3, "unit", "%H"), bad_value);
    EXPECT_EQ(desk.write(4, "unit", "afu"), done);
    EXPECT_EQ(desk.write(4, "unit", "C"), bad_value);
    EXPECT_EQ(desk.write(5, "unit", "C"), bad_value);
    EXPECT_EQ(desk.info(5, "unit"), "none");
}

TEST(envmon, level_above_the_one_before_is_refused_and_changes_nothing)
{
    sensor_desk desk;
    EXPECT_EQ(desk.write(2, "high-warn-thres", "104.1"), bad_value);
    EXPECT_EQ(desk.write(2, "low-warn-thres", "86.1"), bad_value);
    EXPECT_EQ(desk.write(2, "low-thres", "50.1"), bad_value);
    EXPECT_EQ(desk.levels(2), "104.0:86.0:50.0:41.0");
    EXPECT_EQ(desk.write(2, "high-warn-thres", "104.0"), done);
}

TEST(envmon, same_level_told_in_two_units_is_in_order)
{
    sensor_desk desk;
    desk.write(2, "high-thres", "77");
    desk.write(2, "unit", "C");
    EXPECT_EQ(desk.write(2, "high-thres", "25"), done);
    desk.write(2, "unit", "F");
    EXPECT_EQ(desk.write(2, "high-warn-thres", "77"), done);
}

TEST(envmon, level_that_comes_down_takes_those_behind_it_along)
{
    sensor_desk desk;
    EXPECT_EQ(desk.write(2, "high-thres", "45"), done);
    EXPECT_EQ(desk.levels(2), "45.0:45.0:45.0:41.0");
}

TEST(envmon, level_that_is_no_number_or_out_of_range_is_refused)
{
    sensor_desk desk;
    for (const char *value : {"", "hot", "30C", " 30", "nan", "inf", "-inf", "1e999", "125.1", "-40.1"})
        EXPECT_EQ(desk.write(1, "high-thres", value), bad_value) << value;
    for (const char *value : {"-0.1", "100.1"})
        EXPECT_EQ(desk.write(3, "high-thres", value), bad_value) << value;
    EXPECT_EQ(desk.ask({"admin", sensor_desk::path(1) + ".high-thres"}), bad_arguments);
    EXPECT_EQ(desk.levels(1), "55.0:45.0:5.0:0.0");
    EXPECT_EQ(desk.write(1, "high-thres", "125"), done);
    EXPECT_EQ(desk.write(1, "low-thres", "-40"), done);
}

TEST(envmon, standing_follows_the_value)
{
    sensor_desk desk; // 104, 86, 50, 41
    const char *standings[][2] = {{"104", "high critical"}, {"103.9", "high warning"}, {"86", "high warning"},
                                  {"85.9", "normal"},       {"50", "normal"},          {"49.9", "low warning"},
                                  {"41", "low warning"},    {"40.9", "low critical"}};
    for (const auto &[value, standing] : standings) {
        desk.set_value(2, value);
        EXPECT_EQ(desk.info(2, "thres-status"), standing) << value;
    }
}

// --- What the desk is told ------------------------------------------------------------------------------------------

TEST(envmon_desk, value_that_is_set_stands_whatever_the_time)
{
    sensor_desk desk(drifting_chain(3));
    desk.set_value(1, "23.4");
    desk.advance("1000");
    EXPECT_EQ(desk.info(1, "value"), "23.4");
}

TEST(envmon_desk, value_is_told_in_the_monitors_unit_or_by_the_word_of_its_state)
{
    sensor_desk desk;
    desk.set_value(2, "-40");
    EXPECT_EQ(desk.info(2, "value"), "-40.0");
    desk.write(2, "unit", "C");
    EXPECT_EQ(desk.info(2, "value"), "-40.0");
    desk.set_value(6, "wet");
    EXPECT_EQ(desk.info(6, "value"), "wet");
    desk.set_value(7, "moving");
    EXPECT_EQ(desk.info(7, "value"), "moving");
    desk.set_value(8, "smoke");
    EXPECT_EQ(desk.info(8, "value"), "smoke");
}

TEST(envmon_desk, value_that_the_kind_cannot_measure_is_refused)
{
    sensor_desk desk;
    const char *values[][2] = {{"1", "125.1"}, {"1", "-40.1"}, {"1", "warm"}, {"1", ""},  {"1", "nan"},
                               {"1", "30 "},   {"3", "101"},   {"4", "-1"},   {"5", "1"}, {"5", "wet"}};
    for (const auto &[sensor, value] : values)
        EXPECT_EQ(desk.ask({"desk", "sensor", "set", "1", "1", sensor, value}), bad_value) << sensor << " " << value;
    EXPECT_EQ(desk.info(1, "value"), "30.0");
}

TEST(envmon_desk, pulled_probe_leaves_a_monitor_that_knows_nothing)
{
    sensor_desk desk;
    EXPECT_EQ(desk.ask({"desk", "sensor", "pull", "1", "1", "1"}), done);
    EXPECT_EQ(desk.names(1), array_of(identity, {"value", "value-units"}));
    EXPECT_EQ(desk.info(1, "sys-name"), "sensor1");
    EXPECT_EQ(desk.info(1, "type"), "UNDEFINED");
    EXPECT_EQ(desk.info(1, "type-raw"), "0");
    EXPECT_EQ(desk.info(1, "unit"), "none");
    EXPECT_EQ(desk.info(1, "value"), "unknown");
    EXPECT_EQ(desk.info(1, "value-units"), "unknown");
    EXPECT_EQ(desk.ask({"mlist", sensor_desk::path(1) + ".unit"}), array({"none"}));
    EXPECT_EQ(desk.write(1, "unit", "C"), bad_value);
    EXPECT_EQ(desk.write(1, "high-thres", "30"), no_such_path);
    EXPECT_EQ(desk.write(1, "name", "still here"), done);
    EXPECT_EQ(desk.ask({"mlist", "power.port.1.pdu.2.envmon"}), array({"1", "2"}));
    EXPECT_EQ(desk.ask({"desk", "sensor", "set", "1", "1", "1", "30"}), no_such_part);
}

TEST(envmon_desk, probe_that_comes_in_measures_anew_and_keeps_its_settings)
{
    sensor_desk desk;
    desk.set_value(1, "40");
    desk.write(1, "high-thres", "60");
    desk.write(1, "unit", "F");
    desk.ask({"desk", "sensor", "pull", "1", "1", "1"});
    EXPECT_EQ(desk.ask({"desk", "sensor", "plug", "1", "1", "1"}), done);
    EXPECT_EQ(desk.info(1, "value"), "86.0");
    EXPECT_EQ(desk.info(1, "max-value"), "86.0");
    EXPECT_EQ(desk.info(1, "high-thres"), "140.0");
}

TEST(envmon_desk, plugging_in_what_is_in_changes_nothing)
{
    sensor_desk desk;
    desk.set_value(1, "40");
    EXPECT_EQ(desk.ask({"desk", "sensor", "plug", "1", "1", "1"}), done);
    EXPECT_EQ(desk.info(1, "value"), "40.0");
}

TEST(envmon_desk, words_that_make_no_sense_are_refused)
{
    sensor_desk desk;
    EXPECT_EQ(desk.ask({"desk", "sensor"}), bad_arguments);
    EXPECT_EQ(desk.ask({"desk", "sensor", "burn", "1", "1", "1"}), bad_arguments);
    EXPECT_EQ(desk.ask({"desk", "sensor", "pull", "1", "1"}), bad_arguments);
    EXPECT_EQ(desk.ask({"desk", "sensor", "pull", "1", "1", "1", "1"}), bad_arguments);
    EXPECT_EQ(desk.ask({"desk", "sensor", "set", "1", "1", "1"}), bad_arguments);
    EXPECT_EQ(desk.ask({"desk", "sensor", "pull", "1", "1", "x"}), bad_value);
    EXPECT_EQ(desk.ask({"desk", "sensor", "pull", "1", "1", "11"}), no_such_part);
    EXPECT_EQ(desk.ask({"desk", "sensor", "set", "1", "3", "1", "1"}), no_such_part);
}

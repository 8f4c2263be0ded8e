// Sensors: readings, summaries, resets and names.

#include "cmd/cmd_sensors.h"

#include "tests/unit/cmd/each_failure.h"
#include "tests/unit/cmd/sensor_desk.h"

namespace {

// A unit with one sensor, of both families.
struct sensors : testing::TestWithParam<int> {
    fake_chain chain;
    fake_node unit = chain.unit({.outlets = 0, .phases = 0, .envmons = 1, .model = GetParam()});
    fake_node sensor = serve_sensor(unit.envmon(1), "internal-temperature");
};

INSTANTIATE_TEST_SUITE_P(models, sensors, testing::Values(1, 128));

const std::string path = "power.port.1.pdu.1.envmon.1";

// What a temperature of that unit reads like.
std::string long_line(const std::string &type, const std::string &name, const texts &v)
{
    const std::string on = " on sensor " + name + ": ";
    return "IPDU #1: " + type + on + v[0] + ". Maximum " + type + on + v[1] + ". Minimum " + type + on + v[2] +
           ". Average " + type + on + v[3] + ".\n";
}

std::string summary_line(const std::string &raw_type, const std::string &label, const std::string &detail)
{
    return "1,1," + raw_type + "," + label + ":" + detail + "\n";
}

const texts celsius = {"25.0" + degree + "C", "31.6" + degree + "C", "-4.0" + degree + "C", "22.1" + degree + "C"};
const std::string celsius_line = long_line("internal temperature", "E1", celsius);
const std::string celsius_detail = celsius[0] + "," + celsius[1] + "," + celsius[2] + "," + celsius[3];
const std::string celsius_summary = summary_line("1", "E1 door ", celsius_detail);

// --- Readings -------------------------------------------------------------------------------------------------------

TEST_P(sensors, sensor_with_statistics_reads_long)
{
    EXPECT_EQ(celsius_line, "IPDU #1: internal temperature on sensor E1: 25.0\xF8"
                            "C. Maximum internal temperature on sensor E1: 31.6\xF8"
                            "C. Minimum internal temperature on sensor E1: -4.0\xF8"
                            "C. Average internal temperature on sensor E1: 22.1\xF8"
                            "C.\n");
    EXPECT_EQ(answer("sensors 1 E1"), celsius_line);
    EXPECT_EQ(last_result(), 0);
    EXPECT_EQ(exchanges_behind_locating(),
              (texts{"mlist power.port.1.pdu.1.envmon", "info " + path + ".sys-name", "mlist " + path, "mlist " + path,
                     "mlist " + path, "mlist " + path, "mlist " + path, "info " + path + ".sys-name",
                     "info " + path + ".name", "info " + path + ".value", "info " + path + ".type",
                     "info " + path + ".type-raw", "info " + path + ".max-value", "info " + path + ".min-value",
                     "info " + path + ".avg-value", "info " + path + ".unit"}));
    EXPECT_EQ(failures_behind_locating(), (texts{"Node unit available for 1@1@1"}));
}

TEST_P(sensors, sensor_with_statistics_reads_short_in_a_summary)
{
    EXPECT_EQ(celsius_summary, "1,1,1,E1 door :25.0\xF8"
                               "C,31.6\xF8"
                               "C,-4.0\xF8"
                               "C,22.1\xF8"
                               "C\n");
    EXPECT_EQ(answer("sensors summary 1 E1"), celsius_summary);
    EXPECT_EQ(last_result(), 0);
    EXPECT_EQ(exchanges().size(), 19U);
}

TEST_P(sensors, unit_is_a_walk_over_its_sensors)
{
    for (const char *line : {"sensors", "sensors 1", "sensors unit1"}) {
        EXPECT_EQ(answer(line), celsius_line) << line;
        EXPECT_LOGGED("Node unit available for 1@1@1");
    }
    for (const char *line : {"sensors summary", "sensors summary 1", "sensors summary unit1"})
        EXPECT_EQ(answer(line), celsius_summary) << line;
}

// A walk over units tells each of them failed; what is written counts.
TEST_P(sensors, worker_of_a_unit_fails_whatever_happened)
{
    EXPECT_EQ(call(cmd_sensor_pdu, {"1"}).result, 1);
    EXPECT_EQ(answer("sensors"), celsius_line);
    EXPECT_FAILURES({"Node unit available for 1@1@1", "Fail to execute for PDU 1"});
    EXPECT_EQ(call(cmd_sensor_sum_pdu, {"1"}).result, 1);
    EXPECT_EQ(call(cmd_sensor_elem, {"1", "E1"}).result, 0);
    EXPECT_EQ(call(cmd_sensor, {}).result, 0);
}

TEST_P(sensors, all_of_it_is_read_without_the_segment)
{
    EXPECT_EQ(answer_from_tree(cmd_sensor_elem, {"1", "E1"}), celsius_line);
    EXPECT_EQ(exchanges()[5], "info power.port.1.pdu.1.model_nr");
    EXPECT_EQ(exchanges().size(), 20U);
    EXPECT_EQ(answer_from_tree(cmd_sensor_sum), celsius_summary);
}

struct unit_text {
    const char *unit;
    texts shown;
};

class units_of_sensors : public testing::TestWithParam<unit_text> {};

TEST_P(units_of_sensors, value_and_statistics_are_shown_in_the_unit)
{
    fake_chain chain;
    serve_sensor(chain.unit({.envmons = 1}).envmon(1), "humidity", "2", GetParam().unit);
    const texts &shown = GetParam().shown;
    EXPECT_EQ(answer("sensors 1 E1"), long_line("humidity", "E1", shown));
    EXPECT_EQ(answer("sensors summary 1 E1"),
              summary_line("2", "E1 door ", shown[0] + "," + shown[1] + "," + shown[2] + "," + shown[3]));
}

INSTANTIATE_TEST_SUITE_P(
    units, units_of_sensors,
    testing::Values(
        unit_text{"oF", {"25.0" + degree + "F", "31.6" + degree + "F", "-4.0" + degree + "F", "22.1" + degree + "F"}},
        unit_text{"oC", celsius}, unit_text{"degrees oC", celsius},
        unit_text{"K",
                  {"-248.1" + degree + "C", "-241.6" + degree + "C", "-277.1" + degree + "C", "-251.0" + degree + "C"}},
        unit_text{"afu", {"25.0afu", "31.6afu", "-4.0afu", "22.1afu"}},
        unit_text{"%", {"25.0%", "31.6%", "-4.0%", "22.1%"}},
        // Unknown: as the tree has them.
        unit_text{"C", {"25", "31.55", "-4", "22.14"}}, unit_text{"", {"25", "31.55", "-4", "22.14"}}));

struct type_text {
    const char *type;
    const char *shown;
};

class types_of_sensors : public testing::TestWithParam<type_text> {};

TEST_P(types_of_sensors, type_text_is_searched_for_the_name)
{
    fake_chain chain;
    serve_sensor(chain.unit({.envmons = 1}).envmon(1), GetParam().type);
    EXPECT_EQ(answer("sensors 1 E1"), long_line(GetParam().shown, "E1", celsius));
}

INSTANTIATE_TEST_SUITE_P(types, types_of_sensors,
                         testing::Values(type_text{"internal-temperature", "internal temperature"},
                                         type_text{"external-temperature", "external temperature"},
                                         type_text{"humidity", "humidity"}, type_text{"dry-contact", "dry-contact"},
                                         type_text{"water-level", "water-level"}, type_text{"motion", "motion"},
                                         type_text{"smoke", "smoke"}, type_text{"air-flow", "air-flow"},
                                         type_text{"UNDEFINED", "UNDEFINED"}, type_text{"a motion b", "motion"},
                                         type_text{"humidity and internal-temperature", "internal temperature"},
                                         type_text{"UNDEFINED air-flow", "air-flow"}));

TEST(types_of_sensors_in_order, first_of_the_table_wins_wherever_it_stands_in_the_text)
{
    const texts order = {"internal-temperature",
                         "external-temperature",
                         "humidity",
                         "dry-contact",
                         "water-level",
                         "motion",
                         "smoke",
                         "air-flow",
                         "UNDEFINED"};
    fake_chain chain;
    fake_node sensor = serve_sensor(chain.unit({.envmons = 1}).envmon(1), "");
    for (size_t first = 0; first < order.size(); first++)
        for (size_t second = first + 1; second < order.size(); second++) {
            sensor.serve("type", order[second] + order[first]);
            std::string shown = order[first];
            if (first < 2)
                shown[shown.find('-')] = ' ';
            EXPECT_EQ(answer("sensors 1 E1"), long_line(shown, "E1", celsius));
        }
}

TEST_P(sensors, type_without_a_name_is_a_failure)
{
    for (const char *type : {"", "temperature", "undefined", "Humidity %s"}) {
        sensor.serve("type", type);
        EXPECT_EQ(answer("sensors 1 E1"), failure_text);
        EXPECT_EQ(failures_behind_locating(), (texts{"Node unit available for 1@1@1",
                                                     std::string("Fail to get string type ") + type + " for 1@1@1"}));
        EXPECT_EQ(exchanges().back(), "info " + path + ".type-raw");
    }
    sensor.refuse("info", "type");
    EXPECT_EQ(answer("sensors 1 E1"), failure_text);
    EXPECT_LOGGED("Fail to get string type  for 1@1@1");
}

TEST_P(sensors, raw_types_without_statistics_read_short)
{
    const std::vector<int> without = {5, 6, 7, 8, 12, 13, 14, 18, 19, 22};
    for (int raw = -1; raw <= 25; raw++) {
        const std::string number = std::to_string(raw == 0 ? 22 : raw);
        sensor.serve("type-raw", std::to_string(raw));
        bool is_short = raw == 0 || std::find(without.begin(), without.end(), raw) != without.end();
        EXPECT_EQ(answer("sensors 1 E1"), is_short ? "IPDU #1: internal temperature sensor E1 is 25.\n" : celsius_line)
            << raw;
        EXPECT_EQ(answer("sensors summary 1 E1"), summary_line(number, "E1 door ", is_short ? "25" : celsius_detail))
            << raw;
    }
}

TEST_P(sensors, dry_contact_reads_short_even_where_a_maximum_exists)
{
    sensor.serve("type", "dry-contact").serve("type-raw", "5").serve("value", "open");
    EXPECT_EQ(answer("sensors 1 E1"), "IPDU #1: dry-contact sensor E1 is open.\n");
    // Neither statistics nor unit are read.
    EXPECT_EQ(exchanges().back(), "info " + path + ".type-raw");
    EXPECT_EQ(answer("sensors summary 1 E1"), summary_line("5", "E1 door ", "open"));
}

TEST_P(sensors, raw_type_zero_or_unread_counts_as_undefined)
{
    sensor.serve("type-raw", "0");
    EXPECT_EQ(answer("sensors summary 1 E1"), summary_line("22", "E1 door ", "25"));
    sensor.refuse("info", "type-raw");
    EXPECT_EQ(answer("sensors summary 1 E1"), summary_line("22", "E1 door ", "25"));
    tree.allow("info", sensor.path("type-raw"));
    sensor.serve("type-raw", "many");
    EXPECT_EQ(answer("sensors summary 1 E1"), summary_line("22", "E1 door ", "25"));
}

TEST_P(sensors, undefined_sensor_has_no_value_in_the_forms_without_statistics)
{
    sensor.serve("type", "UNDEFINED").serve("type-raw", "0");
    EXPECT_EQ(answer("sensors 1 E1"), "IPDU #1: UNDEFINED sensor E1 is N/A.\n");
    EXPECT_EQ(answer("sensors summary 1 E1"), summary_line("22", "E1 door ", "N/A"));
    // The word decides, not the name that is shown.
    sensor.serve("type", "smoke UNDEFINED");
    EXPECT_EQ(answer("sensors 1 E1"), "IPDU #1: smoke sensor E1 is N/A.\n");
    // With statistics the value stands.
    sensor.serve("type", "UNDEFINED").serve("type-raw", "1");
    EXPECT_EQ(answer("sensors summary 1 E1"), celsius_summary);
}

TEST_P(sensors, each_missing_statistic_makes_the_form_short)
{
    for (const char *leaf : {"max-value", "min-value", "avg-value"}) {
        const std::string kept = *sensor.value(leaf);
        sensor.without(leaf);
        EXPECT_EQ(answer("sensors 1 E1"), "IPDU #1: internal temperature sensor E1 is 25.\n") << leaf;
        EXPECT_EQ(failures_behind_locating(),
                  (texts{std::string("Node ") + leaf + " unavailable for 1@1@1", "Node unit available for 1@1@1"}));
        EXPECT_EQ(exchanges().back(), "info " + path + ".type-raw");
        EXPECT_EQ(answer("sensors summary 1 E1"), summary_line("1", "E1 door ", "25"));
        sensor.serve(leaf, kept);
    }
    for (const char *leaf : {"max-value", "min-value", "avg-value"})
        sensor.without(leaf);
    EXPECT_EQ(answer("sensors 1 E1"), "IPDU #1: internal temperature sensor E1 is 25.\n");
    EXPECT_EQ(failures_behind_locating(),
              (texts{"Node max-value unavailable for 1@1@1", "Node min-value unavailable for 1@1@1",
                     "Node avg-value unavailable for 1@1@1", "Node unit available for 1@1@1"}));
}

TEST_P(sensors, without_the_capability_of_a_unit_values_are_fahrenheit)
{
    sensor.without("unit");
    const texts shown = {"25.0" + degree + "F", "31.6" + degree + "F", "-4.0" + degree + "F", "22.1" + degree + "F"};
    EXPECT_EQ(answer("sensors 1 E1"), long_line("internal temperature", "E1", shown));
    EXPECT_EQ(failures_behind_locating(), (texts{"Node unit unavailable for 1@1@1"}));
    EXPECT_EQ(exchanges().back(), "info " + path + ".unit"); // read, and not looked at
    sensor.serve("type-raw", "5");
    EXPECT_EQ(answer("sensors 1 E1"), "IPDU #1: internal temperature sensor E1 is " + shown[0] + ".\n");
    EXPECT_EQ(answer("sensors summary 1 E1"), summary_line("5", "E1 door ", shown[0]));
}

TEST_P(sensors, without_statistics_the_unit_stays_unread_and_the_value_as_it_is)
{
    sensor.serve("type-raw", "5").serve("value", "17.25");
    EXPECT_EQ(answer("sensors 1 E1"), "IPDU #1: internal temperature sensor E1 is 17.25.\n");
    EXPECT_EQ(exchanges().back(), "info " + path + ".type-raw");
}

TEST_P(sensors, sensor_without_a_value_has_no_line)
{
    sensor.without("value");
    EXPECT_EQ(answer("sensors 1 E1"), failure_text);
    EXPECT_EQ(failures_behind_locating(), (texts{"Node value unavailable for 1@1@1"}));
    EXPECT_EQ(exchanges().back(), "mlist " + path);
    EXPECT_EQ(exchanges_behind_locating().size(), 3U);
    EXPECT_EQ(answer("sensors 1"), failure_text);
    // The next row takes the words for unit and sensor.
    EXPECT_EQ(answer("sensors summary 1"), no_such_ipdu);
    EXPECT_EQ(answer("sensors"), "");
    EXPECT_EQ(last_result(), 0);
    EXPECT_EQ(answer("sensors summary"), "");
}

TEST_P(sensors, statistics_and_unit_that_can_not_be_read_show_as_empty)
{
    sensor.refuse("info", "max-value").drop("info", "avg-value");
    EXPECT_EQ(answer("sensors 1 E1"), long_line("internal temperature", "E1", {celsius[0], "", celsius[2], ""}));
    EXPECT_EQ(failures_behind_locating(), (texts{"Node unit available for 1@1@1"}));
    EXPECT_EQ(answer("sensors summary 1 E1"), summary_line("1", "E1 door ", celsius[0] + ",," + celsius[2] + ","));
    sensor.refuse("info", "unit");
    EXPECT_EQ(answer("sensors summary 1 E1"), summary_line("1", "E1 door ", "25,,-4,"));
}

TEST_P(sensors, texts_absent_from_their_answers_show_as_empty)
{
    for (const char *leaf : {"name", "value", "max-value", "min-value", "avg-value", "unit"})
        tree.absent(sensor.path(leaf));
    EXPECT_EQ(answer("sensors 1 E1"), long_line("internal temperature", "E1", {"", "", "", ""}));
    EXPECT_EQ(answer("sensors summary 1 E1"), summary_line("1", "E1  ", ",,,"));
    tree.absent(sensor.path("sys-name"));
    EXPECT_EQ(answer("sensors summary 1"), summary_line("1", "  ", ",,,"));
    EXPECT_EQ(answer("sensors 1"), long_line("internal temperature", "", {"", "", "", ""}));
}

TEST_P(sensors, failed_value_is_logged_and_drops_the_line)
{
    sensor.refuse("info", "value");
    EXPECT_EQ(answer("sensors 1 E1"), failure_text);
    EXPECT_EQ(failures_behind_locating(),
              (texts{"Node unit available for 1@1@1", "Fail to get info for element 1@1@1, type 1"}));
    EXPECT_EQ(exchanges().back(), "info " + path + ".type-raw"); // the rest was asked for, the statistics were not
    sensor.serve("type-raw", "0");
    answer("sensors 1 E1");
    EXPECT_LOGGED("Fail to get info for element 1@1@1, type 22");
}

TEST_P(sensors, failed_system_name_is_logged_and_drops_the_line)
{
    sensor.refuse("info", "sys-name");
    EXPECT_EQ(answer("sensors 1"), failure_text);
    EXPECT_EQ(failures_behind_locating(),
              (texts{"Node unit available for 1@1@1", "Fail to get info for element 1@1@1, type 1",
                     "Fail to execute for envmon 1"}));
    EXPECT_EQ(exchanges().back(), "info " + path + ".type-raw");
}

TEST_P(sensors, failed_name_leaves_its_place_empty)
{
    sensor.refuse("info", "name");
    EXPECT_EQ(answer("sensors summary 1 E1"), summary_line("1", "E1  ", celsius_detail));
    EXPECT_EQ(answer("sensors 1 E1"), celsius_line);
}

TEST_P(sensors, blanks_of_names_are_shown_as_hashes_and_stay_in_the_tree)
{
    sensor.serve("name", "room 2 ").serve("sys-name", "E 1");
    EXPECT_EQ(answer("sensors summary 1"), summary_line("1", "E#1 room#2# ", celsius_detail));
    EXPECT_EQ(answer("sensors 1"), long_line("internal temperature", "E#1", celsius));
    EXPECT_EQ(sensor.value("name"), "room 2 ");
}

TEST_P(sensors, names_of_any_length_with_anything_in_them_are_shown_whole)
{
    const std::string name = std::string(500, 'n') + "%s%n" + degree;
    const std::string sys_name = std::string(500, 's') + "\t:%d";
    sensor.serve("name", name).serve("sys-name", sys_name);
    EXPECT_EQ(answer("sensors summary 1"), summary_line("1", sys_name + " " + name + " ", celsius_detail));
    EXPECT_EQ(answer("sensors 1"), long_line("internal temperature", sys_name, celsius));
}

TEST_P(sensors, unknown_model_is_logged_and_fails_the_sensor)
{
    unit.refuse("info", "model_nr");
    EXPECT_EQ(answer_from_tree(cmd_sensor_elem, {"1", "E1"}), declined);
    EXPECT_EQ(failures_behind_locating(), (texts{"Fail to get model for pdu 1@1", "Fail to get model from pdu 1@1"}));
    EXPECT_EQ(answer_from_tree(cmd_sensor_reset_elem, {"1", "E1"}), declined);
    EXPECT_EQ(failures_behind_locating(), (texts{"Fail to get model for pdu 1@1", "Fail to get model from pdu 1@1"}));
}

TEST_P(sensors, sensors_of_a_unit_come_in_order_and_those_that_fail_have_no_line)
{
    fake_node next = chain.unit({.envmons = 4});
    serve_sensor(next.envmon(1), "humidity", "2", "%");
    serve_sensor(next.envmon(2), "nothing known");
    serve_sensor(next.envmon(3), "smoke", "7").serve("value", "clear");
    serve_sensor(next.envmon(4), "air-flow", "4", "afu").serve("name", "fan 4");
    EXPECT_EQ(answer("sensors summary 2"), "2,1,2,E1 door :25.0%,31.6%,-4.0%,22.1%\n"
                                           "2,3,7,E3 door :clear\n"
                                           "2,4,4,E4 fan#4 :25.0afu,31.6afu,-4.0afu,22.1afu\n");
    EXPECT_EQ(answer("sensors summary"), celsius_summary + answer("sensors summary 2"));
    EXPECT_EQ(answer("sensors 2 E3"), "IPDU #2: smoke sensor E3 is clear.\n");
    EXPECT_EQ(answer("sensors unit2 E3"), "IPDU #2: smoke sensor E3 is clear.\n");
}

TEST_P(sensors, unit_without_sensors_has_no_line)
{
    chain.unit({.envmons = 0});
    EXPECT_EQ(answer("sensors 2"), failure_text);
    EXPECT_EQ(answer("sensors"), celsius_line);
    tree.refuse("mlist", "power.port.1.pdu.2.envmon");
    EXPECT_EQ(answer("sensors 2"), failure_text);
    EXPECT_LOGGED("Fail to retrieve list of envmons in 1@2");
}

// --- Arguments ------------------------------------------------------------------------------------------------------

TEST_P(sensors, argument_that_is_no_unit_is_told)
{
    for (const char *form : {"sensors ", "sensors summary ", "sensors reset ", "sensors threshold "})
        for (const char *word : {"nobody", "0", "2"})
            for (const char *name : {"", " E1"}) {
                const std::string line = std::string(form) + word + name;
                EXPECT_EQ(answer(line), no_such_ipdu) << line;
                for (const std::string &exchange : exchanges())
                    EXPECT_EQ(exchange.find("envmon"), exchange.npos) << line;
            }
    EXPECT_EQ(answer("sensors threshold 2 E1 1:2:3:4 C"), no_such_ipdu);
    EXPECT_EQ(answer("sensors name 2 E1 new"), no_such_ipdu);
}

TEST_P(sensors, unknown_system_name_has_no_word_of_its_own)
{
    for (const char *line : {"sensors 1 foo", "sensors summary 1 foo", "sensors reset 1 foo", "sensors threshold 1 foo",
                             "sensors threshold 1 foo 1:2:3:4 C", "sensors name 1 foo new", "sensors 1 door"}) {
        EXPECT_EQ(answer(line), failure_text) << line;
        EXPECT_EQ(exchanges().back(), "info " + path + ".sys-name") << line;
        EXPECT_EQ(failures_behind_locating(), texts{}) << line;
    }
}

TEST_P(sensors, names_longer_than_a_word_can_be_find_no_row_or_no_unit)
{
    const std::string longest(64, 'x'), longer(65, 'x');
    sensor.serve("sys-name", longest);
    EXPECT_EQ(answer("sensors summary 1 " + longest), summary_line("1", longest + " door ", celsius_detail));
    for (const char *form : {"sensors 1 ", "sensors summary 1 ", "sensors reset 1 ", "sensors threshold 1 "})
        EXPECT_EQ(answer(form + longer), failure_text) << form;
    EXPECT_EQ(answer("sensors name 1 " + longest + " " + longer), failure_text);
    // Cut in two it is a unit and a sensor.
    EXPECT_EQ(answer("sensors " + longer), no_such_ipdu);
}

TEST_P(sensors, lists_that_can_not_be_had_decline_the_line)
{
    tree.refuse("mlist", "power.port");
    for (command_handler handler : {cmd_sensor, cmd_sensor_sum, cmd_sensor_reset, cmd_sensor_thres}) {
        EXPECT_EQ(answer_from_tree(handler), declined);
        EXPECT_FAILURES({"Fail to retrieve list of Ports"});
    }
}

// --- Reset ----------------------------------------------------------------------------------------------------------

const std::string reset_line =
    "IPDU #1: Clearing maximum, minimum and average recorded internal temperature on sensor 1 to zero.\n";

struct sensor_reset : sensors {};

INSTANTIATE_TEST_SUITE_P(models, sensor_reset, testing::Values(128, 143));

TEST_P(sensor_reset, writes_and_names_the_sensor_by_its_number)
{
    EXPECT_EQ(answer("sensors reset 1 E1"), reset_line);
    EXPECT_EQ(last_result(), 0);
    EXPECT_EQ(exchanges_behind_locating(),
              (texts{"mlist power.port.1.pdu.1.envmon", "info " + path + ".sys-name", "mlist " + path,
                     "info " + path + ".sys-name", "admin " + path + ".reset", "info " + path + ".type"}));
    EXPECT_EQ(failures_behind_locating(), texts{});
    for (const char *line : {"sensors reset", "sensors reset 1", "sensors reset unit1"})
        EXPECT_EQ(answer(line), reset_line) << line;
    EXPECT_EQ(call(cmd_sensor_reset_pdu, {"1"}).result, 1);
}

TEST_P(sensor_reset, needs_the_maximum_alone)
{
    for (const char *leaf : {"value", "min-value", "avg-value", "unit"})
        sensor.without(leaf);
    EXPECT_EQ(answer("sensors reset 1 E1"), reset_line);
    sensor.without("max-value");
    EXPECT_EQ(answer("sensors reset 1 E1"), failure_text);
    EXPECT_EQ(failures_behind_locating(), (texts{"Node max-value unavailable for 1@1@1"}));
    EXPECT_EQ(exchanges().back(), "mlist " + path);
}

TEST_P(sensor_reset, refused_reset_is_logged_and_has_no_line)
{
    tree.refuse("admin", path + ".reset");
    EXPECT_EQ(answer("sensors reset 1 E1"), failure_text);
    EXPECT_EQ(failures_behind_locating(), (texts{"Fail to reset envmon for element 1@1@1"}));
    EXPECT_EQ(exchanges().back(), "admin " + path + ".reset");
}

TEST_P(sensor_reset, goes_out_even_where_the_name_can_not_be_read)
{
    sensor.refuse("info", "sys-name");
    EXPECT_EQ(answer("sensors reset"), "");
    EXPECT_FAILURES(
        {"Fail to reset envmon for element 1@1@1", "Fail to execute for envmon 1", "Fail to execute for PDU 1"});
    EXPECT_EQ(exchanges().back(), "admin " + path + ".reset");
}

TEST_P(sensor_reset, type_without_a_name_leaves_it_done_without_a_line)
{
    sensor.serve("type", "odd");
    EXPECT_EQ(answer("sensors reset 1 E1"), failure_text);
    EXPECT_EQ(failures_behind_locating(), (texts{"Fail to get string type odd for 1@1@1"}));
    EXPECT_EQ(exchanges()[exchanges().size() - 2], "admin " + path + ".reset");
}

TEST_P(sensor_reset, walk_resets_all_sensors_of_all_units_but_legacy_ones)
{
    fake_node legacy = chain.unit({.envmons = 1, .model = 127});
    serve_sensor(legacy.envmon(1), "humidity");
    fake_node next = chain.unit({.envmons = 2});
    serve_sensor(next.envmon(1), "humidity");
    serve_sensor(next.envmon(2), "smoke");
    EXPECT_EQ(answer("sensors reset"),
              reset_line + "IPDU #3: Clearing maximum, minimum and average recorded humidity on sensor 1 to zero.\n"
                           "IPDU #3: Clearing maximum, minimum and average recorded smoke on sensor 2 to zero.\n");
    EXPECT_EQ(last_result(), 0);
    EXPECT_LOGGED("Invalid command fot legacy ZTs 2@1");
}

TEST_P(sensor_reset, legacy_unit_is_logged_and_the_next_rows_are_asked)
{
    for (const char *model : {"0", "127", "144"}) {
        unit.publish("model_nr", model);
        EXPECT_EQ(answer("sensors reset"), "");
        EXPECT_FAILURES(
            {"Invalid command fot legacy ZTs 1@1", "Fail to execute for envmon 1", "Fail to execute for PDU 1"});
        EXPECT_EQ(answer("sensors reset 1 E1"), failure_text);
        EXPECT_EQ(failures_behind_locating(), (texts{"Invalid command fot legacy ZTs 1@1"}));
        // Then "reset" is taken for a unit.
        EXPECT_EQ(answer("sensors reset 1"), no_such_ipdu);
        EXPECT_LOGGED("Invalid command fot legacy ZTs 1@1");
    }
    const texts &all = exchanges();
    EXPECT_EQ(std::find(all.begin(), all.end(), "admin " + path + ".reset"), all.end());
}

TEST_P(sensor_reset, legacy_unit_beside_one_of_that_name_gets_its_sensor)
{
    unit.publish("model_nr", "1");
    fake_node named = chain.unit({.envmons = 1, .id = "reset"});
    serve_sensor(named.envmon(1), "smoke", "7").serve("sys-name", "1");
    EXPECT_EQ(answer("sensors reset 1"), "IPDU #2: smoke sensor 1 is 25.\n");
}

// --- Names ----------------------------------------------------------------------------------------------------------

TEST_P(sensors, name_is_written_and_told)
{
    EXPECT_EQ(answer("sensors name 1 E1 window"), "IPDU #1: Sensor 1 now named window\n");
    EXPECT_EQ(last_result(), 0);
    EXPECT_EQ(sensor.value("name"), "window");
    EXPECT_EQ(exchanges_behind_locating(), (texts{"mlist power.port.1.pdu.1.envmon", "info " + path + ".sys-name",
                                                  "mlist " + path, "admin " + path + ".name window"}));
    EXPECT_EQ(failures_behind_locating(), texts{});
}

TEST_P(sensors, name_of_sixty_four_characters_of_any_kind_goes_out)
{
    const std::string name = std::string(59, 'n') + ".,:%s";
    EXPECT_EQ(answer("sensors name unit1 E1 " + name), "IPDU #1: Sensor 1 now named " + name + "\n");
    EXPECT_EQ(sensor.value("name"), name);
    EXPECT_EQ(answer("sensors name 1 E1 two words"), failure_text);
    EXPECT_EQ(answer("sensors name 1 E1"), failure_text);
}

TEST_P(sensors, refused_name_is_told_with_the_port_in_the_place_of_the_unit)
{
    chain.next_port();
    fake_node second = chain.unit({.envmons = 2});
    second.envmon(2).serve("name", "old").refuse("admin", "name");
    tree.text("power.port.1.num-pdus", "0").text("power.port.2.num-pdus", "1");
    EXPECT_EQ(answer("sensors name 1 E2 new"), "IPDU #2: Invalid sensor name for 2.\n");
    EXPECT_EQ(last_result(), 0);
    EXPECT_EQ(second.envmon(2).value("name"), "old");
    EXPECT_EQ(call(cmd_sensor_name, {"1", "E2", "new"}).result, 0);
}

TEST_P(sensors, sensor_that_takes_no_name_is_logged_alone)
{
    sensor.without("name");
    EXPECT_EQ(answer("sensors name 1 E1 new"), failure_text);
    EXPECT_EQ(failures_behind_locating(), (texts{"Node name unavailable for 1@1@1"}));
    EXPECT_EQ(exchanges().back(), "mlist " + path);
}

// --- Addresses ------------------------------------------------------------------------------------------------------

struct sensor_addresses : testing::Test {
    fake_chain chain;
    fake_node unit = third_unit_of_second_port(chain, {.envmons = 4});
    fake_node sensor = serve_sensor(unit.envmon(4), "smoke", "3", "");
};

TEST_F(sensor_addresses, stand_in_the_lines_as_unit_and_sensor)
{
    EXPECT_EQ(answer("sensors 3 E4").substr(0, 28), "IPDU #3: smoke on sensor E4:");
    EXPECT_EQ(answer("sensors summary 3 E4"), "3,4,3,E4 door :25,31.55,-4,22.14\n");
    EXPECT_EQ(answer("sensors reset 3 E4"),
              "IPDU #3: Clearing maximum, minimum and average recorded smoke on sensor 4 to zero.\n");
    EXPECT_EQ(exchanges()[exchanges().size() - 2], "admin power.port.2.pdu.3.envmon.4.reset");
    EXPECT_EQ(answer("sensors name 3 E4 new"), "IPDU #3: Sensor 4 now named new\n");
    sensor.refuse("admin", "name");
    EXPECT_EQ(answer("sensors name 3 E4 new"), "IPDU #2: Invalid sensor name for 4.\n");
}

TEST_F(sensor_addresses, are_logged_from_the_inside_out)
{
    answer("sensors 3 E4");
    EXPECT_LOGGED("Node unit available for 4@3@2");
    sensor.refuse("info", "value");
    answer("sensors 3 E4");
    EXPECT_LOGGED("Fail to get info for element 4@3@2, type 3");
    sensor.serve("type", "odd");
    answer("sensors 3 E4");
    EXPECT_LOGGED("Fail to get string type odd for 4@3@2");
    for (const char *leaf : {"unit", "avg-value", "min-value", "max-value", "value"}) {
        sensor.without(leaf);
        answer("sensors 3 E4");
        EXPECT_LOGGED(std::string("Node ") + leaf + " unavailable for 4@3@2");
    }
    answer("sensors reset 3 E4");
    EXPECT_LOGGED("Node max-value unavailable for 4@3@2");
    sensor.serve("max-value", "1").refuse("admin", "reset");
    answer("sensors reset 3 E4");
    EXPECT_LOGGED("Fail to reset envmon for element 4@3@2");
    sensor.without("name");
    answer("sensors name 3 E4 new");
    EXPECT_LOGGED("Node name unavailable for 4@3@2");
    unit.publish("model_nr", "1");
    answer("sensors reset 3 E4");
    EXPECT_LOGGED("Invalid command fot legacy ZTs 3@2");
    unit.refuse("info", "model_nr");
    answer_from_tree(cmd_sensor_reset_elem, {"3", "E4"});
    EXPECT_LOGGED("Fail to get model from pdu 3@2");
}

// --- Failures -------------------------------------------------------------------------------------------------------

texts behind_locating_sensor(const std::string &whole, const texts &others)
{
    texts answers = {whole, no_such_ipdu, no_such_ipdu, failure_text, failure_text};
    answers.insert(answers.end(), others.begin(), others.end());
    answers.push_back(whole);
    return answers;
}

TEST_P(sensors, any_exchange_of_a_reading_may_fail)
{
    const std::string alone = "IPDU #1: internal temperature sensor E1 is 25.\n";
    const texts shown = {"25.0" + degree + "F", "31.6" + degree + "F", "-4.0" + degree + "F", "22.1" + degree + "F"};
    auto lost = [](size_t which) {
        texts left = celsius;
        left[which] = "";
        return long_line("internal temperature", "E1", left);
    };
    const texts answers = {failure_text, // value
                           alone,        // the three statistics
                           alone,
                           alone,
                           long_line("internal temperature", "E1", shown), // unit
                           failure_text,                                   // system name
                           celsius_line,                                   // name
                           failure_text,                                   // value
                           failure_text,                                   // type
                           alone,                                          // raw type
                           lost(1),
                           lost(2),
                           lost(3),
                           long_line("internal temperature", "E1", {"25", "31.55", "-4", "22.14"})};
    expect_with_each_exchange_failing(behind_locating_sensor(celsius_line, answers),
                                      [] { return answer("sensors 1 E1"); });

    // In a walk there is no unit and no sensor to find; what fails has no line.
    texts walked = {""};
    for (const std::string &text : answers)
        walked.push_back(text == failure_text ? "" : text);
    walked.push_back(celsius_line);
    expect_with_each_exchange_failing(walked, [] { return answer("sensors"); });
}

TEST_P(sensors, any_exchange_of_a_summary_without_the_segment_may_fail)
{
    const std::string alone = summary_line("1", "E1 door ", "25");
    const std::string nobody = no_such_ipdu + declined;
    const std::string fahrenheit = "25.0" + degree + "F,31.6" + degree + "F,-4.0" + degree + "F,22.1" + degree + "F";
    auto lost = [](size_t which) {
        texts left = celsius;
        left[which] = "";
        return summary_line("1", "E1 door ", left[0] + "," + left[1] + "," + left[2] + "," + left[3]);
    };
    expect_with_each_exchange_failing({celsius_summary,
                                       nobody,
                                       nobody,
                                       declined,
                                       declined,
                                       declined,
                                       declined,
                                       alone,
                                       alone,
                                       alone,
                                       summary_line("1", "E1 door ", fahrenheit),
                                       declined,
                                       summary_line("1", "E1  ", celsius_detail),
                                       declined,
                                       declined,
                                       summary_line("22", "E1 door ", "25"),
                                       lost(1),
                                       lost(2),
                                       lost(3),
                                       summary_line("1", "E1 door ", "25,31.55,-4,22.14"),
                                       celsius_summary},
                                      [] {
                                          return answer_from_tree(cmd_sensor_sum_elem, {"1", "E1"});
                                      });
}

TEST_P(sensor_reset, any_exchange_may_fail)
{
    expect_with_each_exchange_failing(
        behind_locating_sensor(reset_line, {failure_text, failure_text, failure_text, failure_text}),
        [] { return answer("sensors reset 1 E1"); });
    expect_with_each_exchange_failing({declined, declined, "", "", "", "", "", "", reset_line},
                                      [] { return answer_from_tree(cmd_sensor_reset); });
}

TEST_P(sensors, any_exchange_of_a_new_name_may_fail)
{
    expect_with_each_exchange_failing(behind_locating_sensor("IPDU #1: Sensor 1 now named new\n",
                                                             {failure_text, "IPDU #1: Invalid sensor name for 1.\n"}),
                                      [] { return answer("sensors name 1 E1 new"); });
}

// What can't be had for want of memory is like what the tree refuses: a name, a raw type, a unit.
TEST(sensors_memory, any_allocation_may_fail)
{
    fake_chain chain;
    fake_node sensor = serve_sensor(chain.unit({.outlets = 0, .phases = 0, .envmons = 1}).envmon(1), "smoke", "5");
    const texts others = {failure_text, no_such_ipdu, summary_line("5", "E1  ", "25"),
                          summary_line("22", "E1 door ", "25"), summary_line("5", "E1 door ", "25.0" + degree + "F")};
    expect_with_each_allocation_failing(others, [] { return answer("sensors summary"); });

    sensor.serve("type", "internal-temperature").serve("type-raw", "1");
    each_failing_allocation([&](int) {
        const std::string text = answer("sensors 1 E1");
        EXPECT_TRUE(text == failure_text || text == no_such_ipdu || text.starts_with("IPDU #1: internal temperature "))
            << text;
    });
    EXPECT_EQ(answer("sensors 1 E1"), celsius_line);

    for (const char *line : {"sensors reset", "sensors name 1 E1 new"})
        expect_with_each_allocation_failing({failure_text, no_such_ipdu, "IPDU #1: Invalid sensor name for 1.\n"},
                                            [&] { return answer(line); });
}

// Both texts of append_output, and the parts of the line before it.
TEST_P(sensors, lines_that_can_not_be_built_are_logged)
{
    unit.publish("model_nr", "128");
    const std::pair<const char *, std::string> lines[] = {
        {"sensors 1 E1", "Fail to printf pdu 1 value " + celsius[0] + " string, type internal-temperature"},
        {"sensors summary 1 E1",
         "Fail to printf pdu 1 summary sensor " + celsius[0] + " string, type internal-temperature"},
        {"sensors reset 1 E1", "Fail to printf pdu 1 reset envmon string"},
    };
    for (const auto &[line, told] : lines) {
        heap.fail_at(0);
        answer(line);
        const int count = heap.count();
        for (int behind : {0, 1}) {
            heap.fail_at(count - behind);
            EXPECT_EQ(answer(line), failure_text);
            heap.fail_at(0);
            EXPECT_EQ(failures_behind_locating().back(), told);
        }
    }
    heap.fail_at(0);
    answer("sensors summary 1 E1");
    const int count = heap.count();
    for (int behind : {2, 3}) { // detail and label
        heap.fail_at(count - behind);
        EXPECT_EQ(answer("sensors summary 1 E1"), failure_text);
        EXPECT_LOGGED(lines[1].second);
    }
}

} // namespace

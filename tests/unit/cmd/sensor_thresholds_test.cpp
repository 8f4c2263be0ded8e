// The thresholds of sensors, shown and set.

#include "cmd/cmd_sensors.h"

#include "cmd/sensor_thresholds.h"
#include "shell/commands.h"

#include "tests/unit/cmd/each_failure.h"
#include "tests/unit/cmd/sensor_desk.h"

namespace {

const std::string path = "power.port.1.pdu.1.envmon.1";

struct thresholds : testing::Test {
    fake_chain chain;
    fake_node unit = chain.unit({.outlets = 0, .phases = 0, .envmons = 1, .model = 128});
    fake_node sensor = serve_thresholds(serve_sensor(unit.envmon(1), "internal-temperature"));

    // What the tree holds.
    std::string levels() const
    {
        std::string text;
        for (const char *leaf : {"high-thres", "high-warn-thres", "low-warn-thres", "low-thres"})
            text += sensor.value(leaf).value_or("none") + " ";
        return text + sensor.value("unit").value_or("none");
    }
};

std::string line_of(const std::string &type, const std::string &levels, const std::string &name = "E1")
{
    return "IPDU #1: " + type + " thresholds on sensor " + name + ": " + levels + "\n";
}

std::string celsius(const std::string &a, const std::string &b, const std::string &c, const std::string &d)
{
    const std::string unit = degree + "C";
    return line_of("internal temperature", a + unit + ":" + b + unit + ":" + c + unit + ":" + d + unit);
}

const std::string stored = celsius("40.0", "35.5", "5.0", "-1.0");

// --- Showing --------------------------------------------------------------------------------------------------------

const texts showing = {"mlist " + path,
                       "info " + path + ".sys-name",
                       "info " + path + ".high-thres",
                       "info " + path + ".high-warn-thres",
                       "info " + path + ".low-warn-thres",
                       "info " + path + ".low-thres",
                       "info " + path + ".unit",
                       "info " + path + ".type"};

texts exchanges_behind_sensor()
{
    texts all = exchanges_behind_locating();
    const texts search = {"mlist power.port.1.pdu.1.envmon", "info " + path + ".sys-name"};
    EXPECT_TRUE(all.size() >= 2 && texts(all.begin(), all.begin() + 2) == search);
    return all.size() < 2 ? texts{} : texts(all.begin() + 2, all.end());
}

TEST_F(thresholds, all_four_are_shown_in_the_unit_of_the_sensor)
{
    EXPECT_EQ(stored, "IPDU #1: internal temperature thresholds on sensor E1: 40.0\xF8"
                      "C:35.5\xF8"
                      "C:5.0\xF8"
                      "C:-1.0\xF8"
                      "C\n");
    EXPECT_EQ(answer("sensors threshold 1 E1"), stored);
    EXPECT_EQ(last_result(), 0);
    EXPECT_EQ(exchanges_behind_sensor(), showing);
    EXPECT_EQ(failures_behind_locating(), texts{});
    EXPECT_EQ(call(cmd_sensor_thres_elem, {"1", "E1"}).result, 0);
}

TEST_F(thresholds, units_and_all_units_are_walks)
{
    for (const char *line : {"sensors threshold", "sensors threshold 1", "sensors threshold unit1"})
        EXPECT_EQ(answer(line), stored) << line;
    EXPECT_EQ(call(cmd_sensor_thres_pdu, {"1"}).result, 1);
    answer("sensors threshold");
    EXPECT_EXCHANGES({"mlist power.port.1.pdu.1.envmon", showing[0], showing[1], showing[2], showing[3], showing[4],
                      showing[5], showing[6], showing[7]});
    EXPECT_FAILURES({"Fail to execute for PDU 1"});
    EXPECT_EQ(answer_from_tree(cmd_sensor_thres), stored);
}

TEST_F(thresholds, each_unit_has_its_sign)
{
    const std::pair<const char *, std::string> units[] = {
        {"oF", "40.0" + degree + "F:35.5" + degree + "F:5.0" + degree + "F:-1.0" + degree + "F"},
        {"K", "-233.1" + degree + "C:-237.6" + degree + "C:-268.1" + degree + "C:-274.1" + degree + "C"},
        {"afu", "40.0afu:35.5afu:5.0afu:-1.0afu"},
        {"%", "40.0%:35.5%:5.0%:-1.0%"},
        {"C", "40:35.5:5:-1"},
        {"", "40:35.5:5:-1"}};
    for (const auto &[text, shown] : units) {
        sensor.serve("unit", text);
        EXPECT_EQ(answer("sensors threshold 1 E1"), line_of("internal temperature", shown)) << text;
    }
}

TEST_F(thresholds, without_a_unit_the_levels_are_as_the_tree_has_them)
{
    for (int way : {0, 1, 2}) {
        way == 0 ? sensor.refuse("info", "unit") : sensor;
        way == 1 ? sensor.without("unit") : sensor;
        if (way == 2)
            tree.allow("info", path + ".unit").absent(path + ".unit");
        EXPECT_EQ(answer("sensors threshold 1 E1"), line_of("internal temperature", "40:35.5:5:-1")) << way;
    }
}

TEST_F(thresholds, levels_below_the_first_that_can_not_be_had_are_empty)
{
    sensor.without("high-warn-thres").refuse("info", "low-warn-thres");
    tree.absent(path + ".low-thres");
    EXPECT_EQ(answer("sensors threshold 1 E1"), line_of("internal temperature", "40.0" + degree + "C:::"));
    tree.absent(path + ".high-thres");
    EXPECT_EQ(answer("sensors threshold 1 E1"), line_of("internal temperature", ":::"));
    EXPECT_EQ(failures_behind_locating(), texts{});
}

TEST_F(thresholds, first_level_is_needed)
{
    sensor.refuse("info", "high-thres");
    EXPECT_EQ(answer("sensors threshold 1 E1"), failure_text);
    EXPECT_EQ(failures_behind_locating(), (texts{"Fail to get sensors thresholds for element 1@1@1"}));
    EXPECT_EQ(exchanges().back(), "info " + path + ".unit"); // the rest was asked for
    sensor.without("high-thres");
    EXPECT_EQ(answer("sensors threshold 1 E1"), failure_text);
    EXPECT_EQ(failures_behind_locating(), (texts{"Node high-thres unavailable for 1@1@1"}));
    EXPECT_EQ(exchanges().back(), "mlist " + path);
}

TEST_F(thresholds, system_name_is_needed)
{
    sensor.refuse("info", "sys-name");
    EXPECT_EQ(answer("sensors threshold"), "");
    EXPECT_FAILURES({"Fail to get sensors thresholds for element 1@1@1", "Fail to execute for envmon 1",
                     "Fail to execute for PDU 1"});
}

TEST_F(thresholds, type_without_a_name_is_a_failure)
{
    sensor.serve("type", "odd");
    EXPECT_EQ(answer("sensors threshold 1 E1"), failure_text);
    EXPECT_EQ(failures_behind_locating(), (texts{"Fail to get string type odd for 1@1@1"}));
    sensor.refuse("info", "type");
    EXPECT_EQ(answer("sensors threshold 1 E1"), failure_text);
    EXPECT_EQ(failures_behind_locating(), (texts{"Fail to get string type  for 1@1@1"}));
}

TEST_F(thresholds, unknown_model_is_logged_and_declines)
{
    unit.refuse("info", "model_nr");
    EXPECT_EQ(answer_from_tree(cmd_sensor_thres_elem, {"1", "E1"}), declined);
    EXPECT_EQ(failures_behind_locating(), (texts{"Fail to get model for pdu 1@1", "Fail to get model from pdu 1@1"}));
}

TEST_F(thresholds, legacy_unit_is_logged_and_has_no_line)
{
    for (const char *model : {"0", "127", "144"}) {
        unit.publish("model_nr", model);
        EXPECT_EQ(answer("sensors threshold 1 E1"), failure_text);
        EXPECT_EQ(failures_behind_locating(), (texts{"Sensor threshold not supported for legacy ZT 1@1"}));
        EXPECT_EQ(exchanges_behind_sensor(), texts{});
        EXPECT_EQ(answer("sensors threshold"), "");
        EXPECT_EQ(last_result(), 0);
        // Then "threshold" is taken for a unit.
        EXPECT_EQ(answer("sensors threshold 1"), no_such_ipdu);
    }
}

TEST_F(thresholds, walk_shows_the_sensors_that_answer)
{
    chain.unit({.envmons = 1, .model = 1});
    fake_node next = chain.unit({.envmons = 2});
    serve_sensor(next.envmon(1), "smoke");
    serve_thresholds(serve_sensor(next.envmon(2), "humidity", "2", "%"));
    EXPECT_EQ(answer("sensors threshold"),
              stored + "IPDU #3: humidity thresholds on sensor E2: 40.0%:35.5%:5.0%:-1.0%\n");
}

TEST_F(thresholds, system_name_with_blanks_is_found_and_shown_as_it_is)
{
    sensor.serve("unit", "");
    for (const char *name : {"room 2", "a b c", "a b c d e"}) {
        sensor.serve("sys-name", name);
        EXPECT_EQ(answer(std::string("sensors threshold 1 ") + name),
                  line_of("internal temperature", "40:35.5:5:-1", name));
    }
}

TEST_F(thresholds, system_name_with_a_colon_is_matched_by_no_row)
{
    sensor.serve("sys-name", "E:1");
    EXPECT_EQ(answer("sensors threshold 1 E:1"), failure_text);
    EXPECT_EXCHANGES({});
    // Writing takes it as a word.
    EXPECT_EQ(answer("sensors threshold 1 E:1 1:2:3:4 C"), line_of("internal temperature", "1.0:2.0:3.0:4.0", "E:1"));
}

// --- Setting --------------------------------------------------------------------------------------------------------

TEST_F(thresholds, unit_and_then_the_levels_are_written_and_read_back)
{
    tree.when("admin", path + ".unit", [&](const texts &) { sensor.serve("unit", "oC"); }); // the daemon's own text
    EXPECT_EQ(answer("sensors threshold 1 E1 10:8:2:1 C"), celsius("10.0", "8.0", "2.0", "1.0"));
    EXPECT_EQ(last_result(), 0);
    EXPECT_EQ(call(cmd_sensor_thres_elem_set, {"1", "E1", "10:8:2:1", "C"}).result, 0);
    texts expected(4, "mlist " + path);
    for (const char *exchange : {"info .sys-name", "info .type", "admin .unit C", "admin .high-thres 10.0",
                                 "admin .high-warn-thres 8.0", "admin .low-warn-thres 2.0", "admin .low-thres 1.0"}) {
        std::string text = exchange;
        expected.push_back(text.insert(text.find('.'), path));
    }
    expected.insert(expected.end(), showing.begin(), showing.end());
    EXPECT_EQ(exchanges_behind_sensor(), expected);
    EXPECT_EQ(failures_behind_locating(), texts{});
}

TEST_F(thresholds, each_step_of_writing_is_told_in_the_log)
{
    answer("sensors threshold 1 E1 10::2:1e2 Fahrenheit");
    EXPECT_EQ(log_texts(6), (texts{"caps: 1, 1, 1, 1", "s_type = internal temperature", "setting temp threshold",
                                   "Unit F", "Unit F", "Unit F", "setting high crit thres: 10.0 ",
                                   "setting low warn thres: 2.0 ", "setting low crit thres: 100.0 "}));
    answer("sensors threshold 1 E1 :7:: C");
    EXPECT_EQ(log_texts(6), (texts{"caps: 1, 1, 1, 1", "s_type = internal temperature", "setting temp threshold",
                                   "Unit C", "setting high warn thres: 7.0 "}));
    answer("sensors threshold 1 E1 :7:: K");
    EXPECT_EQ(log_texts(6)[3], "Unit K");
}

TEST_F(thresholds, numbers_go_out_with_one_decimal)
{
    sensor.serve("type", "humidity").serve("unit", "%");
    const std::pair<const char *, const char *> numbers[] = {
        {"25:1e2:.04:-0.25", "25.0 100.0 0.0 -0.2 %"},
        {"+7:0x10:1e-3:9999.96", "7.0 16.0 0.0 10000.0 %"},
        {"inf:nan:-inf:1e20", "inf nan -inf 100000000000000000000.0 %"}};
    for (const auto &[typed, written] : numbers) {
        EXPECT_NE(answer(std::string("sensors threshold 1 E1 ") + typed + " %"), failure_text);
        EXPECT_EQ(levels(), written) << typed;
    }
}

TEST_F(thresholds, number_of_any_size_goes_out_whole)
{
    answer("sensors threshold 1 E1 1e300::: C");
    EXPECT_EQ(sensor.value("high-thres")->size(), 303U);
}

TEST_F(thresholds, first_level_alone_leaves_the_others)
{
    EXPECT_EQ(answer("sensors threshold 1 E1 45::: oC"), failure_text); // no letter that we know in front
    EXPECT_EQ(answer("sensors threshold 1 E1 45::: C"), line_of("internal temperature", "45.0:35.5:5:-1"));
    EXPECT_EQ(levels(), "45.0 35.5 5 -1 C");
}

TEST_F(thresholds, three_colons_write_the_unit_alone)
{
    for (const char *type : {"internal-temperature", "humidity", "air-flow", "dry-contact", "UNDEFINED"}) {
        sensor.serve("type", type).serve("unit", "oC");
        EXPECT_NE(answer("sensors threshold 1 E1 ::: whatever"), failure_text) << type;
        EXPECT_EQ(levels(), "40 35.5 5 -1 whatever");
    }
}

TEST_F(thresholds, level_typed_as_the_number_for_none_counts_as_not_given)
{
    for (const char *typed : {"10000:1e4:10000.0:", "::: ", "+10000:::0x2710"}) {
        sensor.serve("unit", "oC");
        EXPECT_NE(answer(std::string("sensors threshold 1 E1 ") + typed + " X"), failure_text) << typed;
        EXPECT_EQ(levels(), "40 35.5 5 -1 X");
    }
}

TEST_F(thresholds, first_letter_of_a_temperature_unit_decides_and_the_word_goes_out_whole)
{
    for (const char *type : {"internal-temperature", "external-temperature"})
        for (const char *word : {"C", "F", "K", "Fahrenheit", "Cx", "K%"}) {
            sensor.serve("type", type);
            EXPECT_NE(answer(std::string("sensors threshold 1 E1 1:::  ") + word), failure_text) << word;
            EXPECT_EQ(sensor.value("unit"), word);
        }
}

TEST_F(thresholds, other_temperature_units_are_refused_before_anything_is_written)
{
    for (const char *type : {"internal-temperature", "external-temperature"})
        for (const char *word : {"c", "f", "k", "%", "afu", "oC", "1"}) {
            sensor.serve("type", type);
            EXPECT_EQ(answer(std::string("sensors threshold 1 E1 :::1 ") + word), failure_text) << word;
            EXPECT_EQ(levels(), "40 35.5 5 -1 oC");
            EXPECT_EQ(log_texts(6).back(), std::string("Invalid unit ") + word);
            EXPECT_EQ(failures_behind_locating().size(), 0U);
        }
}

TEST_F(thresholds, air_flow_takes_its_whole_unit_alone)
{
    sensor.serve("type", "air-flow").serve("unit", "afu");
    EXPECT_EQ(answer("sensors threshold 1 E1 9:8:7:6 afu"), line_of("air-flow", "9.0afu:8.0afu:7.0afu:6.0afu"));
    EXPECT_EQ(log_texts(6)[2], "setting high crit thres: 9.0 ");
    for (const char *word : {"a", "afus", "AFU", "C"}) {
        EXPECT_EQ(answer(std::string("sensors threshold 1 E1 1::: ") + word), failure_text) << word;
        EXPECT_EQ(levels(), "9.0 8.0 7.0 6.0 afu");
        EXPECT_EQ(log_texts(6).back(), std::string("Invalid unit ") + word);
    }
}

TEST_F(thresholds, humidity_takes_any_unit)
{
    sensor.serve("type", "humidity");
    for (const char *word : {"%", "percent", "C"}) {
        EXPECT_NE(answer(std::string("sensors threshold 1 E1 90:80:20:10 ") + word), failure_text) << word;
        EXPECT_EQ(levels(), std::string("90.0 80.0 20.0 10.0 ") + word);
    }
}

TEST_F(thresholds, other_types_take_the_unit_and_leave_the_levels)
{
    for (const char *type : {"dry-contact", "water-level", "motion", "smoke", "UNDEFINED"}) {
        sensor.serve("type", type).serve("unit", "");
        EXPECT_EQ(answer("sensors threshold 1 E1 9:8:7:6 any"), line_of(type, "40:35.5:5:-1"));
        EXPECT_EQ(levels(), "40 35.5 5 -1 any");
        EXPECT_EQ(exchanges_behind_sensor()[6], "admin " + path + ".unit any");
        EXPECT_EQ(exchanges_behind_sensor()[7], "mlist " + path);
    }
}

TEST_F(thresholds, text_that_is_no_four_levels_is_refused_before_the_sensor_is_asked)
{
    for (const char *typed : {"1:2:3", "1:2:3:4:5", "::::", ":", "::", "1:x:3:4", "1x:2:3:4", "1:2:3:4x", "1:2:1e999:4",
                              "1:2:3:1e-999", "::1,5:", "-:::", "e:::"}) {
        const std::string line = std::string("sensors threshold 1 E1 ") + typed + " C";
        EXPECT_EQ(answer(line), failure_text) << typed;
        EXPECT_EQ(levels(), "40 35.5 5 -1 oC");
        EXPECT_LOGGED(std::string("Invalid threshold 1@1@1 ") + typed);
        EXPECT_EQ(log_texts(6), texts{});
        EXPECT_EQ(exchanges_behind_sensor(), texts{});
    }
}

// The row that shows takes the three words for a name with blanks.
TEST_F(thresholds, text_without_a_colon_is_looked_for_as_a_name)
{
    EXPECT_EQ(answer("sensors threshold 1 E1 12 C"), failure_text);
    EXPECT_LOGGED("Invalid threshold 1@1@1 12");
    EXPECT_EQ(exchanges().size(), 10U);
}

TEST_F(thresholds, earlier_number_out_of_range_is_not_held_against_a_good_one)
{
    errno = ERANGE;
    EXPECT_NE(answer("sensors threshold 1 E1 1:::  C"), failure_text);
}

TEST_F(thresholds, type_without_a_name_is_refused_before_anything_is_written)
{
    sensor.serve("type", "odd");
    EXPECT_EQ(answer("sensors threshold 1 E1 1:2:3:4 C"), failure_text);
    EXPECT_EQ(levels(), "40 35.5 5 -1 oC");
    EXPECT_EQ(failures_behind_locating(), (texts{"Fail to get string type odd for 1@1@1"}));
    EXPECT_EQ(log_texts(6), (texts{"caps: 1, 1, 1, 1"}));
}

TEST_F(thresholds, missing_leaf_fails_the_whole_behind_the_other_writes)
{
    const char *leaves[] = {"high-thres", "high-warn-thres", "low-warn-thres", "low-thres"};
    const char *flags[] = {"caps: 0, 1, 1, 1", "caps: 1, 0, 1, 1", "caps: 1, 1, 0, 1", "caps: 1, 1, 1, 0"};
    const char *results[] = {"-1:0:0:0", "0:-1:0:0", "0:0:-1:0", "0:0:0:-1"};
    for (int missing = 0; missing < 4; missing++) {
        serve_thresholds(sensor).serve("unit", "oC").without(leaves[missing]);
        EXPECT_EQ(answer("sensors threshold 1 E1 10:8:2:1 C"), failure_text);
        EXPECT_EQ(failures_behind_locating(),
                  (texts{std::string("Fail to set threshold for envmon 1@1@1, value 10:8:2:1 (ret ") +
                         results[missing] + ")"}));
        EXPECT_EQ(log_texts(6)[0], flags[missing]);
        const std::string written[] = {"none 8.0 2.0 1.0 C", "10.0 none 2.0 1.0 C", "10.0 8.0 none 1.0 C",
                                       "10.0 8.0 2.0 none C"};
        EXPECT_EQ(levels(), written[missing]);
    }
}

TEST_F(thresholds, missing_leaf_fails_even_where_its_level_is_not_given)
{
    sensor.without("low-thres");
    EXPECT_EQ(answer("sensors threshold 1 E1 10::: C"), failure_text);
    EXPECT_EQ(levels(), "10.0 35.5 5 none C");
    EXPECT_EQ(failures_behind_locating(),
              (texts{"Fail to set threshold for envmon 1@1@1, value 10::: (ret 0:0:0:-1)"}));
}

TEST_F(thresholds, refused_level_neither_stops_the_others_nor_is_undone)
{
    sensor.refuse("admin", "high-warn-thres").drop("admin", "low-warn-thres");
    EXPECT_EQ(answer("sensors threshold 1 E1 10:8:2:1 C"), failure_text);
    EXPECT_EQ(levels(), "10.0 35.5 5 1.0 C");
    EXPECT_EQ(failures_behind_locating(),
              (texts{"Fail to set threshold for envmon 1@1@1, value 10:8:2:1 (ret 0:-15:-2:0)"}));
    EXPECT_EQ(exchanges().back(), "admin " + path + ".low-thres 1.0"); // no reading behind it
}

TEST_F(thresholds, refused_unit_counts_for_nothing)
{
    sensor.refuse("admin", "unit");
    EXPECT_EQ(answer("sensors threshold 1 E1 10:8:2:1 C"), celsius("10.0", "8.0", "2.0", "1.0"));
    EXPECT_EQ(failures_behind_locating(), texts{});
}

TEST_F(thresholds, system_name_that_is_lost_fails_the_whole_behind_the_writes)
{
    int reads = 0;
    tree.when("info", path + ".sys-name", [&](const texts &) {
        if (++reads == 1) // the search found the sensor; it is lost from then on
            tree.refuse("info", path + ".sys-name");
    });
    EXPECT_EQ(answer("sensors threshold 1 E1 10:8:2:1 C"), failure_text);
    EXPECT_EQ(levels(), "10.0 8.0 2.0 1.0 C");
    EXPECT_EQ(failures_behind_locating(), (texts{"Fail to get name for envmon 1@1@1"}));
}

TEST_F(thresholds, legacy_unit_takes_the_levels_and_answers_nothing)
{
    unit.publish("model_nr", "1");
    EXPECT_EQ(answer("sensors threshold 1 E1 10:8:2:1 C"), "");
    EXPECT_EQ(last_result(), 0);
    EXPECT_EQ(levels(), "10.0 8.0 2.0 1.0 C");
    EXPECT_EQ(failures_behind_locating(), (texts{"Sensor threshold not supported for legacy ZT 1@1"}));
    sensor.refuse("admin", "low-thres");
    EXPECT_EQ(answer("sensors threshold 1 E1 10:8:2:1 C"), failure_text);
}

TEST_F(thresholds, answer_is_what_the_tree_holds_then)
{
    tree.when("admin", path + ".low-thres",
              [&](const texts &) { sensor.serve("high-thres", "39").serve("unit", "%"); });
    EXPECT_EQ(answer("sensors threshold 1 E1 45:8:2:1 C"), line_of("internal temperature", "39.0%:8.0%:2.0%:1.0%"));
    sensor.refuse("info", "high-thres");
    EXPECT_EQ(answer("sensors threshold 1 E1 45:8:2:1 C"), "");
    EXPECT_EQ(last_result(), 0);
}

TEST(threshold_addresses, are_logged_from_the_inside_out)
{
    fake_chain chain;
    fake_node unit = third_unit_of_second_port(chain, {.envmons = 4});
    fake_node sensor = serve_thresholds(serve_sensor(unit.envmon(4), "smoke", "3", ""));
    EXPECT_EQ(answer("sensors threshold 3 E4"), "IPDU #3: smoke thresholds on sensor E4: 40:35.5:5:-1\n");
    answer("sensors threshold 3 E4 a::: C");
    EXPECT_LOGGED("Invalid threshold 4@3@2 a:::");
    sensor.refuse("info", "high-thres");
    answer("sensors threshold 3 E4");
    EXPECT_LOGGED("Fail to get sensors thresholds for element 4@3@2");
    sensor.without("high-thres");
    answer("sensors threshold 3 E4");
    EXPECT_LOGGED("Node high-thres unavailable for 4@3@2");
    answer("sensors threshold 3 E4 ::: C");
    EXPECT_LOGGED("Fail to set threshold for envmon 4@3@2, value ::: (ret -1:0:0:0)");
    sensor.serve("type", "odd");
    answer("sensors threshold 3 E4 ::: C");
    EXPECT_LOGGED("Fail to get string type odd for 4@3@2");
    unit.publish("model_nr", "1");
    answer("sensors threshold 3 E4");
    EXPECT_LOGGED("Sensor threshold not supported for legacy ZT 3@2");
}

// --- Failures -------------------------------------------------------------------------------------------------------

TEST_F(thresholds, any_exchange_of_showing_may_fail)
{
    auto without = [](int which) {
        const std::string shown[] = {"40.0" + degree + "C", ":35.5" + degree + "C", ":5.0" + degree + "C",
                                     ":-1.0" + degree + "C"};
        std::string text;
        for (int i = 0; i < 4; i++)
            text += i == which ? ":" : shown[i];
        return line_of("internal temperature", text);
    };
    const texts answers = {stored,       no_such_ipdu, no_such_ipdu, failure_text,
                           failure_text, failure_text, failure_text, failure_text,
                           without(1),   without(2),   without(3),   line_of("internal temperature", "40:35.5:5:-1"),
                           failure_text, stored};
    expect_with_each_exchange_failing(answers, [] { return answer("sensors threshold 1 E1"); });

    texts walked = {declined, declined, "", "", "", "", ""};
    walked.insert(walked.end(), answers.begin() + 8, answers.begin() + 12);
    walked.insert(walked.end(), {"", stored});
    expect_with_each_exchange_failing(walked, [] { return answer_from_tree(cmd_sensor_thres); });
}

TEST_F(thresholds, any_exchange_of_setting_may_fail)
{
    const std::string whole = celsius("10.0", "8.0", "2.0", "1.0");
    texts after;
    auto set = [&] {
        serve_thresholds(sensor).serve("unit", "oC");
        const std::string text = answer("sensors threshold 1 E1 10:8:2:1 C");
        after.push_back(levels());
        return text;
    };
    tree.when("admin", path + ".unit", [&](const texts &) { sensor.serve("unit", "oC"); });
    texts answers = {whole, no_such_ipdu, no_such_ipdu, failure_text, failure_text};
    answers.insert(answers.end(), 6, failure_text); // capabilities, name, type
    answers.push_back(whole);                       // unit
    answers.insert(answers.end(), 4, failure_text); // levels
    answers.insert(answers.end(), 3, "");           // the reading behind it: capability, name, first level
    const std::string c = degree + "C";
    answers.insert(answers.end(), {line_of("internal temperature", "10.0" + c + "::2.0" + c + ":1.0" + c),
                                   line_of("internal temperature", "10.0" + c + ":8.0" + c + "::1.0" + c),
                                   line_of("internal temperature", "10.0" + c + ":8.0" + c + ":2.0" + c + ":"),
                                   line_of("internal temperature", "10.0:8.0:2.0:1.0"), "", whole});
    expect_with_each_exchange_failing(answers, set);

    // What was written stays written, whatever failed before or behind it.
    const std::string before = "40 35.5 5 -1 oC";
    const texts states = {"10.0 8.0 2.0 1.0 oC",
                          before,
                          before,
                          before,
                          before,
                          "40 8.0 2.0 1.0 oC",
                          "10.0 35.5 2.0 1.0 oC",
                          "10.0 8.0 5 1.0 oC",
                          "10.0 8.0 2.0 -1 oC",
                          "10.0 8.0 2.0 1.0 oC",
                          before,
                          "10.0 8.0 2.0 1.0 oC",
                          "40 8.0 2.0 1.0 oC",
                          "10.0 35.5 2.0 1.0 oC",
                          "10.0 8.0 5 1.0 oC",
                          "10.0 8.0 2.0 -1 oC"};
    EXPECT_EQ(texts(after.begin(), after.begin() + 16), states);
}

TEST_F(thresholds, any_allocation_may_fail)
{
    const std::string head = "IPDU #1: internal temperature thresholds on sensor E1: ";
    bool copy = false, level = false, line = false;
    for (const char *command : {"sensors threshold 1 E1", "sensors threshold 1 E1 10:8:2:1 C"}) {
        const std::string whole = answer(command);
        each_failing_allocation([&](int n) {
            const std::string text = answer(command);
            EXPECT_TRUE(text == failure_text || text == no_such_ipdu || text.empty() || text.starts_with(head))
                << command << " " << n << ": " << text;
            copy |= logged("Invalid threshold 1@1@1 10:8:2:1 C");
            level |= logged("problem filling in levelk");
            line |= logged("Fail to printf pdu 1 threshold current string, type internal temperature");
        });
        EXPECT_EQ(answer(command), whole);
    }
    EXPECT_TRUE(copy && level && line);
}

TEST_F(thresholds, temperature_without_a_unit_is_refused)
{
    char *out = nullptr;
    EXPECT_EQ(set_thresholds(find_command_row(cmd_sensor_thres_elem_set), &out, {1, 1, 1}, "40:30:2:1", ""), 1);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(levels(), "40 35.5 5 -1 oC");
}

TEST_F(thresholds, missing_text_is_refused_without_an_exchange)
{
    const int row = find_command_row(cmd_sensor_thres_elem_set);
    char *out = nullptr;
    EXPECT_EQ(set_thresholds(row, &out, {1, 1, 1}, nullptr, "C"), 1);
    EXPECT_EQ(set_thresholds(row, &out, {1, 1, 1}, "40:30:2:1", nullptr), 1);
    EXPECT_EQ(set_thresholds(row, &out, {1, 1, 1}, nullptr, nullptr), 1);
    EXPECT_EQ(out, nullptr);
    EXPECT_EXCHANGES({});
    EXPECT_FAILURES({"Invalid threshold 1@1@1  C", "Invalid threshold 1@1@1 40:30:2:1 ", "Invalid threshold 1@1@1  "});
}

} // namespace

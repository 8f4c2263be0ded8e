// The temperature of units: the first environment monitor of each.

#include "cmd/cmd_temperature.h"

#include <tuple>

#include "tests/unit/cmd/each_failure.h"

namespace {

const std::string none = "IPDU #1 does not have temperature sensor.\n";
const std::string legacy_line = "IPDU #1: Temperature: 25.0\xF8"
                                "C. Maximum: 31.5\xF8"
                                "C\n";
const std::string current_line = "IPDU #1: Temperature: 25.0\xF8"
                                 "C. Maximum: 31.5\xF8"
                                 "C. Minimum: 18.2\xF8"
                                 "C. Average: 22.1\xF8"
                                 "C\n";
const std::string reset_line = "IPDU #1: Clearing maximum recorded temperature to zero.\n";

std::string at(int pdu, std::string line)
{
    return line.replace(6, 1, std::to_string(pdu));
}

void serve_sensor(const fake_node &unit)
{
    unit.envmon(1)
        .serve("type", "internal-temperature")
        .serve("value", "25")
        .serve("max-value", "31.5")
        .serve("min-value", "18.2")
        .serve("avg-value", "22.1")
        .serve("value-units", "25.0\xF8"
                              "C")
        .serve("max-value-units", "31.5\xF8"
                                  "C")
        .serve("min-value-units", "18.2\xF8"
                                  "C")
        .serve("avg-value-units", "22.1\xF8"
                                  "C");
}

struct temperature : testing::Test {
    fake_chain chain;
    fake_node unit = chain.unit({.envmons = 2, .model = 128});
    fake_node sensor = unit.envmon(1);

    temperature()
    {
        serve_sensor(unit);
        unit.envmon(2).serve("type", "external-temperature").serve("value", "99").serve("value-units", "99");
    }

    // One more behind it; the first of the sensors is like that of the first unit.
    fake_node more(int model = 128)
    {
        fake_node next = chain.unit({.envmons = 1, .model = model});
        serve_sensor(next);
        return next;
    }
};

// --- Reading --------------------------------------------------------------------------------------------------------

TEST_F(temperature, current_unit_shows_value_maximum_minimum_and_average)
{
    for (const char *model : {"128", "143"}) {
        unit.publish("model_nr", model);
        EXPECT_EQ(answer("temperature 1"), current_line);
    }
    EXPECT_EQ(last_result(), 0);
    EXPECT_EQ(failures_behind_locating(), texts{});
    EXPECT_EQ(
        exchanges_behind_locating(),
        (texts{"mlist power.port.1.pdu.1.envmon.1", "mlist power.port.1.pdu.1.envmon.1",
               "mlist power.port.1.pdu.1.envmon.1", "mlist power.port.1.pdu.1.envmon.1",
               "info power.port.1.pdu.1.envmon.1.type", "info power.port.1.pdu.1.envmon.1.value-units",
               "info power.port.1.pdu.1.envmon.1.max-value-units", "info power.port.1.pdu.1.envmon.1.min-value-units",
               "info power.port.1.pdu.1.envmon.1.avg-value-units"}));
}

TEST_F(temperature, legacy_unit_shows_value_and_maximum_alone)
{
    for (const char *model : {"0", "127", "144"}) {
        unit.publish("model_nr", model);
        EXPECT_EQ(answer("temperature 1"), legacy_line);
    }
    EXPECT_EQ(exchanges_behind_locating(),
              (texts{"mlist power.port.1.pdu.1.envmon.1", "mlist power.port.1.pdu.1.envmon.1",
                     "info power.port.1.pdu.1.envmon.1.type", "info power.port.1.pdu.1.envmon.1.value-units",
                     "info power.port.1.pdu.1.envmon.1.max-value-units"}));
}

TEST_F(temperature, legacy_unit_needs_neither_minimum_nor_average)
{
    unit.publish("model_nr", "1");
    for (const char *leaf : {"min-value", "min-value-units", "avg-value", "avg-value-units"})
        sensor.without(leaf);
    EXPECT_EQ(answer("temperature 1"), legacy_line);
}

TEST_F(temperature, without_the_segment_the_model_comes_from_the_tree_too)
{
    EXPECT_EQ(answer_from_tree(cmd_temp_pdu, {"1"}), current_line);
    EXPECT_EQ(exchanges_behind_locating().front(), "info power.port.1.pdu.1.model_nr");
    EXPECT_EQ(exchanges_behind_locating().size(), 10U);
}

TEST_F(temperature, texts_are_shown_as_they_come)
{
    sensor.serve("value-units", std::string(300, '9') + "%s").serve("max-value-units", "\xF8");
    EXPECT_EQ(answer("temperature 1"), "IPDU #1: Temperature: " + std::string(300, '9') +
                                           "%s. Maximum: \xF8. Minimum: 18.2\xF8"
                                           "C. Average: 22.1\xF8"
                                           "C\n");
}

TEST_F(temperature, any_type_that_holds_the_word_counts)
{
    for (const char *type : {"temperature", "external-temperature", "a temperature b"}) {
        sensor.serve("type", type);
        EXPECT_EQ(answer("temperature 1"), current_line) << type;
    }
}

TEST_F(temperature, first_sensor_of_another_type_is_none)
{
    tree.refuse("info", sensor.path("value-units")); // would be logged if it were read
    for (const char *type : {"humidity", "Temperature", ""}) {
        sensor.serve("type", type);
        EXPECT_EQ(answer("temperature 1"), none) << type;
        EXPECT_EQ(failures_behind_locating(), texts{});
        EXPECT_EQ(exchanges().back(), "info power.port.1.pdu.1.envmon.1.type");
    }
    tree.absent(sensor.path("type"));
    EXPECT_EQ(answer("temperature 1"), none);
}

TEST_F(temperature, unit_without_a_sensor_has_its_sentence)
{
    chain.unit({.envmons = 0});
    EXPECT_EQ(answer("temperature 2"), at(2, none));
    EXPECT_LOGGED("Fail to retrieve list of envmon capabilities in 1@2@1");
    EXPECT_LOGGED("Envmon node value unavailable for 2@1");
}

TEST_F(temperature, missing_capability_is_logged_and_ends_in_the_sentence)
{
    for (const char *leaf : {"value", "max-value", "min-value", "avg-value"}) {
        const std::string kept = *sensor.value(leaf);
        sensor.without(leaf);
        EXPECT_EQ(answer("temperature 1"), none) << leaf;
        EXPECT_EQ(failures_behind_locating(), (texts{std::string("Envmon node ") + leaf + " unavailable for 1@1"}));
        EXPECT_EQ(exchanges().back(), "mlist power.port.1.pdu.1.envmon.1");
        sensor.serve(leaf, kept);
    }
}

TEST_F(temperature, legacy_unit_without_maximum_ends_in_the_sentence)
{
    unit.publish("model_nr", "1");
    sensor.without("max-value");
    EXPECT_EQ(answer("temperature 1"), none);
    EXPECT_EQ(failures_behind_locating(), (texts{"Envmon node max-value unavailable for 1@1"}));
}

TEST_F(temperature, unknown_model_is_logged_and_ends_in_the_sentence)
{
    unit.refuse("info", "model_nr");
    EXPECT_EQ(answer_from_tree(cmd_temp_pdu, {"1"}), none + declined);
    EXPECT_EQ(failures_behind_locating(), (texts{"Fail to get model for pdu 1@1", "Fail to get model from pdu 1@1"}));
    EXPECT_EQ(answer_from_tree(cmd_temp_reset_pdu, {"1"}), none + declined);
    EXPECT_EQ(failures_behind_locating(), (texts{"Fail to get model for pdu 1@1", "Fail to get model from pdu 1@1"}));
}

TEST_F(temperature, failed_read_is_logged_and_ends_in_the_sentence)
{
    const std::tuple<const char *, const char *, const char *> reads[] = {
        {"type", "sensor type", "type"},
        {"value-units", "temperature", "avg-value-units"},
        {"max-value-units", "temperatureMax", "avg-value-units"},
        {"min-value-units", "temperatureMin", "avg-value-units"}};
    for (const auto &[leaf, word, last_read] : reads) {
        tree.refuse("info", sensor.path(leaf));
        EXPECT_EQ(answer("temperature 1"), none) << leaf;
        EXPECT_EQ(failures_behind_locating(), (texts{std::string("Fail to get ") + word + " for pdu 1@1"}));
        EXPECT_EQ(exchanges().back(), "info " + sensor.path(last_read)) << leaf;
        tree.allow("info", sensor.path(leaf));
    }
}

TEST_F(temperature, each_failed_value_is_logged)
{
    for (const char *leaf : {"value-units", "max-value-units", "min-value-units", "avg-value-units"})
        sensor.refuse("info", leaf);
    EXPECT_EQ(answer("temperature 1"), none);
    EXPECT_EQ(failures_behind_locating(),
              (texts{"Fail to get temperature for pdu 1@1", "Fail to get temperatureMax for pdu 1@1",
                     "Fail to get temperatureMin for pdu 1@1", "Fail to get temperatureMin for pdu 1@1"}));
}

TEST_F(temperature, failed_average_is_logged_as_the_minimum)
{
    sensor.refuse("info", "avg-value-units");
    EXPECT_EQ(answer("temperature 1"), none);
    EXPECT_EQ(failures_behind_locating(), (texts{"Fail to get temperatureMin for pdu 1@1"}));
}

TEST_F(temperature, empty_or_absent_value_is_a_failure_without_a_word)
{
    for (const char *leaf : {"value-units", "max-value-units", "min-value-units", "avg-value-units"}) {
        const std::string kept = *sensor.value(leaf);
        sensor.serve(leaf, "");
        EXPECT_EQ(answer("temperature 1"), none) << leaf;
        EXPECT_EQ(failures_behind_locating(), texts{});
        EXPECT_EQ(exchanges().back(), "info power.port.1.pdu.1.envmon.1.avg-value-units"); // all were read
        tree.absent(sensor.path(leaf));
        EXPECT_EQ(answer("temperature 1"), none) << leaf;
        sensor.serve(leaf, kept);
    }
}

TEST(temperature_addresses, are_logged_from_the_inside_out)
{
    fake_chain chain;
    fake_node unit = third_unit_of_second_port(chain, {.envmons = 1});
    EXPECT_EQ(answer("temperature 3"), at(3, none));
    EXPECT_LOGGED("Envmon node value unavailable for 3@2");
    serve_sensor(unit);
    EXPECT_EQ(answer("temperature 3"), at(3, current_line));
    for (const char *leaf : {"value-units", "type"}) {
        unit.envmon(1).refuse("info", leaf);
        EXPECT_EQ(answer("temperature 3"), at(3, none));
        EXPECT_LOGGED(std::string("Fail to get ") + (*leaf == 'v' ? "temperature" : "sensor type") + " for pdu 3@2");
    }
    tree.allow("info", unit.envmon(1).path("type")).refuse("admin", unit.envmon(1).path("reset"));
    answer("temperature reset 3");
    EXPECT_LOGGED("Fail to reset temperature for pdu 3@2");
    unit.refuse("info", "model_nr");
    answer_from_tree(cmd_temp_pdu, {"3"});
    EXPECT_LOGGED("Fail to get model from pdu 3@2");
}

// --- Walks ----------------------------------------------------------------------------------------------------------

TEST_F(temperature, walk_shows_all_units_of_both_families)
{
    more(1);
    more(143);
    EXPECT_EQ(answer("temperature"), current_line + at(2, legacy_line) + at(3, current_line));
    EXPECT_EQ(last_result(), 0);
    EXPECT_FAILURES({});
}

TEST_F(temperature, unit_without_a_value_says_so_behind_others_too)
{
    more().envmon(1).without("value");
    more();
    more().envmon(1).without("value");
    EXPECT_EQ(answer("temperature"), current_line + at(2, none) + at(3, current_line) + at(4, none));
    EXPECT_FAILURES({"Envmon node value unavailable for 2@1", "Fail to execute for PDU 2",
                     "Envmon node value unavailable for 4@1", "Fail to execute for PDU 4"});
    EXPECT_EQ(answer("temperature reset"), reset_line + at(2, none) + at(3, reset_line) + at(4, none));
}

TEST_F(temperature, unit_that_fails_otherwise_is_silent_behind_others)
{
    more().envmon(1).without("avg-value");
    more().envmon(1).serve("type", "humidity");
    more().envmon(1).refuse("info", "value-units");
    more().envmon(1).serve("max-value-units", "");
    EXPECT_EQ(answer("temperature"), current_line);
    EXPECT_FAILURES({"Envmon node avg-value unavailable for 2@1", "Fail to execute for PDU 2",
                     "Fail to execute for PDU 3", "Fail to get temperature for pdu 4@1", "Fail to execute for PDU 4",
                     "Fail to execute for PDU 5"});
}

TEST_F(temperature, first_unit_that_fails_has_the_sentence_and_the_second_none)
{
    sensor.serve("type", "smoke");
    more().envmon(1).serve("type", "smoke");
    more();
    EXPECT_EQ(answer("temperature"), none + at(3, current_line));
    EXPECT_EQ(answer("temperature reset"), none + at(3, reset_line));
}

TEST_F(temperature, lists_that_can_not_be_had_decline_the_line)
{
    tree.refuse("mlist", "power.port");
    for (command_handler handler : {cmd_temp, cmd_temp_reset}) {
        EXPECT_EQ(answer_from_tree(handler), declined);
        EXPECT_FAILURES({"Fail to retrieve list of Ports"});
    }
}

// --- Reset ----------------------------------------------------------------------------------------------------------

TEST_F(temperature, reset_writes_and_has_one_text_for_both_families)
{
    for (const char *model : {"128", "1"}) {
        unit.publish("model_nr", model);
        EXPECT_EQ(answer("temperature reset 1"), reset_line);
        EXPECT_EQ(last_result(), 0);
        EXPECT_EQ(failures_behind_locating(), texts{});
        EXPECT_EQ(exchanges_behind_locating(),
                  (texts{"mlist power.port.1.pdu.1.envmon.1", "info power.port.1.pdu.1.envmon.1.type",
                         "admin power.port.1.pdu.1.envmon.1.reset"}));
    }
}

TEST_F(temperature, reset_of_all_units_is_a_walk)
{
    more(1);
    EXPECT_EQ(answer("temperature reset"), reset_line + at(2, reset_line));
    EXPECT_EXCHANGES({"mlist power.port.1.pdu.1.envmon.1", "info power.port.1.pdu.1.envmon.1.type",
                      "admin power.port.1.pdu.1.envmon.1.reset", "mlist power.port.1.pdu.2.envmon.1",
                      "info power.port.1.pdu.2.envmon.1.type", "admin power.port.1.pdu.2.envmon.1.reset"});
}

TEST_F(temperature, reset_needs_only_a_value)
{
    for (const char *leaf : {"max-value", "min-value", "avg-value"})
        sensor.without(leaf);
    EXPECT_EQ(answer("temperature reset 1"), reset_line);
}

TEST_F(temperature, reset_without_a_value_touches_nothing)
{
    sensor.without("value");
    EXPECT_EQ(answer("temperature reset 1"), none);
    EXPECT_EQ(failures_behind_locating(), (texts{"Envmon node value unavailable for 1@1"}));
    EXPECT_EQ(exchanges_behind_locating(), (texts{"mlist power.port.1.pdu.1.envmon.1"}));
}

TEST_F(temperature, reset_of_a_sensor_of_another_type_touches_nothing)
{
    sensor.serve("type", "humidity");
    EXPECT_EQ(answer("temperature reset 1"), none);
    EXPECT_EQ(exchanges().back(), "info power.port.1.pdu.1.envmon.1.type");
    sensor.refuse("info", "type");
    EXPECT_EQ(answer("temperature reset 1"), none);
    EXPECT_EQ(failures_behind_locating(), (texts{"Fail to get sensor type for pdu 1@1"}));
    EXPECT_EQ(exchanges().back(), "info power.port.1.pdu.1.envmon.1.type");
}

TEST_F(temperature, refused_reset_is_logged_and_ends_in_the_sentence)
{
    tree.refuse("admin", sensor.path("reset"));
    EXPECT_EQ(answer("temperature reset 1"), none);
    EXPECT_EQ(failures_behind_locating(), (texts{"Fail to reset temperature for pdu 1@1"}));
}

// --- Arguments and failures -----------------------------------------------------------------------------------------

TEST_F(temperature, argument_that_is_no_unit_is_told)
{
    for (const char *line : {"temperature nobody", "temperature 0", "temperature 2", "temperature reset nobody",
                             "temperature reset 0", "temperature reset 2"})
        EXPECT_EQ(answer(line), no_such_ipdu) << line;
    for (const char *line : {"temperature 1 2", "temperature reset 1 2", "temperature 1 reset"})
        EXPECT_EQ(answer(line), failure_text) << line;
}

TEST_F(temperature, unit_is_found_by_its_id)
{
    more();
    EXPECT_EQ(answer("temperature unit2"), at(2, current_line));
    EXPECT_EQ(answer("temperature reset unit2"), at(2, reset_line));
    EXPECT_EQ(answer("temperature  1"), current_line);
}

TEST_F(temperature, debugging_shows_the_values)
{
    cli_debug = 1;
    answer("temperature 1");
    EXPECT_LOGGED("temperature of 1@1: 25.0\xF8"
                  "C, 31.5\xF8"
                  "C, 18.2\xF8"
                  "C, 22.1\xF8"
                  "C");
}

TEST_F(temperature, any_exchange_of_a_reading_may_fail)
{
    const texts located = {current_line, no_such_ipdu, no_such_ipdu};
    texts answers = located;
    answers.insert(answers.end(), 9, none);
    answers.push_back(current_line);
    expect_with_each_exchange_failing(answers, [] { return answer("temperature 1"); });

    texts from_tree = {current_line, no_such_ipdu + declined, no_such_ipdu + declined};
    from_tree.insert(from_tree.end(), 10, none + declined);
    from_tree.push_back(current_line);
    expect_with_each_exchange_failing(from_tree, [] { return answer_from_tree(cmd_temp_pdu, {"1"}); });

    unit.publish("model_nr", "1");
    expect_with_each_exchange_failing(
        {legacy_line, no_such_ipdu, no_such_ipdu, none, none, none, none, none, legacy_line},
        [] { return answer("temperature 1"); });
    expect_with_each_exchange_failing({none, none, none, none, none, legacy_line},
                                      [] { return answer("temperature"); });
}

TEST_F(temperature, any_exchange_of_a_reset_may_fail)
{
    expect_with_each_exchange_failing({reset_line, no_such_ipdu, no_such_ipdu, none, none, none, reset_line},
                                      [] { return answer("temperature reset 1"); });
    expect_with_each_exchange_failing({declined, declined, none, none, none, none, reset_line},
                                      [] { return answer_from_tree(cmd_temp_reset); });
}

TEST_F(temperature, any_allocation_may_fail)
{
    // Minimum and average are left out where there is no memory for them.
    const texts others = {failure_text, no_such_ipdu, none, legacy_line};
    for (const char *line : {"temperature", "temperature reset 1"})
        expect_with_each_allocation_failing(others, [&] { return answer(line); });
    const texts from_tree = {declined, no_such_ipdu, none, legacy_line};
    expect_with_each_allocation_failing(from_tree, [] { return answer_from_tree(cmd_temp_pdu, {"1"}); });
    expect_with_each_allocation_failing(from_tree, [] { return answer_from_tree(cmd_temp_reset); });
}

// A sentence that denies the sensor would be wrong then.
TEST_F(temperature, line_that_can_not_be_built_is_logged_and_no_failure)
{
    for (const char *line : {"temperature 1", "temperature reset 1"}) {
        heap.fail_at(0);
        answer(line);
        heap.fail_at(heap.count() - 1); // append_output takes two: the fragment and the text
        EXPECT_EQ(answer(line), "");
        EXPECT_EQ(last_result(), 0);
        heap.fail_at(0);
        EXPECT_EQ(failures_behind_locating().back(), line == std::string("temperature 1")
                                                         ? "Fail to printf pdu 1 temperature 25.0\xF8"
                                                           "C string"
                                                         : "Fail to printf pdu 1 reset temperature string");
    }
}

} // namespace

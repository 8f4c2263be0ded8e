// One meter: what it keeps of its readings, and the four levels that its current is held against.

#include <gtest/gtest.h>

#include <cmath>

#include "appliance/model/meter.h"

static reading drawing(double amperes, double volts, double power_factor)
{
    reading taken;
    taken[quantity::current] = amperes;
    taken[quantity::voltage] = volts;
    taken[quantity::power] = amperes * volts * power_factor;
    taken[quantity::power_factor] = power_factor;
    return taken;
}

// --- Statistics -----------------------------------------------------------------------------------------------------

TEST(meter, keeps_the_least_and_the_greatest_of_each_quantity)
{
    meter one;
    for (double amperes : {2.0, 1.0, 4.0, 3.0})
        take_reading(one, drawing(amperes, 230 - amperes, 0.9));
    EXPECT_EQ(one.now[quantity::current], 3);
    EXPECT_EQ(least(one, quantity::current), 1);
    EXPECT_EQ(greatest(one, quantity::current), 4);
    EXPECT_EQ(least(one, quantity::voltage), 226);
    EXPECT_EQ(greatest(one, quantity::voltage), 229);
}

TEST(meter, average_weighs_each_reading_by_how_long_it_stood)
{
    meter one;
    take_reading(one, drawing(1, 230, 1));
    let_pass(one, 30);
    take_reading(one, drawing(4, 230, 1));
    let_pass(one, 10);
    EXPECT_DOUBLE_EQ(average(one, quantity::current), (1 * 30 + 4 * 10) / 40.0);
}

TEST(meter, energy_is_power_over_time)
{
    meter one;
    take_reading(one, drawing(10, 200, 0.5)); // 1000 W
    let_pass(one, 1800);
    take_reading(one, drawing(10, 200, 1)); // 2000 W
    let_pass(one, 3600);
    EXPECT_DOUBLE_EQ(kilowatt_hours(one), 2.5);
}

TEST(meter, without_any_time_or_reading_shows_the_present_value)
{
    meter one;
    EXPECT_EQ(average(one, quantity::current), 0);
    EXPECT_EQ(least(one, quantity::power_factor), 0);
    take_reading(one, drawing(2, 230, 1));
    EXPECT_EQ(average(one, quantity::current), 2);
}

TEST(meter, power_factor_is_kept_only_where_current_flows)
{
    meter one;
    take_reading(one, drawing(0, 230, 0));
    let_pass(one, 1000);
    take_reading(one, drawing(1, 230, 0.8));
    let_pass(one, 10);
    EXPECT_EQ(least(one, quantity::power_factor), 0.8);
    EXPECT_DOUBLE_EQ(average(one, quantity::power_factor), 0.8);
    EXPECT_EQ(least(one, quantity::current), 0);
}

TEST(meter, reset_begins_one_quantity_anew_and_leaves_the_others)
{
    meter one;
    for (double amperes : {5.0, 1.0, 2.0}) {
        take_reading(one, drawing(amperes, 230, 0.9));
        let_pass(one, 10);
    }
    double joules = one.joules;
    reset_statistic(one, quantity::current);
    EXPECT_EQ(least(one, quantity::current), 2);
    EXPECT_EQ(greatest(one, quantity::current), 2);
    EXPECT_EQ(average(one, quantity::current), 2);
    EXPECT_DOUBLE_EQ(greatest(one, quantity::power), 5 * 230 * 0.9);
    EXPECT_EQ(one.joules, joules);
}

TEST(meter, reset_of_the_energy_starts_at_that_date_and_leaves_the_statistics)
{
    meter one;
    take_reading(one, drawing(5, 230, 1));
    let_pass(one, 10);
    reset_energy(one, 4711);
    EXPECT_EQ(kilowatt_hours(one), 0);
    EXPECT_EQ(one.counted_since, 4711);
    EXPECT_EQ(greatest(one, quantity::current), 5);
}

TEST(meter, kinds_of_value_have_words)
{
    certainty how = certainty::undefined;
    EXPECT_TRUE(find_certainty("ESTIMATED", &how));
    EXPECT_EQ(how, certainty::estimated);
    EXPECT_FALSE(find_certainty("estimated", &how));
    EXPECT_EQ(certainty_word(certainty::measured), "MEASURED");
    EXPECT_EQ(certainty_word(certainty::undefined), "UNDEFINED");
}

// --- Levels ---------------------------------------------------------------------------------------------------------

TEST(thresholds, default_to_what_the_node_can_carry_and_four_fifths)
{
    thresholds limits = default_thresholds(32);
    EXPECT_EQ(limits.tenths, (std::array{320, 256, 0, 0}));
    EXPECT_TRUE(are_sound(limits));
    EXPECT_TRUE(are_sound(default_thresholds(0)));
}

TEST(thresholds, level_is_kept_to_the_tenth)
{
    thresholds limits = default_thresholds(32);
    EXPECT_EQ(set_threshold(limits, level::high_critical, 30.06), result_done);
    EXPECT_EQ(limits.at(level::high_critical), 301);
}

TEST(thresholds, alarm_lies_between_one_ampere_and_what_the_node_can_carry)
{
    thresholds limits = default_thresholds(32);
    for (double amperes : {0.9, 0.0, -1.0, 32.1, 1e300, std::nan(""), HUGE_VAL})
        EXPECT_EQ(set_threshold(limits, level::high_critical, amperes), result_bad_value) << amperes;
    EXPECT_EQ(limits.at(level::high_critical), 320);
    EXPECT_EQ(set_threshold(limits, level::high_critical, 1), result_done);
    EXPECT_EQ(set_threshold(limits, level::high_critical, 32), result_done);
}

TEST(thresholds, other_levels_may_be_nothing)
{
    thresholds limits = default_thresholds(32);
    EXPECT_EQ(set_threshold(limits, level::high_warning, 0), result_done);
    EXPECT_EQ(set_threshold(limits, level::low_critical, -0.1), result_bad_value);
}

TEST(thresholds, no_level_rises_above_the_one_before_it)
{
    thresholds limits = {.tenths = {400, 300, 20, 10}, .most = 500};
    EXPECT_EQ(set_threshold(limits, level::high_warning, 40.1), result_bad_value);
    EXPECT_EQ(set_threshold(limits, level::low_warning, 30.1), result_bad_value);
    EXPECT_EQ(set_threshold(limits, level::low_critical, 2.1), result_bad_value);
    EXPECT_EQ(limits.tenths, (std::array{400, 300, 20, 10}));
    EXPECT_EQ(set_threshold(limits, level::low_critical, 2), result_done); // level with its neighbour
    EXPECT_EQ(limits.tenths, (std::array{400, 300, 20, 20}));
}

TEST(thresholds, level_takes_those_behind_it_down)
{
    thresholds limits = {.tenths = {400, 300, 20, 10}, .most = 500};
    EXPECT_EQ(set_threshold(limits, level::high_critical, 29.9), result_done);
    EXPECT_EQ(limits.tenths, (std::array{299, 299, 20, 10}));
    EXPECT_EQ(set_threshold(limits, level::high_critical, 1.5), result_done);
    EXPECT_EQ(limits.tenths, (std::array{15, 15, 15, 10}));
    EXPECT_EQ(set_threshold(limits, level::high_warning, 0), result_done);
    EXPECT_EQ(limits.tenths, (std::array{15, 0, 0, 0}));
}

TEST(thresholds, four_levels_in_order_can_be_set_one_after_another_from_any_four)
{
    const std::array<double, 4> fours[] = {{40, 30, 2, 1}, {10, 8, 0, 0}, {50, 50, 50, 50}, {1, 0, 0, 0}, {9, 9, 9, 9}};
    thresholds limits = default_thresholds(50);
    for (const std::array<double, 4> &four : fours)
        for (size_t i = 0; i < 4; i++)
            EXPECT_EQ(set_threshold(limits, static_cast<level>(i), four[i]), result_done) << four[0] << " " << i;
    EXPECT_EQ(limits.tenths, (std::array{90, 90, 90, 90}));
}

TEST(thresholds, current_stands_where_the_levels_put_it)
{
    thresholds limits = {.tenths = {400, 300, 20, 10}, .most = 500};
    const std::pair<double, std::string_view> places[] = {
        {40.0, "high critical"}, {39.96, "high critical"}, {39.9, "high warning"},
        {30.0, "high warning"},  {29.9, "normal"},         {2.0, "normal"},
        {1.9, "low warning"},    {1.0, "low warning"},     {0.9, "low critical"},
    };
    for (auto [amperes, word] : places)
        EXPECT_EQ(standing_word(standing_of(limits, amperes)), word) << amperes;
}

TEST(thresholds, level_of_nothing_is_never_reached)
{
    thresholds limits = {.tenths = {400, 0, 0, 0}, .most = 500};
    EXPECT_EQ(standing_of(limits, 0), standing::normal);
    EXPECT_EQ(standing_of(limits, 39), standing::normal);
}

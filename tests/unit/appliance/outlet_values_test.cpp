// The forms of values behind a path: numbers, seconds, lists of outlets.

#include <gtest/gtest.h>
#include <limits>

#include "appliance/morvd/values.h"

TEST(outlet_values, whole_number_has_nothing_around_it)
{
    EXPECT_EQ(read_whole("0"), 0);
    EXPECT_EQ(read_whole("60"), 60);
    EXPECT_EQ(read_whole("2147483647"), std::numeric_limits<int>::max());
    for (std::string_view text : {"", "-0", "-1", "+1", "1.0", " 1", "1 ", "abc", "2147483648", "0x1"})
        EXPECT_FALSE(read_whole(text)) << text;
}

TEST(outlet_values, seconds_are_told_in_their_smallest_units)
{
    EXPECT_EQ(read_seconds("0", 1), 0);
    EXPECT_EQ(read_seconds("2.5", 1), 25);
    EXPECT_EQ(read_seconds("2500.0", 1), 25000);
    EXPECT_EQ(read_seconds("3", 1), 30);
    EXPECT_EQ(read_seconds("1.25", 3), 1250);
}

TEST(outlet_values, seconds_have_digits_on_both_sides_of_their_dot_and_no_sign)
{
    for (std::string_view text : {"", ".", ".5", "2.", "2.55", "2..5", "2.5.", "-1", "-0.0", "+1", "1,5", "2.5s", "inf",
                                  "nan", "1e3", " 2", "2.-5", "999999999999"})
        EXPECT_FALSE(read_seconds(text, 1)) << text;
}

TEST(outlet_values, outlets_are_listed_with_commas)
{
    EXPECT_EQ(read_places("1.2.3"), (std::vector<place>{{1, 2, 3}}));
    EXPECT_EQ(read_places("1.2.3,1.1.12,2.1.1"), (std::vector<place>{{1, 2, 3}, {1, 1, 12}, {2, 1, 1}}));
    EXPECT_EQ(read_places(""), std::vector<place>{});
}

TEST(outlet_values, list_with_anything_else_in_it_is_none)
{
    for (std::string_view text : {",", "1.2.3,", ",1.2.3", "1.2.3,,1.2.4", "1.2", "1.2.3.4", "1.2.", "1..3", "0.1.1",
                                  "1.1.0", "-1.1.1", "01.1.1", "a.b.c", "1.2.3 ,1.2.4", "all", "1.2.99999999999"})
        EXPECT_FALSE(read_places(text)) << text;
}

// The machine that these tests were built for is the appliance's, and what the program relies on holds there.

#include <gtest/gtest.h>

#include <bit>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <sys/stat.h>

#include "core/render.h"
#include "core/shm_layout.h"
#include "core/utils.h"

TEST(word_size, machine_has_32_bits_and_the_highest_byte_first)
{
    EXPECT_EQ(std::endian::native, std::endian::big);
    EXPECT_EQ(sizeof(void *), 4U);
    EXPECT_EQ(sizeof(long), 4U);
    EXPECT_EQ(sizeof(size_t), 4U);
}

TEST(word_size, pointer_of_the_segment_is_a_pointer_of_the_machine)
{
    EXPECT_EQ(sizeof(shm_root::ports), sizeof(void *));
    EXPECT_EQ(alignof(shm_int64), 4U);
}

// A long holds no more than an int here, and strtol stops at its limits by itself.
TEST(word_size, number_beyond_a_long_stops_at_the_limits_of_an_int)
{
    EXPECT_EQ(decimal_value("2147483647"), INT_MAX);
    EXPECT_EQ(decimal_value("2147483648"), INT_MAX);
    EXPECT_EQ(decimal_value("-2147483649"), INT_MIN);
    EXPECT_EQ(decimal_value("99999999999999999999"), INT_MAX);
}

TEST(word_size, last_second_of_a_short_time_is_shown)
{
    setenv("TZ", "UTC", 1);
    tzset();
    char text[render_buffer_size];
    EXPECT_STREQ(date_str(text, INT32_MAX), "2038-01-19 03:14:07");
}

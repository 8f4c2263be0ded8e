// What the texts of the control tree become in the segment.

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <limits>

#include "appliance/ztd_ng/values.h"

TEST(ztd_values, scale_is_that_of_the_rendering)
{
    EXPECT_EQ(stored_value(shm_as_tenths, "12.5"), 125);
    EXPECT_EQ(stored_value(shm_as_hundredths, "0.98"), 98);
    EXPECT_EQ(stored_value(shm_as_energy, "1.000"), 36000000);
    EXPECT_EQ(stored_value(shm_as_energy, "0.001"), 36000);
    EXPECT_EQ(stored_interval("2.5"), 25);
}

TEST(ztd_values, value_is_rounded_to_the_nearest)
{
    EXPECT_EQ(stored_value(shm_as_tenths, "0.29"), 3);
    EXPECT_EQ(stored_value(shm_as_tenths, "-0.5"), -5);
    EXPECT_EQ(stored_value(shm_as_hundredths, "1.006"), 101);
    EXPECT_EQ(stored_value(shm_as_tenths, "230"), 2300);
}

TEST(ztd_values, text_that_is_no_number_has_no_value)
{
    for (const char *text : {"", " 1.0", "1.0 ", "1.0A", "nan", "inf", "0x10", "N/A", "1,5", "+1"}) {
        EXPECT_EQ(stored_value(shm_as_tenths, text), std::nullopt) << text;
        EXPECT_EQ(stored_value(shm_as_energy, text), std::nullopt) << text;
        EXPECT_EQ(stored_interval(text), std::nullopt) << text;
    }
}

TEST(ztd_values, number_outside_its_field_has_no_value)
{
    EXPECT_EQ(stored_value(shm_as_tenths, "214748364.7"), std::numeric_limits<int32_t>::max());
    EXPECT_EQ(stored_value(shm_as_tenths, "214748364.8"), std::nullopt);
    EXPECT_EQ(stored_value(shm_as_tenths, "-214748364.8"), std::numeric_limits<int32_t>::min());
    EXPECT_EQ(stored_value(shm_as_tenths, "-214748364.9"), std::nullopt);
    EXPECT_EQ(stored_value(shm_as_energy, "1e300"), std::nullopt);
    EXPECT_EQ(stored_value(shm_as_energy, "100000000000"), 3600000000000000000);
}

TEST(ztd_values, kind_is_known_in_any_case)
{
    EXPECT_EQ(stored_value(shm_as_kind, "UNDEFINED"), 0);
    EXPECT_EQ(stored_value(shm_as_kind, "ESTIMATED"), 1);
    EXPECT_EQ(stored_value(shm_as_kind, "measured"), 2);
    EXPECT_EQ(stored_value(shm_as_kind, "guessed"), std::nullopt);
}

TEST(ztd_values, only_tripped_is_tripped)
{
    EXPECT_EQ(stored_value(shm_as_tripped, "tripped"), 1);
    EXPECT_EQ(stored_value(shm_as_tripped, "not tripped"), 0);
    EXPECT_EQ(stored_value(shm_as_tripped, "Tripped"), 0);
}

TEST(ztd_values, fuse_states_have_their_codes)
{
    EXPECT_EQ(stored_value(shm_as_fuse, "N/A"), 0);
    EXPECT_EQ(stored_value(shm_as_fuse, "OK"), 1);
    EXPECT_EQ(stored_value(shm_as_fuse, "BLOWN"), 2);
    EXPECT_EQ(stored_value(shm_as_fuse, "hot"), std::nullopt);
}

TEST(ztd_values, time_is_seconds_or_local_time)
{
    tm local{};
    local.tm_year = 111;
    local.tm_mon = 6;
    local.tm_mday = 22;
    local.tm_hour = 13;
    local.tm_min = 17;
    local.tm_isdst = -1;
    EXPECT_EQ(stored_value(shm_as_time, "2011-07-22 13:17:00"), mktime(&local));
    EXPECT_EQ(stored_value(shm_as_time, "1311340620"), 1311340620);
    EXPECT_EQ(stored_value(shm_as_time, ""), 0);
}

TEST(ztd_values, text_that_is_no_time_has_no_value)
{
    for (const char *text : {"2011-07-22", "2011-07-22 13:17:00 UTC", "yesterday", "2147483648", "2111-07-22 13:17:00"})
        EXPECT_EQ(stored_value(shm_as_time, text), std::nullopt) << text;
}

TEST(ztd_values, status_word_gives_its_lowest_code)
{
    EXPECT_EQ(ctrl_status_code("OFF"), 1);
    EXPECT_EQ(ctrl_status_code("ON"), 2);
    EXPECT_EQ(ctrl_status_code("OFF(pend_ON)"), 7);
    EXPECT_EQ(ctrl_status_code("NOT_SET"), 13);
    EXPECT_EQ(ctrl_status_code("OFF(shutdown)"), 15);
    EXPECT_EQ(ctrl_status_code("UNDEFINED"), 0);
    EXPECT_EQ(ctrl_status_code("ON "), std::nullopt);
    EXPECT_EQ(mod_status_code(std::string("OFF(ocp)")), 9);
    EXPECT_EQ(mod_status_code(std::string("Comm error")), 11);
    EXPECT_EQ(mod_status_code(std::string("fine")), std::nullopt);
}

TEST(ztd_values, model_code_is_one_byte)
{
    EXPECT_EQ(stored_model("0"), 0);
    EXPECT_EQ(stored_model("143"), 143);
    EXPECT_EQ(stored_model("255"), 255);
    EXPECT_EQ(stored_model("256"), std::nullopt);
    EXPECT_EQ(stored_model("-1"), std::nullopt);
}

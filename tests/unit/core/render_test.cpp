// The fixed words in which numbers and states reach the user.

#include "core/render.h"

#include <clocale>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include <gtest/gtest.h>

#include "client/types.h"
#include "tests/fakes/fakes.h"

static std::string tenths(int value)
{
    char buffer[render_buffer_size];
    return tenths_str(buffer, value);
}

static std::string date(int64_t when)
{
    char buffer[render_buffer_size];
    return date_str(buffer, static_cast<time_t>(when));
}

static std::string sensor(const char *unit, const char *value)
{
    owned_text text;
    int made = sensor_value_str(unit, value, into(text));
    return made == 1 ? text.get() : "(no text)";
}

TEST(render, ctrl_status_has_a_word_for_each_of_its_fifteen_codes)
{
    const char *const words[] = {
        "OFF", "ON", "OFF(locked)", "ON(locked)", "OFF(cycle)", "OFF(pend_cycle)", "OFF(pend_ON)",  "ON(pend_OFF)",
        "OFF", "ON", "OFF",         "ON",         "NOT_SET",    "ON(fixed)",       "OFF(shutdown)",
    };
    for (int code = 1; code <= 15; code++)
        EXPECT_STREQ(ctrl_status_str(code), words[code - 1]) << code;
}

TEST(render, ctrl_status_outside_its_codes_is_undefined)
{
    EXPECT_STREQ(ctrl_status_str(0), "UNDEFINED");
    EXPECT_STREQ(ctrl_status_str(16), "UNDEFINED");
    EXPECT_STREQ(ctrl_status_str(-1), "UNDEFINED");
}

TEST(render, mod_status_has_a_word_for_each_of_its_eleven_codes)
{
    const char *const words[] = {
        "OFF",       "ON",       "OFF(error)", "ON(error)", "OFF(wait)",  "ON(wait)",
        "OFF(fuse)", "ON(fuse)", "OFF(ocp)",   "Reading",   "Comm error",
    };
    for (int code = 1; code <= 11; code++)
        EXPECT_STREQ(mod_status_str(code), words[code - 1]) << code;
}

TEST(render, mod_status_outside_its_codes_is_undefined)
{
    EXPECT_STREQ(mod_status_str(0), "UNDEFINED");
    EXPECT_STREQ(mod_status_str(12), "UNDEFINED");
}

TEST(render, tenths_keep_one_digit_and_the_sign)
{
    EXPECT_EQ(tenths(0), "0.0");
    EXPECT_EQ(tenths(25), "2.5");
    EXPECT_EQ(tenths(-5), "-0.5");
    EXPECT_EQ(tenths(INT32_MAX), "214748364.7");
    EXPECT_EQ(tenths(INT32_MIN), "-214748364.8");
}

TEST(render, date_of_time_zero_is_empty)
{
    EXPECT_EQ(date(0), "");
}

TEST(render, date_is_local_time)
{
    ASSERT_EQ(setenv("TZ", "XYZ-2", 1), 0);
    tzset();
    EXPECT_EQ(date(1311340620), "2011-07-22 15:17:00");
    ASSERT_EQ(setenv("TZ", "UTC", 1), 0);
    tzset();
    EXPECT_EQ(date(1311340620), "2011-07-22 13:17:00");
}

TEST(render, date_has_four_digits_of_the_year_at_least_and_two_of_all_else)
{
    ASSERT_EQ(setenv("TZ", "UTC", 1), 0);
    tzset();
    EXPECT_EQ(date(INT32_MIN), "1901-12-13 20:45:52");
    EXPECT_EQ(date(INT32_MAX), "2038-01-19 03:14:07");
}

TEST(render, year_of_a_date_has_as_many_digits_as_it_needs)
{
    if (sizeof(time_t) < sizeof(int64_t))
        GTEST_SKIP() << "a time has no such years on this machine";
    ASSERT_EQ(setenv("TZ", "UTC", 1), 0);
    tzset();
    EXPECT_EQ(date(-30610224000), "1000-01-01 00:00:00");
    EXPECT_EQ(date(-30610224001), "0999-12-31 23:59:59");
    EXPECT_EQ(date(-62198755200), "-001-01-01 00:00:00");
    EXPECT_EQ(date(253402300800), "10000-01-01 00:00:00");
    EXPECT_EQ(date(67768036191676799), "2147485547-12-31 23:59:59");
    EXPECT_EQ(date(INT64_MAX), "");
}

TEST(render, sensor_value_is_shown_in_its_own_unit_with_the_degree_byte)
{
    EXPECT_EQ(sensor("oF", "77.04"), "77.0\xf8"
                                     "F");
    EXPECT_EQ(sensor("oC", "-3.26"), "-3.3\xf8"
                                     "C");
    EXPECT_EQ(sensor("afu", "12"), "12.0afu");
    EXPECT_EQ(sensor("%", "45.5"), "45.5%");
}

TEST(render, kelvin_is_shown_as_celsius)
{
    EXPECT_EQ(sensor("K", "300"), "26.9\xf8"
                                  "C");
}

TEST(render, first_mark_in_the_list_decides_the_unit)
{
    EXPECT_EQ(sensor("oC or oF", "1"), "1.0\xf8"
                                       "F");
    EXPECT_EQ(sensor("K oC", "1"), "1.0\xf8"
                                   "C");
    EXPECT_EQ(sensor("%K", "273.15"), "0.0\xf8"
                                      "C");
    EXPECT_EQ(sensor("% afu", "1"), "1.0afu");
}

TEST(render, sensor_value_without_a_number_is_zero)
{
    EXPECT_EQ(sensor("%", "none"), "0.0%");
}

TEST(render, unknown_sensor_unit_gives_no_text)
{
    char *text = nullptr;
    EXPECT_EQ(sensor_value_str("V", "1", &text), 0);
    EXPECT_EQ(sensor_value_str("", "1", &text), 0);
    EXPECT_EQ(text, nullptr);
}

TEST(render, absent_sensor_argument_gives_no_text)
{
    char *text = nullptr;
    EXPECT_EQ(sensor_value_str(nullptr, "1", &text), 0);
    EXPECT_EQ(sensor_value_str("oC", nullptr, &text), 0);
    EXPECT_EQ(text, nullptr);
    EXPECT_EQ(sensor_value_str("oC", "1", nullptr), 0);
}

TEST(render, sensor_value_without_memory_gives_no_text)
{
    char *text = nullptr;
    heap.fail_at(1);
    EXPECT_EQ(sensor_value_str("oC", "1", &text), 0);
    EXPECT_TRUE(heap.failed());
    EXPECT_EQ(text, nullptr);
}

TEST(new_text, is_what_printf_prints_whatever_its_length)
{
    for (size_t length : {0U, 1U, 511U, 512U, 513U, 100000U}) {
        const std::string word(length, 'x');
        EXPECT_EQ(new_text("%s", word.c_str()).get(), word);
        EXPECT_EQ(new_text("%d: %s.", 7, word.c_str()).get(), "7: " + word + ".");
    }
}

TEST(new_text, without_memory_is_missing)
{
    const std::string word(1000, 'x');
    for (const char *text : {"short", word.c_str()}) {
        heap.fail_at(1);
        EXPECT_EQ(new_text("%s", text).get(), nullptr);
        EXPECT_TRUE(heap.failed());
    }
    heap.fail_at(0);
}

TEST(joined_text, is_its_parts_one_behind_the_other)
{
    EXPECT_STREQ(joined_text({"for phase ", "X", ""}).get(), "for phase X");
    EXPECT_STREQ(joined_text({}).get(), "");
}

TEST(joined_text, without_memory_is_missing)
{
    heap.fail_at(1);
    EXPECT_EQ(joined_text({"X"}).get(), nullptr);
    heap.fail_at(0);
}

TEST(number_text, is_the_number_in_decimal)
{
    EXPECT_STREQ(number_text(0).get(), "0");
    EXPECT_STREQ(number_text(128).get(), "128");
    EXPECT_STREQ(number_text(INT32_MAX).get(), "2147483647");
    EXPECT_STREQ(number_text(INT32_MIN).get(), "-2147483648");
}

TEST(new_text, text_that_the_library_cannot_make_is_absent)
{
    const std::string before = setlocale(LC_CTYPE, nullptr); // a prompt may have set the user's
    setlocale(LC_CTYPE, "C");
    EXPECT_FALSE(new_text("%ls", L"\u20ac")); // which has no such character
    setlocale(LC_CTYPE, before.c_str());
}

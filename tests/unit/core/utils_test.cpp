// What the commands share: locating a unit, the tail of a failed body, and lists of numbers.

#include "core/utils.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "client/types.h"
#include "tests/fakes/fakes.h"

using numbers = std::vector<int>;

// --- decimal_value -------------------------------------------------------------------------------------------------

TEST(decimal_value, is_the_number_that_a_text_begins_with)
{
    EXPECT_EQ(decimal_value("12"), 12);
    EXPECT_EQ(decimal_value(" 7x"), 7);
    EXPECT_EQ(decimal_value("-3"), -3);
    EXPECT_EQ(decimal_value("rack"), 0);
    EXPECT_EQ(decimal_value(""), 0);
}

TEST(decimal_value, stays_in_the_range_of_int)
{
    EXPECT_EQ(decimal_value("4294967297"), INT_MAX);
    EXPECT_EQ(decimal_value("99999999999999999999"), INT_MAX);
    EXPECT_EQ(decimal_value("-4294967297"), INT_MIN);
}

// --- real_value ----------------------------------------------------------------------------------------------------

// Answers as strtod does: value, sign of a zero, place of the end and `errno`, which a success leaves alone.
static void expect_as_strtod(const std::string &text)
{
    char *end = nullptr, *known_end = nullptr;
    errno = ENOENT;
    const double known = strtod(text.c_str(), &known_end);
    const int known_errno = errno;
    errno = ENOENT;
    const double value = real_value(text.c_str(), &end);
    EXPECT_EQ(errno, known_errno) << text;
    EXPECT_EQ(memcmp(&value, &known, sizeof value), 0) << text << ": " << value << ", not " << known;
    EXPECT_EQ(end, known_end) << text;
}

TEST(real_value, short_decimals_are_what_strtod_answers)
{
    for (int hundredths = -20000; hundredths <= 20000; hundredths++) {
        char text[16];
        snprintf(text, sizeof text, "%.2f", hundredths / 100.0);
        expect_as_strtod(text);
        snprintf(text, sizeof text, "%.1f", hundredths / 10.0);
        expect_as_strtod(text);
    }
}

TEST(real_value, longest_decimals_of_the_quick_way_are_what_strtod_answers)
{
    for (const char *text : {"999999999999999", "9.99999999999999", ".999999999999999", "0.00000000000001",
                             "123456789012345", "-12345678901.2345", "000000000000001", "214748364.7"})
        expect_as_strtod(text);
}

TEST(real_value, all_other_texts_are_what_strtod_answers)
{
    for (const char *text : {"",
                             "-",
                             ".",
                             "-.",
                             "x",
                             "1x",
                             "1.2.3",
                             "--1",
                             "+1.5",
                             " 1.5",
                             "1.5 ",
                             "-0",
                             "-0.0",
                             "0",
                             "1.",
                             ".5",
                             "-.5",
                             "1e3",
                             "1.5e-",
                             "0x10",
                             "inf",
                             "nan",
                             "1e999",
                             "1e-999",
                             "1,5",
                             "1..2",
                             "-.",
                             "9999999999999999",
                             "0.1234567890123456",
                             "123456789012345678901234",
                             "9007199254740993.0000000000000000000001"})
        expect_as_strtod(text);
}

// --- locate_pdu ----------------------------------------------------------------------------------------------------

struct located {
    int result;
    unit at;
    std::string text; // what was added
};

static located locate(const char *text, const char *log_word = "display")
{
    unit at = {-7, -7};
    char *out = nullptr;
    int result = locate_pdu(text, &at, &out, log_word);
    owned_text owner(out);
    return {result, at, out ? out : ""};
}

static void expect_located(const char *text, int port, int pdu)
{
    located found = locate(text);
    EXPECT_EQ(found.result, 0) << text;
    EXPECT_EQ(found.at.port, port) << text;
    EXPECT_EQ(found.at.pdu, pdu) << text;
    EXPECT_EQ(found.text, "") << text;
}

static void expect_no_such(const char *text)
{
    located found = locate(text);
    EXPECT_EQ(found.result, 1) << text;
    EXPECT_EQ(found.at.port, -7) << text;
    EXPECT_EQ(found.text, no_such_ipdu) << text;
}

TEST(locate_pdu, unit_is_found_by_number)
{
    fake_chain chain;
    chain.unit(), chain.unit();
    expect_located("2", 1, 2);
    EXPECT_EXCHANGES({"info power.pdu.2.pdu", "info power.num-devices", "info power.port.1.num-pdus"});
}

TEST(locate_pdu, unit_is_found_by_id)
{
    fake_chain chain;
    chain.unit(), chain.unit({.id = "rack1"});
    expect_located("rack1", 1, 2);
    EXPECT_EXCHANGES({"info power.num-devices", "info power.port.1.num-pdus"});
}

TEST(locate_pdu, id_of_digits_wins_over_the_number)
{
    fake_chain chain;
    chain.unit({.id = "3"});
    chain.unit(), chain.unit();
    expect_located("3", 1, 1);
}

TEST(locate_pdu, number_typed_is_handed_on_beside_the_port_found_for_it)
{
    fake_chain chain;
    chain.unit(), chain.unit();
    chain.next_port();
    chain.unit();
    expect_located("3", 2, 3);
}

TEST(locate_pdu, unknown_id_that_is_no_number_is_no_unit)
{
    fake_chain chain;
    chain.unit();
    expect_no_such("nobody");
    EXPECT_EXCHANGES({"info power.pdu.nobody.pdu"});
}

TEST(locate_pdu, number_0_is_no_unit)
{
    fake_chain chain;
    chain.unit();
    expect_no_such("0");
    EXPECT_EXCHANGES({"info power.pdu.0.pdu"});
}

TEST(locate_pdu, negative_number_is_no_unit)
{
    fake_chain chain;
    chain.unit();
    expect_no_such("-1");
}

TEST(locate_pdu, number_beyond_the_last_unit_is_no_unit)
{
    fake_chain chain;
    chain.unit();
    expect_no_such("2");
}

TEST(locate_pdu, leading_digits_are_enough)
{
    fake_chain chain;
    chain.unit();
    expect_located("1st", 1, 1);
}

TEST(locate_pdu, refused_counts_are_no_unit)
{
    fake_chain chain;
    chain.unit();
    tree.refuse("info", "power.num-devices");
    expect_no_such("1");
}

TEST(locate_pdu, answer_that_cannot_be_added_is_logged_with_the_number)
{
    cli_own_name = 0;
    for (const char *word : {"display", "coldstart"}) {
        forget();
        int failed = each_failing_allocation([&](int) {
            char *out = nullptr;
            unit at;
            EXPECT_EQ(locate_pdu("-5", &at, &out, word), 1);
            EXPECT_TRUE(!out || out == std::string(no_such_ipdu));
            owned_text owner(out);
        });
        EXPECT_GT(failed, 0);
        EXPECT_LOGGED(std::string("Fail to printf pdu -5 ") + word + " invalid PDU");
    }
}

// --- failure_tail --------------------------------------------------------------------------------------------------

static int row_with(const char *error_format)
{
    for (int row = 0; row < command_row_count; row++) {
        const char *found = command_table[row].error_format;
        if (error_format ? found && strcmp(found, error_format) == 0 : !found)
            return row;
    }
    ADD_FAILURE() << "no row with that error format";
    return 0;
}

static std::string tail(int result, const char *error_format, const char *written = nullptr)
{
    char *out = written ? strdup(written) : nullptr;
    EXPECT_EQ(failure_tail(result, row_with(error_format), &out), result);
    std::string text = out ? out : "(nothing)";
    free(out);
    return text;
}

TEST(failure_tail, failed_body_without_a_word_gets_the_rows)
{
    EXPECT_EQ(tail(1, "Command failed.\n"), "Command failed.\n");
    EXPECT_EQ(tail(-15, "Command failed.\n"), "Command failed.\n");
}

TEST(failure_tail, body_that_did_well_gets_nothing)
{
    EXPECT_EQ(tail(0, "Command failed.\n"), "(nothing)");
}

TEST(failure_tail, body_that_wrote_something_keeps_it_alone)
{
    EXPECT_EQ(tail(1, "Command failed.\n", "IPDU 2: Unsupported command.\n"), "IPDU 2: Unsupported command.\n");
    EXPECT_EQ(tail(1, "Command failed.\n", ""), "");
}

TEST(failure_tail, row_without_a_word_stays_silent)
{
    EXPECT_EQ(tail(1, nullptr), "(nothing)");
}

TEST(failure_tail, word_that_needs_values_is_left_to_the_handler)
{
    EXPECT_EQ(tail(1, "%d: Outlet could not be turned on.\n"), "(nothing)");
}

// The same with a tail that takes the unit's number.
static std::string unit_tail(int result, const char *error_format, const char *before = nullptr)
{
    char *out = before ? strdup(before) : nullptr;
    EXPECT_EQ(failure_tail_of_unit(result, row_with(error_format), &out, 3), result);
    std::string text = out ? out : "(nothing)";
    free(out);
    return text;
}

static constexpr char unit_error[] = "IPDU #%d does not have temperature sensor.\n";

TEST(failure_tail_of_unit, failed_body_without_a_word_gets_the_rows_with_the_number)
{
    EXPECT_EQ(unit_tail(1, unit_error), "IPDU #3 does not have temperature sensor.\n");
    EXPECT_EQ(unit_tail(0, unit_error), "(nothing)");
    EXPECT_EQ(unit_tail(1, unit_error, "before"), "before");
    EXPECT_EQ(unit_tail(1, unit_error, ""), "");
    EXPECT_EQ(unit_tail(1, nullptr), "(nothing)");
}

TEST(failure_tail_of_unit, error_can_be_added_behind_a_text)
{
    char *out = strdup("before\n");
    append_error_of_unit(row_with(unit_error), &out, 3);
    EXPECT_STREQ(out, "before\nIPDU #3 does not have temperature sensor.\n");
    append_error_of_unit(row_with(nullptr), &out, 3);
    EXPECT_STREQ(out, "before\nIPDU #3 does not have temperature sensor.\n");
    free(out);
}

// --- in_capitals ---------------------------------------------------------------------------------------------------

TEST(in_capitals, without_memory_there_is_no_copy)
{
    heap.fail_at(1);
    EXPECT_FALSE(in_capitals("on"));
}

TEST(in_capitals, each_byte_for_itself)
{
    EXPECT_STREQ(in_capitals("on").get(), "ON");
    EXPECT_STREQ(in_capitals("Half-on 3%").get(), "HALF-ON 3%");
    EXPECT_STREQ(in_capitals("\xE4\xF8").get(), "\xE4\xF8");
    EXPECT_STREQ(in_capitals("").get(), "");
    heap.fail_at(1);
    EXPECT_FALSE(in_capitals("on"));
}

// --- parse_int_list ------------------------------------------------------------------------------------------------

// The result, and the numbers in front of the terminator.
static std::pair<int, numbers> parsed(const char *text, int capacity = 16)
{
    std::vector<int> array(static_cast<size_t>(capacity), -77);
    int result = parse_int_list(text, array.data(), capacity);
    auto end = std::ranges::find(array, -1);
    EXPECT_NE(end, array.end()) << text;
    return {result, {array.begin(), end}};
}

static std::pair<int, numbers> good(numbers list)
{
    return {0, list};
}

TEST(parse_int_list, numbers_and_ranges_come_sorted)
{
    EXPECT_EQ(parsed("3,1-2"), good({1, 2, 3}));
    EXPECT_EQ(parsed("7"), good({7}));
    EXPECT_EQ(parsed("0-2"), good({0, 1, 2}));
}

TEST(parse_int_list, duplicates_are_kept)
{
    EXPECT_EQ(parsed("2,1-3,2"), good({1, 2, 2, 2, 3}));
}

TEST(parse_int_list, range_that_ends_below_its_start_is_minus_1)
{
    EXPECT_EQ(parsed("5-2"), std::pair(-1, numbers{}));
    EXPECT_EQ(parsed("3--5"), std::pair(-1, numbers{}));
}

TEST(parse_int_list, negative_start_is_minus_2)
{
    EXPECT_EQ(parsed("-3"), std::pair(-2, numbers{}));
    EXPECT_EQ(parsed("-3-5"), std::pair(-2, numbers{}));
}

TEST(parse_int_list, fault_ends_behind_the_numbers_so_far)
{
    EXPECT_EQ(parsed("9,4,5-2,1"), std::pair(-1, numbers{9, 4}));
    EXPECT_EQ(parsed("9,-1,4"), std::pair(-2, numbers{9}));
}

TEST(parse_int_list, numbers_beyond_the_capacity_are_dropped_in_silence)
{
    EXPECT_EQ(parsed("1-20"), good({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15}));
    EXPECT_EQ(parsed("1", 1), good({}));
    EXPECT_EQ(parsed("0-2147483647", 3), good({0, 1}));
    EXPECT_EQ(parsed("2147483647", 3), good({INT_MAX}));
}

TEST(parse_int_list, number_beyond_32_bits_is_no_other_number)
{
    EXPECT_EQ(parsed("4294967297"), good({INT_MAX}));
    EXPECT_EQ(parsed("4294967297-4294967298"), good({INT_MAX}));
    EXPECT_EQ(parsed("-4294967295"), std::pair(-2, numbers{}));
}

TEST(parse_int_list, token_behind_a_full_list_is_still_read)
{
    EXPECT_EQ(parsed("1-20,5-2").first, -1);
}

TEST(parse_int_list, empty_tokens_do_not_exist)
{
    EXPECT_EQ(parsed(""), good({}));
    EXPECT_EQ(parsed(",,,"), good({}));
    EXPECT_EQ(parsed(",2,,1,"), good({1, 2}));
}

TEST(parse_int_list, token_without_a_number_is_an_empty_range)
{
    EXPECT_EQ(parsed("abc"), good({}));
    EXPECT_EQ(parsed("4,abc,2"), good({2, 4}));
    EXPECT_EQ(parsed("-"), good({}));
}

TEST(parse_int_list, range_without_an_end_is_one_number)
{
    EXPECT_EQ(parsed("3-"), good({3}));
    EXPECT_EQ(parsed("3-,5"), good({3, 5}));
    EXPECT_EQ(parsed("3x,5"), good({3, 5}));
}

// --- print_int_range, print_int_list -------------------------------------------------------------------------------

static std::pair<int, std::string> printed_range(size_t size, int first, int last, const char *before = "")
{
    std::vector<char> buffer(std::max(size, strlen(before) + 1) + 8, '#');
    memcpy(buffer.data(), before, strlen(before) + 1);
    int result = print_int_range(buffer.data(), size, first, last);
    EXPECT_EQ(buffer.back(), '#');
    return {result, buffer.data()};
}

TEST(print_int_range, appends_one_number_or_a_range)
{
    EXPECT_EQ(printed_range(32, 7, 7), std::pair(0, std::string("7")));
    EXPECT_EQ(printed_range(32, 1, 3), std::pair(0, std::string("1-3")));
    EXPECT_EQ(printed_range(32, 1, 3, "9,"), std::pair(0, std::string("9,1-3")));
    EXPECT_EQ(printed_range(32, 0, INT_MAX), std::pair(0, std::string("0-2147483647")));
}

TEST(print_int_range, last_below_first_is_minus_1)
{
    EXPECT_EQ(printed_range(32, 3, 1), std::pair(-1, std::string()));
    EXPECT_EQ(printed_range(32, -1, -2), std::pair(-1, std::string()));
}

TEST(print_int_range, negative_first_is_minus_2)
{
    EXPECT_EQ(printed_range(32, -1, -1), std::pair(-2, std::string()));
    EXPECT_EQ(printed_range(32, -1, 4), std::pair(-2, std::string()));
}

TEST(print_int_range, number_that_reaches_the_last_place_but_one_is_minus_3)
{
    EXPECT_EQ(printed_range(3, 7, 7), std::pair(0, std::string("7")));
    EXPECT_EQ(printed_range(2, 7, 7), std::pair(-3, std::string()));
    EXPECT_EQ(printed_range(5, 7, 7, "1,2"), std::pair(-3, std::string("1,2")));
    EXPECT_EQ(printed_range(0, 7, 7), std::pair(-3, std::string()));
}

TEST(print_int_range, range_that_reaches_the_last_place_but_one_is_minus_4)
{
    EXPECT_EQ(printed_range(5, 1, 3), std::pair(0, std::string("1-3")));
    EXPECT_EQ(printed_range(4, 1, 3), std::pair(-4, std::string()));
}

static std::pair<int, std::string> printed_list(const numbers &list, size_t size = 32)
{
    std::string buffer = "old text that goes" + std::string(64, '#');
    int result = print_int_list(buffer.data(), size, list.data(), static_cast<int>(list.size()));
    return {result, buffer.c_str()};
}

TEST(print_int_list, runs_are_joined_to_ranges)
{
    EXPECT_EQ(printed_list({1, 2, 3, 7, -1}), std::pair(0, std::string("1-3,7")));
    EXPECT_EQ(printed_list({1, 2, 3, 7}), std::pair(0, std::string("1-3,7")));
    EXPECT_EQ(printed_list({5}), std::pair(0, std::string("5")));
    EXPECT_EQ(printed_list({1, 3, 4, 9, -1, 10}), std::pair(0, std::string("1,3-4,9")));
}

TEST(print_int_list, empty_list_is_an_empty_text)
{
    EXPECT_EQ(printed_list({}), std::pair(0, std::string()));
    EXPECT_EQ(printed_list({-1, 4}), std::pair(0, std::string()));
}

TEST(print_int_list, equal_numbers_are_runs_of_their_own)
{
    EXPECT_EQ(printed_list({2, 2, 3}), std::pair(0, std::string("2,2-3")));
}

TEST(print_int_list, first_run_that_does_not_fit_ends_the_list)
{
    EXPECT_EQ(printed_list({1, 3, 5}, 6), std::pair(-3, std::string("1,3,")));
    EXPECT_EQ(printed_list({1, 3, 4}, 6), std::pair(-4, std::string("1,")));
    EXPECT_EQ(printed_list({1, 3}, 4), std::pair(-3, std::string("1,")));
}

// --- remove_int_from_list ------------------------------------------------------------------------------------------

TEST(remove_int_from_list, first_occurrence_goes_and_the_rest_moves_up)
{
    numbers list = {1, 2, 2, 3, -1};
    EXPECT_EQ(remove_int_from_list(list.data(), 5, 2), 1);
    list.resize(4);
    EXPECT_EQ(list, (numbers{1, 2, 3, -1}));
}

TEST(remove_int_from_list, last_place_can_go)
{
    numbers list = {4, 5};
    EXPECT_EQ(remove_int_from_list(list.data(), 2, 5), 1);
    EXPECT_EQ(list[0], 4);
}

TEST(remove_int_from_list, absent_number_changes_nothing)
{
    numbers list = {1, 2, -1, 9};
    EXPECT_EQ(remove_int_from_list(list.data(), 4, 9), 0) << "behind the end";
    EXPECT_EQ(remove_int_from_list(list.data(), 4, 3), 0);
    EXPECT_EQ(list, (numbers{1, 2, -1, 9}));
}

TEST(remove_int_from_list, list_that_fills_its_array_is_searched_to_the_end_of_it)
{
    int list[] = {3, 5};
    EXPECT_EQ(remove_int_from_list(list, 2, 9), 0);
    EXPECT_EQ(list[0], 3);
    EXPECT_EQ(list[1], 5);
}

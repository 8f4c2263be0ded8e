// Lists of numbers as ranges: "CAPACITY SIZE TEXT" is read into so many places and written into so many bytes.

#include <algorithm>
#include <climits>
#include <cstring>
#include <memory>

#include "core/utils.h"
#include "tests/fuzz/fuzz.h"

static int bounded_number(const char **at, int least, int most)
{
    char *end;
    const long number = strtol(*at, &end, 10);
    *at = end + (*end == ' ');
    return static_cast<int>(std::clamp<long>(number, least, most));
}

// Of its exact size, so that one place beyond it is seen.
using numbers = std::unique_ptr<int[]>;

static int read_list(const char *text, const numbers &array, int capacity)
{
    std::fill_n(array.get(), capacity, INT_MIN);
    const int result = parse_int_list(text, array.get(), capacity);
    must(result == 0 || result == -1 || result == -2, "a list is read, or a range ends or starts wrongly");
    const int *end = std::find_if(array.get(), array.get() + capacity, [](int number) { return number < 0; });
    must(end < array.get() + capacity && *end == -1, "-1 stands behind the numbers", text);
    must(result != 0 || std::is_sorted(array.get(), const_cast<int *>(end)), "they are sorted", text);
    return result;
}

static int count_of(const numbers &array)
{
    const int *at = array.get();
    while (*at >= 0)
        at++;
    return static_cast<int>(at - array.get());
}

// A number by itself is read as it stands, or as the largest there is.
static void check_number(const std::string &text, int first)
{
    if (text.empty() || text.find_first_not_of("0123456789") != text.npos)
        return;
    must(first == std::min<long>(strtol(text.c_str(), nullptr, 10), INT_MAX), "a number is no other number", text);
}

static void check_removal(const numbers &array, int capacity)
{
    const int count = count_of(array);
    const int value = count ? array.get()[count / 2] : 7;
    must(remove_int_from_list(array.get(), capacity, value) == (count ? 1 : 0), "what is there is removed");
    must(count_of(array) == count - (count ? 1 : 0), "one is gone");
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string input = c_text(input_text(data, size));
    const char *text = input.c_str();
    const int capacity = bounded_number(&text, 1, 300);
    const int room = bounded_number(&text, 1, 2000);

    const numbers array(new int[static_cast<size_t>(capacity)]);
    if (read_list(text, array, capacity) != 0)
        return 0;
    if (capacity > 1)
        check_number(text, array.get()[0]);
    const std::unique_ptr<char[]> written(new char[static_cast<size_t>(room)]);
    const int result = print_int_list(written.get(), static_cast<size_t>(room), array.get(), capacity);
    must(strlen(written.get()) < static_cast<size_t>(room), "the text ends in its buffer");
    must(result == 0 || result == -3 || result == -4, "a list that was read is written, or does not fit", text);
    if (result == 0) {
        const numbers again(new int[static_cast<size_t>(capacity)]);
        must(read_list(written.get(), again, capacity) == 0, "what was written can be read", written.get());
        must(std::equal(array.get(), array.get() + count_of(array) + 1, again.get()), "and is the same", written.get());
    }
    check_removal(array, capacity);
    return 0;
}

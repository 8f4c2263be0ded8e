// What the commands share: locating a unit, the tail of a failed body, capitals, and lists of numbers as ranges.

#include "core/utils.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <limits>

#include "core/identifiers.h"
#include "core/log.h"
#include "shell/cli.h"

int saturated(long value)
{
    return static_cast<int>(std::clamp<long>(value, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

// --- Units and failures --------------------------------------------------------------------------------------------

int decimal_value(const char *text)
{
    return saturated(strtol(text, nullptr, 10)); // as `atoi`
}

double real_value(const char *text, char **end)
{
    static constexpr double powers[] = {1,   1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                        1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
    static constexpr ptrdiff_t most_digits = std::size(powers) - 1;
    const bool negative = *text == '-';
    const char *at = text + negative;
    const char *point = nullptr;
    int64_t digits = 0;
    ptrdiff_t count = 0;
    for (; count <= most_digits; at++) {
        if (*at >= '0' && *at <= '9') {
            digits = digits * 10 + (*at - '0');
            count++;
        } else if (*at == '.' && !point) {
            point = at;
        } else {
            break;
        }
    }
    if (*at || count == 0 || count > most_digits)
        return strtod(text, end);
    *end = const_cast<char *>(at);
    // Both numbers are exact, so that the one division rounds to what strtod answers.
    const double value = static_cast<double>(digits) / powers[point ? at - point - 1 : 0];
    return negative ? -value : value;
}

int locate_pdu_number(int pdu, unit *at, char **out, const char *log_word)
{
    int port = pdu > 0 ? pdu2port(pdu) : -1;
    if (port >= 0) {
        *at = {port, pdu};
        return 0;
    }
    if (append_output(out, "No such IPDU. Type help for details\n"))
        log_failure("Fail to printf pdu %d %s invalid PDU", pdu, log_word);
    return 1;
}

int locate_pdu(const char *text, unit *at, char **out, const char *log_word)
{
    int pdu = pduid2pdu(text);
    return locate_pdu_number(pdu < 0 ? decimal_value(text) : pdu, at, out, log_word);
}

int one_located_pdu(int row, char **out, const char *text, pdu_callback callback, int rest)
{
    unit at;
    if (locate_pdu(text, &at, out))
        return 1;
    return one_pdu(row, out, at.port, at.pdu, callback, rest);
}

int failure_tail(int result, int row, char **out)
{
    const char *text = command_table[row].error_format;
    if (result != 0 && !*out && text && !strchr(text, '%'))
        append_output(out, "%s", text);
    return result;
}

void append_error_of_unit(int row, char **out, int pdu)
{
    if (const char *format = command_table[row].error_format)
        append_output(out, format, pdu);
}

int failure_tail_of_unit(int result, int row, char **out, int pdu)
{
    if (result != 0 && !*out)
        append_error_of_unit(row, out, pdu);
    return result;
}

owned_text in_capitals(const char *text)
{
    owned_text copy(strdup(text));
    for (char *at = copy.get(); at && *at; at++)
        *at = static_cast<char>(toupper(static_cast<unsigned char>(*at)));
    return copy;
}

// --- Lists of numbers ----------------------------------------------------------------------------------------------

static int int_cmp(const void *left, const void *right)
{
    int a = *static_cast<const int *>(left);
    int b = *static_cast<const int *>(right);
    return (a > b) - (a < b);
}

static const char *behind_comma(const char *text)
{
    text += strcspn(text, ",");
    return *text ? text + 1 : text;
}

int parse_int_list(const char *text, int *array, int capacity)
{
    int count = 0;
    int result = 0;
    for (const char *token = text; result == 0 && *token; token = behind_comma(token)) {
        // Neither a number nor a dash takes a comma, so that a token needs no copy of its own. Scanned as long, one
        // beyond 32 bits does not come back as another unit.
        long first, last;
        int fields = sscanf(token, "%ld-%ld", &first, &last);
        if (fields < 1)
            continue;
        if (fields == 1)
            last = first;
        if (last < first)
            result = -1;
        else if (first < 0)
            result = -2;
        else
            for (int64_t value = saturated(first); value <= saturated(last) && count < capacity - 1; value++)
                array[count++] = static_cast<int>(value);
    }
    array[count] = -1;
    if (result == 0)
        qsort(array, static_cast<size_t>(count), sizeof *array, int_cmp);
    return result;
}

int print_int_range(char *buffer, size_t size, int first, int last)
{
    if (last < first)
        return -1;
    if (first < 0)
        return -2;
    char range[sizeof "2147483647-2147483647"];
    bool single = first == last;
    int length =
        single ? snprintf(range, sizeof range, "%d", first) : snprintf(range, sizeof range, "%d-%d", first, last);
    size_t used = strlen(buffer);
    if (used + static_cast<size_t>(length) + 1 >= size)
        return single ? -3 : -4;
    memcpy(buffer + used, range, static_cast<size_t>(length) + 1);
    return 0;
}

int print_int_list(char *buffer, size_t size, const int *array, int count)
{
    buffer[0] = '\0';
    for (int i = 0; i < count && array[i] >= 0; i++) {
        int first = array[i];
        while (i + 1 < count && array[i + 1] > array[i] && array[i + 1] - array[i] == 1)
            i++;
        if (int result = print_int_range(buffer, size, first, array[i]))
            return result;
        if (i + 1 < count && array[i + 1] >= 0)
            memcpy(buffer + strlen(buffer), ",", sizeof ",");
    }
    return 0;
}

int remove_int_from_list(int *array, int count, int value)
{
    for (int i = 0; i < count && array[i] >= 0; i++) {
        if (array[i] != value)
            continue;
        memmove(array + i, array + i + 1, static_cast<size_t>(count - i - 1) * sizeof *array);
        return 1;
    }
    return 0;
}

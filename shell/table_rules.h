// The rules of the command table, read when it compiles: a table that breaks one does not build. They make two calls
// with formats that are no literals safe, the sscanf of the dispatcher and append_output in the handlers.
#pragma once

#include <algorithm>
#include <span>
#include <string_view>

#include "shell/command_table.h"

namespace table_rules {

// One conversion of a pattern or a format, behind its '%'.
struct conversion {
    int width = 0; // 0: none is given
    bool is_long = false;
    char letter = '\0';
};

constexpr bool is_digit(char c)
{
    return c >= '0' && c <= '9';
}

// Steps over what stands in front of the next conversion, its '%' included. False where there is none.
constexpr bool find_conversion(std::string_view &rest)
{
    const size_t at = rest.find('%');
    rest.remove_prefix(at == rest.npos ? rest.size() : at + 1);
    return at != rest.npos;
}

// Takes the next conversion off a sscanf pattern. A set's letter is '[', an unfinished one has none.
constexpr conversion take_scan(std::string_view &rest)
{
    conversion found;
    for (; !rest.empty() && is_digit(rest[0]); rest.remove_prefix(1))
        found.width = found.width * 10 + (rest[0] - '0');
    if (!rest.empty() && rest[0] == 'l') {
        found.is_long = true;
        rest.remove_prefix(1);
    }
    if (rest.empty())
        return found;
    found.letter = rest[0];
    // The first character of a set belongs to it, a closing bracket too; there is one more behind a '^'.
    const size_t set = rest.starts_with("[^") ? 3 : 2;
    const size_t end = found.letter == '[' ? rest.find(']', set) : 0;
    if (end == rest.npos)
        return {};
    rest.remove_prefix(end + 1);
    return found;
}

// Whether what a conversion stores fits one argument buffer, a closing NUL included, in the type that handlers read.
constexpr bool fits_buffer(const conversion &stored)
{
    const bool bounded = stored.width > 0 && static_cast<size_t>(stored.width) < cli_arg_buffer_size;
    switch (stored.letter) {
    case 's':
    case '[':
        return bounded && !stored.is_long;
    case 'c':
        return (bounded || stored.width == 0) && !stored.is_long;
    case 'd':
        return stored.width == 0 && !stored.is_long;
    case 'f':
        return stored.width == 0 && stored.is_long;
    default:
        return false;
    }
}

// The rows that accept any text behind their last value, because their patterns have no %n to measure the line with.
inline constexpr std::string_view patterns_with_trailing_text[] = {
    "factory_defaults %64s",
    "network ipv4 address %64s mask %64s",
    "network ipv6 address %64s prefix %d",
};

// A literal has no '%'. Any other pattern stores as many values as its row says, each within its buffer, and ends with
// %n, for which a buffer must be left.
constexpr bool pattern_is_sound(std::string_view pattern, int nargs)
{
    int values = 0;
    bool measured = false;
    for (std::string_view rest = pattern; find_conversion(rest);) {
        const conversion stored = take_scan(rest);
        if (stored.letter == 'n' && stored.width == 0 && !stored.is_long && rest.empty())
            measured = true;
        else if (fits_buffer(stored))
            values++;
        else
            return false;
    }
    if (values != nargs)
        return false;
    const auto &exceptions = patterns_with_trailing_text;
    const bool is_exception = std::ranges::find(exceptions, pattern) != std::end(exceptions);
    return nargs == 0 || (measured != is_exception && nargs < cli_arg_count_max);
}

// Takes the next conversion off a printf format and gives the type of its value; '?' for what no row may use: a width
// or a precision from the values, a size, another letter.
constexpr char take_print(std::string_view &rest)
{
    const size_t at = rest.find_first_not_of("-+ 0#123456789.");
    if (at == rest.npos)
        return '?';
    const char letter = rest[at];
    rest.remove_prefix(at + 1);
    return std::string_view("dsfc%").find(letter) == std::string_view::npos ? '?' : letter;
}

// Whether a format takes these values, from the first on. Values behind those that it takes go unused, which printf
// allows.
constexpr bool format_takes(std::string_view format, std::string_view values)
{
    while (find_conversion(format)) {
        const char type = take_print(format);
        if (type == '%')
            continue;
        if (values.empty() || values[0] != type)
            return false;
        values.remove_prefix(1);
    }
    return true;
}

constexpr bool format_agrees(const char *format, const char *values)
{
    return !format || (values && format_takes(format, values));
}

constexpr bool row_agrees(const command_row &row, std::span<const handler_statement> statements)
{
    for (const handler_statement &stated : statements)
        if (stated.handler == row.handler)
            return format_agrees(row.format, stated.format) && format_agrees(row.error_format, stated.error_format);
    return false;
}

// The number of the first row whose pattern breaks a rule, or -1. The last row only ends the table.
constexpr int first_unsound_pattern(std::span<const command_row> table)
{
    int number = 0;
    for (const command_row &row : table.first(table.size() - 1)) {
        if (!pattern_is_sound(row.pattern, row.nargs))
            return number;
        number++;
    }
    return -1;
}

// The number of the first row whose formats take other values than its handler states, or whose handler states none; or
// -1. Handlers that never print through a format are exempt.
constexpr int first_disagreeing_row(std::span<const command_row> table, std::span<const handler_statement> statements,
                                    std::span<const command_handler> exempt)
{
    int number = 0;
    for (const command_row &row : table.first(table.size() - 1)) {
        if (std::ranges::find(exempt, row.handler) == exempt.end() && !row_agrees(row, statements))
            return number;
        number++;
    }
    return -1;
}

} // namespace table_rules

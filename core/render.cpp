// The fixed words in which numbers and states reach the user.

#include "core/render.h"

#include <charconv>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

static constexpr const char *ctrl_status_words[] = {
    "OFF", "ON", "OFF(locked)", "ON(locked)", "OFF(cycle)", "OFF(pend_cycle)", "OFF(pend_ON)",  "ON(pend_OFF)",
    "OFF", "ON", "OFF",         "ON",         "NOT_SET",    "ON(fixed)",       "OFF(shutdown)",
};

static constexpr const char *mod_status_words[] = {
    "OFF",       "ON",       "OFF(error)", "ON(error)", "OFF(wait)",  "ON(wait)",
    "OFF(fuse)", "ON(fuse)", "OFF(ocp)",   "Reading",   "Comm error",
};

// A mark in the unit text and the rendering it asks for; the first mark found decides.
struct sensor_unit {
    const char *mark;
    double zero;        // taken off the value
    const char *suffix; // behind "%.1f"
};

// The degree sign is the one byte 0xF8 of the terminal's code page, not UTF-8.
static constexpr sensor_unit sensor_units[] = {
    {"oF", 0.0, "\370F"}, {"oC", 0.0, "\370C"}, {"K", 273.15, "\370C"}, {"afu", 0.0, "afu"}, {"%", 0.0, "%"},
};

static constexpr size_t usual_text_size = 512;

// The word for a code from 1.
template <size_t count> static const char *status_word(const char *const (&words)[count], int code)
{
    return code >= 1 && static_cast<size_t>(code) <= count ? words[code - 1] : "UNDEFINED";
}

const char *ctrl_status_str(int code)
{
    return status_word(ctrl_status_words, code);
}

const char *mod_status_str(int code)
{
    return status_word(mod_status_words, code);
}

char *tenths_str(char *buffer, int tenths)
{
    // By hand, since the format of a double would be the dearest part of a line of `status`.
    const int64_t size = std::abs(int64_t{tenths});
    char *at = buffer;
    if (tenths < 0)
        *at++ = '-';
    at = std::to_chars(at, buffer + render_buffer_size, size / 10).ptr;
    *at++ = '.';
    *at++ = static_cast<char>('0' + size % 10);
    *at = '\0';
    return buffer;
}

// Two digits of a number below 100, and what is to stand behind them.
static char *put_two(char *at, int number, char behind)
{
    *at++ = static_cast<char>('0' + number / 10);
    *at++ = static_cast<char>('0' + number % 10);
    *at++ = behind;
    return at;
}

char *date_str(char *buffer, time_t when)
{
    buffer[0] = '\0';
    tm local;
    if (when == 0 || !localtime_r(&when, &local))
        return buffer;
    // By hand, as tenths_str: six formatted numbers would be the dearest part of a line of `energy`.
    const int64_t year = int64_t{local.tm_year} + 1900;
    char *at = year < 1000 ? buffer + snprintf(buffer, render_buffer_size, "%04" PRId64, year)
                           : std::to_chars(buffer, buffer + render_buffer_size, year).ptr;
    *at++ = '-';
    at = put_two(at, local.tm_mon + 1, '-');
    at = put_two(at, local.tm_mday, ' ');
    at = put_two(at, local.tm_hour, ':');
    at = put_two(at, local.tm_min, ':');
    put_two(at, local.tm_sec, '\0');
    return buffer;
}

int sensor_value_str(const char *unit, const char *value, char **text)
{
    if (!unit || !value || !text)
        return 0;
    for (const sensor_unit &known : sensor_units) {
        if (!strstr(unit, known.mark))
            continue;
        char *rendered = nullptr;
        if (asprintf(&rendered, "%.1f%s", strtod(value, nullptr) - known.zero, known.suffix) < 0)
            return 0;
        *text = rendered;
        return 1;
    }
    return 0;
}

owned_text new_text_of(const char *format, va_list values)
{
    // Most texts are short, and the library would grow a short text's memory in steps.
    char usual[usual_text_size];
    va_list again;
    va_copy(again, values);
    const int length = vsnprintf(usual, sizeof usual, format, values);
    char *text = nullptr;
    if (length >= static_cast<int>(sizeof usual)) {
        if (vasprintf(&text, format, again) < 0)
            text = nullptr;
    } else if (length >= 0 && (text = static_cast<char *>(malloc(static_cast<size_t>(length) + 1)))) {
        memcpy(text, usual, static_cast<size_t>(length) + 1);
    }
    va_end(again);
    return owned_text(text);
}

owned_text new_text(const char *format, ...)
{
    va_list values;
    va_start(values, format);
    owned_text text = new_text_of(format, values);
    va_end(values);
    return text;
}

owned_text joined_text(std::initializer_list<const char *> parts)
{
    size_t length = 0;
    for (const char *part : parts)
        length += strlen(part);
    char *text = static_cast<char *>(malloc(length + 1));
    if (!text)
        return nullptr;
    char *end = text;
    *end = '\0';
    for (const char *part : parts)
        end = stpcpy(end, part);
    return owned_text(text);
}

owned_text number_text(int number)
{
    char text[sizeof "-2147483648"];
    *std::to_chars(text, text + sizeof text, number).ptr = '\0';
    return owned_text(strdup(text));
}

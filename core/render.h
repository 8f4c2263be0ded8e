// The fixed words in which numbers and states reach the user.
#pragma once

#include "client/types.h"

#include <cstdarg>
#include <cstddef>
#include <ctime>
#include <initializer_list>

inline constexpr size_t render_buffer_size = 32; // what the buffers of tenths_str and date_str must hold

// Constant texts; "UNDEFINED" for a code outside the tables.
const char *ctrl_status_str(int code);
const char *mod_status_str(int code);

// Value / 10.0 as "%.1f"; answers the buffer.
char *tenths_str(char *buffer, int tenths);

// Local time as "2011-07-22 13:17:00", empty text for time 0; answers the buffer.
char *date_str(char *buffer, time_t when);

// A sensor's value in its own unit, Kelvin as Celsius, the degree sign as the one byte 0xF8. 1 with new heap text that
// the caller frees; 0, with `*text` unwritten, for an unknown unit, an absent argument or no memory.
int sensor_value_str(const char *unit, const char *value, char **text);

// New texts, missing without memory: what printf would print, the parts one behind the other, a number in decimal.
owned_text new_text(const char *format, ...) __attribute__((format(printf, 1, 2)));
owned_text new_text_of(const char *format, va_list values) __attribute__((format(printf, 1, 0)));
owned_text joined_text(std::initializer_list<const char *> parts);
owned_text number_text(int number);

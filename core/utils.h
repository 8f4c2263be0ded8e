// What the commands share: locating a unit, the tail of a failed body, capitals, and lists of numbers as ranges.
#pragma once

#include <cstddef>

#include "client/types.h"
#include "core/walkers.h"

// A unit's address.
struct unit {
    int port;
    int pdu;
};

// The value, or the end of the range of int that it lies beyond: a number that is scanned as long does not come back as
// another unit or outlet, and the answer is the same whatever the size of a long.
int saturated(long value);

// The number that the text begins with, 0 where it begins with none; beyond the range of int, the end of that range.
int decimal_value(const char *text);

// As strtod, `errno` included; quick for the short decimals in which values come.
double real_value(const char *text, char **end);

// Resolves an `IPDU number or ID`: an ID first, then the decimal value of the text. 0 with `*at` filled, or 1 with
// "No such IPDU. ..." added to `out`. The number typed is handed on unchanged, beside the port found for it. `log_word`
// stands in the log where that text could not be added.
int locate_pdu(const char *text, unit *at, char **out, const char *log_word = "display");

// Runs the worker on the unit that the text names in this way. The worker's result, or 1 where there is no such unit;
// `rest` is what the worker finds behind its arguments.
int one_located_pdu(int row, char **out, const char *text, pdu_callback callback, int rest = 0);

// The same as locate_pdu for a number that needs no resolving.
int locate_pdu_number(int pdu, unit *at, char **out, const char *log_word = "display");

// Ends a body: where it failed, nothing was written and the row has an error format without values, adds that. Answers
// `result`.
int failure_tail(int result, int row, char **out);

// The same for rows whose error format takes the unit's number.
int failure_tail_of_unit(int result, int row, char **out, int pdu);

// Adds such an error format whatever `out` holds already, where the row has one.
void append_error_of_unit(int row, char **out, int pdu);

// A copy in upper case, byte by byte; absent without memory.
owned_text in_capitals(const char *text);

// Reads "3,1-2" into `array` as sorted numbers with -1 behind them, at most capacity - 1 (more are dropped in silence).
// 0, -1 (a range that ends below its start) or -2 (a negative start), with -1 behind the numbers so far in every case.
// A token without a number is an empty range. `capacity` is 1 at least.
int parse_int_list(const char *text, int *array, int capacity);

// Appends "7" or "1-3" behind the text in `buffer`, one place of which stays free for a comma. 0, -1 (last below
// first), -2 (first negative), -3 (a single number does not fit) or -4 (a range does not fit).
int print_int_range(char *buffer, size_t size, int first, int last);

// Rewrites the text in `buffer` as the comma list of ranges of a sorted array of `count` numbers, which a negative one
// may end before. 0, or the first negative result of print_int_range.
int print_int_list(char *buffer, size_t size, const int *array, int count);

// Removes the first occurrence, in an array of `count` places whose numbers a negative one may end before; 1 if one was
// removed, else 0. The rest moves up, the end with it.
int remove_int_from_list(int *array, int count, int value);

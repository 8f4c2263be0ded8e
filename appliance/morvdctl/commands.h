// What a person can say, and what the daemon is told then. To add a word, add a row to `command_rows`, and to the
// completions and the page in docs/man, which tests hold against the rows.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "appliance/morvdctl/desk_state.h"

struct command_row {
    std::string_view words; // one or two, as typed
    std::string_view args;  // UNIT, and PHASE, CIRCUIT, OUTLET, SENSOR of it, or TIME; others go on as they are
    std::string_view optional_args;
    std::string_view says;  // to the daemon: %u PORT PDU, %n the part's number, %p PORT.PDU.NUMBER, %* the others
    std::string_view does;  // for the help
    std::string_view right; // what the values may be, for whom one was refused
    std::string_view lacks; // what the part may be without
};

std::span<const command_row> all_commands();

// "sensor set UNIT SENSOR VALUE"
std::string command_form(const command_row &row);

// The row that the words begin with, if they are as many as it takes; how many of them name the row goes to `taken`.
// Null, with what is wrong and what would be right in `fault`.
const command_row *find_command(std::span<const std::string> words, size_t *taken, std::string *fault);

// The request that `args`, those behind the row's words, come to. `part` is the one that they speak of, or null. False
// with `fault`.
bool make_request(const command_row &row, std::span<const std::string> args, const desk_state &state,
                  std::vector<std::string> *request, const desk_part **part, std::string *fault);

// Why the daemon would not, and what would be right.
std::string refusal_text(const command_row &row, const desk_part *part, int code, std::string_view words);

// To add a command:
//   1. Write cmd/cmd_<subject>.h and .cpp: the usage text and one handler a row, in the order of the rows.
//   2. In command_table.cpp: include the header, name the formats, and add the rows in the order `X help`, `X`, other
//      literals, then the forms with arguments, fixed words before general ones and longer before shorter. The first
//      row that takes a line decides, so look at what the rows above yours swallow (a blank in a pattern matches no
//      blank too). Raise command_row_count in cli.h.
//   3. State in `handler_values` which values each new handler gives to its formats. The build fails until rows,
//      patterns, formats and handlers agree (table_rules.h).
//   4. Add the name to the list in cmd_help.cpp.
//   5. Type each form that the usage text announces in a test, and what it answers.
#pragma once

#include "shell/cli.h"

// Which values a handler gives to the formats of its row, in order: d int, s text, f double, c char; null where it
// prints through neither. A row may leave a format out; one that it has takes these values, or the first of them.
struct handler_statement {
    command_handler handler;
    const char *format;
    const char *error_format;
};

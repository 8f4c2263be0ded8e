// Writes the command language as the program itself has it, for whatever is made from it: the names that `help` lists
// and the rows of the command table.

#include <cstdio>

#include "cmd/cmd_ci.h"
#include "cmd/outlet_string_usage.h"
#include "docs/man/json_text.h"
#include "shell/cli.h"
#include "shell/cmd_help.h"
#include "shell/commands.h"

static void write_row(const command_row &row)
{
    const bool shows_usage = row.handler == cmd_usage || row.handler == cmd_passwd_help;
    printf("  {\"count\": %d, \"shows_usage\": %s, ", row.nargs, shows_usage ? "true" : "false");
    write_member("pattern", row.pattern);
    fputs(", ", stdout);
    write_member("format", row.format ? row.format : "");
    fputs(", ", stdout);
    write_member("error_format", row.error_format ? row.error_format : "");
    fputs("}", stdout);
}

int main()
{
    cli_own_name = 1; // the whole list
    char *listing = nullptr;
    if (cmd_help(find_command_row(cmd_help), &listing, {}) || !listing)
        return 1;
    puts("{");
    write_member("listing", listing);
    fputs(",\n", stdout);
    write_member("outlet_string", OUTLET_STRING_USAGE);
    puts(",\n\"rows\": [");
    for (int row = 0; row < command_row_count; row++) {
        write_row(command_table[row]);
        puts(row + 1 < command_row_count ? "," : "");
    }
    puts("]}");
    return ferror(stdout) || fflush(stdout) ? 1 : 0;
}

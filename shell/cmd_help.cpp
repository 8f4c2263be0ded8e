// help: lists the names of all commands in three columns.
// The list is kept by hand: it has one name a command, and leaves out second forms like `ion`.

#include "shell/cmd_help.h"

#include <cstdio>
#include <cstring>

#include "client/types.h"
#include "core/log.h"

static constexpr const char *command_names[] = {
    "alarm",       "buzzer",        "coldstart", "current", "currentprotection",
    "cycle",       "display",       "energy",    "exit",    "factory_defaults",
    "fuses",       "help",          "hwocp",     "id",      "interval",
    "intervaloff", "lock",          "name",      "network", "off",
    "on",          "outcycledelay", "passwd",    "power",   "powerfactor",
    "reboot",      "restore",       "save",      "scp",     "sensors",
    "serial",      "shell",         "status",    "syslog",  "temperature",
    "unlock",      "upgrade",       "ver",       "voltage",
};

// What belongs to the console is shown under the program's own name alone.
static bool is_listed(const char *name)
{
    return cli_own_name || (strcmp(name, "passwd") != 0 && strcmp(name, "serial") != 0);
}

// The names padded to their columns, or nothing without memory.
static owned_text list_names()
{
    owned_text names;
    int column = 0;
    for (const char *name : command_names) {
        if (!is_listed(name))
            continue;
        char *longer = nullptr;
        column++;
        if (asprintf(&longer, "%s%-20s%s", names ? names.get() : "", name, column % 3 == 0 ? "\n" : "") < 0)
            return nullptr;
        names.reset(longer);
    }
    return names;
}

int cmd_help(int row, char **out, command_args)
{
    const owned_text names = list_names();
    if (!names)
        return 1;
    if (append_output(out, command_table[row].format, names.get()))
        log_failure("Fail to printf help %s", names.get());
    return 0;
}

// on, off, cycle, lock, unlock, status: switch outlets, lock their state and show it. Which outlets is an outlet string
// of the user; the whole set goes to the control tree as one action.

#include "cmd/cmd_outlet_cmds.h"

#include "cmd/outlet_string_usage.h"

const char on_usage[] = "Usage: on <outletString>\n"
                        "Turns on all outlets of <outletString>.\n\n" OUTLET_STRING_USAGE;

const char off_usage[] = "Usage: off <outletString>\n"
                         "Turns off all outlets of <outletString>.\n\n" OUTLET_STRING_USAGE;

const char cycle_usage[] = "Usage: cycle <outletString>\n"
                           "Power cycles all outlets of <outletString>.\n\n" OUTLET_STRING_USAGE;

const char lock_usage[] = "Usage: lock <outletString>\n"
                          "Locks the state of all outlets of <outletString>.\n\n" OUTLET_STRING_USAGE;

const char unlock_usage[] = "Usage: unlock <outletString>\n"
                            "Unlocks the state of all outlets of <outletString>.\n\n" OUTLET_STRING_USAGE;

const char status_usage[] = "Usage: status <outletString>\n"
                            "Prints status of all outlets of <outletString>.\n\n" OUTLET_STRING_USAGE;

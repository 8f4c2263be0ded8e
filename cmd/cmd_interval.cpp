// intervaloff, interval, outcycledelay: the intervals of an outlet after power off and on, and the pause of a power
// cycle. The limits that the usage texts name are the control daemon's to enforce.

#include "cmd/cmd_interval.h"

#include "cmd/outlet_string_usage.h"

const char intervaloff_usage[] = "Usage: intervaloff <outletString> [<duration>]\n"
                                 "Sets power off interval of all outlets of <outletString>.\n"
                                 "<duration> should be between 0 and 2500 seconds. If <duration>\n"
                                 "is not provided, it prints the current interval.\n\n" OUTLET_STRING_USAGE;

const char interval_usage[] = "Usage: interval <outletString> [<duration>]\n"
                              "Sets power on interval of all outlets of <outletString>.\n"
                              "<duration> should be between 0 and 2500 seconds. If <duration>\n"
                              "is not provided, it prints the current interval.\n\n" OUTLET_STRING_USAGE;

const char outcycledelay_usage[] =
    "Usage: 'outcycledelay [<delay>]'\n\n"
    "Sets the outlet cycle delay to <delay> seconds. <delay> can be set between 1 and 60.\n";

// display: what the display of a unit shows and which way up. What can be set depends on the kind of unit.

#include "cmd/cmd_display.h"

const char display_usage[] =
    "Usage: display [<ipdu number or ID> [<0|180> <I|V>[ <cycle time>]]]\n"
    "            (for three-phase models).\n"
    "       display [<ipdu number or ID> [<0|180>[ <cycle time>]]]\n"
    "            (for two-segment models).\n"
    "       display [<ipdu number or ID> [<0|180>]]\n"
    "            (for other models).\n\n"
    "Set Display mode. <0|180> sets up the display orientation. For three-phase models, it can show current (I) or "
    "voltage (V), and it can cycle each <cycle time> seconds. If <cycle time> is not defined, it will either cycle "
    "manually (three-phase models) or display only total current (two-segment models).\n";

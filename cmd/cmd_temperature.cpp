// temperature: the temperature inside units, its recorded maximum, and the reset of that.

#include "cmd/cmd_temperature.h"

const char temperature_usage[] =
    "Usage: temperature [reset] [<ipdu number or ID>]\n\n"
    "Displays the temperature in a unit if it is provided, or in all units if it is not provided. The reset option "
    "clears the maximum, minimum and average recorded temperature.\n";

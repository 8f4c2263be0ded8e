// power: the power that units, phases, segments and outlets draw, and its recorded extremes.

#include "cmd/cmd_power.h"

const char power_usage[] = "Usage: power [reset | summary] [<ipdu number or ID>]\n"
                           "   power [<ipdu number or ID>]\n"
                           "   power [<ipdu number or ID> X|Y|Z] (for three-phase models)\n"
                           "   power [<ipdu number or ID> [XY|YZ|XZ|XN|YN|ZN]] (for three-phase models)\n"
                           "   power [<ipdu number or ID> A|B|C] (for segments or circuits)\n"
                           "   power [<ipdu number or ID> <outlet number>]\n"
                           "Displays the power in a unit if it is provided, or in all units if it is not provided. The "
                           "reset option clears the maximum, minimum and average recorded power.\n";

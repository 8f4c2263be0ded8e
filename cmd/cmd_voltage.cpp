// voltage: the voltage of units, phases, segments and outlets, and its recorded extremes.

#include "cmd/cmd_voltage.h"

const char voltage_usage[] = "Usage: voltage [reset | summary] [<ipdu number or ID>]\n"
                             "   voltage [<ipdu number or ID>]\n"
                             "   voltage [<ipdu number or ID> [XY|YZ|XZ|XN|YN|ZN]] (for three-phase models)\n"
                             "   voltage [<ipdu number or ID> A|B|C] (for segments or circuits)\n"
                             "   voltage [<ipdu number or ID> <outlet number>]\n"
                             "Displays the voltage in a unit if it is provided, or in all units if it is not provided. "
                             "The reset option clears the maximum, minimum and average recorded voltage.\n";

// powerfactor: the power factor of units, phases, segments and outlets, and its recorded extremes.

#include "cmd/cmd_pwfactor.h"

const char powerfactor_usage[] =
    "Usage: powerfactor [reset | summary] [<ipdu number or ID>]\n"
    "   powerfactor [<ipdu number or ID>]\n"
    "   powerfactor [<ipdu number or ID> X|Y|Z] (for three-phase models)\n"
    "   powerfactor [<ipdu number or ID> [XY|YZ|XZ|XN|YN|ZN]] (for three-phase models)\n"
    "   powerfactor [<ipdu number or ID> A|B|C] (for segments or circuits)\n"
    "   powerfactor [<ipdu number or ID> <outlet number>]\n"
    "Displays the power factor in a unit if it is provided, or in all units if it is not provided. The reset option "
    "clears the maximum, minimum and average recorded power factor.\n";

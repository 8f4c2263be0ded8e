// current: the current of units, phases, segments and outlets, its recorded maximum, and the thresholds that guard it.

#include "cmd/cmd_current.h"

const char current_usage[] = "Usage: current [reset | summary] [<ipdu number or ID>]\n"
                             "   current [<ipdu number or ID>]\n"
                             "   current [<ipdu number or ID> X|Y|Z] (for three-phase models)\n"
                             "   current [<ipdu number or ID> [XY|YZ|XZ|XN|YN|ZN]] (for three-phase models)\n"
                             "   current [<ipdu number or ID> A|B|C] (for segments or circuits)\n"
                             "   current [<ipdu number or ID> <outlet number>]\n"
                             "   current threshold [<ipdu number or ID> [<outlet|phase|segment>] [<thresholds]]\n"
                             "Displays the current in a unit if it is provided, or in all units if it is not provided. "
                             "The reset option clears the maximum, minimum and average recorded current.\n"
                             "The threshold option show or set the threshold for all valid levels on the provided "
                             "elements. <thresholds> are 4 levels of thresholds, colon separated:\n"
                             "    High critical:High warning:Low warning:Low critical.\n\n";

// energy: the energy that units, phases, segments and outlets have taken since their count began.

#include "cmd/cmd_energy.h"

const char energy_usage[] = "Usage: energy [reset | summary] [<ipdu number or ID>]\n"
                            "   energy [<ipdu number or ID>]\n"
                            "   energy [<ipdu number or ID> X|Y|Z] (for three-phase models)\n"
                            "   energy [<ipdu number or ID> [XY|YZ|XZ|XN|YN|ZN]] (for three-phase models)\n"
                            "   energy [<ipdu number or ID> A|B|C] (for segments or circuits)\n"
                            "   energy [<ipdu number or ID> <outlet number>]\n"
                            "Displays the energy in a unit if it is provided, or in all units if it is not provided. "
                            "The reset option clears the energy and resets the start time.\n";

// alarm: the one current above which a unit, or an element of it, raises an alarm.

#include "cmd/cmd_alarm.h"

const char alarm_usage[] = "Usage: alarm [<ipdu number or ID>]\n"
                           "   alarm [<ipdu number or ID> [<threshold>]]\n"
                           "   alarm [<ipdu number or ID> [<threshold> X|Y|Z]] (for three-phase models)\n"
                           "   alarm [<ipdu number or ID> [<threshold> [XY|YZ|XZ|XN|YN|ZN]] (for three-phase models)\n"
                           "   alarm [<ipdu number or ID> [<threshold> A|B|C]] (for segments or circuits)\n"
                           "   alarm [<ipdu number or ID> [<threshold> <outlet number>]]\n"
                           "Sets the current threshold for alarm to <threshold> on IPDU #<ipdu number>.\n"
                           "<threshold> should be between 1A and the maximum current.\n";

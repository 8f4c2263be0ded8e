// sensors: the environment monitors around the rack: readings, recorded extremes, thresholds and names.

#include "cmd/cmd_sensors.h"

const char sensors_usage[] = "Usage: sensors [reset | summary | name] [<ipdu number or ID> [sys name [new name]]]\n"
                             "   sensors threshold [<ipdu number or ID> [name] [<thresholds> <unit>]]\n"
                             "Read sensors values on IPDU #<ipdu number>.\n"
                             "Read or set the threshold instead, when threshold keyword follows the command.\n"
                             "<thresholds> are 4 levels of thresholds, colon separated:\n"
                             "    High critical:High warning:Low warning:Low critical.\n"
                             "<unit> can be one of: C or F for temperature, % for humidity, afu for air flow.\n\n";

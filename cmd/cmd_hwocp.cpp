// hwocp: the state of the overcurrent protection in hardware, and its reset after it has tripped.

#include "cmd/cmd_hwocp.h"

const char hwocp_usage[] = "Usage: hwocp [<ipdu number or ID> [reset]]\n"
                           "Checks the status of the HW overcurrent protection.\n";

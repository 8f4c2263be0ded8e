// fuses: the state of the fuses of units and their segments.

#include "cmd/cmd_fuses.h"

const char fuses_usage[] = "Usage: fuses [<ipdu number or ID> [reset]]\n"
                           "Checks the status of the PDU fuses.\n";

// coldstart: how long a unit waits after power has come back before it turns its outlets on.

#include "cmd/cmd_coldstart.h"

const char coldstart_usage[] = "Usage: coldstart [<ipdu number or ID> [<duration>]]\n"
                               "Set the duration of cold start delay.\n";

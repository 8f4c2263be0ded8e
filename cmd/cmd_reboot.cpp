// reboot: restarts a unit, by default the first of the chain.

#include "cmd/cmd_reboot.h"

const char reboot_usage[] =
    "Usage: 'reboot [<ipdu number or ID>]'\n\n"
    "Reboots a unit if the IPDU is provided, or the first IPDU in the chain if the IPDU is not provided.\n";

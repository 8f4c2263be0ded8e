// upgrade: new firmware for units. The first unit of the chain is written from here, the others by the control daemon.

#include "cmd/cmd_upgrade.h"

const char upgrade_usage[] = "Usage: 'upgrade <ipdu number or ID> <FILE>'\n\n"
                             "Upgrades firmware of an IPDU. FILE is expected to be in the /tmp directory.\n";

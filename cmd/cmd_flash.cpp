// save, restore, factory_defaults: the configuration that units keep in flash.

#include "cmd/cmd_flash.h"

const char save_usage[] = "Usage: save\n\n"
                          "Saves the current running configuration to flash.\n"
                          "The save command saves the username/password database and the specific information "
                          "pertaining to each outlet such as outlet name, outlet owners, state (on/off) of the outlet, "
                          "whether the outlet is locked or unlocked, etc. Upon next reboot the ZT retrieves the saved "
                          "configuration and initializes the outlets according to the saved configuration.\n";

const char restore_usage[] = "Usage: restore\n\n"
                             "Reads the configuration from flash and put it on the system.\n";

const char factory_defaults_usage[] =
    "Usage: 'factory_defaults [<ipdu number or ID>]'\n\n"
    "Resets configuration to factory defaults. When IPDU number or ID is not specified, the command applies to all "
    "units in the chain. When IPDU number or ID is specified, the user database is kept in the IPDU configuration.\n";

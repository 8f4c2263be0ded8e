// shell, scp, passwd: the modules of the session library that the control daemon names for the user, and the password
// with which the appliance logs in to the other devices of its chain.

#include "cmd/cmd_ci.h"

const char shell_usage[] = "Usage: shell [command]\n"
                           "Execute a shell command or launch the interactive shell.\n";

const char scp_usage[] = "Usage: scp [-1246BCpqrv] [-c cipher] [-F ssh_config] [-i identity_file]\n"
                         "           [-l limit] [-o ssh_option] [-P port] [-S program]\n"
                         "           [[user@]host1:]file1 [...] [[user@]host2:]file2\n";

const char passwd_usage[] =
    "Usage: 'passwd'\n\n"
    "Sets the admin password used to login to other devices connected in the chain. This configuration changes also "
    "the password the administrator can use to login to this cli from console, but does not change the password to "
    "login in the appliance from network services like web interface, SSH and telnet.\n";

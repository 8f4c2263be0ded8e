// syslog: whether units send their events to the console port.

#include "cmd/cmd_syslog.h"

const char syslog_usage[] =
    "Usage: syslog <on|off|status>\n\n"
    "Turns syslog messages on or off. If syslog is on, IPDU syslog events will be sent to the console port.\n";

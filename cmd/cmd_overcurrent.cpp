// currentprotection: whether outlets of an overloaded circuit may be turned on.

#include "cmd/cmd_overcurrent.h"

const char currentprotection_usage[] =
    "Usage: currentprotection <on|off|status>\n\n"
    "Configures overcurrent protection. Overcurrent protection prevents outlets connected to a circuit (phase or "
    "segment) of being turned on when the current on that circuit reaches the threshold.\n";

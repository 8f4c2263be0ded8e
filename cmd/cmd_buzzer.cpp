// buzzer: whether units sound an alarm when the current reaches its threshold.

#include "cmd/cmd_buzzer.h"

const char buzzer_usage[] = "Usage: buzzer <on|off|status>\n"
                            "Turns the buzzer on or off. If the buzzer is turned on an alarm will be heard when "
                            "current reaches the threshold.\n";

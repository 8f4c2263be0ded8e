// serial: speed and flow control of the line on which the user is logged in.

#include "cmd/cmd_serial.h"

const char serial_usage[] = "Usage: serial [<9600|19200|115200|230400> <hw|no>]\n"
                            "Set serial port speed and flow control.\n";

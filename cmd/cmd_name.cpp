// name: gives an outlet a name of the user's own, or takes it away. The name works in outlet strings beside the number.

#include "cmd/cmd_name.h"

const char name_usage[] = "Usage: 'name <outlet#> <name>'\n\n"
                          "Names the outlet number <outlet#> as <name>. <name> cannot have more than 16 characters nor "
                          "start with a number; also, ',' is not allowed.\n";

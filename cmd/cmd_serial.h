// The command `serial`: the line of the user.
#pragma once

extern const char serial_usage[];

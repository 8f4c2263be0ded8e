// The commands `shell`, `scp` and `passwd`: access beyond this program.
#pragma once

extern const char shell_usage[];
extern const char scp_usage[];
extern const char passwd_usage[];

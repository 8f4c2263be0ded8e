// The command `syslog`: event messages on the console port.
#pragma once

extern const char syslog_usage[];

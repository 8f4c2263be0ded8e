// The logging library.
#pragma once

// Writes one record. Levels are syslog's: 7 debug, 6 information, 5 notice, 4 warning. A null tag leaves the naming to
// the library. Never fails towards the caller and keeps errno.
extern "C" void __dlog_printf(int level, const char *tag, const char *format, ...)
    __attribute__((format(printf, 3, 4)));

// The logging library off the appliance: records as lines of a file, or syslog.

#include "dlog.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <syslog.h>
#include <unistd.h>

static constexpr char untagged[] = "-"; // who called is past finding out here
static constexpr size_t usual_size = 4096;

static constexpr int route_nowhere = -3;
static constexpr int route_unknown = -2;
static constexpr int route_syslog = -1;

static int route = route_unknown; // one of the above, or the descriptor of the log file

// A file that cannot be opened leaves the records to syslog, where somebody may still find them. Where no syslog daemon
// has its socket, syslog(3) would look for it three system calls a record, and lose the record all the same.
static int find_route()
{
    const char *path = secure_getenv("ZT_DLOG");
    const int file = path && *path ? open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY, 0600) : -1;
    if (file >= 0)
        return file;
    return access(_PATH_LOG, F_OK) == 0 ? route_syslog : route_nowhere;
}

// Stretches `length` bytes in place, which must have room for twice as many; answers the new length.
static size_t escape_newlines(char *bytes, size_t length)
{
    const size_t newlines = static_cast<size_t>(std::count(bytes, bytes + length, '\n'));
    char *to = bytes + length + newlines;
    for (char *from = bytes + length; to != from;) {
        *--to = *--from;
        if (*from == '\n') {
            *to = 'n';
            *--to = '\\';
        }
    }
    return length + newlines;
}

// Writes one line into `buffer` and answers its length. An answer above `size` asks for a buffer of that size instead;
// 0 means a format that cannot be carried out.
static size_t compose(char *buffer, size_t size, int level, const char *tag, const char *format, va_list values)
{
    const int head = snprintf(buffer, size, "%d\t%s\t", level, tag);
    if (head < 0)
        return 0;
    const size_t start = std::min(static_cast<size_t>(head), size);
    const int body = vsnprintf(buffer + start, size - start, format, values);
    if (body < 0)
        return 0;
    const size_t most = static_cast<size_t>(head) + 2 * static_cast<size_t>(body) + 1; // each byte may be a newline
    if (most > size)
        return most;

    const size_t end = start + escape_newlines(buffer + start, static_cast<size_t>(body));
    buffer[end] = '\n';
    return end + 1;
}

// One write, so that the records of several processes do not tear. The usual record needs no heap, since the caller may
// be a signal handler.
static void write_record(int level, const char *tag, const char *format, va_list values)
{
    char usual[usual_size];
    va_list again;
    va_copy(again, values);
    size_t length = compose(usual, sizeof usual, level, tag, format, values);
    char *large = length > sizeof usual ? static_cast<char *>(malloc(length)) : nullptr;
    const char *record = length <= sizeof usual ? usual : large; // null where memory does not suffice
    if (large)
        length = compose(large, length, level, tag, format, again);
    va_end(again);
    if (record)
        (void)TEMP_FAILURE_RETRY(write(route, record, length));
    free(large);
}

static void send_to_syslog(int level, const char *tag, const char *format, va_list values)
{
    char *message;
    if (vasprintf(&message, format, values) < 0)
        return;
    syslog(level, "%s: %s", tag, message);
    free(message);
}

// Apart from its one caller, which has to know nothing of all this to drop a record.
[[gnu::noinline]] static void keep(int level, const char *tag, const char *format, va_list values)
{
    const int callers_errno = errno;
    if (route == route_unknown)
        route = find_route();
    if (route >= 0)
        write_record(level, tag ? tag : untagged, format, values);
    else if (route == route_syslog && level < LOG_DEBUG)
        send_to_syslog(level, tag ? tag : untagged, format, values);
    errno = callers_errno;
}

void __dlog_printf(int level, const char *tag, const char *format, ...)
{
    // A login shell must not pay for its trace where nobody reads it.
    if (route == route_nowhere || (level >= LOG_DEBUG && route == route_syslog))
        return;
    va_list values;
    va_start(values, format);
    keep(level, tag, format, values);
    va_end(values);
}

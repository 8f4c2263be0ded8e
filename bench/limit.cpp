// The limit that ztcli is held against: a program that starts, makes the exchanges that ztcli made, in lock step,
// prints as many bytes in as many lines, and does nothing else.
//
//     limit SOCKET BYTES LINES REQUEST ...
//
// A request is given as its bytes on the wire. A line is a write of its own: a command that shows its lines as it finds
// them can't do with fewer.

#include <cstdlib>
#include <cstring>
#include <hiredis/hiredis.h>
#include <unistd.h>

static constexpr int failed = 1;
static constexpr int usage = 2;

static bool exchange(redisContext *connection, const char *request)
{
    void *answer = nullptr;
    if (redisAppendFormattedCommand(connection, request, strlen(request)) != REDIS_OK ||
        redisGetReply(connection, &answer) != REDIS_OK)
        return false;
    freeReplyObject(answer);
    return true;
}

static bool print_lines(size_t bytes, size_t lines)
{
    static char text[1 << 16];
    if (bytes > sizeof text)
        return false;
    for (; lines > 0; lines--) {
        const size_t length = bytes / lines;
        if (write(STDOUT_FILENO, text, length) != static_cast<ssize_t>(length))
            return false;
        bytes -= length;
    }
    return true;
}

int main(int argc, char **argv)
{
    if (argc < 4)
        return usage;
    redisContext *connection = redisConnectUnix(argv[1]);
    if (connection == nullptr || connection->err != 0)
        return failed;
    for (int i = 4; i < argc; i++)
        if (!exchange(connection, argv[i]))
            return failed;
    redisFree(connection);
    return print_lines(strtoul(argv[2], nullptr, 10), strtoul(argv[3], nullptr, 10)) ? 0 : failed;
}

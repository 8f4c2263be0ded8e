// The limit that ztcli is held against: a program that starts, makes the exchanges that ztcli made, in lock step,
// prints as many bytes, and does nothing else.
//
//     limit SOCKET BYTES REQUEST ...
//
// A request is given as its bytes on the wire.

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

static bool print_bytes(size_t count)
{
    static char bytes[1 << 16];
    return count <= sizeof bytes && write(STDOUT_FILENO, bytes, count) == static_cast<ssize_t>(count);
}

int main(int argc, char **argv)
{
    if (argc < 3)
        return usage;
    redisContext *connection = redisConnectUnix(argv[1]);
    if (connection == nullptr || connection->err != 0)
        return failed;
    for (int i = 3; i < argc; i++)
        if (!exchange(connection, argv[i]))
            return failed;
    redisFree(connection);
    return print_bytes(strtoul(argv[2], nullptr, 10)) ? 0 : failed;
}

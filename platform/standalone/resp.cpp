// RESP2 over a Unix stream socket. The answers are taken apart by hiredis' reader, which makes objects of ours; the
// socket is handled here, since the limit of time must hold for a whole answer, through signals and answers in pieces.

#include "platform/standalone/resp.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <hiredis/read.h>

static constexpr size_t usual_request_size = 1024;
static constexpr size_t receive_size = 4 * 1024;
static constexpr size_t number_size = sizeof "18446744073709551615";
static constexpr size_t word_overhead = number_size + sizeof "$\r\n\r\n"; // around a word, and around the array
static constexpr int result_unnumbered = -1;

int resp_limit_ms = 30'000;

// --- Answers, as hiredis' reader has them made. Null refuses the bytes, which ends the reader. ----------------------

static morvdclient_transaction *new_answer(resp_kind kind, size_t size_behind)
{
    auto *answer = static_cast<morvdclient_transaction *>(malloc(sizeof(morvdclient_transaction) + size_behind));
    if (answer)
        *answer = {.kind = kind, .text = nullptr, .list = {}};
    return answer;
}

static char *put_text(char *to, const char *bytes, size_t length)
{
    memcpy(to, bytes, length);
    to[length] = '\0';
    return to;
}

static void *make_element(const redisReadTask *task, const char *bytes, size_t length)
{
    auto *text = task->type == REDIS_REPLY_STRING ? static_cast<char *>(malloc(length + 1)) : nullptr;
    if (!text)
        return nullptr;
    auto *parent = static_cast<morvdclient_transaction *>(task->parent->obj);
    return parent->list.texts[task->idx] = put_text(text, bytes, length);
}

static void *make_text(const redisReadTask *task, char *bytes, size_t length)
{
    // The reader steps over the line end of a bulk string unseen. A zero byte would cut the text short.
    if (memcmp(bytes + length, "\r\n", 2) != 0 || memchr(bytes, '\0', length))
        return nullptr;
    if (task->parent)
        return make_element(task, bytes, length);
    if (task->type == REDIS_REPLY_STATUS)
        return length == 2 && memcmp(bytes, "OK", 2) == 0 ? new_answer(resp_ok, 0) : nullptr;

    morvdclient_transaction *answer = new_answer(task->type == REDIS_REPLY_ERROR ? resp_error : resp_text, length + 1);
    if (answer)
        answer->text = put_text(reinterpret_cast<char *>(answer + 1), bytes, length);
    return answer;
}

static void *make_list(const redisReadTask *task, int count)
{
    if (task->parent || count > resp_list_max)
        return nullptr;
    const size_t size = static_cast<size_t>(count) * sizeof(char *);
    morvdclient_transaction *answer = new_answer(resp_list, size);
    if (answer) {
        answer->list = {count, reinterpret_cast<char **>(answer + 1)};
        memset(answer->list.texts, 0, size); // an unfinished list can be released
    }
    return answer;
}

static void *make_integer(const redisReadTask *, long long)
{
    return nullptr; // no request is answered with a number
}

static void *make_absent(const redisReadTask *task)
{
    return task->parent || task->type != REDIS_REPLY_STRING ? nullptr : new_answer(resp_absent, 0);
}

static void release_answer(void *answer)
{
    resp_release(static_cast<morvdclient_transaction *>(answer));
}

static redisReplyObjectFunctions answer_objects = {make_text, make_list, make_integer, make_absent, release_answer};

void resp_release(morvdclient_transaction *answer)
{
    if (!answer)
        return;
    for (int i = 0; i < answer->list.count; ++i)
        free(answer->list.texts[i]);
    free(answer);
}

int resp_result(const morvdclient_transaction *answer)
{
    if (answer->kind != resp_error)
        return 0;
    static constexpr char prefix[] = "ERR ";
    if (strncmp(answer->text, prefix, sizeof prefix - 1) != 0)
        return result_unnumbered;

    const char *number = answer->text + sizeof prefix - 1;
    int result;
    const auto [rest, error] = std::from_chars(number, number + strlen(number), result);
    const bool ended = *rest == ' ' || *rest == '\0';
    return error == std::errc{} && ended && result != 0 ? result : result_unnumbered;
}

// --- The connection -------------------------------------------------------------------------------------------------

static int64_t now_ms()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

static bool wait_until(int64_t deadline, int socket, short events)
{
    for (;;) {
        const int64_t left = deadline - now_ms();
        if (left <= 0)
            return false;
        pollfd what = {socket, events, 0};
        const int ready = poll(&what, 1, static_cast<int>(left));
        if (ready >= 0 || errno != EINTR)
            return ready > 0;
    }
}

// The socket's own limits serve the two waits that every session has anyway, connecting and the first byte of an
// answer.
static bool limit_socket(int socket)
{
    const timeval limit = {resp_limit_ms / 1000, resp_limit_ms % 1000 * 1000};
    return setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit) == 0 &&
           setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit) == 0;
}

static bool connect_socket(int socket, const char *path)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    const size_t size = strlen(path) + 1;
    if (size > sizeof address.sun_path)
        return false;
    memcpy(address.sun_path, path, size);

    const int64_t deadline = now_ms() + resp_limit_ms;
    while (connect(socket, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0) {
        if (errno != EINTR || now_ms() >= deadline)
            return false;
    }
    return true;
}

int resp_connect(morvdclient_connection *connection, const char *path)
{
    *connection = {socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0), redisReaderCreateWithFunctions(&answer_objects)};
    if (connection->socket >= 0 && connection->reader && limit_socket(connection->socket) &&
        connect_socket(connection->socket, path))
        return 0;
    resp_drop(connection);
    return -1;
}

void resp_drop(morvdclient_connection *connection)
{
    if (connection->socket >= 0)
        close(connection->socket);
    if (connection->reader)
        redisReaderFree(connection->reader);
    *connection = resp_not_connected;
}

// --- One exchange ---------------------------------------------------------------------------------------------------

// What a request takes at most; 0 for one with a null word. `*count` gets its number of words.
static size_t request_size(std::span<const char *const> words, const char *const *more, size_t *count)
{
    size_t size = word_overhead;
    for (const char *word : words) {
        if (!word)
            return 0;
        size += strlen(word) + word_overhead;
    }
    *count = words.size();
    for (; more && *more; ++more, ++*count)
        size += strlen(*more) + word_overhead;
    return size;
}

static char *put_line(char *at, char kind, size_t number)
{
    *at++ = kind;
    at = std::to_chars(at, at + number_size, number).ptr;
    *at++ = '\r';
    *at++ = '\n';
    return at;
}

static char *put_word(char *at, const char *word)
{
    const size_t length = strlen(word);
    at = put_line(at, '$', length);
    at = std::copy_n(word, length, at);
    *at++ = '\r';
    *at++ = '\n';
    return at;
}

static size_t put_request(char *buffer, size_t count, std::span<const char *const> words, const char *const *more)
{
    char *at = put_line(buffer, '*', count);
    for (const char *word : words)
        at = put_word(at, word);
    for (; more && *more; ++more)
        at = put_word(at, *more);
    return static_cast<size_t>(at - buffer);
}

// A peer that is gone must be a result and no signal.
static bool send_bytes(int socket, const char *bytes, size_t size, int64_t deadline)
{
    while (size > 0) {
        const ssize_t sent = send(socket, bytes, size, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent >= 0) {
            bytes += sent;
            size -= static_cast<size_t>(sent);
        } else if ((errno != EINTR && errno != EAGAIN) || !wait_until(deadline, socket, POLLOUT)) {
            return false;
        }
    }
    return true;
}

// The whole answer; null where it does not come, is no RESP, or more comes than was asked for.
static morvdclient_transaction *receive_answer(morvdclient_connection *connection, int64_t deadline)
{
    redisReader *reader = connection->reader;
    void *answer = nullptr;
    size_t total = 0;
    // The first wait is the socket's own, one system call for the usual answer; after a signal or a piece of an answer
    // only what is left of the limit counts.
    for (int flags = 0; !answer; flags = MSG_DONTWAIT) {
        char bytes[receive_size];
        if (flags && !wait_until(deadline, connection->socket, POLLIN))
            return nullptr;
        const ssize_t got = recv(connection->socket, bytes, sizeof bytes, flags);
        if (got < 0 && (errno == EINTR || errno == EAGAIN))
            continue;
        if (got <= 0 || (total += static_cast<size_t>(got)) > resp_answer_max)
            return nullptr;
        if (redisReaderFeed(reader, bytes, static_cast<size_t>(got)) != REDIS_OK ||
            redisReaderGetReply(reader, &answer) != REDIS_OK)
            return nullptr;
    }
    if (reader->pos == reader->len)
        return static_cast<morvdclient_transaction *>(answer);
    release_answer(answer);
    return nullptr;
}

static morvdclient_transaction *answer_to(morvdclient_connection *connection, unsigned understood, const char *request,
                                          size_t size)
{
    const int64_t deadline = now_ms() + resp_limit_ms;
    if (send_bytes(connection->socket, request, size, deadline)) {
        morvdclient_transaction *answer = receive_answer(connection, deadline);
        if (answer && (answer->kind & (understood | resp_error)))
            return answer;
        resp_release(answer);
    }
    resp_drop(connection);
    return nullptr;
}

morvdclient_transaction *resp_exchange(morvdclient_connection *connection, unsigned understood,
                                       std::span<const char *const> words, const char *const *more)
{
    size_t count = 0;
    const size_t size = request_size(words, more, &count);
    if (connection->socket < 0 || size == 0)
        return nullptr;

    char usual[usual_request_size];
    char *large = size > sizeof usual ? static_cast<char *>(malloc(size)) : nullptr;
    if (size > sizeof usual && !large)
        return nullptr;
    char *request = large ? large : usual;
    const size_t length = put_request(request, count, words, more);
    morvdclient_transaction *answer = answer_to(connection, understood, request, length);
    explicit_bzero(request, length); // it may have held a password
    free(large);
    return answer;
}

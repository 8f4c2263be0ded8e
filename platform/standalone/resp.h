// RESP2 over a Unix stream socket: the wire under the control daemon's client and the TSAPI client. One request at a
// time, each with its one answer; whatever breaks that order drops the connection, so that an answer that comes late is
// never taken for the next one.
#pragma once

#include <cstddef>
#include <span>

struct redisReader;

// What an answer can be; the values are bits, so that a request can say which of them it understands.
enum resp_kind : unsigned {
    resp_ok = 1,     // +OK
    resp_text = 2,   // a bulk string
    resp_absent = 4, // the null bulk string
    resp_list = 8,   // an array of bulk strings
    resp_error = 16, // a refusal, always understood
};

struct morvdclient_list {
    int count;
    char **texts;
};

// One answer. The text (of a bulk string or a refusal) and the array of a list lie behind it in the same piece of heap.
struct morvdclient_transaction {
    resp_kind kind;
    char *text;            // null where the answer carries none
    morvdclient_list list; // empty where the answer is no list
};

struct morvdclient_connection {
    int socket;          // -1: not connected
    redisReader *reader; // null: not connected
};

inline constexpr morvdclient_connection resp_not_connected = {-1, nullptr};

inline constexpr size_t resp_answer_max = 1
                                          << 20; // bytes of one answer; the longest list of a chain has a few thousand
inline constexpr int resp_list_max = 1 << 16;    // elements of one list

extern int resp_limit_ms; // how long a connection or an answer may take; 30 s, and less in tests

// Connects to the socket at `path`; 0, or -1 with the connection not connected.
int resp_connect(morvdclient_connection *connection, const char *path);

// Closes the connection, if there is one.
void resp_drop(morvdclient_connection *connection);

// Sends `words`, and behind them the null-terminated `more` (or null), as one request and waits for the answer, which
// must be of one of the kinds in `understood` or a refusal. Owned by the caller (resp_release). Null where no such
// answer came, with the connection dropped; it is kept only where nothing was sent: a null word, or no memory.
morvdclient_transaction *resp_exchange(morvdclient_connection *connection, unsigned understood,
                                       std::span<const char *const> words, const char *const *more = nullptr);

// 0 for success, else the number of a refusal "ERR N words"; -1 for one without a number of its own.
int resp_result(const morvdclient_transaction *answer);

// Null is ignored.
void resp_release(morvdclient_transaction *answer);

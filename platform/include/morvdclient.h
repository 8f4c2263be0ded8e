// The control daemon's client: one request, one answer.
#pragma once

#include "paramtype.h"

struct morvdclient_connection;
struct morvdclient_transaction;
struct morvdclient_list; // the daemon's own list

extern "C" {

// Each sends one request and waits for its answer. A transaction owned by the caller, or null if no answer came: the
// connection is lost then, and tsapi_make_session_ready makes it anew.
// `args` is a null-terminated array of texts, or null for none.
morvdclient_transaction *morvdclient_send_get(morvdclient_connection *connection, const char *path);
morvdclient_transaction *morvdclient_send_set(morvdclient_connection *connection, const char *path, const char *value);
morvdclient_transaction *morvdclient_send_info(morvdclient_connection *connection, const char *path,
                                               const char *const *args);
morvdclient_transaction *morvdclient_send_admin(morvdclient_connection *connection, const char *path,
                                                const char *const *args);
morvdclient_transaction *morvdclient_send_list(morvdclient_connection *connection, const char *path);
morvdclient_transaction *morvdclient_send_mlist(morvdclient_connection *connection, const char *path);
morvdclient_transaction *morvdclient_send_add(morvdclient_connection *connection, const char *path, const char *name);
morvdclient_transaction *morvdclient_send_del(morvdclient_connection *connection, const char *path, const char *name);
morvdclient_transaction *morvdclient_send_move(morvdclient_connection *connection, const char *path, const char *first,
                                               const char *second);

// The daemon's result; 0 means success, a refusal is never 0.
int morvdclient_transaction_get_result_code(morvdclient_transaction *transaction);

// The answer as text, owned by the transaction; null where the value is absent or the answer is no text.
const char *morvdclient_transaction_get_value(morvdclient_transaction *transaction);

// The answer as the daemon's list, owned by the transaction; null where the answer is no list.
morvdclient_list *morvdclient_transaction_get_list(morvdclient_transaction *transaction);

// A text list that outlives the transaction, for paramtype_UTF8String_list_free; null for an empty list, for null, and
// without memory. To be asked for once: `list` may give its texts away.
paramtype_UTF8String_list *morvdclient_list_to_UTF8String_list(morvdclient_list *list);

// Null is ignored.
void morvdclient_destroy_transaction(morvdclient_transaction *transaction);

// New heap text in which every byte outside A-Z a-z 0-9 - _ ~ stands as %XX; null without memory.
char *url_encode(const char *text);
}

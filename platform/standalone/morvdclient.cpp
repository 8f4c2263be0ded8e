// The control daemon's client off the appliance: the nine verbs as requests, and what their answers hold.

#include "morvdclient.h"

#include <cstdlib>
#include <cstring>
#include <utility>

#include "platform/standalone/resp.h"

// --- Requests -------------------------------------------------------------------------------------------------------

morvdclient_transaction *morvdclient_send_get(morvdclient_connection *connection, const char *path)
{
    const char *const words[] = {"get", path};
    return resp_exchange(connection, resp_text | resp_absent, words);
}

morvdclient_transaction *morvdclient_send_set(morvdclient_connection *connection, const char *path, const char *value)
{
    const char *const words[] = {"set", path, value};
    return resp_exchange(connection, resp_ok, words);
}

morvdclient_transaction *morvdclient_send_info(morvdclient_connection *connection, const char *path,
                                               const char *const *args)
{
    const char *const words[] = {"info", path};
    return resp_exchange(connection, resp_text | resp_absent, words, args);
}

morvdclient_transaction *morvdclient_send_admin(morvdclient_connection *connection, const char *path,
                                                const char *const *args)
{
    const char *const words[] = {"admin", path};
    return resp_exchange(connection, resp_ok, words, args);
}

morvdclient_transaction *morvdclient_send_list(morvdclient_connection *connection, const char *path)
{
    const char *const words[] = {"list", path};
    return resp_exchange(connection, resp_list, words);
}

morvdclient_transaction *morvdclient_send_mlist(morvdclient_connection *connection, const char *path)
{
    const char *const words[] = {"mlist", path};
    return resp_exchange(connection, resp_list, words);
}

morvdclient_transaction *morvdclient_send_add(morvdclient_connection *connection, const char *path, const char *name)
{
    const char *const words[] = {"add", path, name};
    return resp_exchange(connection, resp_ok, words);
}

morvdclient_transaction *morvdclient_send_del(morvdclient_connection *connection, const char *path, const char *name)
{
    const char *const words[] = {"del", path, name};
    return resp_exchange(connection, resp_ok, words);
}

morvdclient_transaction *morvdclient_send_move(morvdclient_connection *connection, const char *path, const char *first,
                                               const char *second)
{
    const char *const words[] = {"move", path, first, second};
    return resp_exchange(connection, resp_ok, words);
}

// --- Answers --------------------------------------------------------------------------------------------------------

int morvdclient_transaction_get_result_code(morvdclient_transaction *transaction)
{
    return resp_result(transaction);
}

const char *morvdclient_transaction_get_value(morvdclient_transaction *transaction)
{
    return transaction->kind == resp_text ? transaction->text : nullptr;
}

morvdclient_list *morvdclient_transaction_get_list(morvdclient_transaction *transaction)
{
    return transaction->kind == resp_list ? &transaction->list : nullptr;
}

paramtype_UTF8String_list *morvdclient_list_to_UTF8String_list(morvdclient_list *list)
{
    paramtype_UTF8String_list *first = nullptr;
    for (int i = list ? list->count : 0; i > 0; --i) { // from the end, so that each node goes in front
        auto *node = static_cast<paramtype_UTF8String_list *>(malloc(sizeof *first));
        if (!node) {
            paramtype_UTF8String_list_free(first);
            return nullptr;
        }
        *node = {.next = first, .value = std::exchange(list->texts[i - 1], nullptr)};
        first = node;
    }
    return first;
}

void morvdclient_destroy_transaction(morvdclient_transaction *transaction)
{
    resp_release(transaction);
}

// --- Path components ------------------------------------------------------------------------------------------------

// Whatever the locale says, and never the '.' that divides components.
static bool stands_for_itself(char c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '_' ||
           c == '~';
}

char *url_encode(const char *text)
{
    static constexpr char digits[] = "0123456789ABCDEF";
    auto *encoded = static_cast<char *>(malloc(3 * strlen(text) + 1));
    if (!encoded)
        return nullptr;
    char *to = encoded;
    for (const char *from = text; *from; ++from) {
        if (stands_for_itself(*from)) {
            *to++ = *from;
        } else {
            const auto byte = static_cast<unsigned char>(*from);
            *to++ = '%';
            *to++ = digits[byte >> 4];
            *to++ = digits[byte & 15];
        }
    }
    *to = '\0';
    return encoded;
}

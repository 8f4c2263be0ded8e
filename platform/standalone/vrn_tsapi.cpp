// The TSAPI client library off the appliance: one connection to the control daemon, opened by a login and, when it was
// lost, made anew with the token that the login gave.

#include "vrn_tsapi.h"

#include <charconv>
#include <cstdlib>
#include <cstring>

#include "platform/root.h"
#include "platform/standalone/resp.h"
#include "vrn_auth.h"

static constexpr char socket_path[] = "/run/morvd.sock";

// Results of this library. They keep clear of those that the client layer gives of its own.
static constexpr int not_reached = -20; // nobody at the socket
static constexpr int no_answer = -21;
static constexpr int refused = -22;
static constexpr int no_memory = -23;

struct vrn_tsapi_handle {
    morvdclient_connection connection;
    char *token; // what the login gave, for `resume`
};

// Connects and sends the first request of a connection. 0 with its answer, owned by the caller; else the connection is
// closed.
static int open_connection(morvdclient_connection *connection, unsigned understood,
                           std::span<const char *const> request, morvdclient_transaction **answer)
{
    char path[root_path_size];
    if (!root_path(socket_path, path) || resp_connect(connection, path))
        return not_reached;
    *answer = resp_exchange(connection, understood, request);
    const int result = !*answer ? no_answer : resp_result(*answer) ? refused : 0;
    if (result) {
        resp_release(*answer);
        resp_drop(connection);
    }
    return result;
}

static int log_in(vrn_tsapi_handle *handle, const char *user, int sid)
{
    char sid_text[sizeof "-2147483648"] = {};
    std::to_chars(sid_text, sid_text + sizeof sid_text - 1, sid);
    // A session without a user name logs in with an empty one: whom to let in is the daemon's matter.
    const char *const request[] = {"login", user ? user : "", sid_text};
    morvdclient_transaction *answer = nullptr;
    const int result = open_connection(&handle->connection, resp_text, request, &answer);
    if (result)
        return result;
    handle->token = strdup(answer->text);
    resp_release(answer);
    return handle->token ? 0 : no_memory;
}

int vrn_tsapi_init_with_vrnaaa_session(vrn_tsapi_handle **handle, ci_session *session)
{
    auto *made = static_cast<vrn_tsapi_handle *>(malloc(sizeof(vrn_tsapi_handle)));
    if (!made)
        return no_memory;
    *made = {.connection = resp_not_connected, .token = nullptr};
    char *user = vrn_auth_session_get_username(session);
    const int result = log_in(made, user, vrn_auth_session_get_sid(session));
    free(user);
    if (result)
        vrn_tsapi_destroy(made);
    else
        *handle = made;
    return result;
}

void vrn_tsapi_destroy(vrn_tsapi_handle *handle)
{
    if (!handle)
        return;
    resp_drop(&handle->connection);
    free(handle->token);
    free(handle);
}

int vrn_tsapi_commit(vrn_tsapi_handle *handle)
{
    const char *const request[] = {"commit"};
    morvdclient_transaction *answer = resp_exchange(&handle->connection, resp_ok, request);
    const int result = !answer ? no_answer : resp_result(answer) ? refused : 0;
    resp_release(answer);
    return result;
}

morvdclient_connection *vrn_tsapi_get_connection(vrn_tsapi_handle *handle)
{
    return &handle->connection;
}

int tsapi_make_session_ready(vrn_tsapi_handle *handle)
{
    if (handle->connection.socket >= 0)
        return 0;
    const char *const request[] = {"resume", handle->token};
    morvdclient_transaction *answer = nullptr;
    const int result = open_connection(&handle->connection, resp_ok, request, &answer);
    if (result == 0)
        resp_release(answer);
    return result;
}

int tsapi_make_session_idle(vrn_tsapi_handle *)
{
    return 0;
}

// The TSAPI client library: a handle on the control tree, and its readiness for an exchange.
#pragma once

struct ci_session;
struct vrn_tsapi_handle;
struct morvdclient_connection;

extern "C" {

// Logs in to the control tree with the session's credentials and fills the handle; 0 means success. Called with
// effective user 0 where the program may have it. On failure the handle is left as it was.
int vrn_tsapi_init_with_vrnaaa_session(vrn_tsapi_handle **handle, ci_session *session);

// Closes the handle; null is ignored.
void vrn_tsapi_destroy(vrn_tsapi_handle *handle);

// Makes `set` operations take effect. 0 means success.
int vrn_tsapi_commit(vrn_tsapi_handle *handle);

// The connection of the handle, owned by it.
morvdclient_connection *vrn_tsapi_get_connection(vrn_tsapi_handle *handle);

// Prepares the handle for an exchange; 0 means ready. A lost connection is made anew here.
int tsapi_make_session_ready(vrn_tsapi_handle *handle);

// Ends the exchange; 0 means done.
int tsapi_make_session_idle(vrn_tsapi_handle *handle);
}

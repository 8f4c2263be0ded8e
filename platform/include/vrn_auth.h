// The authentication library.
#pragma once

struct ci_session;

extern "C" {

// The session id, 0 if there is none.
int vrn_auth_session_get_sid(ci_session *session);

// The user name as new heap text that the caller frees; null if there is none.
char *vrn_auth_session_get_username(ci_session *session);
}

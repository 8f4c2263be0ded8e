// The session library: the login session, its time-out, a tap on the terminal traffic, and platform modules.
#pragma once

// The session record, owned by the library for the life of the process.
struct ci_session {
    char *command; // what was handed to the session; null when it carries no command
};

extern "C" {

// Set by a failed ci_init; 0 where the library has no number for the cause.
extern int ci_errno;

// Opens the session of the logged-in user; null on failure. The callback is the library's to call.
ci_session *ci_init(int (*callback)(void *));

// Hands one piece of terminal traffic to the tap. Non-zero on success, 0 on failure.
int ci_dla(ci_session *session, const char *text);

// Restarts the session's time-out.
void ci_reset_to(ci_session *session);

// Periodic service call while the prompt is idle.
void ci_check_modules(ci_session *session);

// Tells the library that a signal arrived (value 1). Called inside a signal handler.
void ci_flag_signal(int signo, int value);

// Registers the function that the library calls to have pending signals treated.
void ci_set_sighandler(void (*function)());

// Lets the library act on the signals flagged to it; it may end the process through exit.
void ci_signal_treat();

// Runs FUNCTION of a platform module with its arguments as the real user and waits for it. 0 if it ran and ended with
// 0, any other value if it could not be run (a module is named, never a path; no text may be null) or ended otherwise.
int ci_exec(ci_session *session, const char *module, const char *function, const char *arguments);
}

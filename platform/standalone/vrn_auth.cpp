// The authentication library off the appliance: who runs the program is who is logged in, unless the environment says
// otherwise.

#include "vrn_auth.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <pwd.h>
#include <unistd.h>

#include "paramtype.h"

// The file first: it knows whoever may log in at a desk, and the services behind getpwuid cost a dozen system calls to
// say the same.
static char *name_in_passwd_file(uid_t user)
{
    FILE *file = fopen("/etc/passwd", "re");
    if (!file)
        return nullptr;
    const passwd *entry = fgetpwent(file);
    while (entry && entry->pw_uid != user)
        entry = fgetpwent(file);
    char *name = entry ? strdup(entry->pw_name) : nullptr;
    fclose(file);
    return name;
}

// Looked up once, since the program and the login to the control tree both ask.
static const char *real_user()
{
    static char *name;
    if (!name)
        name = name_in_passwd_file(getuid());
    if (name)
        return name;
    const passwd *entry = getpwuid(getuid());
    name = entry ? strdup(entry->pw_name) : nullptr;
    return name;
}

int vrn_auth_session_get_sid(ci_session *)
{
    const char *given = secure_getenv("ZT_CI_SID");
    if (!given)
        return getsid(0);
    int sid = 0; // what is no number names no session
    paramtype_int_toC(given, &sid);
    return sid;
}

char *vrn_auth_session_get_username(ci_session *)
{
    const char *given = secure_getenv("ZT_CI_USER");
    const char *name = given ? given : real_user();
    return name && *name ? strdup(name) : nullptr;
}

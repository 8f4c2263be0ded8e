// The root off the appliance: the folder that ZT_ROOT names.

#include "platform/root.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>

const char *root_path(const char *absolute, char *buffer)
{
    const char *root = secure_getenv("ZT_ROOT");
    const int length = snprintf(buffer, root_path_size, "%s%s", root ? root : "", absolute);
    if (length < 0 || static_cast<size_t>(length) >= root_path_size) {
        errno = ENAMETOOLONG;
        return nullptr;
    }
    return buffer;
}

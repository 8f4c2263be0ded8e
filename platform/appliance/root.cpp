// The root on the appliance: the root itself, whatever the environment says.

#include "platform/root.h"

#include <cerrno>
#include <cstring>

const char *root_path(const char *absolute, char *buffer)
{
    const size_t size = strlen(absolute) + 1;
    if (size > root_path_size) {
        errno = ENAMETOOLONG;
        return nullptr;
    }
    memcpy(buffer, absolute, size);
    return buffer;
}

// The emulator keeps the whole address space of the program reserved, and the kernel attaches a segment at an address
// of the caller's choice only over nothing, or with SHM_REMAP.

#include <sys/shm.h>

extern "C" {

void *__real_shmat(int id, const void *address, int flags);

void *__wrap_shmat(int id, const void *address, int flags)
{
    return __real_shmat(id, address, address ? flags | SHM_REMAP : flags);
}
}

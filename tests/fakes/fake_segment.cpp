// The status segment in memory and the calls that find and map it.

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sys/ipc.h>
#include <sys/mman.h>
#include <sys/shm.h>

#include "core/ztd_shm.h"
#include "tests/fakes/state.h"

using namespace fakes;

static uint32_t used; // of the segment's room

static uint8_t *base()
{
    static void *const mapped = [] {
        void *wanted = reinterpret_cast<void *>(static_cast<uintptr_t>(shm_base_address));
        void *got = mmap(wanted, segment_size, PROT_READ | PROT_WRITE,
                         MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED_NOREPLACE, -1, 0);
        if (got != wanted) {
            perror("fakes: cannot map the segment at its address");
            abort();
        }
        return got;
    }();
    return static_cast<uint8_t *>(mapped);
}

namespace fakes {

std::span<uint8_t> fake_segment::bytes() const
{
    return {base(), segment_size};
}

void fake_segment::install(std::span<const uint8_t> image) const
{
    memset(base(), 0, segment_size);
    memcpy(base(), image.data(), std::min(image.size(), segment_size));
}

shm_root &fake_segment::root() const
{
    return *reinterpret_cast<shm_root *>(base());
}

void fake_segment::ready(bool set) const
{
    root().ready = set ? shm_ready_bit : 0;
}

uint32_t fake_segment::allocate(size_t room)
{
    uint32_t start = (used + 7) & ~7u;
    if (start + room > segment_size) {
        fputs("fakes: the segment is full\n", stderr);
        abort();
    }
    used = start + static_cast<uint32_t>(room);
    memset(base() + start, 0, room);
    return shm_base_address + start;
}

void reset_segment()
{
    segment = {};
    memset(base(), 0, segment_size);
    used = sizeof(shm_root);
    segment.ready(true);
    shm_forget();
}

void segment_slept()
{
    if (segment.ready_after > 0 && --segment.ready_after == 0)
        segment.ready(true);
}

} // namespace fakes

// --- System V shared memory -----------------------------------------------------------------------------------------

static std::string formatted(const char *format, ...) __attribute__((format(printf, 1, 2)));
static std::string formatted(const char *format, ...)
{
    char text[5000];
    va_list list;
    va_start(list, format);
    vsnprintf(text, sizeof text, format, list);
    va_end(list);
    return text;
}

static constexpr key_t segment_key = 0x2a010203;

extern "C" {

key_t __wrap_ftok(const char *path, int project)
{
    record_event(formatted("ftok %s %d", path, project));
    errno = ENOENT;
    return segment.key_file ? segment_key : -1;
}

int __wrap_shmget(key_t key, size_t size, int flags)
{
    record_event(formatted("shmget %#x %zu 0%o", static_cast<unsigned>(key), size, static_cast<unsigned>(flags)));
    errno = ENOENT;
    return segment.exists && key == segment_key ? segment.id : -1;
}

void *__wrap_shmat(int id, const void *address, int flags)
{
    record_event(formatted("shmat %p %d", address, flags));
    errno = EINVAL;
    if (!segment.attaches || id != segment.id)
        return reinterpret_cast<void *>(-1);
    return segment.elsewhere ? base() + segment_size / 2 : base();
}

int __wrap_shmdt(const void *)
{
    record_event("shmdt");
    return 0;
}

int __wrap_shmctl(int id, int command, shmid_ds *description)
{
    record_event("shmctl");
    if (id != segment.id || command != IPC_STAT) {
        errno = EINVAL;
        return -1;
    }
    *description = {};
    description->shm_segsz = segment.size;
    return 0;
}
}

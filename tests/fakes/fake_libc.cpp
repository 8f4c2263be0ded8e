// The functions of the C library that the linker's --wrap leads here: a heap that can fail, a clock, the effective
// user.

#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <malloc.h>
#include <string>
#include <sys/time.h>
#include <unistd.h>
#include <unordered_set>

#include "tests/fakes/state.h"

using namespace fakes;

extern "C" {
void *__real_malloc(size_t size);
void *__real_calloc(size_t count, size_t size);
void *__real_realloc(void *block, size_t size);
void *__real_reallocarray(void *block, size_t count, size_t size);
char *__real_strdup(const char *text);
char *__real_strndup(const char *text, size_t size);
int __real_vasprintf(char **text, const char *format, va_list list);
void __real_free(void *block);
}

namespace {

// Counts up to the call that fails.
struct nth_failure {
    int count = 0;
    int which = 0; // 0: none
    bool happened = false;

    bool fails()
    {
        if (++count != which)
            return false;
        happened = true;
        errno = ENOMEM;
        return true;
    }
};

} // namespace

static nth_failure allocation;
static nth_failure growth; // realloc alone
static std::string watched;
static int seen_in_freed;
static int64_t now_usec;
static int64_t step_usec;
static std::vector<int64_t> all_sleeps;

// The blocks that are out, by their address turned over: the leak check of AddressSanitizer takes any address that it
// can reach for a live block, and would find nothing while they stood here as they are. They are never taken down: what
// runs at the very end of the process still comes by.
static std::unordered_set<uintptr_t> &blocks()
{
    static auto &out = *new std::unordered_set<uintptr_t>;
    return out;
}

static bool fails()
{
    return allocation.fails();
}

template <class Block> static Block *taken(Block *block)
{
    if (block)
        blocks().insert(~reinterpret_cast<uintptr_t>(block));
    return block;
}

static void given_back(const void *block)
{
    if (block && !watched.empty() && malloc_usable_size(const_cast<void *>(block)) >= watched.size())
        seen_in_freed += memcmp(block, watched.data(), watched.size()) == 0;
    blocks().erase(~reinterpret_cast<uintptr_t>(block));
}

// --- Heap -----------------------------------------------------------------------------------------------------------

extern "C" {

void *__wrap_malloc(size_t size)
{
    return fails() ? nullptr : taken(__real_malloc(size));
}

void *__wrap_calloc(size_t count, size_t size)
{
    return fails() ? nullptr : taken(__real_calloc(count, size));
}

void *__wrap_realloc(void *block, size_t size)
{
    const bool cannot_grow = growth.fails();
    if (fails() || cannot_grow)
        return nullptr;
    given_back(block);
    return taken(__real_realloc(block, size));
}

void *__wrap_reallocarray(void *block, size_t count, size_t size)
{
    if (fails())
        return nullptr;
    given_back(block);
    return taken(__real_reallocarray(block, count, size));
}

char *__wrap_strdup(const char *text)
{
    return fails() ? nullptr : taken(__real_strdup(text));
}

char *__wrap_strndup(const char *text, size_t size)
{
    return fails() ? nullptr : taken(__real_strndup(text, size));
}

int __wrap_vasprintf(char **text, const char *format, va_list list)
{
    if (fails()) {
        *text = reinterpret_cast<char *>(1); // undefined by contract: whoever uses it all the same is to notice
        return -1;
    }
    int length = __real_vasprintf(text, format, list);
    taken(length < 0 ? nullptr : *text);
    return length;
}

int __wrap_asprintf(char **text, const char *format, ...)
{
    va_list list;
    va_start(list, format);
    int length = __wrap_vasprintf(text, format, list);
    va_end(list);
    return length;
}

void __wrap_free(void *block)
{
    given_back(block);
    __real_free(block);
}
}

namespace fakes {

void fake_heap::fail_at(int n)
{
    allocation = {.which = n};
}

bool fake_heap::failed() const
{
    return allocation.happened;
}

int fake_heap::count() const
{
    return allocation.count;
}

void fake_heap::fail_growth_at(int n)
{
    growth = {.which = n};
}

bool fake_heap::growth_failed() const
{
    return growth.happened;
}

int fake_heap::growth_count() const
{
    return growth.count;
}

void fake_heap::watch(const std::string &secret)
{
    watched = secret;
    seen_in_freed = 0;
}

int fake_heap::seen() const
{
    return seen_in_freed;
}

size_t fake_heap::live() const
{
    return blocks().size();
}

// --- Clock ----------------------------------------------------------------------------------------------------------

void fake_clock::set(int64_t seconds, int64_t microseconds)
{
    now_usec = seconds * 1000000 + microseconds;
}

void fake_clock::advance(int64_t microseconds)
{
    now_usec += microseconds;
}

void fake_clock::step(int64_t microseconds)
{
    step_usec = microseconds;
}

const std::vector<int64_t> &fake_clock::sleeps() const
{
    return all_sleeps;
}

void forget_libc()
{
    all_sleeps.clear();
}

void reset_libc()
{
    heap.fail_at(0);
    heap.fail_growth_at(0);
    heap.watch("");
    wall_clock.set(1311340620); // 2011-07-22 13:17:00 UTC
    wall_clock.step(0);
    forget_libc();
}

} // namespace fakes

static void slept(int64_t microseconds)
{
    record_event("sleep " + std::to_string(microseconds));
    all_sleeps.push_back(microseconds);
    wall_clock.advance(microseconds);
    segment_slept();
}

extern "C" {

int __wrap_usleep(useconds_t microseconds)
{
    slept(microseconds);
    return 0;
}

unsigned __wrap_sleep(unsigned seconds)
{
    slept(static_cast<int64_t>(seconds) * 1000000);
    return 0;
}

int __wrap_gettimeofday(timeval *time, void *)
{
    time->tv_sec = static_cast<time_t>(now_usec / 1000000);
    time->tv_usec = static_cast<suseconds_t>(now_usec % 1000000);
    now_usec += step_usec;
    return 0;
}

int __wrap_seteuid(uid_t user)
{
    record_event("seteuid " + std::to_string(user));
    if (session.seteuids_before-- > 0)
        return 0;
    if (session.seteuid_result)
        errno = EPERM;
    return session.seteuid_result;
}
}

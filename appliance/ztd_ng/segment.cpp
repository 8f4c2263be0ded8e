// Makes, takes over and removes the segment.

#include "appliance/ztd_ng/segment.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <stdexcept>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <system_error>
#include <unistd.h>

static constexpr int segment_mode = 0666; // readers run as any user and map it without flags

[[noreturn]] static void fail(const std::string &what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

// --- The key --------------------------------------------------------------------------------------------------------

key_file::key_file(std::string path) : path_(std::move(path))
{
    const int made = open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (made < 0 && errno != EEXIST)
        fail("cannot make key file '" + path_ + "'");
    made_ = made >= 0;
    if (made_)
        close(made);
    key_ = ftok(path_.c_str(), shm_project_id);
    if (key_ == -1)
        fail("cannot make a key of '" + path_ + "'");
}

key_file::~key_file()
{
    if (made_)
        unlink(path_.c_str());
}

// --- The segment ----------------------------------------------------------------------------------------------------

static std::span<std::byte> attach(int id, size_t size)
{
    void *base = shmat(id, nullptr, 0);
    if (base == reinterpret_cast<void *>(-1))
        fail("cannot map segment " + std::to_string(id));
    return {static_cast<std::byte *>(base), size};
}

static bool is_alive(pid_t process)
{
    return process > 0 && (kill(process, 0) == 0 || errno == EPERM);
}

bool status_segment::take_over(key_t key, size_t size)
{
    const int id = shmget(key, 0, 0);
    if (id < 0 && errno == ENOENT)
        return false;
    shmid_ds state{};
    if (id < 0 || shmctl(id, IPC_STAT, &state) < 0)
        fail("cannot look at the segment of key " + std::to_string(key));

    const std::span<std::byte> left = attach(id, state.shm_segsz);
    const pid_t image_owner = status_image::owner(left);
    const pid_t owner = image_owner ? image_owner : state.shm_cpid;
    // A living daemon has its segment mapped. Its pid alone says little: it may be another's by now, or this one's.
    const bool held = state.shm_nattch > 0 && owner != getpid() && is_alive(owner);
    if (!held && image_owner && left.size() >= size) {
        id_ = id;
        memory_ = left;
        return true;
    }
    shmdt(left.data());
    if (held)
        throw std::runtime_error("the segment of key " + std::to_string(key) + " is held by process " +
                                 std::to_string(owner));
    if (shmctl(id, IPC_RMID, nullptr) < 0)
        fail("cannot remove the stale segment " + std::to_string(id));
    return false;
}

void status_segment::make(key_t key, size_t size)
{
    id_ = shmget(key, size, IPC_CREAT | IPC_EXCL | segment_mode);
    if (id_ < 0)
        fail("cannot make a segment of " + std::to_string(size) + " bytes");
    try {
        memory_ = attach(id_, size);
    } catch (...) {
        shmctl(id_, IPC_RMID, nullptr);
        throw;
    }
}

status_segment::status_segment(key_t key, size_t size)
{
    if (!take_over(key, size))
        make(key, size);
    image_.emplace(memory_);
}

void status_segment::remove()
{
    image_->withdraw();
    shmctl(id_, IPC_RMID, nullptr);
}

status_segment::~status_segment()
{
    remove();
    shmdt(memory_.data());
}

// --- The publisher --------------------------------------------------------------------------------------------------

void status_publisher::publish(const chain_status &chain)
{
    for (;;) {
        try {
            if (!segment_)
                segment_.emplace(key_, size_);
            segment_->image().publish(chain);
            return;
        } catch (const image_full &) {
            segment_.reset();
            size_ *= 2;
        }
    }
}

// The System V segment that the image lies in: its key, its life, and what a daemon that died has left.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <sys/types.h>

#include "appliance/ztd_ng/image.h"

// The file below the root that the key of the segment is made from. On the appliance it is the daemon itself; on the
// desk an empty one is made where it is missing, and removed again with this.
class key_file {
public:
    // Throws std::system_error.
    explicit key_file(std::string path);
    ~key_file();
    key_file(const key_file &) = delete;
    key_file &operator=(const key_file &) = delete;

    key_t key() const { return key_; }
    const char *path() const { return path_.c_str(); }
    bool made() const { return made_; }

private:
    std::string path_;
    key_t key_ = -1;
    bool made_ = false;
};

// The segment of one key, mapped, with its image. Readers map it at shm_base_address; the daemon wherever it fits.
class status_segment {
public:
    // Takes over what a dead daemon left under the key, if it is an image and large enough, so that who has it mapped
    // sees it go on; removes it otherwise, and makes a new segment of `size` bytes, open to every user. Throws
    // std::runtime_error, also where a living process holds the key.
    status_segment(key_t key, size_t size);
    // Clears the ready byte and removes the segment. Who has it mapped keeps it.
    ~status_segment();
    status_segment(const status_segment &) = delete;
    status_segment &operator=(const status_segment &) = delete;

    int id() const { return id_; }
    std::span<std::byte> memory() const { return memory_; }
    // What the destructor does for others to see; a signal handler may call it while nobody changes the image.
    void remove();
    status_image &image() { return *image_; }

private:
    bool take_over(key_t key, size_t size);
    void make(key_t key, size_t size);

    int id_ = -1;
    std::span<std::byte> memory_;
    std::optional<status_image> image_;
};

// The segment as a daemon publishes in it: made with the first publication, made anew and larger when the chain
// outgrows it.
class status_publisher {
public:
    // `size` is how large the first segment is; the pages that nothing lies on cost nothing.
    explicit status_publisher(key_t key, size_t size = 1 << 20) : key_(key), size_(size) {}

    // Throws std::runtime_error where there is no segment to be had. A chain that outgrows its segment moves into one
    // of twice the size under the same key; readers that have the old one mapped keep it, no longer ready.
    void publish(const chain_status &chain);

    // Null before the first publication.
    status_segment *segment() { return segment_ ? &*segment_ : nullptr; }

private:
    key_t key_;
    size_t size_;
    std::optional<status_segment> segment_;
};

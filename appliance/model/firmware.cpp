// What is read of an image, what is checked, and how it is kept.

#include "appliance/model/firmware.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

static constexpr std::string_view magic = "ZTIMAGE1";
static constexpr size_t length_at = 8, checksum_at = 12, version_at = 16, header_size = 64;
static constexpr size_t longest_version = 31;
static constexpr size_t largest_image = 16 << 20;

struct open_file {
    explicit open_file(int opened) : descriptor(opened) {}
    ~open_file()
    {
        if (descriptor >= 0)
            close(descriptor);
    }
    open_file(const open_file &) = delete;

    int descriptor;
};

static bool complain(std::string *fault, const char *what, int cause)
{
    *fault = std::string(what) + ": " + strerror(cause);
    return false;
}

// --- Reading --------------------------------------------------------------------------------------------------------

static uint32_t number_at(std::string_view image, size_t at)
{
    uint32_t number = 0;
    for (size_t i = at; i < at + 4; i++)
        number = number << 8 | static_cast<unsigned char>(image[i]);
    return number;
}

static uint32_t checksum(std::string_view bytes)
{
    uint32_t sum = ~0U;
    for (char byte : bytes) {
        sum ^= static_cast<unsigned char>(byte);
        for (int bit = 0; bit < 8; bit++)
            sum = sum >> 1 ^ (sum & 1 ? 0xEDB88320U : 0);
    }
    return ~sum;
}

static bool is_version(std::string_view field, std::string_view version)
{
    return !version.empty() && version.size() <= longest_version &&
           std::ranges::all_of(version, [](char letter) { return letter > ' ' && letter <= '~'; }) &&
           field.find_first_not_of('\0', version.size()) == field.npos;
}

static bool check(firmware *read, std::string *fault)
{
    std::string_view image = read->image;
    if (image.size() < header_size || !image.starts_with(magic))
        *fault = "it has no header of an image";
    else if (image.size() - header_size != number_at(image, length_at))
        *fault = "it is not as long as its header says";
    else if (checksum(image.substr(version_at)) != number_at(image, checksum_at))
        *fault = "its checksum is another";
    else {
        std::string_view field = image.substr(version_at, header_size - version_at);
        read->version = field.substr(0, field.find('\0'));
        if (is_version(field, read->version))
            return true;
        *fault = "it has no version";
    }
    return false;
}

// The file stands where everybody can write: what is in its place is neither followed nor waited for.
bool read_firmware(const std::string &path, firmware *read, std::string *fault)
{
    open_file file(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat status;
    if (file.descriptor < 0 || fstat(file.descriptor, &status))
        return complain(fault, "it can't be opened", errno);
    if (!S_ISREG(status.st_mode) || status.st_size > static_cast<off_t>(largest_image)) {
        *fault = "it is no file of an image's size";
        return false;
    }
    read->image.resize(static_cast<size_t>(status.st_size));
    size_t done = 0;
    while (done < read->image.size()) {
        ssize_t got = ::read(file.descriptor, read->image.data() + done, read->image.size() - done);
        if (got < 0 && errno != EINTR)
            return complain(fault, "it can't be read", errno);
        if (got == 0)
            break;
        done += static_cast<size_t>(std::max<ssize_t>(got, 0));
    }
    read->image.resize(done);
    return check(read, fault);
}

// --- Keeping --------------------------------------------------------------------------------------------------------

static bool write_all(int descriptor, std::string_view bytes)
{
    while (!bytes.empty()) {
        ssize_t written = write(descriptor, bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR)
            return false;
        bytes.remove_prefix(static_cast<size_t>(std::max<ssize_t>(written, 0)));
    }
    return fsync(descriptor) == 0;
}

bool store_firmware(const std::string &path, const firmware &read, std::string *fault)
{
    std::string beside = path + ".new";
    open_file file(open(beside.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0644));
    if (file.descriptor < 0)
        return complain(fault, "it can't be stored", errno);
    if (write_all(file.descriptor, read.image) && rename(beside.c_str(), path.c_str()) == 0)
        return true;
    complain(fault, "it can't be stored", errno);
    unlink(beside.c_str());
    return false;
}

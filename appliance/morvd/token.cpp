// Making, keeping and reading of session tokens. A token reads TAG.SID.USER, the tag as 16 hexadecimal digits.

#include "appliance/morvd/token.h"

#include <bit>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

// --- The tag --------------------------------------------------------------------------------------------------------

struct sip_state {
    uint64_t v0, v1, v2, v3;
};

static void sip_rounds(sip_state &s, int count)
{
    while (count-- > 0) {
        s.v0 += s.v1;
        s.v2 += s.v3;
        s.v1 = std::rotl(s.v1, 13) ^ s.v0;
        s.v3 = std::rotl(s.v3, 16) ^ s.v2;
        s.v0 = std::rotl(s.v0, 32);
        s.v2 += s.v1;
        s.v0 += s.v3;
        s.v1 = std::rotl(s.v1, 17) ^ s.v2;
        s.v3 = std::rotl(s.v3, 21) ^ s.v0;
        s.v2 = std::rotl(s.v2, 32);
    }
}

// Up to eight bytes, the first lowest, whatever the machine's own order.
static uint64_t little_endian(std::string_view bytes)
{
    uint64_t word = 0;
    for (size_t i = 0; i < bytes.size(); i++)
        word |= uint64_t{static_cast<unsigned char>(bytes[i])} << (8 * i);
    return word;
}

uint64_t tag_of(const token_key &key, std::string_view text)
{
    sip_state s = {key.half[0] ^ 0x736f6d6570736575, key.half[1] ^ 0x646f72616e646f6d, key.half[0] ^ 0x6c7967656e657261,
                   key.half[1] ^ 0x7465646279746573};
    uint64_t last = uint64_t{text.size()} << 56;
    for (; text.size() >= 8; text.remove_prefix(8)) {
        uint64_t word = little_endian(text.substr(0, 8));
        s.v3 ^= word;
        sip_rounds(s, 2);
        s.v0 ^= word;
    }
    last |= little_endian(text);
    s.v3 ^= last;
    sip_rounds(s, 2);
    s.v0 ^= last;
    s.v2 ^= 0xff;
    sip_rounds(s, 4);
    return s.v0 ^ s.v1 ^ s.v2 ^ s.v3;
}

// --- The key's file -------------------------------------------------------------------------------------------------

static bool read_key(const std::string &path, token_key *key)
{
    int file = open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
    if (file < 0)
        return false;
    struct stat about;
    bool ours = fstat(file, &about) == 0 && S_ISREG(about.st_mode) && about.st_uid == geteuid() &&
                (about.st_mode & 077) == 0 && about.st_size == sizeof *key &&
                read(file, key, sizeof *key) == sizeof *key;
    close(file);
    return ours;
}

static bool write_key(const std::string &path, const token_key &key)
{
    unlink(path.c_str());
    int file = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (file < 0)
        return false;
    bool written = write(file, &key, sizeof key) == sizeof key;
    return close(file) == 0 && written;
}

bool load_token_key(const std::string &path, token_key *key, std::string *fault)
{
    if (read_key(path, key))
        return true;
    if (getrandom(key, sizeof *key, 0) == sizeof *key && write_key(path, *key))
        return true;
    *fault = "cannot write '" + path + "': " + strerror(errno);
    return false;
}

// --- Tokens ---------------------------------------------------------------------------------------------------------

std::string make_token(const token_key &key, std::string_view user, std::string_view sid)
{
    std::string body = std::string(sid) + "." + std::string(user);
    char tag[17];
    snprintf(tag, sizeof tag, "%016" PRIx64, tag_of(key, body));
    return std::string(tag) + "." + body;
}

bool read_token(const token_key &key, std::string_view token, std::string *user)
{
    size_t sid = token.find('.') + 1;
    size_t name = token.find('.', sid) + 1;
    if (sid == 0 || name == 0)
        return false;
    std::string made = make_token(key, token.substr(name), token.substr(sid, name - 1 - sid));
    // Compared to the end whatever differs, so that the time taken tells nothing of the tag.
    unsigned char different = made.size() != token.size();
    for (size_t i = 0; i < made.size() && i < token.size(); i++)
        different |= static_cast<unsigned char>(made[i] ^ token[i]);
    *user = token.substr(name);
    return !different;
}

// Firmware images: as they are, and again with length and checksum put right, so that what stands behind those checks
// is reached too. One that is taken has a version, and comes back the same from where it is stored.

#include <algorithm>
#include <unistd.h>

#include "appliance/model/firmware.h"
#include "tests/fuzz/fuzz.h"

static constexpr size_t length_at = 8, checksum_at = 12, summed_at = 16, header_size = 64;

static std::string folder()
{
    std::string made = "/dev/shm/zt-fuzz-XXXXXX"; // in memory: each image that is stored is waited for
    must(mkdtemp(made.data()), "there is a folder for images");
    static std::string remembered = made;
    atexit([] {
        for (const char *name : {"/image", "/stored"})
            unlink((remembered + name).c_str());
        rmdir(remembered.c_str());
    });
    return made;
}

static void put_number(std::string &image, size_t at, uint32_t number)
{
    for (int shift = 24; shift >= 0; shift -= 8)
        image[at++] = static_cast<char>(number >> shift);
}

static void put_right(std::string &image)
{
    image.resize(std::max(image.size(), header_size));
    image.replace(0, length_at, "ZTIMAGE1");
    put_number(image, length_at, static_cast<uint32_t>(image.size() - header_size));
    uint32_t sum = ~0u;
    for (char byte : image.substr(summed_at)) {
        sum ^= static_cast<unsigned char>(byte);
        for (int bit = 0; bit < 8; bit++)
            sum = (sum >> 1) ^ (sum % 2 ? 0xedb88320u : 0);
    }
    put_number(image, checksum_at, ~sum);
}

static void write_file(const std::string &path, const std::string &bytes)
{
    FILE *file = fopen(path.c_str(), "w");
    must(file && fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size() && fclose(file) == 0,
         "the image is written");
}

// Whether the image is taken.
static bool check_image(const std::string &image)
{
    static const std::string in = folder();
    const std::string path = in + "/image", stored = in + "/stored";
    write_file(path, image);
    firmware read, again;
    std::string fault;
    if (!read_firmware(path, &read, &fault)) {
        must(!fault.empty(), "a fault has words");
        return false;
    }
    must(read.image == image && image.size() >= header_size, "all of the image is read");
    must(!read.version.empty() && read.version.size() <= 31, "it has a version");
    must(std::ranges::all_of(read.version, [](char letter) { return letter > ' ' && letter <= '~'; }),
         "of printable letters", read.version);
    must(store_firmware(stored, read, &fault) && read_firmware(stored, &again, &fault), "it can be stored", fault);
    must(again.image == read.image && again.version == read.version, "and read again");
    return true;
}

static bool version_is_sound(const std::string &image)
{
    const std::string field = image.substr(summed_at, header_size - summed_at);
    const std::string version = field.substr(0, field.find('\0'));
    return !version.empty() && version.size() <= 31 &&
           std::ranges::all_of(version, [](char letter) { return letter > ' ' && letter <= '~'; }) &&
           field.find_first_not_of('\0', version.size()) == field.npos;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    std::string image(input_text(data, size));
    check_image(image);
    put_right(image);
    must(check_image(image) == version_is_sound(image), "a sound header is taken where its version is one");
    return 0;
}

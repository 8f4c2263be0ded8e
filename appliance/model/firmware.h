// A firmware image: 64 bytes of header, then what the unit runs.
//
//   0  8 bytes   "ZTIMAGE1"
//   8  4 bytes   how many bytes stand behind the header, the most significant first
//  12  4 bytes   CRC-32, as Ethernet's, of all from byte 16 on, likewise
//  16  48 bytes  the version, a printable text of at most 31 bytes, and bytes of 0 up to the end
#pragma once

#include <string>

struct firmware {
    std::string image;   // all of it, with its header
    std::string version; // that it says of itself
};

// Reads an image and checks all that its header says. False, with `fault` in words, for what is no sound image: a file
// that can't be read or is none, larger than 16 MiB, cut off, too long or altered.
bool read_firmware(const std::string &path, firmware *read, std::string *fault);

// Puts an image that was read into a file, in one step and for good: the file is the old one until it is the new one
// and on the disk, whenever the process may die. False, with `fault` in words, where that can't be.
bool store_firmware(const std::string &path, const firmware &read, std::string *fault);

// checkImage: says by its status whether a file is a sound firmware image.

#include <cstdio>

#include "appliance/model/firmware.h"

int main(int argc, char **argv)
{
    if (argc != 2) {
        fputs("Usage: checkImage FILE\n", stderr);
        return 2;
    }
    firmware image;
    std::string fault;
    if (!read_firmware(argv[1], &image, &fault)) {
        fprintf(stderr, "checkImage: cannot take '%s': %s\n", argv[1], fault.c_str());
        return 1;
    }
    return printf("%s\n", image.version.c_str()) < 0;
}

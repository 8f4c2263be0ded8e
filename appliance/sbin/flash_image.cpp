// flashImage: writes a firmware image for the appliance's own unit, which runs it from its next start on. It takes
// nothing that checkImage would refuse, since nobody may have asked that one.

#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <sys/auxv.h>

#include "appliance/model/firmware.h"

static constexpr std::string_view own_place = "/sbin/flashImage";
static constexpr char store[] = "/var/lib/ztfirmware";

// The root that this program stands in: it is started without the variable that names it.
static bool find_root(std::string *root)
{
    const char *started_as = reinterpret_cast<const char *>(getauxval(AT_EXECFN));
    *root = started_as ? started_as : "";
    if (!root->ends_with(own_place))
        return false;
    root->resize(root->size() - own_place.size());
    return true;
}

static int complain(const char *file, const std::string &fault)
{
    fprintf(stderr, "flashImage: cannot take '%s': %s\n", file, fault.c_str());
    return 1;
}

int main(int argc, char **argv)
{
    std::string root;
    if (argc != 3 || strcmp(argv[1], "-U admin") != 0 || !find_root(&root)) {
        fputs("Usage: /sbin/flashImage '-U admin' FILE\n", stderr);
        return 2;
    }
    firmware image;
    std::string fault;
    if (!read_firmware(argv[2], &image, &fault) || !store_firmware(root + store, image, &fault))
        return complain(argv[2], fault);
    return 0;
}

// Values on the wire: "TYPE TEXT". A text that converts comes back from the value as one that converts to the same, and
// one that does not leaves the result alone.

#include <arpa/inet.h>
#include <cstring>

#include "platform/include/paramtype.h"
#include "tests/fuzz/fuzz.h"

static constexpr unsigned char untouched = 0xa5;

// Answers the text that the value is written as; empty where the text did not convert.
template <class Value, class From>
static std::string convert(const std::string &text, int (*to)(const char *, Value *), From from)
{
    Value value, mark;
    memset(&value, untouched, sizeof value);
    memset(&mark, untouched, sizeof mark);
    if (!to(text.c_str(), &value)) {
        must(memcmp(&value, &mark, sizeof value) == 0, "a text that does not convert writes nothing", text);
        return {};
    }
    char *written = from(value);
    must(written, "a value that was read can be written", text);
    const std::string canonical = written;
    free(written);
    Value again;
    must(to(canonical.c_str(), &again), "what was written converts", canonical);
    char *twice = from(again);
    must(twice && canonical == twice, "to the same", canonical);
    free(twice);
    return canonical;
}

static void convert_as(char type, const std::string &text)
{
    switch (type) {
    case 'n': {
        const std::string written = convert(text, paramtype_int_toC, paramtype_int_fromC);
        must(written.empty() || text.find_first_not_of("-0123456789") == text.npos, "a number is digits alone", text);
        break;
    }
    case 'b':
        must(convert(text, paramtype_boolean_toC, paramtype_boolean_fromC).empty() ==
                 (text != "true" && text != "false"),
             "two words are truths", text);
        break;
    case '4':
        convert(text, paramtype_ipv4Address_toC, [](in_addr value) { return paramtype_ipv4Address_fromC(&value); });
        break;
    case '6':
        convert(text, paramtype_ipv6Address_toC, [](in6_addr value) { return paramtype_ipv6Address_fromC(&value); });
        break;
    case 'A':
        convert(text, paramtype_ipAddress_toC,
                [](paramtype_ip_address value) { return paramtype_ipAddress_fromC(&value); });
        break;
    case 'c':
        must(convert(text, paramtype_interface4Config_toC, paramtype_interface4Config_fromC).empty() ||
                 text == "static" || text == "dhcp" || text == "manual",
             "three words are methods", text);
        break;
    case 'C':
        must(convert(text, paramtype_interface6Config_toC, paramtype_interface6Config_fromC).empty() ||
                 text == "static" || text == "dhcp" || text == "manual" || text == "stateless",
             "four words are methods of version 6", text);
        break;
    default:
        break;
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string input = c_text(input_text(data, size));
    if (input.size() >= 2)
        convert_as(input[0], input.substr(2));
    return 0;
}

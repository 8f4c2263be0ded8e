// The appliance's own interface. What is set is staged; what is read has been committed.

#include <arpa/inet.h>
#include <charconv>
#include <iterator>

#include "appliance/model/network.h"
#include "appliance/morvd/leaves.h"
#include "appliance/morvd/writers.h"

using text = std::optional<std::string>;

static const network_settings &now(const target &to)
{
    return to.device->network->now;
}

static network_settings &staged(const target &to)
{
    return to.device->network->staged;
}

// An address that the interface does not have has no value.
static text text_or_absent(const std::string &value)
{
    return value.empty() ? std::nullopt : text(value);
}

// --- Values on the wire ---------------------------------------------------------------------------------------------

static constexpr std::string_view method_words[] = {"static", "dhcp", "manual", "stateless"};
static constexpr size_t method_count4 = 3; // the last is known to version 6 alone

static std::string method_word(address_method method)
{
    return std::string(method_words[static_cast<size_t>(method)]);
}

static result_code stage_method(address_method &method, size_t count, word_span words)
{
    for (size_t code = 0; code < count; code++)
        if (words[0] == method_words[code]) {
            method = static_cast<address_method>(code);
            return result_done;
        }
    return result_bad_value;
}

static result_code stage_address(int family, void *address, word_span words)
{
    return inet_pton(family, words[0].c_str(), address) == 1 ? result_done : result_bad_value;
}

static result_code stage_prefix(const target &to, word_span words)
{
    int prefix = 0;
    const char *end = words[0].data() + words[0].size();
    const auto [rest, error] = std::from_chars(words[0].data(), end, prefix);
    if (error != std::errc() || rest != end)
        return result_bad_value;
    staged(to).netmask6 = prefix;
    return result_done;
}

static result_code stage_active(const target &to, word_span words)
{
    if (words[0] != "true" && words[0] != "false")
        return result_bad_value;
    staged(to).active = words[0] == "true";
    return result_done;
}

// --- network and network.interface.* --------------------------------------------------------------------------------

static std::vector<std::string> interfaces(const target &)
{
    return {std::string(interface_name)};
}

static constexpr leaf network_table[] = {{.name = "interface", .list = interfaces, .mlist = interfaces}};

static text address(const target &to)
{
    return text_or_absent(address_of(now(to)).address);
}

static text netmask(const target &to)
{
    return text_or_absent(address_of(now(to)).netmask);
}

static text broadcast(const target &to)
{
    return text_or_absent(address_of(now(to)).broadcast);
}

static text address6(const target &to)
{
    return text_or_absent(address6_of(now(to)).address);
}

static constexpr leaf interface_table[] = {
    {.name = "method",
     .get = [](const target &to) { return text(method_word(now(to).method)); },
     .set = [](const target &to, word_span words) { return stage_method(staged(to).method, method_count4, words); }},
    {.name = "method6",
     .get = [](const target &to) { return text(method_word(now(to).method6)); },
     .set = [](const target &to,
               word_span words) { return stage_method(staged(to).method6, std::size(method_words), words); }},
    {.name = "address",
     .get = address,
     .info = address,
     .set = [](const target &to, word_span words) { return stage_address(AF_INET, &staged(to).address, words); }},
    {.name = "netmask",
     .get = netmask,
     .info = netmask,
     .set = [](const target &to, word_span words) { return stage_address(AF_INET, &staged(to).netmask, words); }},
    {.name = "broadcast", .get = broadcast, .info = broadcast},
    {.name = "address6",
     .get = address6,
     .info = address6,
     .set = [](const target &to, word_span words) { return stage_address(AF_INET6, &staged(to).address6, words); }},
    {.name = "netmask6",
     .get = [](const target &to) { return text_or_absent(address6_of(now(to)).netmask); },
     .set = stage_prefix},
    {.name = "active",
     .get = [](const target &to) { return text(now(to).active ? "true" : "false"); },
     .set = stage_active},
    {.name = "ifconfig", .info = [](const target &to) { return text(ifconfig_text(now(to))); }},
    {.name = "hwaddr", .info = [](const target &) { return text(std::string(interface_hwaddr)); }},
};

constinit const std::span<const leaf> network_leaves = network_table;
constinit const std::span<const leaf> interface_leaves = interface_table;

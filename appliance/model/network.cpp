// What an interface can be configured to, and what it has then. The servers of the desk's network answer at once and
// always the same.

#include "appliance/model/network.h"

#include <arpa/inet.h>

#include <bit>

static constexpr char dhcp_address[] = "192.0.2.10"; // of the blocks that are for documents
static constexpr char dhcp_netmask[] = "255.255.255.0";
static constexpr char dhcp_address6[] = "2001:db8::10";
static constexpr char stateless_address6[] = "2001:db8::ff:fe00:1"; // by the interface's hardware address
static constexpr char link_address6[] = "fe80::ff:fe00:1";
static constexpr int link_prefix = 64;
static constexpr int longest_prefix = 128;

// --- What can be committed ------------------------------------------------------------------------------------------

static bool is_netmask(uint32_t mask)
{
    return mask != 0 && std::countl_one(mask) + std::countr_zero(mask) == 32;
}

// A host's own address: in a class that hosts have, and neither the first nor the last of its network where that has
// room for others.
static bool is_host(uint32_t address, uint32_t mask)
{
    const uint32_t part = address & ~mask;
    const bool is_small = ~mask <= 1;
    const uint32_t first_byte = address >> 24;
    return first_byte != 0 && first_byte != 127 && first_byte < 224 && (is_small || (part != 0 && part != ~mask));
}

static bool is_host6(const in6_addr &address)
{
    return !IN6_IS_ADDR_UNSPECIFIED(&address) && !IN6_IS_ADDR_LOOPBACK(&address) && !IN6_IS_ADDR_MULTICAST(&address);
}

static bool is_valid(const network_settings &settings)
{
    const uint32_t mask = ntohl(settings.netmask.s_addr);
    if (settings.method == address_method::fixed &&
        !(is_netmask(mask) && is_host(ntohl(settings.address.s_addr), mask)))
        return false;
    return settings.method6 != address_method::fixed ||
           (settings.netmask6 >= 1 && settings.netmask6 <= longest_prefix && is_host6(settings.address6));
}

result_code commit_network(network_interface &interface)
{
    const bool accepted = is_valid(interface.staged);
    if (accepted)
        interface.now = interface.staged;
    interface.staged = interface.now;
    return accepted ? result_done : result_bad_value;
}

// --- What it has then -----------------------------------------------------------------------------------------------

static std::string text_of(int family, const void *address)
{
    char text[INET6_ADDRSTRLEN];
    return inet_ntop(family, address, text, sizeof text);
}

static address_texts with_broadcast(in_addr address, in_addr netmask)
{
    const in_addr broadcast = {address.s_addr | ~netmask.s_addr};
    return {text_of(AF_INET, &address), text_of(AF_INET, &netmask), text_of(AF_INET, &broadcast)};
}

address_texts address_of(const network_settings &now)
{
    if (!now.active || now.method == address_method::manual)
        return {};
    if (now.method == address_method::fixed)
        return with_broadcast(now.address, now.netmask);
    return with_broadcast({inet_addr(dhcp_address)}, {inet_addr(dhcp_netmask)});
}

address_texts address6_of(const network_settings &now)
{
    if (!now.active || now.method6 == address_method::manual)
        return {};
    if (now.method6 == address_method::fixed)
        return {text_of(AF_INET6, &now.address6), std::to_string(now.netmask6)};
    return {now.method6 == address_method::dhcp ? dhcp_address6 : stateless_address6, std::to_string(link_prefix)};
}

static std::string line_of_version6(const std::string &address, const std::string &prefix, const char *scope)
{
    return "\n          inet6 addr: " + address + "/" + prefix + " Scope:" + scope;
}

std::string ifconfig_text(const network_settings &now)
{
    std::string text =
        std::string(interface_name) + "      Link encap:Ethernet  HWaddr " + std::string(interface_hwaddr);
    const address_texts version4 = address_of(now);
    if (!version4.address.empty())
        text += "\n          inet addr:" + version4.address + "  Bcast:" + version4.broadcast +
                "  Mask:" + version4.netmask;
    const address_texts version6 = address6_of(now);
    if (!version6.address.empty())
        text += line_of_version6(version6.address, version6.netmask, "Global") +
                line_of_version6(link_address6, std::to_string(link_prefix), "Link");
    text += "\n          ";
    text += now.active ? "UP BROADCAST RUNNING MULTICAST" : "BROADCAST MULTICAST";
    return text + "  MTU:1500  Metric:1";
}

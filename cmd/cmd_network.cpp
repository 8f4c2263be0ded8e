// network: the network interface of the appliance, in both versions of the protocol. A change is staged in the control
// tree value by value and takes effect as a whole, by one activation and one commit.

#include "cmd/cmd_network.h"

#include <arpa/inet.h>

#include "client/tree.h"
#include "client/types.h"
#include "core/log.h"
#include "core/utils.h"
#include "vrn_tsapi.h"

const char network_usage[] = "Usage: network\t(shows the ethernet configuration)\n"
                             "   network ipv4 [down | dhcp | address <IPv4ADDR> mask <IPv4MASK>]\n"
                             "   network ipv6 [down | stateless | dhcp | address <IPv6ADDR> prefix <IPv6LEN>]\n"
                             "Configure the main ethernet interface.\n";

static constexpr char interface[] = "eth0";

// Codes of the configuration method, the same in both versions.
static constexpr int method_static = 0;
static constexpr int method_dhcp = 1;
static constexpr int method_manual = 2; // down
static constexpr int method_stateless = 3;

struct method_form {
    int (*set)(vrn_tsapi_handle *, int, const char *);
    int code;
    const char *log_word;
};

static constexpr method_form ipv4_down = {vrn_tsapi_set_network_interface_star0_method, method_manual, "MANUAL"};
static constexpr method_form ipv4_dhcp = {vrn_tsapi_set_network_interface_star0_method, method_dhcp, "DHCP"};
static constexpr method_form ipv4_static = {vrn_tsapi_set_network_interface_star0_method, method_static, "STATIC"};
static constexpr method_form ipv6_down = {vrn_tsapi_set_network_interface_star0_method6, method_manual, "MANUAL"};
static constexpr method_form ipv6_dhcp = {vrn_tsapi_set_network_interface_star0_method6, method_dhcp, "DHCPV6"};
static constexpr method_form ipv6_stateless = {vrn_tsapi_set_network_interface_star0_method6, method_stateless,
                                               "STATELESS"};
static constexpr method_form ipv6_static = {vrn_tsapi_set_network_interface_star0_method6, method_static, "STATIC6"};

static int show_configuration(int row, char **out)
{
    owned_text shown;
    if (vrn_tsapi_info_network_interface_star0_ifconfig(cli_tsapi, into(shown), nullptr, interface)) {
        log_debug("Command ifconfig failed.");
        return failure_tail(1, row, out);
    }
    if (!command_table[row].format)
        return 1;
    append_output(out, command_table[row].format, text_or_empty(shown));
    return 0;
}

static int ifconfig_effective()
{
    if (vrn_tsapi_set_network_interface_star0_active(cli_tsapi, 1, interface)) {
        log_debug("Set interface active failed.");
        return 1;
    }
    if (vrn_tsapi_commit(cli_tsapi)) {
        log_debug("Commit failed.");
        return 1;
    }
    return 0;
}

static int stage_method(const method_form &form)
{
    if (form.set(cli_tsapi, form.code, interface) == 0)
        return 0;
    log_debug("Set interface method %s failed.", form.log_word);
    return 1;
}

// Method, address, mask, in this order, so that what is staged is whole when it takes effect. What was staged before a
// failure stays so, uncommitted.
static int stage_ipv4(const char *address_text, const char *mask_text)
{
    in_addr address, mask;
    if (inet_pton(AF_INET, address_text, &address) <= 0) {
        log_debug("Convertion from ip %s to in addr", address_text);
        return 1;
    }
    if (inet_pton(AF_INET, mask_text, &mask) <= 0) {
        log_debug("Convertion from mask %s to in addr", mask_text);
        return 1;
    }
    if (stage_method(ipv4_static))
        return 1;
    if (vrn_tsapi_set_network_interface_star0_address(cli_tsapi, &address, interface)) {
        log_debug("Set interface address %s failed.", address_text);
        return 1;
    }
    if (vrn_tsapi_set_network_interface_star0_netmask(cli_tsapi, &mask, interface)) {
        log_debug("Set interface netmask %s failed.", mask_text);
        return 1;
    }
    return 0;
}

// Intended: the range of the prefix is not tested (the daemon judges it).
static int stage_ipv6(const char *address_text, int prefix)
{
    in6_addr address;
    if (inet_pton(AF_INET6, address_text, &address) <= 0) {
        log_debug("Convertion from ip %s to in6 addr", address_text);
        return 1;
    }
    if (stage_method(ipv6_static))
        return 1;
    if (vrn_tsapi_set_network_interface_star0_address6(cli_tsapi, &address, interface)) {
        log_debug("Set interface address6 %s failed.", address_text);
        return 1;
    }
    if (vrn_tsapi_set_network_interface_star0_netmask6(cli_tsapi, prefix, interface)) {
        log_debug("Set interface netmask6 %d failed.", prefix);
        return 1;
    }
    return 0;
}

static int take_effect(int row, char **out)
{
    return ifconfig_effective() ? 1 : show_configuration(row, out);
}

// Intended: a failure in front of the showing has no text here (the line is answered as one that no row takes).
static int switch_method(int row, char **out, const method_form &form)
{
    return stage_method(form) ? 1 : take_effect(row, out);
}

int ifconfig_network(int row, char **out, command_args)
{
    return show_configuration(row, out);
}

int cmd_net4_down(int row, char **out, command_args)
{
    return switch_method(row, out, ipv4_down);
}

int cmd_net4_dhcp(int row, char **out, command_args)
{
    return switch_method(row, out, ipv4_dhcp);
}

int cmd_net6_down(int row, char **out, command_args)
{
    return switch_method(row, out, ipv6_down);
}

int cmd_net6_dhcp(int row, char **out, command_args)
{
    return switch_method(row, out, ipv6_dhcp);
}

int cmd_net6_stless(int row, char **out, command_args)
{
    return switch_method(row, out, ipv6_stateless);
}

int cmd_net4_static(int row, char **out, command_args args)
{
    const int staged = stage_ipv4(args.text(0), args.text(1));
    return failure_tail(staged ? 1 : take_effect(row, out), row, out);
}

int cmd_net6_static(int row, char **out, command_args args)
{
    const int staged = stage_ipv6(args.text(0), args.integer(1));
    return failure_tail(staged ? 1 : take_effect(row, out), row, out);
}

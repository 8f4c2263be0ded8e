// network: the network interface of the appliance, in both versions of the protocol.

#include "cmd/cmd_network.h"

const char network_usage[] = "Usage: network\t(shows the ethernet configuration)\n"
                             "   network ipv4 [down | dhcp | address <IPv4ADDR> mask <IPv4MASK>]\n"
                             "   network ipv6 [down | stateless | dhcp | address <IPv6ADDR> prefix <IPv6LEN>]\n"
                             "Configure the main ethernet interface.\n";

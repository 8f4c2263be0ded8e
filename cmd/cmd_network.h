// The command `network`: the network interface of the appliance.
#pragma once

#include "shell/cli.h"

extern const char network_usage[];

// Shows the configuration of the interface in the daemon's own words. 0, or 1 with the row's error format where nothing
// else was written.
int ifconfig_network(int row, char **out, command_args args);

// Each stages its part of a configuration, activates and commits it, and shows what holds then. 1 where one of these
// fails: without a text of its own in the forms without an address, unless only the showing failed.
int cmd_net4_down(int row, char **out, command_args args);
int cmd_net4_dhcp(int row, char **out, command_args args);
int cmd_net6_down(int row, char **out, command_args args);
int cmd_net6_dhcp(int row, char **out, command_args args);
int cmd_net6_stless(int row, char **out, command_args args);

// Arguments: the address, then the mask or the prefix length as it was typed.
int cmd_net4_static(int row, char **out, command_args args);
int cmd_net6_static(int row, char **out, command_args args);

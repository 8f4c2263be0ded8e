// The command `network`: the network interface of the appliance.
#pragma once

extern const char network_usage[];

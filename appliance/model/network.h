// The appliance's own ethernet interface: what it is configured to, and what is staged until a commit.
#pragma once

#include <netinet/in.h>
#include <string>
#include <string_view>

#include "appliance/model/result.h"

// Where an interface has its addresses from. `stateless` is known to version 6 alone.
enum class address_method { fixed, dhcp, manual, stateless };

// One configuration. Of a version with another method than `fixed` the addresses stay behind, unused.
struct network_settings {
    address_method method = address_method::dhcp;
    in_addr address = {};
    in_addr netmask = {};
    address_method method6 = address_method::stateless;
    in6_addr address6 = {};
    int netmask6 = 0; // the length of the prefix
    bool active = true;
};

struct network_interface {
    network_settings now;
    network_settings staged; // equal to `now` where nothing is staged
};

inline constexpr std::string_view interface_name = "eth0";
inline constexpr std::string_view interface_hwaddr = "02:00:00:00:00:01"; // one that nobody was given

// What is staged takes effect, or, where it is no configuration that an interface can have, is forgotten and refused.
result_code commit_network(network_interface &interface);

// An address that the interface has, whichever way it came by it; all empty where it has none.
struct address_texts {
    std::string address; // as inet_ntop writes it
    std::string netmask; // of version 6 the length of the prefix
    std::string broadcast = {};
};
address_texts address_of(const network_settings &now);
address_texts address6_of(const network_settings &now); // beside the link's own

// Several lines for a person, without a line end behind the last.
std::string ifconfig_text(const network_settings &now);

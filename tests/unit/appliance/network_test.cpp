// The appliance's own interface: what is staged, what a commit takes and refuses, and what is read then.

#include "appliance/model/network.h"
#include "tests/unit/appliance/morvd_desk.h"

static constexpr char done[] = "+OK\r\n";
static constexpr char bad_value[] = "-ERR 10 bad value\r\n";
static constexpr char absent[] = "$-1\r\n";

struct network : testing::Test {
    test_desk desk;

    std::string set(const std::string &leaf, const std::string &value)
    {
        return desk.ask({"set", "network.interface.eth0." + leaf, value});
    }
    std::string get(const std::string &leaf) { return desk.ask({"get", "network.interface.eth0." + leaf}); }
    std::string info(const std::string &leaf) { return desk.ask({"info", "network.interface.eth0." + leaf}); }
    std::string commit() { return desk.ask({"commit"}); }

    // A static configuration of version 4, staged and committed; what the commit answers.
    std::string commit_static(const std::string &address, const std::string &netmask)
    {
        EXPECT_EQ(set("method", "static"), done);
        EXPECT_EQ(set("address", address), done);
        EXPECT_EQ(set("netmask", netmask), done);
        return commit();
    }
    std::string commit_static6(const std::string &address, const std::string &prefix)
    {
        EXPECT_EQ(set("method6", "static"), done);
        EXPECT_EQ(set("address6", address), done);
        EXPECT_EQ(set("netmask6", prefix), done);
        return commit();
    }
};

TEST_F(network, there_is_one_interface)
{
    EXPECT_EQ(desk.ask({"list", "network.interface"}), array({"eth0"}));
    EXPECT_EQ(desk.ask({"mlist", "network.interface"}), array({"eth0"}));
    EXPECT_EQ(desk.ask({"info", "network.interface.eth1.ifconfig"}), "-ERR 8 no such path\r\n");
    EXPECT_EQ(desk.ask({"info", "network.interface.eth0.nosuch"}), "-ERR 8 no such path\r\n");
    EXPECT_EQ(desk.ask({"set", "network.interface.eth0.ifconfig", "x"}), "-ERR 9 no such verb on that path\r\n");
}

TEST_F(network, starts_with_addresses_from_its_servers)
{
    EXPECT_EQ(info("ifconfig"), bulk("eth0      Link encap:Ethernet  HWaddr 02:00:00:00:00:01\n"
                                     "          inet addr:192.0.2.10  Bcast:192.0.2.255  Mask:255.255.255.0\n"
                                     "          inet6 addr: 2001:db8::ff:fe00:1/64 Scope:Global\n"
                                     "          inet6 addr: fe80::ff:fe00:1/64 Scope:Link\n"
                                     "          UP BROADCAST RUNNING MULTICAST  MTU:1500  Metric:1"));
    EXPECT_EQ(get("method"), bulk("dhcp"));
    EXPECT_EQ(get("method6"), bulk("stateless"));
    EXPECT_EQ(get("active"), bulk("true"));
    EXPECT_EQ(get("broadcast"), bulk("192.0.2.255"));
    EXPECT_EQ(info("hwaddr"), bulk("02:00:00:00:00:01"));
}

TEST_F(network, what_is_set_shows_when_it_is_committed)
{
    const std::string before = info("ifconfig");
    set("method", "static");
    set("address", "10.0.0.2");
    set("netmask", "255.0.0.0");
    EXPECT_EQ(info("ifconfig"), before);
    EXPECT_EQ(get("method"), bulk("dhcp"));
    EXPECT_EQ(get("address"), bulk("192.0.2.10"));
    EXPECT_EQ(commit(), done);
    EXPECT_EQ(get("method"), bulk("static"));
    EXPECT_EQ(get("address"), bulk("10.0.0.2"));
    EXPECT_EQ(info("netmask"), bulk("255.0.0.0"));
    EXPECT_NE(info("ifconfig").find("inet addr:10.0.0.2  Bcast:10.255.255.255  Mask:255.0.0.0\n"), std::string::npos);
}

TEST_F(network, version_6_is_configured_by_itself)
{
    EXPECT_EQ(commit_static6("2001:db8:0::2", "48"), done);
    EXPECT_EQ(get("address6"), bulk("2001:db8::2"));
    EXPECT_EQ(get("netmask6"), bulk("48"));
    EXPECT_NE(info("ifconfig").find("inet6 addr: 2001:db8::2/48 Scope:Global\n"), std::string::npos);
    EXPECT_EQ(get("address"), bulk("192.0.2.10"));
    set("method6", "dhcp");
    EXPECT_EQ(commit(), done);
    EXPECT_EQ(info("address6"), bulk("2001:db8::10"));
}

TEST_F(network, version_that_is_down_has_no_address)
{
    set("method", "manual");
    EXPECT_EQ(commit(), done);
    for (const char *leaf : {"address", "netmask", "broadcast"})
        EXPECT_EQ(get(leaf), absent);
    EXPECT_EQ(info("ifconfig").find("inet addr"), std::string::npos);
    EXPECT_NE(info("ifconfig").find("inet6 addr"), std::string::npos);
    set("method6", "manual");
    EXPECT_EQ(commit(), done);
    EXPECT_EQ(get("address6"), absent);
    EXPECT_EQ(get("netmask6"), absent);
    EXPECT_EQ(info("ifconfig").find("inet6"), std::string::npos);
}

TEST_F(network, inactive_interface_is_not_up)
{
    set("active", "false");
    EXPECT_EQ(commit(), done);
    EXPECT_EQ(info("ifconfig"), bulk("eth0      Link encap:Ethernet  HWaddr 02:00:00:00:00:01\n"
                                     "          BROADCAST MULTICAST  MTU:1500  Metric:1"));
    EXPECT_EQ(get("active"), bulk("false"));
}

TEST_F(network, text_that_is_no_value_is_refused_when_it_is_set)
{
    EXPECT_EQ(set("method", "stateless"), bad_value);
    for (const char *leaf : {"method", "method6", "address", "netmask", "address6", "netmask6", "active"})
        for (const char *value : {"", "Static", "0x1", "1.2.3", "::1::", " 1", "TRUE", "99999999999"})
            EXPECT_EQ(set(leaf, value), bad_value) << leaf << value;
    EXPECT_EQ(commit(), done);
    EXPECT_EQ(get("method"), bulk("dhcp"));
}

TEST_F(network, address_that_no_host_can_have_is_refused_at_the_commit)
{
    for (const char *address :
         {"0.0.0.0", "0.1.2.3", "127.0.0.1", "224.0.0.1", "255.255.255.255", "10.0.0.0", "10.0.0.255"}) {
        EXPECT_EQ(commit_static(address, "255.255.255.0"), bad_value) << address;
        EXPECT_EQ(get("method"), bulk("dhcp"));
    }
    EXPECT_EQ(commit_static("10.0.0.1", "255.255.255.254"), done);
    EXPECT_EQ(commit_static("10.0.0.0", "255.255.255.255"), done);
}

TEST_F(network, mask_with_a_gap_is_refused_at_the_commit)
{
    for (const char *mask : {"0.0.0.0", "255.0.255.0", "0.255.255.255", "255.255.255.1"})
        EXPECT_EQ(commit_static("10.0.0.2", mask), bad_value) << mask;
}

TEST_F(network, prefix_or_address_of_version_6_out_of_range_is_refused_at_the_commit)
{
    for (const char *prefix : {"0", "-1", "129", "999"})
        EXPECT_EQ(commit_static6("2001:db8::2", prefix), bad_value) << prefix;
    for (const char *address : {"::", "::1", "ff02::1"})
        EXPECT_EQ(commit_static6(address, "64"), bad_value) << address;
    EXPECT_EQ(commit_static6("2001:db8::2", "128"), done);
}

TEST_F(network, refused_commit_keeps_the_old_configuration_and_forgets_what_was_staged)
{
    EXPECT_EQ(commit_static("10.0.0.2", "255.0.0.0"), done);
    const std::string before = info("ifconfig");
    set("method6", "manual");
    EXPECT_EQ(commit_static("10.0.0.3", "255.0.255.0"), bad_value);
    EXPECT_EQ(info("ifconfig"), before);
    EXPECT_EQ(get("address"), bulk("10.0.0.2"));
    EXPECT_EQ(commit(), done); // nothing bad is left
    EXPECT_EQ(info("ifconfig"), before);
}

TEST_F(network, commit_can_be_made_to_fail)
{
    EXPECT_EQ(desk.ask({"desk", "fault", "refuse", "commit", "*", "77", "1"}), done);
    set("method", "manual");
    EXPECT_EQ(commit(), "-ERR 77 asked-for fault\r\n");
    EXPECT_EQ(get("method"), bulk("dhcp"));
    EXPECT_EQ(commit(), done); // it was still staged
    EXPECT_EQ(get("method"), bulk("manual"));
}

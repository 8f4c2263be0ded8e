#include "paramtype.h"

#include <arpa/inet.h>
#include <climits>
#include <cstring>
#include <memory>
#include <optional>

#include "support.h"

static std::optional<std::string> taken(char *text)
{
    if (!text)
        return {};
    std::string copy = text;
    free(text);
    return copy;
}

// The value of a text, or nothing where the conversion refused it; an untouched result is part of refusing.
template <class Conversion> static std::optional<int> value_of(Conversion convert, const char *text)
{
    int value = 4242;
    if (convert(text, &value))
        return value;
    EXPECT_EQ(value, 4242) << text;
    return {};
}

TEST(paramtype_int, text_is_decimal)
{
    EXPECT_EQ(taken(paramtype_int_fromC(0)), "0");
    EXPECT_EQ(taken(paramtype_int_fromC(-17)), "-17");
    EXPECT_EQ(taken(paramtype_int_fromC(INT_MAX)), "2147483647");
    EXPECT_EQ(taken(paramtype_int_fromC(INT_MIN)), "-2147483648");
}

TEST(paramtype_int, decimal_text_has_a_value)
{
    EXPECT_EQ(value_of(paramtype_int_toC, "0"), 0);
    EXPECT_EQ(value_of(paramtype_int_toC, "-0"), 0);
    EXPECT_EQ(value_of(paramtype_int_toC, "-17"), -17);
    EXPECT_EQ(value_of(paramtype_int_toC, "2147483647"), INT_MAX);
    EXPECT_EQ(value_of(paramtype_int_toC, "-2147483648"), INT_MIN);
}

TEST(paramtype_int, leading_zeros_are_decimal)
{
    EXPECT_EQ(value_of(paramtype_int_toC, "010"), 10);
    EXPECT_EQ(value_of(paramtype_int_toC, "-00000000000000000008"), -8);
}

TEST(paramtype_int, anything_around_the_digits_is_refused)
{
    for (const char *text : {"", "-", "+1", " 1", "1 ", "1\n", "0x10", "1.0", "1e3", "--1", "- 1", "one"})
        EXPECT_EQ(value_of(paramtype_int_toC, text), std::nullopt) << text;
}

TEST(paramtype_int, more_than_32_bits_are_refused)
{
    for (const char *text : {"2147483648", "-2147483649", "4294967296", "99999999999999999999999"})
        EXPECT_EQ(value_of(paramtype_int_toC, text), std::nullopt) << text;
}

TEST(paramtype_int, null_is_refused)
{
    EXPECT_EQ(value_of(paramtype_int_toC, nullptr), std::nullopt);
}

TEST(paramtype_boolean, text_is_true_or_false)
{
    EXPECT_EQ(taken(paramtype_boolean_fromC(1)), "true");
    EXPECT_EQ(taken(paramtype_boolean_fromC(-5)), "true");
    EXPECT_EQ(taken(paramtype_boolean_fromC(0)), "false");
}

TEST(paramtype_boolean, only_the_two_words_have_a_value)
{
    EXPECT_EQ(value_of(paramtype_boolean_toC, "true"), 1);
    EXPECT_EQ(value_of(paramtype_boolean_toC, "false"), 0);
    for (const char *text : {"", "True", "FALSE", "true ", "1", "0", "yes", "tru"})
        EXPECT_EQ(value_of(paramtype_boolean_toC, text), std::nullopt) << text;
    EXPECT_EQ(value_of(paramtype_boolean_toC, nullptr), std::nullopt);
}

TEST(paramtype_ipv4, text_and_value_are_the_same_address)
{
    in_addr address = {};
    ASSERT_TRUE(paramtype_ipv4Address_toC("192.168.0.1", &address));
    EXPECT_EQ(ntohl(address.s_addr), 0xc0a80001u);
    EXPECT_EQ(taken(paramtype_ipv4Address_fromC(&address)), "192.168.0.1");
}

TEST(paramtype_ipv4, what_is_no_address_is_refused)
{
    in_addr address = {0x01020304};
    for (const char *text : {"", "192.168.0", "192.168.0.256", "192.168.0.1 ", " 192.168.0.1", "192.168.0.1/24", "::1"})
        EXPECT_FALSE(paramtype_ipv4Address_toC(text, &address)) << text;
    EXPECT_FALSE(paramtype_ipv4Address_toC(nullptr, &address));
    EXPECT_EQ(address.s_addr, 0x01020304u);
}

TEST(paramtype_ipv6, text_and_value_are_the_same_address)
{
    in6_addr address = {};
    ASSERT_TRUE(paramtype_ipv6Address_toC("2001:DB8:0:0:0:0:0:1", &address));
    EXPECT_EQ(taken(paramtype_ipv6Address_fromC(&address)), "2001:db8::1");
    EXPECT_EQ(taken(paramtype_ipv6Address_fromC(&in6addr_any)), "::");
}

TEST(paramtype_ipv6, longest_text_is_whole)
{
    in6_addr address = {};
    ASSERT_TRUE(paramtype_ipv6Address_toC("ffff:eeee:dddd:cccc:bbbb:aaaa:9999:8888", &address));
    EXPECT_EQ(taken(paramtype_ipv6Address_fromC(&address)), "ffff:eeee:dddd:cccc:bbbb:aaaa:9999:8888");
}

TEST(paramtype_ipv6, what_is_no_address_is_refused)
{
    in6_addr address = in6addr_loopback;
    for (const char *text : {"", ":", "::1::", "1:2:3:4:5:6:7", "12345::", "::1/64", "fe80::1%eth0", "1.2.3.4"})
        EXPECT_FALSE(paramtype_ipv6Address_toC(text, &address)) << text;
    EXPECT_FALSE(paramtype_ipv6Address_toC(nullptr, &address));
    EXPECT_TRUE(IN6_IS_ADDR_LOOPBACK(&address));
}

TEST(paramtype_ip, either_family_is_an_address)
{
    paramtype_ip_address address = {};
    ASSERT_TRUE(paramtype_ipAddress_toC("10.1.2.3", &address));
    EXPECT_EQ(address.family, AF_INET);
    EXPECT_EQ(taken(paramtype_ipAddress_fromC(&address)), "10.1.2.3");
    ASSERT_TRUE(paramtype_ipAddress_toC("fe80::1", &address));
    EXPECT_EQ(address.family, AF_INET6);
    EXPECT_EQ(taken(paramtype_ipAddress_fromC(&address)), "fe80::1");
}

TEST(paramtype_ip, what_is_no_address_is_refused)
{
    paramtype_ip_address address = {};
    address.family = 77;
    for (const char *text : {"", "10.1.2", "fe80:", "name"})
        EXPECT_FALSE(paramtype_ipAddress_toC(text, &address)) << text;
    EXPECT_FALSE(paramtype_ipAddress_toC(nullptr, &address));
    EXPECT_EQ(address.family, 77);
    EXPECT_EQ(taken(paramtype_ipAddress_fromC(&address)), std::nullopt);
}

TEST(paramtype_interface4, methods_have_their_codes)
{
    const char *const words[] = {"static", "dhcp", "manual"};
    for (int code = 0; code < 3; ++code) {
        EXPECT_EQ(taken(paramtype_interface4Config_fromC(code)), words[code]);
        EXPECT_EQ(value_of(paramtype_interface4Config_toC, words[code]), code);
    }
}

TEST(paramtype_interface4, other_methods_are_refused)
{
    for (const char *text : {"", "stateless", "DHCP", "dhcp ", "0"})
        EXPECT_EQ(value_of(paramtype_interface4Config_toC, text), std::nullopt) << text;
    EXPECT_EQ(value_of(paramtype_interface4Config_toC, nullptr), std::nullopt);
    for (int code : {-1, 3, INT_MAX, INT_MIN})
        EXPECT_EQ(taken(paramtype_interface4Config_fromC(code)), std::nullopt) << code;
}

TEST(paramtype_interface6, methods_have_their_codes)
{
    const char *const words[] = {"static", "dhcp", "manual", "stateless"};
    for (int code = 0; code < 4; ++code) {
        EXPECT_EQ(taken(paramtype_interface6Config_fromC(code)), words[code]);
        EXPECT_EQ(value_of(paramtype_interface6Config_toC, words[code]), code);
    }
}

TEST(paramtype_interface6, other_methods_are_refused)
{
    EXPECT_EQ(value_of(paramtype_interface6Config_toC, "stateful"), std::nullopt);
    for (int code : {-1, 4})
        EXPECT_EQ(taken(paramtype_interface6Config_fromC(code)), std::nullopt) << code;
}

static paramtype_UTF8String_list *text_list(const texts &values)
{
    paramtype_UTF8String_list *first = nullptr;
    for (auto value = values.rbegin(); value != values.rend(); ++value) {
        auto *node = static_cast<paramtype_UTF8String_list *>(malloc(sizeof(paramtype_UTF8String_list)));
        *node = {first, strdup(value->c_str())};
        first = node;
    }
    return first;
}

TEST(paramtype_int_list, keeps_the_order)
{
    paramtype_UTF8String_list *from = text_list({"3", "-1", "2"});
    paramtype_int_list *list = nullptr;
    ASSERT_EQ(paramtype_int_list_toC(from, &list), 0);
    std::vector<int> values;
    for (const paramtype_int_list *node = list; node; node = node->next)
        values.push_back(node->value);
    EXPECT_EQ(values, (std::vector{3, -1, 2}));
    paramtype_int_list_free(list);
    paramtype_UTF8String_list_free(from);
}

TEST(paramtype_int_list, null_makes_an_empty_list)
{
    paramtype_int_list stays = {};
    paramtype_int_list *list = &stays;
    EXPECT_EQ(paramtype_int_list_toC(nullptr, &list), 0);
    EXPECT_EQ(list, nullptr);
}

TEST(paramtype_int_list, one_bad_text_refuses_the_whole)
{
    for (const texts &values : {texts{"x", "1", "2"}, texts{"1", "", "2"}, texts{"1", "2", "3 "}}) {
        paramtype_UTF8String_list *from = text_list(values);
        paramtype_int_list stays = {};
        paramtype_int_list *list = &stays;
        EXPECT_NE(paramtype_int_list_toC(from, &list), 0);
        EXPECT_EQ(list, &stays);
        paramtype_UTF8String_list_free(from);
    }
}

TEST(paramtype_lists, empty_ones_can_be_released)
{
    paramtype_int_list_free(nullptr);
    paramtype_UTF8String_list_free(nullptr);
}

// Values as texts of the wire and back.

#include "paramtype.h"

#include <arpa/inet.h>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <span>

static constexpr const char *interface_methods[] = {"static", "dhcp", "manual", "stateless"}; // in the order of codes
static constexpr std::span<const char *const> methods_ipv4{interface_methods, 3};
static constexpr std::span<const char *const> methods_ipv6{interface_methods, 4};

char *paramtype_int_fromC(int value)
{
    constexpr size_t size = sizeof "-2147483648";
    auto *text = static_cast<char *>(malloc(size));
    if (text)
        *std::to_chars(text, text + size - 1, value).ptr = '\0';
    return text;
}

int paramtype_int_toC(const char *text, int *out)
{
    if (!text)
        return 0;
    const char *end = text + strlen(text);
    int value;
    const auto [rest, error] = std::from_chars(text, end, value);
    if (error != std::errc{} || rest != end)
        return 0;
    *out = value;
    return 1;
}

char *paramtype_boolean_fromC(int value)
{
    return strdup(value ? "true" : "false");
}

int paramtype_boolean_toC(const char *text, int *out)
{
    const bool is_true = text && strcmp(text, "true") == 0;
    if (!is_true && (!text || strcmp(text, "false") != 0))
        return 0;
    *out = is_true;
    return 1;
}

static char *address_text(int family, const void *value)
{
    char text[INET6_ADDRSTRLEN];
    return inet_ntop(family, value, text, sizeof text) ? strdup(text) : nullptr;
}

char *paramtype_ipv4Address_fromC(const in_addr *value)
{
    return address_text(AF_INET, value);
}

int paramtype_ipv4Address_toC(const char *text, in_addr *out)
{
    return text && inet_pton(AF_INET, text, out) == 1;
}

char *paramtype_ipv6Address_fromC(const in6_addr *value)
{
    return address_text(AF_INET6, value);
}

int paramtype_ipv6Address_toC(const char *text, in6_addr *out)
{
    return text && inet_pton(AF_INET6, text, out) == 1;
}

char *paramtype_ipAddress_fromC(const paramtype_ip_address *value)
{
    return address_text(value->family, &value->ipv4); // both families begin at the same place
}

int paramtype_ipAddress_toC(const char *text, paramtype_ip_address *out)
{
    paramtype_ip_address value = {};
    if (paramtype_ipv4Address_toC(text, &value.ipv4))
        value.family = AF_INET;
    else if (paramtype_ipv6Address_toC(text, &value.ipv6))
        value.family = AF_INET6;
    else
        return 0;
    *out = value;
    return 1;
}

static char *method_text(std::span<const char *const> methods, int code)
{
    return code >= 0 && static_cast<size_t>(code) < methods.size() ? strdup(methods[static_cast<size_t>(code)])
                                                                   : nullptr;
}

static int method_code(std::span<const char *const> methods, const char *text, int *out)
{
    for (size_t i = 0; text && i < methods.size(); ++i) {
        if (strcmp(text, methods[i]) == 0) {
            *out = static_cast<int>(i);
            return 1;
        }
    }
    return 0;
}

char *paramtype_interface4Config_fromC(int value)
{
    return method_text(methods_ipv4, value);
}

int paramtype_interface4Config_toC(const char *text, int *out)
{
    return method_code(methods_ipv4, text, out);
}

char *paramtype_interface6Config_fromC(int value)
{
    return method_text(methods_ipv6, value);
}

int paramtype_interface6Config_toC(const char *text, int *out)
{
    return method_code(methods_ipv6, text, out);
}

int paramtype_int_list_toC(const paramtype_UTF8String_list *list, paramtype_int_list **out)
{
    paramtype_int_list *first = nullptr;
    paramtype_int_list **tail = &first;
    for (; list; list = list->next) {
        auto *node = static_cast<paramtype_int_list *>(malloc(sizeof *first));
        if (node) {
            *node = {};
            *tail = node;
            tail = &node->next;
        }
        if (!node || !paramtype_int_toC(list->value, &node->value)) {
            paramtype_int_list_free(first);
            return 1;
        }
    }
    *out = first;
    return 0;
}

void paramtype_int_list_free(paramtype_int_list *list)
{
    while (list) {
        paramtype_int_list *next = list->next;
        free(list);
        list = next;
    }
}

void paramtype_UTF8String_list_free(paramtype_UTF8String_list *list)
{
    while (list) {
        paramtype_UTF8String_list *next = list->next;
        free(list->value);
        free(list);
        list = next;
    }
}

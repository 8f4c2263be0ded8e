// Value conversions between the texts of the wire and typed values. fromC answers new heap text, or null without
// memory; toC answers non-zero on success and 0 for a text (or null) that it can't convert, with the result unwritten.
#pragma once

#include <netinet/in.h>

struct paramtype_UTF8String_list {
    paramtype_UTF8String_list *next;
    char *value;
};

struct paramtype_int_list {
    paramtype_int_list *next;
    int value;
};

// An address of either family.
struct paramtype_ip_address {
    int family; // AF_INET or AF_INET6
    union {
        in_addr ipv4;
        in6_addr ipv6;
    };
};

extern "C" {

char *paramtype_int_fromC(int value);
int paramtype_int_toC(const char *text, int *out);
char *paramtype_boolean_fromC(int value);
int paramtype_boolean_toC(const char *text, int *out);
char *paramtype_ipv4Address_fromC(const in_addr *value);
int paramtype_ipv4Address_toC(const char *text, in_addr *out);
char *paramtype_ipv6Address_fromC(const in6_addr *value);
int paramtype_ipv6Address_toC(const char *text, in6_addr *out);
char *paramtype_ipAddress_fromC(const paramtype_ip_address *value);
int paramtype_ipAddress_toC(const char *text, paramtype_ip_address *out);

// The code of a configuration method: static 0, dhcp 1, manual 2, and for version 6 stateless 3. A code outside the
// vocabulary has no text (null).
char *paramtype_interface4Config_fromC(int value);
int paramtype_interface4Config_toC(const char *text, int *out);
char *paramtype_interface6Config_fromC(int value);
int paramtype_interface6Config_toC(const char *text, int *out);

// 0 on success: the opposite sense to the scalar conversions. A null list makes an empty one; on failure `*out` is
// unwritten.
int paramtype_int_list_toC(const paramtype_UTF8String_list *list, paramtype_int_list **out);

void paramtype_int_list_free(paramtype_int_list *list);
void paramtype_UTF8String_list_free(paramtype_UTF8String_list *list);
}

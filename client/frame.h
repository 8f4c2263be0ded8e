// What every generated operation on the control tree runs through. An operation comes as two functions: the outer one
// (vrn_tsapi_...) takes and returns typed values, the inner one (vrn_psapi_...) works on the texts of the wire and owns
// the exchange with the daemon. Both only name their operation and hand their values on; what happens stands here,
// once.
#pragma once

#include <cstdint>

#include "client/types.h"

struct vrn_tsapi_handle;

enum class tree_verb : uint8_t { get, set, info, admin, list, mlist, add, del, move };

// The type of what a verb reads or writes; of the name for add and del.
enum class tree_type : uint8_t { none, text, number, boolean, ipv4, ipv6, ip, method4, method6, texts, numbers };

inline constexpr int tree_stars_max = 3;

// What is fixed about one operation. The texts stand in the record itself: a pointer to each would have the loader
// relocate them all at every start, and would take more room than the padding does.
struct operation {
    tree_verb verb;
    tree_type type;
    uint8_t stars;     // how many its path has
    uint8_t int_stars; // bit n set: star n is a number
    char name[72];     // what its two functions' names share, "info_power_numDevices"
    char path[56];     // with its stars, "power.port.*.pdu"
};

// A star or what goes out with the verb, as its type says.
union tree_value {
    constexpr tree_value() : words(nullptr) {}
    constexpr tree_value(int given) : number(given) {}
    constexpr tree_value(const char *given) : text(given) {}
    constexpr tree_value(const in_addr *given) : ipv4(given) {}
    constexpr tree_value(const in6_addr *given) : ipv6(given) {}
    constexpr tree_value(const paramtype_ip_address *given) : ip(given) {}
    constexpr tree_value(const char *const *given) : words(given) {}

    int number; // also boolean, method4, method6
    const char *text;
    const in_addr *ipv4;
    const in6_addr *ipv6;
    const paramtype_ip_address *ip;
    const char *const *words; // the args vector of info and admin, the two texts of move
};

// Where the caller wants its result, as the type says.
union tree_result {
    constexpr tree_result() : text(nullptr) {}
    constexpr tree_result(char **given) : text(given) {}
    constexpr tree_result(int *given) : number(given) {}
    constexpr tree_result(in_addr *given) : ipv4(given) {}
    constexpr tree_result(in6_addr *given) : ipv6(given) {}
    constexpr tree_result(paramtype_ip_address *given) : ip(given) {}
    constexpr tree_result(paramtype_UTF8String_list **given) : texts(given) {}
    constexpr tree_result(paramtype_int_list **given) : numbers(given) {}

    char **text;
    int *number; // also boolean, method4, method6
    in_addr *ipv4;
    in6_addr *ipv6;
    paramtype_ip_address *ip;
    paramtype_UTF8String_list **texts;
    paramtype_int_list **numbers;
};

// Result codes besides 0 and what tsapi_make_session_ready answers.
inline constexpr int tree_not_sent = -2;
inline constexpr int tree_refused = -15;
inline constexpr int tree_not_convertible = -16;

// The path with each '*' replaced by its star through url_encode, as new heap text. Null without memory, or for a star
// that is null.
char *psapi_path(const char *path, const char *const *stars);

// One exchange, from ready to idle. `stars` holds the texts of the stars in path order; `words` what goes out behind
// the path: one text for set, add and del, two for move, a null-terminated vector or null for info and admin. 0,
// tree_not_sent, tree_refused, tree_not_convertible (no memory for the answer), or what tsapi_make_session_ready
// answered. On 0 `result` has been given new heap text or
// a text list, null where the answer is absent or empty, and the caller owns it; otherwise it is unwritten. A request
// that lacks a text of its own is not sent. Logged as PSAPI, at level 7 and for failures at 5 and 4.
int psapi_call(const operation &op, vrn_tsapi_handle *handle, const char *const *stars, const char *const *words,
               tree_result result);

// The same with typed values: converts them, calls psapi_call, converts the answer. Its codes, and
// tree_not_convertible. On anything but 0 `result` is unwritten. Logged as TSAPI, at level 7.
int tsapi_call(const operation &op, vrn_tsapi_handle *handle, const tree_value *stars, tree_value input,
               tree_result result);

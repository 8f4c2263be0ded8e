// Faults that somebody asked for: the daemon refuses, hangs up or answers late on purpose, so that what happens then
// can be seen.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "appliance/model/result.h"

enum class fault_kind { refuse, drop, delay };

// Their words, in that order.
inline constexpr std::string_view fault_kind_words[] = {"refuse", "drop", "delay"};

struct fault {
    fault_kind kind = fault_kind::refuse;
    std::string verb = "*";      // "*": any
    std::string path = "*";      // components as on the wire, '*' for any one; "*" alone: any path, and none
    int code = result_asked_for; // of a refusal
    int64_t delay_ms = 0;
    int64_t count = 0; // how many requests it hits; 0: all from then on
    int64_t skip = 0;  // how many it lets pass before
};

inline constexpr size_t most_faults = 256;
inline constexpr int64_t longest_delay_ms = 600'000;

// The kind with that word, "refuse", "drop" or "delay"; false for any other.
bool find_fault_kind(std::string_view word, fault_kind *kind);

// Whether a fault can be asked for on this verb and path: the verb exists and the path is one, stars and all.
bool is_fault_sound(const fault &fault);

// Takes the faults that the request meets, in the order in which they were asked for: each that still has to skip
// skips, the first other one counts and is answered. False where none hits.
bool meet_fault(std::vector<fault> &faults, std::string_view verb, std::string_view path, fault *met);

// The words with which the fault would be asked for at the desk: "refuse info power.port.*.name 99 1 0".
std::string fault_text(const fault &fault);

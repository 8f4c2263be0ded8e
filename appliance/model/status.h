// The vocabulary of an outlet's two states. The codes are the units' own; the words are what the control tree serves.
#pragma once

#include <span>
#include <string_view>

enum ctrl_status : int {
    ctrl_off = 1,
    ctrl_on = 2,
    ctrl_off_locked = 3,
    ctrl_on_locked = 4,
    ctrl_off_cycle = 5,
    ctrl_off_pending_cycle = 6,
    ctrl_off_pending_on = 7,
    ctrl_on_pending_off = 8,
    ctrl_not_set = 13,
    ctrl_on_fixed = 14,
    ctrl_off_shutdown = 15,
};

enum mod_status : int {
    mod_off = 1,
    mod_on = 2,
    mod_off_error = 3,
    mod_on_error = 4,
    mod_off_wait = 5,
    mod_on_wait = 6,
    mod_off_fuse = 7,
    mod_on_fuse = 8,
    mod_off_ocp = 9,
    mod_reading = 10,
    mod_comm_error = 11,
};

// The word of a code; "UNDEFINED" for one outside the vocabulary.
std::string_view ctrl_status_word(int code);
std::string_view mod_status_word(int code);

// The first code with that word, or 0.
int mod_status_code(std::string_view word);

// All words of the second one that say something.
std::span<const std::string_view> known_mod_status_words();

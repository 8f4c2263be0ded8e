// What leaves do when they are written or told to act: each reads its words and hands them to the device. Every one
// takes exactly the words that it says, else result_bad_arguments.
#pragma once

#include "appliance/morvd/tree.h"

using word_span = std::span<const std::string>;

// Of the unit that the path leads to. One word.
result_code write_unit_id(const target &to, word_span words);
result_code write_cycle_interval(const target &to, word_span words); // seconds, a whole number
result_code write_overcurrent(const target &to, word_span words);    // "on" or "off"

// New firmware. For the unit that the path leads to: no word. For a list of units: one word, a unit's ID, or numbers
// along the chain and ranges of them, "2,4-6".
result_code write_upgrade(const target &to, word_span words);
result_code write_upgrade_of_list(const target &to, word_span words);

// Of the outlet that the path leads to. One word.
result_code write_outlet_name(const target &to, word_span words);
result_code write_post_power_on(const target &to, word_span words); // seconds, with one decimal at most
result_code write_post_power_off(const target &to, word_span words);

// Of the node whose meter the path leads to. A level: one word, a number of amperes; a reset: no word.
result_code write_level(const target &to, level which, word_span words);
template <level which> result_code write_threshold(const target &to, word_span words)
{
    return write_level(to, which, words);
}
result_code write_reset(const target &to, quantity which, word_span words);
template <quantity which> result_code reset(const target &to, word_span words)
{
    return write_reset(to, which, words);
}
result_code write_energy_reset(const target &to, word_span words);

// The outlet or the unit that the path leads to carries the action out, a unit with all its outlets in order: no word.
// Where the path leads to neither, one word lists the outlets, "PORT.PDU.OUTLET,..."; nothing is switched if one of
// them does not exist.
result_code carry_out(const target &to, outlet_action action, word_span words);
template <outlet_action action> result_code act(const target &to, word_span words)
{
    return carry_out(to, action, words);
}

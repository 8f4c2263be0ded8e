// The leaves of a unit that flash keeps, and those that make it work on its flash or restart.
#pragma once

#include "appliance/morvd/tree.h"

using word_span = std::span<const std::string>;

// The value of a setting; change takes one word.
template <unit_setting which> std::optional<std::string> show(const target &to)
{
    return setting_text(*to.unit, which);
}

template <unit_setting which> bool has(const target &to)
{
    return setting_text(*to.unit, which).has_value();
}

result_code change_setting(const target &to, unit_setting which, word_span words);
template <unit_setting which> result_code change(const target &to, word_span words)
{
    return change_setting(to, which, words);
}

std::vector<std::string> on_and_off(const target &to);

// A task takes no word. While the unit is at it, the leaf that began it is gone.
bool can_begin_task(const target &to, unit_task task);
template <unit_task task> bool can_begin(const target &to)
{
    return can_begin_task(to, task);
}

result_code begin_task(const target &to, unit_task task, word_span words);
template <unit_task task> result_code begin(const target &to, word_span words)
{
    return begin_task(to, task, words);
}

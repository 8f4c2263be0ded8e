// The words of an outlet's two states, in the order of their codes.

#include "appliance/model/status.h"

#include <iterator>

// Several codes share a word: the units tell apart who switched, the reader of the tree does not.
static constexpr std::string_view ctrl_words[] = {
    "UNDEFINED",    "OFF", "ON", "OFF(locked)", "ON(locked)", "OFF(cycle)", "OFF(pend_cycle)", "OFF(pend_ON)",
    "ON(pend_OFF)", "OFF", "ON", "OFF",         "ON",         "NOT_SET",    "ON(fixed)",       "OFF(shutdown)",
};

static constexpr std::string_view mod_words[] = {
    "UNDEFINED", "OFF",       "ON",       "OFF(error)", "ON(error)", "OFF(wait)",
    "ON(wait)",  "OFF(fuse)", "ON(fuse)", "OFF(ocp)",   "Reading",   "Comm error",
};

std::string_view ctrl_status_word(int code)
{
    return code > 0 && code < static_cast<int>(std::size(ctrl_words)) ? ctrl_words[code] : ctrl_words[0];
}

std::string_view mod_status_word(int code)
{
    return code > 0 && code < static_cast<int>(std::size(mod_words)) ? mod_words[code] : mod_words[0];
}

int mod_status_code(std::string_view word)
{
    for (int code = 1; code < static_cast<int>(std::size(mod_words)); code++)
        if (mod_words[code] == word)
            return code;
    return 0;
}

std::span<const std::string_view> known_mod_status_words()
{
    return std::span(mod_words).subspan(1);
}

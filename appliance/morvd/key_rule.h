// What a key of a TOML table may hold.
#pragma once

#include <string_view>

#include "appliance/morvd/words.h"

enum class value_kind { text, whole, real, truth, texts, wholes, reals, table, tables };

// A key, what it holds, and the bounds: bytes of a text and of each text of a list, or the value of a number, which is
// in `unit`. A text that is one of a few has these in `words`.
struct key_rule {
    std::string_view name;
    value_kind kind;
    double low = 0;
    double high = 0;
    std::string_view unit = "";
    known_words words = {};
};

// Values as they stand behind a path: the forms that more than one leaf, or the desk, takes.
#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "appliance/model/chain.h"

// A whole number without a sign, and nothing else.
std::optional<int> read_whole(std::string_view text);

// Seconds with at most `decimals` digits behind a dot, in the smallest units that these tell: "2.5" with one decimal is
// 25. Nothing for a sign, a dot without digits on both sides, or more than fits an int.
std::optional<int> read_seconds(std::string_view text, size_t decimals);

// A decimal number, finite, with digits, a dot, an exponent and a sign of minus as they come, and nothing else.
std::optional<double> read_real(std::string_view text);

// "PORT.PDU.NUMBER", each a plain positive decimal. Whether there is such a thing is not looked at.
std::optional<place> read_place(std::string_view text);

// Such places with ',' between them; the empty text is the empty list.
std::optional<std::vector<place>> read_places(std::string_view text);

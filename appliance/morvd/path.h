// Paths of the control tree as they stand on the wire: components joined by '.', each url-encoded.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

// The components, decoded. Nothing where a component is empty or a '%' is not followed by two hexadecimal digits.
std::optional<std::vector<std::string>> split_path(std::string_view path);

// A positive decimal number with nothing around it, as an int star is written; 0 for any other text.
int star_number(std::string_view text);

// Readers of what stands behind a path.

#include "appliance/morvd/values.h"

#include <charconv>
#include <cmath>
#include <string>

#include "appliance/morvd/path.h"

std::optional<int> read_whole(std::string_view text)
{
    int number = 0;
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    bool whole = error == std::errc() && end == text.data() + text.size() && text[0] != '-';
    return whole ? std::optional(number) : std::nullopt;
}

std::optional<int> read_seconds(std::string_view text, size_t decimals)
{
    std::string digits(text);
    size_t dot = text.find('.');
    if (dot != text.npos) {
        size_t behind = text.size() - dot - 1;
        if (dot == 0 || behind == 0 || behind > decimals)
            return std::nullopt;
        digits.erase(dot, 1);
        decimals -= behind;
    }
    if (digits.empty())
        return std::nullopt;
    return read_whole(digits.append(decimals, '0'));
}

std::optional<double> read_real(std::string_view text)
{
    double number = 0;
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    bool whole = error == std::errc() && end == text.data() + text.size() && std::isfinite(number);
    return whole ? std::optional(number) : std::nullopt;
}

// What stands before the next separator, which is taken away with it; nothing where no separator is left.
static std::string_view cut(std::string_view &text, char separator)
{
    size_t end = text.find(separator);
    std::string_view piece = text.substr(0, end);
    text.remove_prefix(end == text.npos ? text.size() : end + 1);
    return piece;
}

std::optional<place> read_place(std::string_view text)
{
    place at;
    at.port = star_number(cut(text, '.'));
    at.pdu = star_number(cut(text, '.'));
    at.part = star_number(text);
    return at.port && at.pdu && at.part ? std::optional(at) : std::nullopt;
}

std::optional<std::vector<place>> read_places(std::string_view text)
{
    std::vector<place> places;
    if (text.ends_with(','))
        return std::nullopt;
    while (!text.empty()) {
        std::optional<place> at = read_place(cut(text, ','));
        if (!at)
            return std::nullopt;
        places.push_back(*at);
    }
    return places;
}

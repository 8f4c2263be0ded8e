// Cutting and decoding of the paths that clients send.

#include "appliance/morvd/path.h"

#include <charconv>

static int hex_digit(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    return -1;
}

static std::optional<std::string> decode(std::string_view component)
{
    std::string text;
    for (size_t i = 0; i < component.size(); i++) {
        if (component[i] != '%') {
            text += component[i];
            continue;
        }
        int high = i + 2 < component.size() ? hex_digit(component[i + 1]) : -1;
        int low = i + 2 < component.size() ? hex_digit(component[i + 2]) : -1;
        if (high < 0 || low < 0)
            return std::nullopt;
        text += static_cast<char>(high * 16 + low);
        i += 2;
    }
    return text;
}

std::optional<std::vector<std::string>> split_path(std::string_view path)
{
    std::vector<std::string> components;
    for (;;) {
        size_t dot = path.find('.');
        std::optional<std::string> text = decode(path.substr(0, dot));
        if (!text || text->empty())
            return std::nullopt;
        components.push_back(std::move(*text));
        if (dot == path.npos)
            return components;
        path.remove_prefix(dot + 1);
    }
}

int star_number(std::string_view text)
{
    int number = 0;
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    bool whole = error == std::errc() && end == text.data() + text.size();
    return whole && number > 0 && text[0] != '0' ? number : 0;
}

// What the fuzz targets share: how one says what must hold, and how it takes its input apart.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

// Ends the process where `holds` is false, which makes the input at hand a finding. `what` says what was to hold.
inline void must(bool holds, const char *what, const std::string &seen = {})
{
    if (holds)
        return;
    fprintf(stderr, "broken: %s\n%s\n", what, seen.c_str());
    abort();
}

inline std::string_view input_text(const uint8_t *data, size_t size)
{
    return {reinterpret_cast<const char *>(data), size};
}

// The texts between the separators, the empty ones too.
inline std::vector<std::string> cut_at(std::string_view text, char separator)
{
    std::vector<std::string> pieces;
    for (;;) {
        const size_t end = text.find(separator);
        pieces.emplace_back(text.substr(0, end));
        if (end == text.npos)
            return pieces;
        text.remove_prefix(end + 1);
    }
}

// As the product sees it: up to the first zero byte.
inline std::string c_text(std::string_view bytes)
{
    return std::string(bytes.substr(0, bytes.find('\0')));
}

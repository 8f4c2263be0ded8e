// What the programs that list the code's tables for the manual write them with.
#pragma once

#include <cstdio>
#include <string_view>

// Writes a JSON string; the texts of the tables hold no other characters that need care.
inline void write_text(std::string_view text)
{
    putchar('"');
    for (char c : text) {
        if (c == '\n' || c == '\t')
            fputs(c == '\n' ? "\\n" : "\\t", stdout);
        else if (c == '"' || c == '\\')
            printf("\\%c", c);
        else
            putchar(c);
    }
    putchar('"');
}

inline void write_member(const char *name, std::string_view text)
{
    printf("\"%s\": ", name);
    write_text(text);
}

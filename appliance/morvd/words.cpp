// Lists of words in messages, and the word that was meant.

#include "appliance/morvd/words.h"

#include <algorithm>
#include <cstdio>
#include <numeric>
#include <vector>

std::string quoted(std::string_view word)
{
    return "'" + std::string(word) + "'";
}

std::string quoted_list(known_words words, std::string_view before_last)
{
    std::string text;
    for (size_t i = 0; i < words.size(); i++) {
        bool last = i > 0 && i + 1 == words.size();
        text += i == 0 ? "" : last ? " " + std::string(before_last) + " " : ", ";
        text += quoted(words[i]);
    }
    return text;
}

std::string number_text(double number)
{
    char buffer[32];
    snprintf(buffer, sizeof buffer, "%.10g", number);
    return buffer;
}

// How many letters have to be put in, left out or changed to make one of the other.
static size_t distance(std::string_view one, std::string_view other)
{
    std::vector<size_t> row(other.size() + 1);
    std::iota(row.begin(), row.end(), size_t{0});
    for (size_t i = 0; i < one.size(); i++) {
        size_t diagonal = row[0];
        row[0] = i + 1;
        for (size_t j = 0; j < other.size(); j++) {
            size_t changed = diagonal + (one[i] != other[j]);
            diagonal = row[j + 1];
            row[j + 1] = std::min({changed, row[j] + 1, diagonal + 1});
        }
    }
    return row.back();
}

std::string_view nearest(std::string_view word, known_words words)
{
    static constexpr size_t longest_word = 64; // a longer one is no slip of the fingers
    std::string_view found;
    size_t least = std::max<size_t>(1, word.size() / 3) + 1;
    for (std::string_view one : words)
        if (size_t far = word.size() > longest_word ? least : distance(word, one); far < least) {
            least = far;
            found = one;
        }
    static constexpr size_t shortest_beginning = 3;
    if (found.empty() && word.size() >= shortest_beginning)
        for (std::string_view one : words)
            if (one.starts_with(word))
                return one;
    return found;
}

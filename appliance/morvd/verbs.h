// The words that a request can begin with once a session is logged in, and how many arguments each takes.
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

enum class verb { get, set, info, admin, list, mlist, add, del, move, commit };

struct verb_row {
    std::string_view word;
    verb code;
    size_t least, most; // arguments, the path among them
};

// The row of a word, or null.
const verb_row *find_verb(std::string_view word);

// Whether a fault can be asked for on the word: a verb of the tree, `login` or `resume`.
bool can_fail(std::string_view word);

// All words that a fault can be asked for on.
std::vector<std::string_view> words_that_can_fail();

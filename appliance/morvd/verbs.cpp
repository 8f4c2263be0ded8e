// The verbs of the control tree.

#include "appliance/morvd/verbs.h"

static constexpr size_t any_number = static_cast<size_t>(-1);

static constexpr verb_row verbs[] = {
    {"get", verb::get, 1, 1},
    {"set", verb::set, 2, 2},
    {"info", verb::info, 1, any_number},
    {"admin", verb::admin, 1, any_number},
    {"list", verb::list, 1, 1},
    {"mlist", verb::mlist, 1, 1},
    {"add", verb::add, 2, 2},
    {"del", verb::del, 2, 2},
    {"move", verb::move, 3, 3},
    {"commit", verb::commit, 0, 0},
};

const verb_row *find_verb(std::string_view word)
{
    for (const verb_row &row : verbs)
        if (row.word == word)
            return &row;
    return nullptr;
}

std::vector<std::string_view> words_that_can_fail()
{
    std::vector<std::string_view> words = {"login", "resume"};
    for (const verb_row &row : verbs)
        words.push_back(row.word);
    return words;
}

bool can_fail(std::string_view word)
{
    return word == "login" || word == "resume" || find_verb(word);
}

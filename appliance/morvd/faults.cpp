// Which request meets which of the faults that were asked for.

#include "appliance/morvd/faults.h"

#include <algorithm>
#include <optional>

#include "appliance/morvd/path.h"
#include "appliance/morvd/verbs.h"

bool find_fault_kind(std::string_view word, fault_kind *kind)
{
    auto found = std::ranges::find(fault_kind_words, word);
    if (found == std::end(fault_kind_words))
        return false;
    *kind = static_cast<fault_kind>(found - std::begin(fault_kind_words));
    return true;
}

bool is_fault_sound(const fault &fault)
{
    return (fault.verb == "*" || can_fail(fault.verb)) && split_path(fault.path);
}

static bool path_matches(std::string_view pattern, std::string_view path)
{
    if (pattern == "*")
        return true;
    std::optional<std::vector<std::string>> wanted = split_path(pattern);
    std::optional<std::vector<std::string>> given = split_path(path);
    if (!wanted || !given || wanted->size() != given->size())
        return false;
    for (size_t i = 0; i < wanted->size(); i++)
        if ((*wanted)[i] != "*" && (*wanted)[i] != (*given)[i])
            return false;
    return true;
}

bool meet_fault(std::vector<fault> &faults, std::string_view verb, std::string_view path, fault *met)
{
    for (auto one = faults.begin(); one != faults.end(); ++one) {
        if ((one->verb != "*" && one->verb != verb) || !path_matches(one->path, path))
            continue;
        if (one->skip > 0) {
            one->skip--;
            continue;
        }
        *met = *one;
        if (one->count > 0 && --one->count == 0)
            faults.erase(one);
        return true;
    }
    return false;
}

std::string fault_text(const fault &fault)
{
    std::string text(fault_kind_words[static_cast<size_t>(fault.kind)]);
    text += " " + fault.verb + " " + fault.path;
    if (fault.kind == fault_kind::refuse)
        text += " " + std::to_string(fault.code);
    if (fault.kind == fault_kind::delay)
        text += " " + std::to_string(fault.delay_ms);
    return text + " " + std::to_string(fault.count) + " " + std::to_string(fault.skip);
}

// The groups of users and who is in them.

#include "appliance/morvd/leaves.h"

static std::vector<std::string> group_names(const target &to)
{
    std::vector<std::string> names;
    for (const user_group &group : to.device->units->groups)
        names.push_back(group.name);
    return names;
}

static std::vector<std::string> members(const target &to)
{
    return to.group->members;
}

static constexpr leaf groups_table[] = {
    {.name = "id", .list = [](const target &to) { return numbers_up_to(to.device->units->groups.size()); }},
    {.name = "name", .list = group_names},
};

static constexpr leaf group_by_name_table[] = {
    {.name = "id", .get = [](const target &to) { return std::optional(std::to_string(to.group_id)); }},
    {.name = "member", .list = members},
};

static constexpr leaf group_by_id_table[] = {
    {.name = "name", .get = [](const target &to) { return std::optional(to.group->name); }},
    {.name = "member", .list = members},
};

constinit const std::span<const leaf> groups_leaves = groups_table;
constinit const std::span<const leaf> group_by_name_leaves = group_by_name_table;
constinit const std::span<const leaf> group_by_id_leaves = group_by_id_table;

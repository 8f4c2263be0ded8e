// The control tree: which paths there are, which verbs each takes, and what they read and write in the chain.
//
// To add a leaf, add a row to the table of its node in leaves_*.cpp; to add a kind of node, add a table and a row of
// `nodes` in tree.cpp. A node's own `mlist` names exactly what its tables have for it, so a leaf that a unit lacks must
// say so with `present`.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "appliance/model/device.h"
#include "appliance/morvd/answer.h"
#include "appliance/morvd/verbs.h"

struct node;

// What a path leads to. The pointers along the way are set, the others null.
struct target {
    const struct device *device = nullptr;
    const struct node *node = nullptr;
    place at;
    const port_line *port = nullptr;
    const struct unit *unit = nullptr;
    const struct phase *phase = nullptr;
    const struct circuit *circuit = nullptr;
    const struct outlet *outlet = nullptr;
    const struct envmon *envmon = nullptr;
    std::span<const std::string> args = {}; // what stands behind the path
    node_kind kind = node_kind::unit;       // of the node that `meter` belongs to
    const struct meter *meter = nullptr;
    const user_group *group = nullptr;
    int group_id = 0;
};

using text_reader = std::optional<std::string> (*)(const target &);
using list_reader = std::vector<std::string> (*)(const target &);
using writer = result_code (*)(const target &, std::span<const std::string> args);
using presence = bool (*)(const target &);

struct leaf {
    std::string_view name; // behind the node's path; empty: the node itself
    text_reader get = nullptr;
    text_reader info = nullptr;
    list_reader list = nullptr;
    list_reader mlist = nullptr;
    writer admin = nullptr;
    writer set = nullptr;
    presence present = nullptr; // null: every such node has it
};

// A node finds what its stars stand for; false where there is no such thing.
using star_finder = bool (*)(target &, std::span<const std::string> stars);

struct node {
    std::string_view path; // with its stars
    star_finder find;
    std::span<const leaf> leaves;
    std::span<const leaf> shared = {}; // further leaves that several kinds of node have alike
};

// `path` is a path as on the wire, `args` what stands behind it.
answer ask_tree(const device &device, verb verb, std::string_view path, std::span<const std::string> args);

// The names of what the node has: its leaves and containers, without those further below.
std::vector<std::string> names_of_node(const target &target);

// "1" to "COUNT", as the containers of numbered nodes list them.
std::vector<std::string> numbers_up_to(size_t count);

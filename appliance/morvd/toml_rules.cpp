// Keys, types and bounds of TOML tables, and the words for what breaks them.

#include "appliance/morvd/toml_rules.h"

#include <algorithm>
#include <cstdio>
#include <vector>

#include "appliance/model/chain.h"

struct kind_words {
    value_kind kind;
    const char *words;
};

static constexpr kind_words expected_words[] = {
    {value_kind::text, "a text"},
    {value_kind::whole, "a whole number"},
    {value_kind::real, "a number"},
    {value_kind::truth, "true or false"},
    {value_kind::texts, "a list of texts"},
    {value_kind::wholes, "a list of whole numbers"},
    {value_kind::reals, "a list of numbers"},
    {value_kind::table, "a table"},
    {value_kind::tables, "a list of tables"},
};

void fail_at(const toml::node &node, std::string words)
{
    throw file_fault{node.source().begin.line, std::move(words)};
}

static bool all_of_kind(const toml::node &node, bool (*is_right)(const toml::node &))
{
    const toml::array *items = node.as_array();
    return items && std::all_of(items->begin(), items->end(), is_right);
}

static bool has_kind(const toml::node &node, value_kind kind)
{
    switch (kind) {
    case value_kind::text:
        return node.is_string();
    case value_kind::whole:
        return node.is_integer();
    case value_kind::real:
        return node.is_number();
    case value_kind::truth:
        return node.is_boolean();
    case value_kind::texts:
        return all_of_kind(node, [](const toml::node &item) { return item.is_string(); });
    case value_kind::wholes:
        return all_of_kind(node, [](const toml::node &item) { return item.is_integer(); });
    case value_kind::reals:
        return all_of_kind(node, [](const toml::node &item) { return item.is_number(); });
    case value_kind::table:
        return node.is_table();
    case value_kind::tables:
        return all_of_kind(node, [](const toml::node &item) { return item.is_table(); });
    }
    return false;
}

static std::string quoted(std::string_view name)
{
    return "'" + std::string(name) + "'";
}

std::string number_text(double number)
{
    char buffer[32];
    snprintf(buffer, sizeof buffer, "%.10g", number);
    return buffer;
}

static void check_text(std::string_view name, const toml::node &node, const key_rule &rule)
{
    const std::string &text = **node.as_string();
    double size = static_cast<double>(text.size());
    if (size < rule.low || size > rule.high)
        fail_at(node,
                quoted(name) + " must have " + number_text(rule.low) + " to " + number_text(rule.high) + " bytes");
    if (has_control_characters(text))
        fail_at(node, quoted(name) + " must not hold control characters");
}

static void check_number(std::string_view name, const toml::node &node, const key_rule &rule)
{
    double value = *node.value<double>();
    if (!(value >= rule.low && value <= rule.high)) // not a number lies between nothing
        fail_at(node, quoted(name) + " must lie between " + number_text(rule.low) + " and " + number_text(rule.high));
}

void check_value(std::string_view name, const toml::node &node, const key_rule &rule)
{
    if (!has_kind(node, rule.kind))
        for (const kind_words &row : expected_words)
            if (row.kind == rule.kind)
                fail_at(node, quoted(name) + " must be " + row.words);
    if (rule.kind == value_kind::text)
        check_text(name, node, rule);
    if (rule.kind == value_kind::whole || rule.kind == value_kind::real)
        check_number(name, node, rule);
    if (rule.kind == value_kind::texts)
        for (const toml::node &item : *node.as_array())
            check_text(name, item, rule);
    if (rule.kind == value_kind::wholes || rule.kind == value_kind::reals)
        for (const toml::node &item : *node.as_array())
            check_number(name, item, rule);
}

static const key_rule *find_rule(std::span<const key_rule> rules, std::string_view name)
{
    auto rule = std::find_if(rules.begin(), rules.end(), [&](const key_rule &row) { return row.name == name; });
    return rule == rules.end() ? nullptr : &*rule;
}

void check_table(const toml::table &table, std::span<const key_rule> rules, std::span<const key_rule> further)
{
    std::vector<std::pair<const toml::key *, const toml::node *>> entries;
    for (auto &&[key, node] : table)
        entries.emplace_back(&key, &node);
    std::sort(entries.begin(), entries.end(),
              [](auto &one, auto &other) { return one.first->source().begin < other.first->source().begin; });

    for (const auto &entry : entries) {
        std::string_view name = entry.first->str();
        const key_rule *rule = find_rule(rules, name);
        if (!rule)
            rule = find_rule(further, name);
        if (!rule)
            throw file_fault{entry.first->source().begin.line, "unknown key " + quoted(name)};
        check_value(name, *entry.second, *rule);
    }
}

void require(const toml::table &table, std::string_view key)
{
    if (!table.contains(key))
        fail_at(table, "missing key '" + std::string(key) + "'");
}

std::optional<std::string> text_of(const toml::table &table, std::string_view key)
{
    return table[key].value<std::string>();
}

std::optional<int> whole_of(const toml::table &table, std::string_view key)
{
    return table[key].value<int>();
}

std::optional<double> real_of(const toml::table &table, std::string_view key)
{
    return table[key].value<double>();
}

std::optional<bool> truth_of(const toml::table &table, std::string_view key)
{
    return table[key].value<bool>();
}

const toml::node &place_of(const toml::table &table, std::string_view key)
{
    const toml::node *value = table.get(key);
    return value ? *value : table;
}

// Keys, types and bounds of TOML tables, and the words for what breaks them.

#include "appliance/morvd/toml_rules.h"

#include <algorithm>
#include <vector>

#include "appliance/model/chain.h"

// What a key of the kind must be, and what each of its values is called in a list.
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

// --- What is wanted, and what was given -----------------------------------------------------------------------------

static bool is_list(value_kind kind)
{
    return kind == value_kind::texts || kind == value_kind::wholes || kind == value_kind::reals ||
           kind == value_kind::tables;
}

static bool holds_texts(value_kind kind)
{
    return kind == value_kind::text || kind == value_kind::texts;
}

static bool holds_numbers(value_kind kind)
{
    return kind == value_kind::whole || kind == value_kind::real || kind == value_kind::wholes ||
           kind == value_kind::reals;
}

static std::string wanted(const key_rule &rule)
{
    if (!rule.words.empty())
        return (is_list(rule.kind) ? "a list of " : "") + quoted_list(rule.words);
    std::string text;
    for (const kind_words &row : expected_words)
        if (row.kind == rule.kind)
            text = row.words;
    std::string bounds = number_text(rule.low) + " to " + number_text(rule.high);
    if (holds_texts(rule.kind))
        return text + " of " + bounds + " bytes";
    if (holds_numbers(rule.kind))
        return text + " from " + bounds + (rule.unit.empty() ? "" : " ") + std::string(rule.unit);
    return text;
}

static std::string type_text(const toml::node &node)
{
    if (node.is_string())
        return "a text";
    if (node.is_number())
        return number_text(*node.value<double>());
    if (node.is_boolean())
        return *node.value<bool>() ? "true" : "false";
    return node.is_array() ? "a list" : node.is_table() ? "a table" : "a date or time";
}

[[noreturn]] static void fail_rule(const toml::node &node, std::string_view name, const key_rule &rule,
                                   const std::string &given)
{
    fail_at(node, quoted(name) + " must be " + wanted(rule) + ", not " + given);
}

void fail_value(const toml::table &table, std::string_view key, const std::string &wanted)
{
    const toml::node &value = place_of(table, key);
    std::string given = value.is_string() ? quoted(**value.as_string()) : type_text(value);
    fail_at(value, quoted(key) + " must be " + wanted + ", not " + given);
}

// --- One value ------------------------------------------------------------------------------------------------------

// Of a key that is no list, or of one value in a list.
static bool has_kind(const toml::node &node, value_kind kind)
{
    switch (kind) {
    case value_kind::text:
    case value_kind::texts:
        return node.is_string();
    case value_kind::whole:
    case value_kind::wholes:
        return node.is_integer();
    case value_kind::real:
    case value_kind::reals:
        return node.is_number();
    case value_kind::truth:
        return node.is_boolean();
    case value_kind::table:
    case value_kind::tables:
        return node.is_table();
    }
    return false;
}

static void check_text(std::string_view name, const toml::node &node, const key_rule &rule)
{
    const std::string &text = **node.as_string();
    double size = static_cast<double>(text.size());
    if (has_control_characters(text))
        fail_at(node, quoted(name) + " must not hold control characters");
    if (!rule.words.empty() && std::ranges::find(rule.words, text) == rule.words.end())
        fail_rule(node, name, rule, quoted(text));
    if (rule.words.empty() && (size < rule.low || size > rule.high))
        fail_rule(node, name, rule, "of " + number_text(size));
}

static void check_number(std::string_view name, const toml::node &node, const key_rule &rule)
{
    double value = *node.value<double>();
    if (!(value >= rule.low && value <= rule.high)) // not a number lies between nothing
        fail_rule(node, name, rule, number_text(value));
}

static void check_one(std::string_view name, const toml::node &node, const key_rule &rule)
{
    if (!has_kind(node, rule.kind))
        fail_rule(node, name, rule, type_text(node));
    if (holds_texts(rule.kind))
        check_text(name, node, rule);
    if (holds_numbers(rule.kind))
        check_number(name, node, rule);
}

void check_value(std::string_view name, const toml::node &node, const key_rule &rule)
{
    if (!is_list(rule.kind))
        return check_one(name, node, rule);
    if (!node.is_array())
        fail_rule(node, name, rule, type_text(node));
    for (const toml::node &item : *node.as_array())
        check_one(name, item, rule);
}

// --- A table --------------------------------------------------------------------------------------------------------

static const key_rule *find_rule(std::span<const key_rule> rules, std::string_view name)
{
    auto rule = std::find_if(rules.begin(), rules.end(), [&](const key_rule &row) { return row.name == name; });
    return rule == rules.end() ? nullptr : &*rule;
}

static std::string unknown_key(std::string_view name, std::span<const key_rule> rules,
                               std::span<const key_rule> further)
{
    std::vector<std::string_view> names;
    for (std::span<const key_rule> some : {rules, further})
        for (const key_rule &rule : some)
            names.push_back(rule.name);
    std::string_view meant = nearest(name, names);
    return "unknown key " + quoted(name) +
           (meant.empty() ? "; known here: " + quoted_list(names, "and") : ", did you mean " + quoted(meant) + "?");
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
            throw file_fault{entry.first->source().begin.line, unknown_key(name, rules, further)};
        check_value(name, *entry.second, *rule);
    }
}

void require(const toml::table &table, std::string_view key, std::string_view where)
{
    if (!table.contains(key))
        fail_at(table, "missing key " + quoted(key) + " in " + std::string(where));
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

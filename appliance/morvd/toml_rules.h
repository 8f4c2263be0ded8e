// Checks TOML tables against the keys that they may have, so that whoever reads values from them afterwards finds only
// values of the right type within their bounds.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "appliance/morvd/key_rule.h"
#include "appliance/morvd/words.h"

// Strict about what is read, and the whole of it in one header.
#define TOML_ENABLE_FORMATTERS 0
// One of the parser's own assertions stands where a malformed file comes ("[[="), which is told as a fault behind it.
#define TOML_ASSERT(expr) static_assert(true)
#include <toml++/toml.h>

// Something wrong in the file.
struct file_fault {
    unsigned line;
    std::string words;
};

[[noreturn]] void fail_at(const toml::node &node, std::string words);

// Throws file_fault at the first key, in the order of the file, that no rule names, here or among `further`, or that
// breaks its rule. The words say what would be right: the key that was meant, the type, the range, the list of words.
void check_table(const toml::table &table, std::span<const key_rule> rules, std::span<const key_rule> further = {});

// The same for one value that stands under the key `name`.
void check_value(std::string_view name, const toml::node &node, const key_rule &rule);

// Throws file_fault at the table where the key is not given; `where` is the table's head, "[[port]]".
void require(const toml::table &table, std::string_view key, std::string_view where);

// Throws file_fault at the value: "'KEY' must be WANTED, not 'GIVEN'".
[[noreturn]] void fail_value(const toml::table &table, std::string_view key, const std::string &wanted);

// Values of a checked table; nothing where the key is not given.
std::optional<std::string> text_of(const toml::table &table, std::string_view key);
std::optional<int> whole_of(const toml::table &table, std::string_view key);
std::optional<double> real_of(const toml::table &table, std::string_view key);
std::optional<bool> truth_of(const toml::table &table, std::string_view key);

// The value under the key, or the table itself: where a fault is told to lie.
const toml::node &place_of(const toml::table &table, std::string_view key);

// Calls `read` with each table of an array of tables, and its place from 0.
template <class Read> void each_table(const toml::table &table, std::string_view key, Read read)
{
    size_t index = 0;
    if (const toml::array *tables = table[key].as_array())
        for (const toml::node &one : *tables)
            read(*one.as_table(), index++);
}

// From the chain file to the chain: ports, groups of users, faults that are asked for from the start.

#include "appliance/morvd/chain_file.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "appliance/morvd/chain_keys.h"
#include "appliance/morvd/toml_rules.h"
#include "appliance/morvd/unit_table.h"
#include "appliance/morvd/verbs.h"

static constexpr size_t largest_file = 1 << 20;
static constexpr size_t most_ports = 16;
static constexpr size_t most_units = 64;

// --- Keys -----------------------------------------------------------------------------------------------------------

static constexpr key_rule file_keys[] = {
    {"seed", value_kind::whole, 0, INT32_MAX}, {"noise", value_kind::truth},  {"port", value_kind::tables},
    {"authorization", value_kind::table},      {"fault", value_kind::tables},
};

static constexpr key_rule port_keys[] = {
    {"name", value_kind::text, 1, 31},     {"device", value_kind::text, 1, 63},
    {"pdu_type", value_kind::text, 1, 31}, {"polling_rate", value_kind::whole, 1, 3600, "seconds"},
    {"unit", value_kind::tables},
};

static constexpr key_rule fault_keys[] = {
    {"kind", value_kind::text, 1, 15, "", fault_kind_words},
    {"verb", value_kind::text, 1, 15},
    {"path", value_kind::text, 1, 255},
    {"code", value_kind::whole, 1, INT32_MAX},
    {"milliseconds", value_kind::whole, 0, longest_delay_ms, "milliseconds"},
    {"count", value_kind::whole, 0, INT32_MAX},
    {"skip", value_kind::whole, 0, INT32_MAX},
};

static constexpr key_rule members_rule = {"", value_kind::texts, 1, 64};

std::vector<chain_file_table> chain_file_tables()
{
    std::vector<chain_file_table> tables = {{"", 1, file_keys, {}}, {"port", most_ports, port_keys, {}}};
    tables.insert(tables.end(), unit_tables.begin(), unit_tables.end());
    tables[2].most = most_units;
    tables.push_back({"authorization", 1, {&members_rule, 1}, {}});
    tables.push_back({"fault", most_faults, fault_keys, {}});
    return tables;
}

// --- Ports -------------------------------------------------------------------------------------------------

static void read_port(chain &made, const toml::table &table, size_t index)
{
    check_table(table, port_keys);
    require(table, "name", "[[port]]");
    std::string name = *text_of(table, "name");
    if (index == most_ports)
        fail_at(table, "more than " + std::to_string(most_ports) + " ports");
    // The status segment tells the appliance's own unit by its line's name and place.
    if (name == local_port_name && index > 0)
        fail_at(place_of(table, "name"), "the port 'local', of the appliance's own unit, must be the first");
    for (const port_line &other : made.ports)
        if (other.name == name)
            fail_at(place_of(table, "name"), "the port name '" + name + "' is given twice");

    made.ports.push_back({name,
                          text_of(table, "device").value_or("/dev/ttyS" + std::to_string(index + 1)),
                          text_of(table, "pdu_type").value_or("ipdu"),
                          whole_of(table, "polling_rate").value_or(5),
                          {}});
    each_table(table, "unit", [&](const toml::table &one, size_t pdu) {
        if (pdu == most_units)
            fail_at(one, "more than " + std::to_string(most_units) + " units on one port");
        unit read = read_unit(made, one);
        made.ports.back().units.push_back(std::move(read));
    });
}

// --- Groups and faults ----------------------------------------------------------------------------------------------

static void read_groups(chain &made, const toml::table &table)
{
    const toml::table *groups = table["authorization"].as_table();
    if (!groups)
        return;
    for (auto &&[key, node] : *groups) {
        check_value(key.str(), node, members_rule);
        user_group group = {std::string(key.str()), {}};
        for (const toml::node &member : *node.as_array())
            group.members.push_back(**member.as_string());
        made.groups.push_back(std::move(group));
    }
}

static fault read_fault(const toml::table &table)
{
    check_table(table, fault_keys);
    require(table, "kind", "[[fault]]");
    fault made;
    find_fault_kind(*text_of(table, "kind"), &made.kind);
    if (table.contains("code") && made.kind != fault_kind::refuse)
        fail_at(place_of(table, "code"), "only a refusal has a 'code'");
    if (made.kind == fault_kind::delay)
        require(table, "milliseconds", "[[fault]] of kind 'delay'");
    else if (table.contains("milliseconds"))
        fail_at(place_of(table, "milliseconds"), "only a delay has 'milliseconds'");

    made.verb = text_of(table, "verb").value_or(made.verb);
    made.path = text_of(table, "path").value_or(made.path);
    made.code = whole_of(table, "code").value_or(made.code);
    made.delay_ms = whole_of(table, "milliseconds").value_or(0);
    made.count = whole_of(table, "count").value_or(0);
    made.skip = whole_of(table, "skip").value_or(0);
    if (made.verb != "*" && !can_fail(made.verb))
        fail_value(table, "verb", "'*', " + quoted_list(words_that_can_fail()));
    if (!is_fault_sound(made))
        fail_value(table, "path", "words with one '.' between them, or '*'");
    return made;
}

// --- The file -------------------------------------------------------------------------------------------------------

static chain_file read_file(const toml::table &table)
{
    chain_file made;
    check_table(table, file_keys);
    made.units.seed = static_cast<unsigned>(whole_of(table, "seed").value_or(1));
    made.units.noise = truth_of(table, "noise").value_or(true);
    each_table(table, "port", [&](const toml::table &one, size_t index) { read_port(made.units, one, index); });
    read_groups(made.units, table);
    each_table(table, "fault", [&](const toml::table &one, size_t index) {
        if (index == most_faults)
            fail_at(one, "more than " + std::to_string(most_faults) + " faults");
        made.faults.push_back(read_fault(one));
    });
    return made;
}

// A fault is one line of a terminal or a log, whatever the keys and scraps of the file that it shows.
static std::string fault_line(unsigned line, std::string_view words)
{
    std::string told = "line " + std::to_string(line) + ": ";
    for (char letter : words)
        told += has_control_characters({&letter, 1}) ? '?' : letter;
    return told;
}

bool parse_chain(std::string_view text, chain_file *read, std::string *fault)
{
    try {
        *read = read_file(toml::parse(text));
        return true;
    } catch (const toml::parse_error &wrong) {
        *fault = fault_line(wrong.source().begin.line, wrong.description());
    } catch (const file_fault &wrong) {
        *fault = fault_line(wrong.line, wrong.words);
    }
    return false;
}

// The whole file, or the cause in `fault`.
static std::optional<std::string> read_text(const std::string &path, std::string *fault)
{
    std::unique_ptr<FILE, int (*)(FILE *)> file(fopen(path.c_str(), "re"), fclose);
    if (!file) {
        *fault = strerror(errno);
        return std::nullopt;
    }
    std::string text(largest_file + 1, '\0');
    text.resize(fread(text.data(), 1, text.size(), file.get()));
    if (!ferror(file.get()) && text.size() <= largest_file)
        return text;
    *fault = ferror(file.get()) ? strerror(errno) : "file too large";
    return std::nullopt;
}

bool load_chain_file(const std::string &path, chain_file *read, std::string *fault)
{
    std::string cause;
    std::optional<std::string> text = read_text(path, &cause);
    if (text && parse_chain(*text, read, &cause))
        return true;
    *fault = "cannot read '" + path + "': " + cause;
    return false;
}

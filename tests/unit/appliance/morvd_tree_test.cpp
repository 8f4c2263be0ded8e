// The control tree: every leaf with its text on the wire, and what paths and verbs are refused.

#include "appliance/morvd/path.h"
#include "appliance/morvd/tree.h"
#include "tests/unit/appliance/morvd_desk.h"

struct leaf_text {
    const char *path;
    const char *text;
};

static void expect_info(std::string_view prefix, std::initializer_list<leaf_text> leaves)
{
    test_desk desk;
    for (const leaf_text &leaf : leaves)
        EXPECT_EQ(desk.ask({"info", std::string(prefix) + leaf.path}), bulk(leaf.text)) << leaf.path;
}

static std::string ask(const std::vector<std::string> &words)
{
    return test_desk().ask(words);
}

static constexpr char no_such_path[] = "-ERR 8 no such path\r\n";
static constexpr char no_such_verb[] = "-ERR 9 no such verb on that path\r\n";

// --- Paths ----------------------------------------------------------------------------------------------------------

TEST(morvd_path, components_are_decoded)
{
    EXPECT_EQ(split_path("power.outlet.web%2E1.port"), (std::vector<std::string>{"power", "outlet", "web.1", "port"}));
    EXPECT_EQ(split_path("a%2eb"), std::vector<std::string>{"a.b"});
}

TEST(morvd_path, broken_encoding_and_empty_components_are_no_path)
{
    for (std::string_view path : {"a%2", "a%", "a%zz", "a%2x.b", "", "a..b", ".a", "a.", "."})
        EXPECT_FALSE(split_path(path)) << path;
}

TEST(morvd_path, int_star_is_a_plain_positive_decimal)
{
    EXPECT_EQ(star_number("12"), 12);
    for (std::string_view text : {"0", "-1", "+1", "01", "1x", " 1", "", "99999999999"})
        EXPECT_EQ(star_number(text), 0) << text;
}

// --- power and its ports --------------------------------------------------------------------------------------------

TEST(morvd_tree, power_counts_and_lists_what_it_has)
{
    EXPECT_EQ(ask({"info", "power.num-devices"}), bulk("2"));
    EXPECT_EQ(ask({"mlist", "power.port"}), array({"1", "2"}));
    EXPECT_EQ(ask({"list", "power.pdu"}), array({"rack1", "ipdu2", "far"}));
    EXPECT_EQ(ask({"mlist", "power.pdu"}), array({"rack1", "ipdu2", "far"}));
    EXPECT_EQ(ask({"mlist", "power.outlet"}), array({"web.1"}));
}

TEST(morvd_tree, port_says_what_line_it_is)
{
    expect_info("power.port.1.", {{"device", "/dev/ttyS7"},
                                  {"name", "local"},
                                  {"number", "1"},
                                  {"num-pdus", "2"},
                                  {"polling-rate", "9"},
                                  {"pdu-type", "strip"}});
    expect_info("power.port.2.", {{"name", "remote"}, {"number", "2"}, {"num-pdus", "1"}});
    EXPECT_EQ(ask({"mlist", "power.port.1.pdu"}), array({"1", "2"}));
}

TEST(morvd_tree, appliance_without_lines_lists_none)
{
    test_desk desk("");
    EXPECT_EQ(desk.ask({"info", "power.num-devices"}), bulk("0"));
    EXPECT_EQ(desk.ask({"mlist", "power.port"}), "*0\r\n");
    EXPECT_EQ(desk.ask({"mlist", "power.outlet"}), "*0\r\n");
}

// --- Units ----------------------------------------------------------------------------------------------------------

TEST(morvd_tree, unit_says_who_it_is_and_what_it_is_made_of)
{
    expect_info("power.port.1.pdu.1.", {{"id", "rack1"},
                                        {"defaultid", "own"},
                                        {"model", "M-3"},
                                        {"model_nr", "130"},
                                        {"version", "1.2"},
                                        {"vendor", "V"},
                                        {"max-current", "32.0"},
                                        {"topology", "delta"},
                                        {"islocal", "true"},
                                        {"switched", "true"},
                                        {"cold-start-delay", "4"},
                                        {"cycle-interval", "10"},
                                        {"num-inlets", "1"},
                                        {"num-phases", "3"},
                                        {"num-circuits", "6"},
                                        {"num-outlets", "8"},
                                        {"num-outlets-on", "7"},
                                        {"true-num-outlets", "8"},
                                        {"num-envmons", "1"}});
    expect_info("power.port.1.pdu.2.", {{"islocal", "false"}, {"switched", "false"}, {"num-phases", "1"}});
    expect_info("power.port.2.pdu.1.", {{"islocal", "false"}, {"id", "far"}});
}

TEST(morvd_tree, unit_lists_exactly_what_it_serves)
{
    EXPECT_EQ(ask({"mlist", "power.port.1.pdu.1"}), array({"id",
                                                           "defaultid",
                                                           "model_nr",
                                                           "model",
                                                           "version",
                                                           "vendor",
                                                           "max-current",
                                                           "topology",
                                                           "cold-start-delay",
                                                           "cycle-interval",
                                                           "islocal",
                                                           "switched",
                                                           "num-inlets",
                                                           "num-phases",
                                                           "num-circuits",
                                                           "num-outlets",
                                                           "true-num-outlets",
                                                           "num-outlets-on",
                                                           "num-envmons",
                                                           "phase",
                                                           "circuit",
                                                           "outlet",
                                                           "envmon",
                                                           "on",
                                                           "off",
                                                           "ion",
                                                           "ioff",
                                                           "cycle"}));
}

TEST(morvd_tree, unit_neither_lists_nor_serves_what_it_lacks)
{
    EXPECT_EQ(
        ask({"mlist", "power.port.1.pdu.2"}),
        array({"id", "defaultid", "islocal", "switched", "num-inlets", "num-phases", "num-circuits", "num-outlets",
               "true-num-outlets", "num-outlets-on", "num-envmons", "phase", "circuit", "outlet", "envmon"}));
    for (const char *leaf :
         {"model", "model_nr", "version", "vendor", "max-current", "topology", "cold-start-delay", "cycle-interval"})
        EXPECT_EQ(ask({"info", std::string("power.port.1.pdu.2.") + leaf}), no_such_path) << leaf;
}

static std::pair<verb, int> how_to_ask(std::string_view name)
{
    for (std::string_view container : {"phase", "circuit", "outlet", "envmon"})
        if (name == container)
            return {verb::mlist, answer::list};
    for (std::string_view action : {"on", "off", "ion", "ioff", "lock", "unlock", "cycle", "reset"})
        if (name == action)
            return {verb::admin, answer::done};
    return {verb::info, answer::text};
}

TEST(morvd_tree, every_name_that_a_node_lists_is_served_and_no_other)
{
    test_desk desk;
    for (std::string path :
         {"power.port.1.pdu.1", "power.port.1.pdu.2", "power.port.1.pdu.1.phase.1", "power.port.1.pdu.1.circuit.1",
          "power.port.1.pdu.1.outlet.2", "power.port.1.pdu.2.outlet.1", "power.port.1.pdu.1.envmon.1"}) {
        answer names = ask_tree(desk.served.line, verb::mlist, path, {});
        ASSERT_EQ(names.kind, answer::list) << path;
        EXPECT_FALSE(names.items.empty()) << path;
        for (const std::string &name : names.items) {
            auto [asked, kind] = how_to_ask(name);
            EXPECT_EQ(ask_tree(desk.served.line, asked, path + "." + name, {}).kind, kind) << path << "." << name;
        }
    }
}

TEST(morvd_tree, unit_lists_the_numbers_of_its_parts)
{
    EXPECT_EQ(ask({"mlist", "power.port.1.pdu.1.phase"}), array({"1", "2", "3"}));
    EXPECT_EQ(ask({"mlist", "power.port.1.pdu.1.circuit"}), array({"1", "2", "3", "4", "5", "6"}));
    EXPECT_EQ(ask({"mlist", "power.port.1.pdu.1.outlet"}), array({"1", "2", "3", "4", "5", "6", "7", "8"}));
    EXPECT_EQ(ask({"mlist", "power.port.1.pdu.1.envmon"}), array({"1"}));
    EXPECT_EQ(ask({"mlist", "power.port.1.pdu.2.envmon"}), "*0\r\n");
}

TEST(morvd_tree, unit_id_changes_and_the_unit_is_found_by_it)
{
    test_desk desk;
    EXPECT_EQ(desk.ask({"admin", "power.port.1.pdu.1.id", "new"}), "+OK\r\n");
    EXPECT_EQ(desk.ask({"info", "power.port.1.pdu.1.id"}), bulk("new"));
    EXPECT_EQ(desk.ask({"info", "power.pdu.new.pdu"}), bulk("1"));
    EXPECT_EQ(desk.ask({"info", "power.pdu.rack1.pdu"}), no_such_path);
}

TEST(morvd_tree, unit_id_that_breaks_a_rule_is_refused_and_changes_nothing)
{
    test_desk desk;
    const char *id = "power.port.1.pdu.1.id";
    EXPECT_EQ(desk.ask({"admin", id, "abcdefghijklmnopq"}), "-ERR 11 value too long\r\n");
    EXPECT_EQ(desk.ask({"admin", id, "a.b"}), "-ERR 10 bad value\r\n");
    EXPECT_EQ(desk.ask({"admin", id, "far"}), "-ERR 12 name already taken\r\n");
    EXPECT_EQ(desk.ask({"admin", id}), "-ERR 6 bad arguments\r\n");
    EXPECT_EQ(desk.ask({"admin", id, "a", "b"}), "-ERR 6 bad arguments\r\n");
    EXPECT_EQ(desk.ask({"info", id}), bulk("rack1"));
}

TEST(morvd_tree, empty_unit_id_brings_the_default_back)
{
    test_desk desk;
    EXPECT_EQ(desk.ask({"admin", "power.port.1.pdu.1.id", ""}), "+OK\r\n");
    EXPECT_EQ(desk.ask({"info", "power.port.1.pdu.1.id"}), bulk("own"));
}

// --- Parts of a unit ------------------------------------------------------------------------------------------------

TEST(morvd_tree, phases_and_circuits_have_names)
{
    expect_info("power.port.1.pdu.1.phase.2.", {{"sys-name", "Y"}, {"name", ""}});
    expect_info("power.port.1.pdu.1.circuit.5.", {{"sys-name", "YZ1"}, {"name", ""}, {"num-outlets", "1"}});
    EXPECT_EQ(ask({"mlist", "power.port.1.pdu.1.phase.2"}), array({"sys-name", "name"}));
    EXPECT_EQ(ask({"mlist", "power.port.1.pdu.1.circuit.5"}), array({"sys-name", "name", "num-outlets"}));
}

TEST(morvd_tree, outlet_shows_states_and_intervals)
{
    expect_info(
        "power.port.1.pdu.1.outlet.1.",
        {{"sys-name", "1"}, {"name", ""}, {"ctrl-status", "ON"}, {"mod-status", "ON"}, {"post-power-on", "0.5"}});
    expect_info("power.port.1.pdu.1.outlet.2.", {{"name", "web.1"},
                                                 {"ctrl-status", "OFF(locked)"},
                                                 {"mod-status", "OFF"},
                                                 {"post-power-on", "0.5"},
                                                 {"post-power-off", "2.3"}});
}

TEST(morvd_tree, outlet_lists_only_the_intervals_that_it_has)
{
    EXPECT_EQ(ask({"mlist", "power.port.1.pdu.1.outlet.1"}),
              array({"sys-name", "name", "ctrl-status", "mod-status", "post-power-on", "on", "off", "ion", "ioff",
                     "lock", "unlock", "cycle"}));
    EXPECT_EQ(ask({"mlist", "power.port.1.pdu.1.outlet.2"}),
              array({"sys-name", "name", "ctrl-status", "mod-status", "post-power-on", "post-power-off", "on", "off",
                     "ion", "ioff", "lock", "unlock", "cycle"}));
}

TEST(morvd_tree, outlet_of_a_unit_without_relays_has_no_state)
{
    EXPECT_EQ(ask({"mlist", "power.port.1.pdu.2.outlet.1"}), array({"sys-name", "name"}));
    EXPECT_EQ(ask({"info", "power.port.1.pdu.2.outlet.1.ctrl-status"}), no_such_path);
}

TEST(morvd_tree, sensor_says_its_kind)
{
    expect_info("power.port.1.pdu.1.envmon.1.",
                {{"sys-name", "HUM1"}, {"name", "cold aisle"}, {"type", "humidity"}, {"type-raw", "3"}, {"unit", "%"}});
}

// --- The other ways in ----------------------------------------------------------------------------------------------

TEST(morvd_tree, unit_is_found_by_its_id)
{
    expect_info("power.pdu.far.", {{"port", "2"}, {"pdu", "1"}});
    EXPECT_EQ(ask({"info", "power.pdu.nosuch.pdu"}), no_such_path);
}

TEST(morvd_tree, outlet_is_found_by_its_encoded_name)
{
    expect_info("power.outlet.web%2E1.", {{"outlet", "2"}, {"pdu", "1"}, {"port", "1"}});
    EXPECT_EQ(ask({"info", "power.outlet.web.1.outlet"}), no_such_path);
    EXPECT_EQ(ask({"info", "power.outlet.nosuch.outlet"}), no_such_path);
}

TEST(morvd_tree, groups_are_listed_by_name_and_by_id)
{
    EXPECT_EQ(ask({"list", "authorization.group.name"}), array({"admin", "night"}));
    EXPECT_EQ(ask({"list", "authorization.group.id"}), array({"1", "2"}));
    EXPECT_EQ(ask({"list", "authorization.group.name.admin.member"}), array({"root", "ann"}));
    EXPECT_EQ(ask({"list", "authorization.group.name.night.member"}), "*0\r\n");
    EXPECT_EQ(ask({"list", "authorization.group.id.1.member"}), array({"root", "ann"}));
    EXPECT_EQ(ask({"get", "authorization.group.name.night.id"}), bulk("2"));
    EXPECT_EQ(ask({"get", "authorization.group.id.2.name"}), bulk("night"));
    EXPECT_EQ(ask({"list", "authorization.group.name.day.member"}), no_such_path);
}

// --- Refusals -------------------------------------------------------------------------------------------------------

TEST(morvd_tree, path_that_leads_nowhere_is_refused)
{
    for (const char *path :
         {"power", "nosuch", "power.port.0.name", "power.port.3.name", "power.port.x.name", "power.port.1.pdu.3.id",
          "power.port.1.pdu.1.outlet.9.name", "power.port.1.pdu.1.outlet.1.current", "power.port.1.name.more",
          "power.port.99999999999.name", "power.port.*.name", "power.port.1.pdu.01.id"})
        EXPECT_EQ(ask({"info", path}), no_such_path) << path;
}

TEST(morvd_tree, malformed_path_is_refused)
{
    for (const char *path : {"", "power..port", "power.%zz", "power.port%"})
        EXPECT_EQ(ask({"info", path}), "-ERR 7 malformed path\r\n") << path;
}

TEST(morvd_tree, verb_that_a_path_does_not_take_is_refused)
{
    for (const std::vector<std::string> &words :
         std::vector<std::vector<std::string>>{{"get", "power.num-devices"},
                                               {"list", "power.port"},
                                               {"mlist", "power.num-devices"},
                                               {"info", "power.port"},
                                               {"info", "power.port.1.pdu.1"},
                                               {"admin", "power.port.1.pdu.1.model", "x"},
                                               {"set", "power.port.1.pdu.1.id", "x"},
                                               {"add", "power.pdu", "x"},
                                               {"del", "power.pdu", "x"},
                                               {"move", "power.pdu", "x", "y"}})
        EXPECT_EQ(ask(words), no_such_verb) << words[0] << " " << words[1];
}

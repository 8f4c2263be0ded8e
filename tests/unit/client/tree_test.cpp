// The whole catalogue: each operation is invoked once through both of its functions, with stars that need encoding, and
// its exchange, its result and every line of its log are held against what its row in the catalogue says.

#include <arpa/inet.h>

#include <map>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "client/frame.h"
#include "client/tree.h"
#include "tests/fakes/fakes.h"
#include "tests/unit/client/log_lines.h"

namespace {

// The wire text of the one value that this test uses of each type.
const std::map<std::string, std::string> wire_texts = {
    {"text", "some text"}, {"number", "-42"},     {"boolean", "true"}, {"ipv4", "10.1.2.3"},
    {"ipv6", "fe80::1"},   {"ip", "192.168.7.9"}, {"method4", "dhcp"}, {"method6", "stateless"},
    {"texts", "b a"},      {"numbers", "3 1"},    {"none", ""},
};

in_addr ipv4_of(const char *text)
{
    in_addr address = {};
    inet_pton(AF_INET, text, &address);
    return address;
}

in6_addr ipv6_of(const char *text)
{
    in6_addr address = {};
    inet_pton(AF_INET6, text, &address);
    return address;
}

paramtype_ip_address ip_of(const char *text)
{
    paramtype_ip_address address = {};
    address.family = AF_INET;
    address.ipv4 = ipv4_of(text);
    return address;
}

// What goes into a call and what comes out of it, under the names that the generated table uses.
struct tree_call {
    std::vector<std::string> stars; // their texts
    const char *arg_vector[2] = {"an arg", nullptr};
    const char *const *args = arg_vector;
    const char *first = "one", *second = "two";

    const char *value_text = nullptr; // for an inner function the wire text, whatever the type
    int value_number = -42, value_boolean = 1, value_method4 = 1, value_method6 = 3;
    in_addr ipv4_sent = ipv4_of("10.1.2.3");
    in6_addr ipv6_sent = ipv6_of("fe80::1");
    paramtype_ip_address ip_sent = ip_of("192.168.7.9");
    const in_addr *value_ipv4 = &ipv4_sent;
    const in6_addr *value_ipv6 = &ipv6_sent;
    const paramtype_ip_address *value_ip = &ip_sent;

    char *result_text = nullptr, *raw_text = nullptr;
    int result_number = -7, result_boolean = -7, result_method4 = -7, result_method6 = -7;
    in_addr result_ipv4 = ipv4_of("9.9.9.9");
    in6_addr result_ipv6 = ipv6_of("9::9");
    paramtype_ip_address result_ip = ip_of("9.9.9.9");
    paramtype_UTF8String_list *result_texts = nullptr, *raw_texts = nullptr;
    paramtype_int_list *result_numbers = nullptr;

    const char *text_star(size_t number) const { return stars[number].c_str(); }
    int int_star(size_t number) const { return std::stoi(stars[number]); }

    explicit tree_call(const std::string &kinds, const char *wire) : value_text(wire)
    {
        for (size_t i = 0; i < kinds.size(); i++)
            stars.push_back(kinds[i] == 'i' ? std::to_string(i + 11) : "s." + std::to_string(i));
    }
    ~tree_call()
    {
        free(result_text);
        free(raw_text);
        paramtype_UTF8String_list_free(result_texts);
        paramtype_UTF8String_list_free(raw_texts);
        paramtype_int_list_free(result_numbers);
    }
    tree_call(const tree_call &) = delete;
    tree_call &operator=(const tree_call &) = delete;
};

struct tree_case {
    const char *verb, *type, *path, *path_name, *kinds;
    bool called;
    int (*outer)(vrn_tsapi_handle *, tree_call &);
    int (*inner)(vrn_tsapi_handle *, tree_call &);
    char *(*build)(tree_call &);

    std::string name() const { return std::string(verb) + "_" + path_name; }
    bool verb_is(std::initializer_list<std::string> verbs) const { return std::set<std::string>(verbs).contains(verb); }
};

#include "client/tree_table.h"

const char *wire_text(const tree_case &row)
{
    return wire_texts.at(row.type).c_str();
}

std::string built_path(const tree_case &row, const tree_call &with)
{
    std::string path;
    size_t star = 0;
    for (const char *from = row.path; *from; from++) {
        if (*from != '*') {
            path += *from;
            continue;
        }
        std::string encoded = with.stars[star++];
        if (size_t dot = encoded.find('.'); dot != std::string::npos)
            encoded.replace(dot, 1, "%2E");
        path += encoded;
    }
    return path;
}

std::string expected_exchange(const tree_case &row, const std::string &path)
{
    std::string exchange = std::string(row.verb) + " " + path;
    if (row.verb_is({"info", "admin"}))
        return exchange + " an arg";
    if (row.verb_is({"move"}))
        return exchange + " one two";
    if (row.verb_is({"set", "add", "del"}))
        return exchange + " " + wire_text(row);
    return exchange;
}

void serve(const tree_case &row, const std::string &path)
{
    if (row.verb_is({"get", "info"}))
        tree.text(path, wire_text(row));
    else if (std::string(row.type) == "texts")
        tree.list(path, texts{"b", "a"});
    else if (std::string(row.type) == "numbers")
        tree.list(path, {3, 1});
}

texts expected_log(const tree_case &row, const tree_call &with, const std::string &path, bool outer)
{
    auto invoked = [&](const std::string &tag, const std::string &kind) {
        return "7 " + tag + " Invoked " + tag + " function \"vrn_" + kind + "_" + row.name() + "\" for MORVD path \"" +
               row.path + "\".";
    };
    texts lines;
    if (outer) {
        lines.push_back(invoked("TSAPI", "tsapi"));
        lines.push_back("7 TSAPI Passing request to the PSAPI.");
    }
    lines.push_back(invoked("PSAPI", "psapi"));
    std::string stars;
    for (size_t i = 0; i < with.stars.size(); i++)
        stars += (i ? ", star" : "star") + std::to_string(i) + "=\"" + with.stars[i] + "\"";
    if (!stars.empty())
        lines.push_back("7 PSAPI    " + stars);
    lines.push_back("7 PSAPI Request to MORVD will use path: \"" + path + "\".");
    lines.push_back("7 PSAPI PSAPI function completed successfully.");
    if (outer)
        lines.push_back("7 TSAPI TSAPI function completed successfully.");
    return lines;
}

texts taken(const paramtype_UTF8String_list *list)
{
    texts values;
    for (; list; list = list->next)
        values.push_back(list->value);
    return values;
}

texts taken(const paramtype_int_list *list)
{
    texts values;
    for (; list; list = list->next)
        values.push_back(std::to_string(list->value));
    return values;
}

// Each result of the call, by type: as it was given where the type is `changed`, else as it stood before.
void expect_results(const tree_call &with, const std::string &changed)
{
    auto is = [&](const char *type) { return changed == type; };
    EXPECT_EQ(with.result_text ? with.result_text : "", is("text") ? std::string("some text") : "");
    EXPECT_EQ(with.result_number, is("number") ? -42 : -7);
    EXPECT_EQ(with.result_boolean, is("boolean") ? 1 : -7);
    EXPECT_EQ(with.result_method4, is("method4") ? 1 : -7);
    EXPECT_EQ(with.result_method6, is("method6") ? 3 : -7);
    EXPECT_EQ(with.result_ipv4.s_addr, ipv4_of(is("ipv4") ? "10.1.2.3" : "9.9.9.9").s_addr);
    in6_addr expected = ipv6_of(is("ipv6") ? "fe80::1" : "9::9");
    EXPECT_EQ(memcmp(&with.result_ipv6, &expected, sizeof expected), 0);
    EXPECT_EQ(with.result_ip.family, AF_INET);
    EXPECT_EQ(with.result_ip.ipv4.s_addr, ipv4_of(is("ip") ? "192.168.7.9" : "9.9.9.9").s_addr);
    EXPECT_EQ(taken(with.result_texts), is("texts") ? (texts{"b", "a"}) : texts{});
    EXPECT_EQ(taken(with.result_numbers), is("numbers") ? (texts{"3", "1"}) : texts{});
}

std::string read_type(const tree_case &row)
{
    return row.verb_is({"get", "info", "list", "mlist"}) ? row.type : "none";
}

} // namespace

TEST(tree, each_outer_function_makes_its_one_exchange_and_gives_its_value)
{
    for (const tree_case &row : tree_cases) {
        SCOPED_TRACE("vrn_tsapi_" + row.name());
        tree_call with(row.kinds, wire_text(row));
        std::string path = built_path(row, with);
        serve(row, path);
        forget();

        EXPECT_EQ(row.outer(cli_tsapi, with), 0);
        std::string exchange = expected_exchange(row, path);
        EXPECT_EXCHANGES({exchange});
        EXPECT_EVENTS({"ready", "send " + exchange, "idle", "release"});
        EXPECT_EQ(log_lines(), expected_log(row, with, path, true));
        expect_results(with, read_type(row));
    }
}

TEST(tree, each_inner_function_makes_its_one_exchange_in_texts)
{
    for (const tree_case &row : tree_cases) {
        SCOPED_TRACE("vrn_psapi_" + row.name());
        tree_call with(row.kinds, wire_text(row));
        std::string path = built_path(row, with);
        serve(row, path);
        forget();

        EXPECT_EQ(row.inner(cli_tsapi, with), 0);
        std::string exchange = expected_exchange(row, path);
        EXPECT_EXCHANGES({exchange});
        EXPECT_EVENTS({"ready", "send " + exchange, "idle", "release"});
        EXPECT_EQ(log_lines(), expected_log(row, with, path, false));
        EXPECT_EQ(with.raw_text ? with.raw_text : "", std::string(row.verb_is({"get", "info"}) ? wire_text(row) : ""));
        texts list = row.type == std::string("numbers") ? texts{"3", "1"} : texts{"b", "a"};
        EXPECT_EQ(taken(with.raw_texts), row.verb_is({"list", "mlist"}) ? list : texts{});
    }
}

TEST(tree, each_refused_operation_answers_so_and_leaves_the_result_unwritten)
{
    for (const tree_case &row : tree_cases) {
        SCOPED_TRACE("vrn_tsapi_" + row.name());
        tree_call with(row.kinds, wire_text(row));
        std::string path = built_path(row, with);
        serve(row, path);
        tree.refuse(row.verb, path);
        forget();

        EXPECT_EQ(row.outer(cli_tsapi, with), tree_refused);
        EXPECT_EXCHANGES({expected_exchange(row, path)});
        EXPECT_EQ(log_texts(5), texts{"An error was encountered during the PSAPI request."});
        expect_results(with, "none");
    }
}

TEST(tree, each_typed_read_of_a_text_that_does_not_parse_answers_so_and_leaves_the_result_unwritten)
{
    int typed = 0;
    for (const tree_case &row : tree_cases) {
        std::string type = read_type(row);
        if (type == "none" || type == "text" || type == "texts")
            continue;
        SCOPED_TRACE("vrn_tsapi_" + row.name());
        tree_call with(row.kinds, wire_text(row));
        std::string path = built_path(row, with);
        if (type == "numbers")
            tree.list(path, texts{"3", "x"});
        else
            tree.text(path, "no such value");

        EXPECT_EQ(row.outer(cli_tsapi, with), tree_not_convertible);
        expect_results(with, "none");
        typed++;
    }
    EXPECT_GT(typed, 0);
}

TEST(tree, each_builder_encodes_its_stars_into_its_path)
{
    std::set<std::string> built;
    for (const tree_case &row : tree_cases) {
        SCOPED_TRACE(row.path_name);
        tree_call with(row.kinds, "");
        owned_text path(row.build(with));
        if (!*row.kinds) {
            EXPECT_FALSE(path); // a path without stars has no builder
            continue;
        }
        ASSERT_TRUE(path);
        EXPECT_EQ(path.get(), built_path(row, with));
        built.insert(row.path);
    }
    EXPECT_EQ(built.size(), 339u);
}

TEST(tree, counts_are_those_of_the_table_of_verbs)
{
    std::map<std::string, int> operations, called;
    std::set<std::string> paths;
    for (const tree_case &row : tree_cases) {
        operations[row.verb]++;
        called[row.verb] += row.called;
        paths.insert(row.path);
    }
    EXPECT_EQ(std::size(tree_cases), 585u);
    EXPECT_EQ(paths.size(), 379u);
    EXPECT_EQ(operations, (std::map<std::string, int>{{"get", 104},
                                                      {"set", 102},
                                                      {"info", 204},
                                                      {"admin", 100},
                                                      {"list", 15},
                                                      {"mlist", 28},
                                                      {"add", 15},
                                                      {"del", 15},
                                                      {"move", 2}}));
    EXPECT_EQ(called, (std::map<std::string, int>{{"get", 2},
                                                  {"set", 7},
                                                  {"info", 151},
                                                  {"admin", 67},
                                                  {"list", 1},
                                                  {"mlist", 12},
                                                  {"add", 0},
                                                  {"del", 0},
                                                  {"move", 0}}));
}

TEST(tree, names_follow_the_rule)
{
    std::map<std::string, std::string> names; // path: its part of the name
    for (const tree_case &row : tree_cases)
        names[row.path] = row.path_name;

    EXPECT_EQ(names["power.port.*.pdu.*.circuit.*.voltage-avg"], "power_port_star0_pdu_star1_circuit_star2_voltageAvg");
    EXPECT_EQ(names["power.pdu.pdu-local.overcurrent"], "power_pdu_pduLocal_overcurrent");
    EXPECT_EQ(names["power.port.*.pdu.*.model_nr"], "power_port_star0_pdu_star1_modelNr");
    EXPECT_EQ(names["power.num-devices"], "power_numDevices");
    EXPECT_EQ(names["power.port.*.pdu.*.cumulative-watthour.reset"],
              "power_port_star0_pdu_star1_cumulativeWatthour_reset");
    EXPECT_EQ(names["authorization.group.name.*.member"], "authorization_group_name_star0_member");
    EXPECT_EQ(names["power.port.*.pdu.*.circuit.*"], "power_port_star0_pdu_star1_circuit_star2");
}

TEST(tree, star_kinds_are_texts_for_names_and_numbers_for_places)
{
    std::map<std::string, std::string> kinds;
    for (const tree_case &row : tree_cases)
        kinds[row.path] = row.kinds;

    EXPECT_EQ(kinds["authorization.group.id.*.member.*"], "tt");
    EXPECT_EQ(kinds["authorization.group.name.*.member"], "t");
    EXPECT_EQ(kinds["network.interface.*.alias.*.address"], "tt");
    EXPECT_EQ(kinds["power.outlet.*.pdu"], "t");
    EXPECT_EQ(kinds["power.pdu.*.outlet.*.name"], "ti");
    EXPECT_EQ(kinds["power.pdu.pdu-local.envmon.*.name"], "i");
    EXPECT_EQ(kinds["power.port.*.pdu.*.phase.*.current"], "iii");
    EXPECT_EQ(kinds["power.pdu.pdu-local.overcurrent"], "");
}

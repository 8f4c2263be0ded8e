// What a user sets at outlets and units: names, intervals, and the same at the appliance's own unit by another way.

#include "tests/unit/appliance/outlet_desk.h"

static constexpr char too_long[] = "-ERR 11 value too long\r\n";
static constexpr char taken[] = "-ERR 12 name already taken\r\n";

static const std::string outlet_1 = "power.port.1.pdu.1.outlet.1.";
static const std::string outlet_2 = "power.port.1.pdu.1.outlet.2."; // has both intervals and the name "web.1"

// --- Names ----------------------------------------------------------------------------------------------------------

static std::string set_name(test_desk &desk, const std::string &name)
{
    return desk.ask({"admin", outlet_1 + "name", name});
}

TEST(outlet_name, name_is_kept_and_leads_to_the_outlet)
{
    test_desk desk;
    EXPECT_EQ(set_name(desk, "db"), done);
    EXPECT_EQ(desk.ask({"info", outlet_1 + "name"}), bulk("db"));
    EXPECT_EQ(desk.ask({"info", "power.outlet.db.outlet"}), bulk("1"));
    EXPECT_EQ(desk.ask({"info", "power.outlet.db.pdu"}), bulk("1"));
    EXPECT_EQ(desk.ask({"info", "power.outlet.db.port"}), bulk("1"));
    EXPECT_EQ(desk.ask({"mlist", "power.outlet"}), array({"db", "web.1"}));
}

TEST(outlet_name, new_name_takes_the_old_ones_place)
{
    test_desk desk;
    set_name(desk, "db");
    EXPECT_EQ(set_name(desk, "db2"), done);
    EXPECT_EQ(desk.ask({"info", "power.outlet.db.outlet"}), no_such_path);
    EXPECT_EQ(desk.ask({"info", "power.outlet.db2.outlet"}), bulk("1"));
}

TEST(outlet_name, empty_name_takes_the_name_away_from_any_number_of_outlets)
{
    test_desk desk;
    EXPECT_EQ(desk.ask({"admin", outlet_2 + "name", ""}), done);
    EXPECT_EQ(desk.ask({"info", outlet_2 + "name"}), bulk(""));
    EXPECT_EQ(desk.ask({"mlist", "power.outlet"}), "*0\r\n");
    EXPECT_EQ(set_name(desk, ""), done);
}

TEST(outlet_name, sixteen_bytes_are_taken_and_no_more)
{
    test_desk desk;
    EXPECT_EQ(set_name(desk, "abcdefghijklmnop"), done);
    EXPECT_EQ(set_name(desk, "abcdefghijklmnopq"), too_long);
    EXPECT_EQ(set_name(desk, std::string(64, 'x')), too_long);
    EXPECT_EQ(desk.ask({"info", outlet_1 + "name"}), bulk("abcdefghijklmnop"));
}

TEST(outlet_name, leading_digit_comma_and_control_characters_are_refused)
{
    test_desk desk;
    set_name(desk, "old");
    for (const char *name : {"1web", "0", "9", "a,b", ",", "a\tb", "a\x7f", "\n"})
        EXPECT_EQ(set_name(desk, name), bad_value) << name;
    EXPECT_EQ(set_name(desk, std::string("a\0b", 3)), bad_value);
    EXPECT_EQ(desk.ask({"info", outlet_1 + "name"}), bulk("old"));
}

TEST(outlet_name, digit_elsewhere_is_taken)
{
    test_desk desk;
    EXPECT_EQ(set_name(desk, "w1"), done);
    EXPECT_EQ(set_name(desk, "-1"), done);
}

TEST(outlet_name, name_of_another_outlet_is_refused_and_ones_own_is_not)
{
    test_desk desk;
    EXPECT_EQ(set_name(desk, "web.1"), taken);
    EXPECT_EQ(desk.ask({"admin", "power.port.2.pdu.1.outlet.1.name", "web.1"}), taken);
    EXPECT_EQ(desk.ask({"admin", outlet_2 + "name", "web.1"}), done);
    EXPECT_EQ(set_name(desk, "Web.1"), done);
}

TEST(outlet_name, any_other_byte_travels_through_the_path_and_back)
{
    test_desk desk;
    const std::pair<const char *, const char *> names[] = {
        {"a.b", "a%2Eb"},
        {"p50%", "p50%25"},
        {"%41", "%2541"},
        {"my web", "my%20web"},
        {" ", "%20"},
        {"pdu", "pdu"},
        {"b\xc3\xbcro", "b%C3%BCro"},
        {"\xff\x80", "%FF%80"},
        {"*", "%2A"},
        {"a/b", "a%2Fb"},
    };
    for (auto [name, encoded] : names) {
        EXPECT_EQ(set_name(desk, name), done) << name;
        EXPECT_EQ(desk.ask({"info", outlet_1 + "name"}), bulk(name));
        for (const char *leaf : {".outlet", ".pdu", ".port"})
            EXPECT_EQ(desk.ask({"info", "power.outlet." + std::string(encoded) + leaf}), bulk("1")) << name << leaf;
    }
}

TEST(outlet_name, takes_one_word)
{
    test_desk desk;
    EXPECT_EQ(desk.ask({"admin", outlet_1 + "name"}), bad_arguments);
    EXPECT_EQ(desk.ask({"admin", outlet_1 + "name", "a", "b"}), bad_arguments);
    EXPECT_EQ(desk.ask({"admin", "power.port.1.pdu.1.outlet.9.name", "a"}), no_such_path);
}

TEST(outlet_name, outlet_without_a_relay_has_one_too)
{
    test_desk desk;
    EXPECT_EQ(desk.ask({"admin", "power.port.1.pdu.2.outlet.1.name", "plain"}), done);
    EXPECT_EQ(desk.ask({"info", "power.outlet.plain.pdu"}), bulk("2"));
}

// --- Intervals ------------------------------------------------------------------------------------------------------

TEST(outlet_interval, seconds_are_taken_and_read_with_one_decimal)
{
    test_desk desk;
    const std::pair<const char *, const char *> values[] = {{"0", "0.0"},        {"0.0", "0.0"}, {"0.1", "0.1"},
                                                            {"3", "3.0"},        {"2.5", "2.5"}, {"2499.9", "2499.9"},
                                                            {"2500.0", "2500.0"}};
    for (std::string leaf : {"post-power-on", "post-power-off"})
        for (auto [written, read] : values) {
            EXPECT_EQ(desk.ask({"admin", outlet_2 + leaf, written}), done) << leaf << written;
            EXPECT_EQ(desk.ask({"info", outlet_2 + leaf}), bulk(read)) << leaf << written;
        }
}

TEST(outlet_interval, anything_else_is_refused_and_changes_nothing)
{
    test_desk desk;
    for (std::string leaf : {"post-power-on", "post-power-off"}) {
        std::string before = desk.ask({"info", outlet_2 + leaf});
        for (const char *value :
             {"2500.1", "2501", "9000.0", "-0.1", "-1", "", "abc", "2.55", "1,5", "inf", "nan", "1e2", "99999999999"})
            EXPECT_EQ(desk.ask({"admin", outlet_2 + leaf, value}), bad_value) << leaf << value;
        EXPECT_EQ(desk.ask({"admin", outlet_2 + leaf}), bad_arguments);
        EXPECT_EQ(desk.ask({"info", outlet_2 + leaf}), before);
    }
}

TEST(outlet_interval, each_outlet_and_each_direction_has_its_own)
{
    test_desk desk;
    desk.ask({"admin", outlet_2 + "post-power-on", "7"});
    EXPECT_EQ(desk.ask({"info", outlet_2 + "post-power-off"}), bulk("2.3"));
    EXPECT_EQ(desk.ask({"info", outlet_1 + "post-power-on"}), bulk("0.5"));
}

TEST(outlet_interval, outlet_that_lacks_an_interval_does_not_take_one)
{
    test_desk desk;
    EXPECT_EQ(desk.ask({"admin", outlet_1 + "post-power-off", "1"}), no_such_path);
    EXPECT_EQ(desk.ask({"admin", "power.port.1.pdu.2.outlet.1.post-power-on", "1"}), no_such_path);
}

TEST(outlet_interval, cycle_interval_lies_between_1_and_60)
{
    test_desk desk;
    const std::string leaf = "power.port.1.pdu.1.cycle-interval";
    for (const char *value : {"1", "60"}) {
        EXPECT_EQ(desk.ask({"admin", leaf, value}), done) << value;
        EXPECT_EQ(desk.ask({"info", leaf}), bulk(value));
    }
    for (const char *value : {"0", "61", "-1", "", "abc", "5.0", "5s", "99999999999"})
        EXPECT_EQ(desk.ask({"admin", leaf, value}), bad_value) << value;
    EXPECT_EQ(desk.ask({"admin", leaf}), bad_arguments);
    EXPECT_EQ(desk.ask({"info", leaf}), bulk("60"));
    EXPECT_EQ(desk.ask({"admin", "power.port.1.pdu.2.cycle-interval", "5"}), no_such_path);
}

TEST(outlet_interval, new_cycle_interval_is_the_rest_of_the_next_cycle)
{
    test_desk desk;
    desk.simulated.clock.driven = 0;
    desk.ask({"admin", "power.port.1.pdu.1.cycle-interval", "2"});
    desk.ask({"admin", outlet_1 + "cycle"});
    desk.simulated.clock.driven = 1999;
    EXPECT_EQ(desk.ask({"info", outlet_1 + "ctrl-status"}), bulk("OFF(cycle)"));
    desk.simulated.clock.driven = 2000;
    EXPECT_EQ(desk.ask({"info", outlet_1 + "ctrl-status"}), bulk("ON"));
}

// --- pdu-local ------------------------------------------------------------------------------------------------------

static const std::string local_unit = "power.pdu.pdu-local.";

TEST(outlet_local, appliances_own_unit_answers_under_its_word)
{
    test_desk desk;
    EXPECT_EQ(desk.ask({"get", local_unit + "id"}), bulk("rack1"));
    EXPECT_EQ(desk.ask({"get", local_unit + "cycle-interval"}), bulk("10"));
    EXPECT_EQ(desk.ask({"get", local_unit + "coldstart-delay"}), bulk("4"));
    EXPECT_EQ(desk.ask({"list", local_unit + "phase"}), array({"1", "2", "3"}));
    EXPECT_EQ(desk.ask({"list", local_unit + "circuit"}), array({"1", "2", "3", "4", "5", "6"}));
    EXPECT_EQ(desk.ask({"list", local_unit + "outlet"}), array({"1", "2", "3", "4", "5", "6", "7", "8"}));
    EXPECT_EQ(desk.ask({"list", local_unit + "envmon"}), array({"1"}));
}

TEST(outlet_local, its_settings_are_those_of_its_place)
{
    test_desk desk;
    EXPECT_EQ(desk.ask({"set", local_unit + "id", "new"}), done);
    EXPECT_EQ(desk.ask({"set", local_unit + "id", "far"}), taken);
    EXPECT_EQ(desk.ask({"set", local_unit + "cycle-interval", "3"}), done);
    EXPECT_EQ(desk.ask({"set", local_unit + "cycle-interval", "61"}), bad_value);
    EXPECT_EQ(desk.ask({"info", "power.port.1.pdu.1.id"}), bulk("new"));
    EXPECT_EQ(desk.ask({"info", "power.port.1.pdu.1.cycle-interval"}), bulk("3"));
}

TEST(outlet_local, its_outlets_answer_too)
{
    test_desk desk;
    EXPECT_EQ(desk.ask({"get", local_unit + "outlet.2.name"}), bulk("web.1"));
    EXPECT_EQ(desk.ask({"get", local_unit + "outlet.2.sys-name"}), bulk("2"));
    EXPECT_EQ(desk.ask({"get", local_unit + "outlet.2.ctrl-status"}), bulk("3"));
    EXPECT_EQ(desk.ask({"set", local_unit + "outlet.2.name", "db"}), done);
    EXPECT_EQ(desk.ask({"info", outlet_2 + "name"}), bulk("db"));
    EXPECT_EQ(desk.ask({"get", local_unit + "outlet.9.name"}), no_such_path);
}

TEST(outlet_local, protection_is_read_and_not_set_there)
{
    test_desk desk("[[port]]\nname = 'local'\n[[port.unit]]\novercurrent = true\n");
    EXPECT_EQ(desk.ask({"get", local_unit + "overcurrent"}), bulk("0"));
    EXPECT_EQ(desk.ask({"set", local_unit + "overcurrent", "1"}), no_such_verb);
    EXPECT_EQ(test_desk().ask({"get", local_unit + "overcurrent"}), no_such_path); // a unit without the capability
}

TEST(outlet_local, appliance_without_a_unit_of_its_own_has_no_such_path)
{
    for (const char *text :
         {"", "[[port]]\nname = 'local'\n", "[[port]]\nname = 'far'\n[[port.unit]]\noutlets = 1\n"}) {
        test_desk desk(text);
        EXPECT_EQ(desk.ask({"get", local_unit + "id"}), no_such_path) << text;
        EXPECT_EQ(desk.ask({"get", local_unit + "outlet.1.name"}), no_such_path) << text;
    }
}

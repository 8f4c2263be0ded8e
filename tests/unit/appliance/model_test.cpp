// The chain in memory: its rules for names, what it finds, what outlets show, and what the simulated units do.

#include <gtest/gtest.h>

#include "appliance/model/clock.h"
#include "appliance/model/simulation.h"
#include "appliance/model/status.h"

static chain two_ports()
{
    chain made;
    made.ports.resize(2);
    made.ports[0].name = "local";
    made.ports[0].units.resize(2);
    made.ports[0].units[0].id = "one";
    made.ports[0].units[0].default_id = "ipdu1";
    made.ports[0].units[1].id = "two";
    made.ports[0].units[1].default_id = "one";
    made.ports[1].name = "remote";
    made.ports[1].units.resize(1);
    made.ports[1].units[0].id = "three";
    made.ports[1].units[0].outlets.resize(3);
    made.ports[1].units[0].outlets[2].name = "web";
    return made;
}

TEST(model, ctrl_status_words_follow_the_codes)
{
    const char *words[] = {
        "UNDEFINED",    "OFF",           "ON",       "OFF(locked)", "ON(locked)", "OFF(cycle)", "OFF(pend_cycle)",
        "OFF(pend_ON)", "ON(pend_OFF)",  "OFF",      "ON",          "OFF",        "ON",         "NOT_SET",
        "ON(fixed)",    "OFF(shutdown)", "UNDEFINED"};
    for (int code = 0; code <= 16; code++)
        EXPECT_EQ(ctrl_status_word(code), words[code]) << code;
    EXPECT_EQ(ctrl_status_word(-1), "UNDEFINED");
}

TEST(model, mod_status_words_follow_the_codes)
{
    const char *words[] = {"UNDEFINED", "OFF",      "ON",       "OFF(error)", "ON(error)",  "OFF(wait)", "ON(wait)",
                           "OFF(fuse)", "ON(fuse)", "OFF(ocp)", "Reading",    "Comm error", "UNDEFINED"};
    for (int code = 0; code <= 12; code++)
        EXPECT_EQ(mod_status_word(code), words[code]) << code;
    EXPECT_EQ(mod_status_code("Comm error"), 11);
    EXPECT_EQ(mod_status_code("comm error"), 0);
}

TEST(model, outlet_shows_lock_and_fixedness_before_its_plain_state)
{
    EXPECT_EQ(ctrl_status_of({.on = true}), ctrl_on);
    EXPECT_EQ(ctrl_status_of({.on = false}), ctrl_off);
    EXPECT_EQ(ctrl_status_of({.on = true, .locked = true}), ctrl_on_locked);
    EXPECT_EQ(ctrl_status_of({.on = false, .locked = true}), ctrl_off_locked);
    EXPECT_EQ(ctrl_status_of({.on = true, .fixed = true}), ctrl_on_fixed);
}

TEST(model, module_reports_its_trouble_in_place_of_the_state)
{
    unit plain;
    EXPECT_EQ(mod_status_of(plain, {.on = true}), mod_on);
    EXPECT_EQ(mod_status_of(plain, {.on = false}), mod_off);
    EXPECT_EQ(mod_status_of(plain, {.on = true, .mod_status = mod_comm_error}), mod_comm_error);
    EXPECT_EQ(mod_status_of(plain, {.on = true, .stuck = true}), mod_on_error);
    EXPECT_EQ(mod_status_of(plain, {.on = false, .stuck = true}), mod_off_error);
}

TEST(model, unit_id_may_have_sixteen_bytes_and_no_more)
{
    EXPECT_EQ(check_unit_id("abcdefghijklmnop"), result_done);
    EXPECT_EQ(check_unit_id("abcdefghijklmnopq"), result_too_long);
}

TEST(model, unit_id_refuses_what_outlet_strings_and_the_tree_need)
{
    for (std::string_view id : {"a b", "a.b", "a,b", "", "a\tb", "a\x7f", "pdu-local"})
        EXPECT_EQ(check_unit_id(id), result_bad_value) << id;
    EXPECT_EQ(check_unit_id(std::string_view("a\0b", 3)), result_bad_value);
    EXPECT_EQ(check_unit_id("3"), result_done);
}

TEST(model, outlet_name_has_no_leading_digit_and_no_comma)
{
    EXPECT_EQ(check_outlet_name(""), result_done);
    EXPECT_EQ(check_outlet_name("web.1"), result_done);
    EXPECT_EQ(check_outlet_name("1web"), result_bad_value);
    EXPECT_EQ(check_outlet_name("a,b"), result_bad_value);
    EXPECT_EQ(check_outlet_name("abcdefghijklmnopq"), result_too_long);
}

TEST(model, units_and_outlets_are_found_across_ports)
{
    chain units = two_ports();
    EXPECT_EQ(find_unit(units, "two").port, 1);
    EXPECT_EQ(find_unit(units, "two").pdu, 2);
    EXPECT_EQ(find_unit(units, "three").port, 2);
    EXPECT_EQ(find_unit(units, "four").port, 0);
    EXPECT_EQ(find_outlet(units, "web").port, 2);
    EXPECT_EQ(find_outlet(units, "web").pdu, 1);
    EXPECT_EQ(find_outlet(units, "web").part, 3);
}

TEST(model, outlets_without_a_name_are_not_found_by_the_empty_one)
{
    EXPECT_EQ(find_outlet(two_ports(), "").port, 0);
}

TEST(model, only_the_first_unit_of_the_local_line_is_the_appliances_own)
{
    chain units = two_ports();
    EXPECT_TRUE(is_local(units.ports[0], 1));
    EXPECT_FALSE(is_local(units.ports[0], 2));
    EXPECT_FALSE(is_local(units.ports[1], 1));
}

TEST(model, unit_takes_a_new_id)
{
    simulation desk = {.units = two_ports()};
    device line = simulated_device(desk);
    EXPECT_EQ(line.set_unit_id(line.self, 2, 1, "new"), result_done);
    EXPECT_EQ(line.units->ports[1].units[0].id, "new");
}

TEST(model, unit_keeps_its_id_where_the_new_one_is_refused)
{
    simulation desk = {.units = two_ports()};
    device line = simulated_device(desk);
    EXPECT_EQ(line.set_unit_id(line.self, 1, 1, "two"), result_taken);
    EXPECT_EQ(line.set_unit_id(line.self, 1, 1, "a.b"), result_bad_value);
    EXPECT_EQ(desk.units.ports[0].units[0].id, "one");
}

TEST(model, unit_may_be_given_the_id_that_it_has)
{
    simulation desk = {.units = two_ports()};
    device line = simulated_device(desk);
    EXPECT_EQ(line.set_unit_id(line.self, 1, 1, "one"), result_done);
}

TEST(model, empty_id_brings_the_default_back)
{
    simulation desk = {.units = two_ports()};
    device line = simulated_device(desk);
    EXPECT_EQ(line.set_unit_id(line.self, 1, 1, ""), result_done);
    EXPECT_EQ(desk.units.ports[0].units[0].id, "ipdu1");
}

TEST(model, default_id_that_another_unit_took_does_not_come_back)
{
    simulation desk = {.units = two_ports()};
    device line = simulated_device(desk);
    EXPECT_EQ(line.set_unit_id(line.self, 1, 2, ""), result_taken);
    EXPECT_EQ(desk.units.ports[0].units[1].id, "two");
}

TEST(model, lock_and_fixedness_hide_what_is_pending)
{
    pending_switch later = {.what = waiting::to_go_off, .at = 1};
    EXPECT_EQ(ctrl_status_of({.on = true, .locked = true, .pending = later}), ctrl_on_locked);
    EXPECT_EQ(ctrl_status_of({.on = true, .fixed = true, .pending = later}), ctrl_on_fixed);
    EXPECT_EQ(ctrl_status_of({.on = true, .pending = later}), ctrl_on_pending_off);
}

TEST(model, due_time_is_that_of_the_earliest_outlet)
{
    chain units = two_ports();
    std::vector<outlet> &outlets = units.ports[1].units[0].outlets;
    EXPECT_FALSE(do_what_is_due(units, 100));
    outlets[0].pending = {.what = waiting::to_go_off, .at = 300};
    outlets[2].pending = {.what = waiting::to_go_off, .at = 200};
    EXPECT_EQ(do_what_is_due(units, 100), 200);
    EXPECT_EQ(do_what_is_due(units, 200), 300);
    EXPECT_FALSE(outlets[2].on);
    EXPECT_FALSE(do_what_is_due(units, 400));
}

TEST(model, driven_clock_stands_where_it_was_put)
{
    desk_clock clock;
    int64_t before = clock.now_ms();
    EXPECT_GE(clock.now_ms(), before);
    clock.driven = 5000;
    EXPECT_EQ(clock.now_ms(), 5000);
    *clock.driven += 20;
    EXPECT_EQ(clock.now_ms(), 5020);
}

TEST(model, result_codes_have_words)
{
    EXPECT_EQ(result_words(result_no_such_path), "no such path");
    EXPECT_EQ(result_words(result_asked_for), "asked-for fault");
    EXPECT_EQ(result_words(4711), "asked-for fault");
}

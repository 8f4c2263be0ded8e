// What units do with their flash and how they restart, as a client sees it, on a clock that the test drives.

#include "tests/unit/appliance/flash_desk.h"

static constexpr char flash_chain[] = R"(
[[port]]
name = "local"
[[port.unit]]
id = "rack1"
default_id = "own1"
cold_start_delay = 4
cycle_interval = 10
overcurrent = false
buzzer = true
syslog = false
display_mode = "0/I"
display_cycle = 5
phases = 3
outlets = 5
post_power_on = 0.5
post_power_off = 1
flash_time = 2000
reboot_time = 3000
[[port.unit.outlet]]
name = "web"
[[port.unit.outlet]]
state = "off"
[[port.unit.outlet]]
locked = true
[[port.unit.outlet]]
fixed = true
[[port.unit.outlet]]
[[port.unit]]
id = "rack2"
default_id = "own2"
outlets = 1
flash_time = 0
reboot_time = 0
[[port.unit]]
id = "plain"
outlets = 1
)";

static constexpr char busy[] = "-ERR 17 unit is busy\r\n";
static constexpr char nothing_saved[] = "-ERR 18 nothing saved\r\n";
static constexpr char flash_fault[] = "-ERR 19 cannot write flash\r\n";

// --- The settings ---------------------------------------------------------------------------------------------------

static constexpr changed_setting unit_changes[] = {
    {"id", "rack1", "cellar"},
    {"cold-start-delay", "4", "9"},
    {"cycle-interval", "10", "11"},
    {"overcurrent", "off", "on"},
    {"buzzer", "on", "off"},
    {"syslog", "off", "on"},
    {"display-mode", "0/I", "180/V"},
    {"display-cycle", "5", "0"},
    {"outlet.1.name", "web", "db"},
    {"outlet.1.post-power-on", "0.5", "2.5"},
    {"outlet.1.post-power-off", "1.0", "0.0"},
    {"outlet.2.name", "", "spare"},
};

static void change_all(flash_desk &desk)
{
    set_all(desk, unit_changes);
    EXPECT_EQ(desk.command("unlock", "1.1.3"), done);
    EXPECT_EQ(desk.command("ioff", "1.1.3"), done);
    EXPECT_EQ(desk.command("lock", "1.1.5"), done);
}

TEST_F(flash_tasks, settings_read_as_they_were_set)
{
    flash_desk desk(folder.path, flash_chain);
    expect_all(desk, unit_changes, &changed_setting::before);
    change_all(desk);
    expect_all(desk, unit_changes, &changed_setting::after);
}

TEST_F(flash_tasks, settings_take_their_own_texts_and_no_others)
{
    flash_desk desk(folder.path, flash_chain);
    const std::pair<const char *, std::vector<std::string>> wrong[] = {
        {"cold-start-delay", {"-1", "3601", "5s", "", "1.5"}},
        {"buzzer", {"ON", "1", "", "true"}},
        {"syslog", {"maybe"}},
        {"display-mode", {"90/I", "0", "0/i", "V"}},
        {"display-cycle", {"-1", "3601", "x"}},
    };
    for (const auto &[leaf, values] : wrong)
        for (const std::string &value : values)
            EXPECT_EQ(desk.set(leaf, value), bad_value) << leaf << " " << value;
    EXPECT_EQ(desk.ask({"admin", desk.path(1, "buzzer")}), bad_arguments);
    EXPECT_EQ(desk.ask({"admin", desk.path(1, "buzzer"), "on", "off"}), bad_arguments);
    expect_all(desk, unit_changes, &changed_setting::before);
}

TEST_F(flash_tasks, unit_without_a_setting_has_no_leaf_for_it)
{
    flash_desk desk(folder.path, flash_chain);
    for (const char *leaf : {"cold-start-delay", "buzzer", "syslog", "display-mode", "display-cycle", "save", "restore",
                             "factory-default", "reboot"}) {
        EXPECT_TRUE(desk.lists(leaf)) << leaf;
        EXPECT_FALSE(desk.lists(leaf, 3)) << leaf;
        EXPECT_EQ(desk.ask({"admin", desk.path(3, leaf)}), no_such_path) << leaf;
    }
}

TEST_F(flash_tasks, modes_of_the_display_are_listed)
{
    flash_desk desk(folder.path, flash_chain);
    EXPECT_EQ(desk.ask({"mlist", desk.path(1, "display-mode")}), array({"0/I", "0/V", "180/I", "180/V"}));
    EXPECT_EQ(desk.ask({"mlist", desk.path(1, "buzzer")}), array({"on", "off"}));
}

TEST(flash_chain_file, modes_of_the_display_are_those_of_the_kind_of_unit_or_as_given)
{
    chain units = chain_from("[[port]]\nname = 'local'\n[[port.unit]]\n[[port.unit]]\nphases = 2\n[[port.unit]]\n"
                             "display_modes = ['180/I']\ndisplay_mode = '180/I'\n")
                      .units;
    const auto &all = units.ports[0].units;
    EXPECT_EQ(all[0].display_modes, (std::vector<std::string>{"0/I", "180/I"}));
    EXPECT_EQ(all[1].display_modes, (std::vector<std::string>{"0/I", "0/V", "180/I", "180/V"}));
    EXPECT_EQ(all[2].display_modes, (std::vector<std::string>{"180/I"}));
}

TEST(flash_chain_file, mode_that_the_display_does_not_offer_is_told)
{
    chain_file read;
    std::string fault;
    EXPECT_FALSE(parse_chain("[[port]]\nname = 'local'\n[[port.unit]]\ndisplay_mode = '0/V'\n", &read, &fault));
    EXPECT_EQ(fault, "line 4: 'display_mode' must be '0/I' or '180/I', not '0/V'");
}

// --- save and the next start ----------------------------------------------------------------------------------------

TEST_F(flash_tasks, what_was_saved_outlives_the_daemon_whole)
{
    {
        flash_desk desk(folder.path, flash_chain);
        change_all(desk);
        EXPECT_EQ(desk.begin("save"), done);
    }
    flash_desk next(folder.path, flash_chain);
    expect_all(next, unit_changes, &changed_setting::after);
    EXPECT_EQ(next.states({"1.1.1", "1.1.2", "1.1.3", "1.1.4", "1.1.5"}), "ON OFF OFF ON(fixed) ON(locked)");
}

TEST_F(flash_tasks, what_was_not_saved_is_gone_with_the_daemon)
{
    {
        flash_desk desk(folder.path, flash_chain);
        change_all(desk);
    }
    flash_desk next(folder.path, flash_chain);
    expect_all(next, unit_changes, &changed_setting::before);
    EXPECT_EQ(next.states({"1.1.1", "1.1.2", "1.1.3", "1.1.4", "1.1.5"}), "ON OFF ON(locked) ON(fixed) ON");
}

TEST_F(flash_tasks, change_behind_a_save_is_gone_and_the_save_stands)
{
    {
        flash_desk desk(folder.path, flash_chain);
        desk.set("id", "saved");
        desk.begin("save");
        desk.set("id", "later");
    }
    flash_desk next(folder.path, flash_chain);
    EXPECT_EQ(next.shown("id"), "saved");
}

TEST_F(flash_tasks, units_save_for_themselves_alone)
{
    {
        flash_desk desk(folder.path, flash_chain);
        desk.set("id", "first");
        desk.set("id", "second", 2);
        desk.begin("save", 2);
    }
    flash_desk next(folder.path, flash_chain);
    EXPECT_EQ(next.shown("id"), "rack1");
    EXPECT_EQ(next.shown("id", 2), "second");
}

TEST_F(flash_tasks, units_that_changed_their_ids_about_come_up_so)
{
    {
        flash_desk desk(folder.path, flash_chain);
        desk.set("id", "between");
        desk.set("id", "rack1", 2);
        desk.set("id", "rack2");
        desk.begin("save");
        desk.begin("save", 2);
    }
    flash_desk next(folder.path, flash_chain);
    EXPECT_EQ(next.shown("id"), "rack2");
    EXPECT_EQ(next.shown("id", 2), "rack1");
}

TEST_F(flash_tasks, id_and_name_that_are_taken_by_now_give_way)
{
    {
        flash_desk desk(folder.path, flash_chain);
        desk.set("id", "same");
        desk.set("outlet.1.name", "one");
        desk.begin("save");
        desk.set("id", "other");
        desk.set("outlet.1.name", "");
        desk.set("id", "same", 2);
        desk.set("outlet.1.name", "one", 2);
        desk.begin("save", 2);
    }
    flash_desk next(folder.path, flash_chain);
    EXPECT_EQ(next.shown("id"), "same");
    EXPECT_EQ(next.shown("id", 2), "own2");
    EXPECT_EQ(next.shown("outlet.1.name"), "one");
    EXPECT_EQ(next.shown("outlet.1.name", 2), "");
}

TEST_F(flash_tasks, unit_that_has_become_another_takes_what_it_can)
{
    {
        flash_desk desk(folder.path, flash_chain);
        change_all(desk);
        desk.begin("save");
    }
    flash_desk next(folder.path, "[[port]]\nname = 'local'\n[[port.unit]]\noutlets = 1\nbuzzer = true\n"
                                 "display_mode = '0/I'\n");
    EXPECT_EQ(next.shown("id"), "cellar");
    EXPECT_EQ(next.shown("buzzer"), "off");
    EXPECT_EQ(next.shown("display-mode"), "0/I"); // the saved mode is none of this unit's
    EXPECT_EQ(next.shown("outlet.1.name"), "db");
    EXPECT_FALSE(next.lists("syslog"));
}

// --- restore and factory-default ------------------------------------------------------------------------------------

TEST_F(flash_tasks, restore_brings_the_save_back_and_leaves_relays_alone)
{
    flash_desk desk(folder.path, flash_chain);
    desk.begin("save");
    desk.at(2000);
    change_all(desk);
    EXPECT_EQ(desk.begin("restore"), done);
    expect_all(desk, unit_changes, &changed_setting::before);
    EXPECT_EQ(desk.states({"1.1.3", "1.1.5"}), "OFF(locked) ON");
}

TEST_F(flash_tasks, restore_without_a_save_is_refused)
{
    flash_desk desk(folder.path, flash_chain);
    desk.set("id", "x");
    EXPECT_EQ(desk.begin("restore"), nothing_saved);
    EXPECT_EQ(desk.shown("id"), "x");
    EXPECT_TRUE(desk.lists("restore"));
}

TEST_F(flash_tasks, lock_that_is_restored_ends_what_the_outlet_waits_for)
{
    flash_desk desk(folder.path, flash_chain);
    desk.begin("save");
    desk.at(2000);
    desk.command("unlock", "1.1.3");
    desk.command("off", "1.1.1,1.1.3");
    EXPECT_EQ(desk.ctrl("1.1.3"), "ON(pend_OFF)");
    desk.begin("restore");
    desk.at(60000);
    EXPECT_EQ(desk.ctrl("1.1.3"), "ON(locked)");
}

TEST_F(flash_tasks, defaults_empty_the_flash_and_put_the_unit_as_it_was_made)
{
    flash_desk desk(folder.path, flash_chain);
    change_all(desk);
    desk.begin("save");
    desk.at(2000);
    EXPECT_EQ(desk.begin("factory-default"), done);
    expect_all(desk, unit_changes, &changed_setting::before);
    desk.at(4000);
    EXPECT_EQ(desk.begin("restore"), nothing_saved);
    flash_desk next(folder.path, flash_chain);
    expect_all(next, unit_changes, &changed_setting::before);
}

// --- While a unit is busy -------------------------------------------------------------------------------------------

TEST_F(flash_tasks, leaf_of_a_task_is_gone_while_the_unit_is_at_it)
{
    flash_desk desk(folder.path, flash_chain);
    int64_t now = 0;
    for (const char *task : {"save", "restore", "factory-default"}) {
        EXPECT_EQ(desk.begin(task), done);
        desk.at(now + 1999);
        EXPECT_FALSE(desk.lists(task)) << task;
        EXPECT_EQ(desk.begin(task), no_such_path);
        EXPECT_TRUE(desk.lists("id"));
        desk.at(now += 2000);
        EXPECT_TRUE(desk.lists(task)) << task;
    }
}

TEST_F(flash_tasks, busy_unit_begins_nothing_else)
{
    flash_desk desk(folder.path, flash_chain);
    desk.begin("save");
    for (const char *task : {"restore", "factory-default", "reboot"}) {
        EXPECT_TRUE(desk.lists(task));
        EXPECT_EQ(desk.begin(task), busy) << task;
    }
    EXPECT_EQ(desk.begin("save", 2), done);
    desk.at(2000);
    EXPECT_EQ(desk.begin("restore"), done);
}

TEST_F(flash_tasks, unit_without_a_time_to_wait_is_done_at_once)
{
    flash_desk desk(folder.path, flash_chain);
    EXPECT_EQ(desk.begin("save", 2), done);
    EXPECT_TRUE(desk.lists("save", 2));
    EXPECT_EQ(desk.begin("restore", 2), done);
}

TEST_F(flash_tasks, tasks_take_no_word)
{
    flash_desk desk(folder.path, flash_chain);
    for (const char *task : {"save", "restore", "factory-default", "reboot"})
        EXPECT_EQ(desk.set(task, "now"), bad_arguments) << task;
}

TEST_F(flash_tasks, end_of_a_task_is_the_next_thing_due)
{
    flash_desk desk(folder.path, flash_chain);
    device line = desk.served.line;
    EXPECT_EQ(line.next_due(line.self), std::nullopt);
    desk.begin("save");
    EXPECT_EQ(line.next_due(line.self), 2000);
    desk.command("off", "1.1.1,1.1.5");
    EXPECT_EQ(line.next_due(line.self), 1000);
    desk.at(1000);
    desk.shown("id");
    EXPECT_EQ(line.next_due(line.self), 2000);
    desk.at(2000);
    desk.shown("id");
    EXPECT_EQ(line.next_due(line.self), std::nullopt);
}

TEST_F(flash_tasks, flash_that_can_not_be_written_refuses_and_changes_nothing)
{
    switching_desk desk(flash_chain); // without any
    desk.ask({"admin", "power.port.1.pdu.1.id", "x"});
    for (const char *task : {"save", "restore", "factory-default"})
        EXPECT_EQ(desk.ask({"admin", std::string("power.port.1.pdu.1.") + task}), flash_fault) << task;
    EXPECT_EQ(desk.ask({"info", "power.port.1.pdu.1.id"}), bulk("x"));
}

// --- reboot ---------------------------------------------------------------------------------------------------------

TEST_F(flash_tasks, unit_that_restarts_is_away_and_keeps_its_place)
{
    flash_desk desk(folder.path, flash_chain);
    EXPECT_EQ(desk.begin("reboot"), done);
    desk.at(2999);
    EXPECT_EQ(desk.ask({"mlist", "power.port.1.pdu"}), array({"2", "3"}));
    EXPECT_EQ(desk.ask({"info", "power.port.1.num-pdus"}), bulk("3"));
    EXPECT_EQ(desk.ask({"mlist", "power.pdu"}), array({"rack2", "plain"}));
    EXPECT_EQ(desk.ask({"mlist", "power.outlet"}), "*0\r\n");
    for (const char *path :
         {"power.port.1.pdu.1.id", "power.port.1.pdu.1.outlet.1.name", "power.pdu.rack1.pdu", "power.outlet.web.pdu"})
        EXPECT_EQ(desk.ask({"info", path}), no_such_path) << path;
    EXPECT_EQ(desk.ask({"mlist", "power.port.1.pdu.1"}), no_such_path);
    EXPECT_EQ(desk.ask({"get", "power.pdu.pdu-local.id"}), no_such_path);
    EXPECT_EQ(desk.command("on", "1.1.1,1.2.1"), no_such_part);
    EXPECT_EQ(desk.set("id", "rack1", 2), "-ERR 12 name already taken\r\n");
    desk.at(3000);
    EXPECT_EQ(desk.shown("id"), "rack1");
    EXPECT_EQ(desk.ask({"mlist", "power.port.1.pdu"}), array({"1", "2", "3"}));
}

TEST_F(flash_tasks, unit_comes_back_with_what_it_saved)
{
    flash_desk desk(folder.path, flash_chain);
    change_all(desk);
    desk.begin("save");
    desk.at(2000);
    desk.set("id", "lost");
    desk.set("buzzer", "on");
    desk.begin("reboot");
    desk.at(5000);
    expect_all(desk, unit_changes, &changed_setting::after);
}

TEST_F(flash_tasks, unit_that_saved_nothing_comes_back_as_it_was_made)
{
    flash_desk desk(folder.path, flash_chain);
    change_all(desk);
    desk.begin("reboot");
    desk.at(3000);
    expect_all(desk, unit_changes, &changed_setting::before);
}

TEST_F(flash_tasks, outlets_come_up_behind_the_cold_start_delay_in_sequence)
{
    flash_desk desk(folder.path, flash_chain); // 1.1.2 was off, 1.1.3 is locked on, 1.1.4 fixed
    desk.begin("reboot");
    desk.at(3000);
    const std::vector<std::string> all = {"1.1.1", "1.1.2", "1.1.3", "1.1.4", "1.1.5"};
    EXPECT_EQ(desk.states(all), "OFF(pend_ON) OFF OFF(locked) ON(fixed) OFF(pend_ON)");
    desk.at(6999);
    EXPECT_EQ(desk.states(all), "OFF(pend_ON) OFF OFF(locked) ON(fixed) OFF(pend_ON)");
    desk.at(7000);
    EXPECT_EQ(desk.states(all), "ON OFF OFF(locked) ON(fixed) OFF(pend_ON)");
    desk.at(7500);
    EXPECT_EQ(desk.states(all), "ON OFF ON(locked) ON(fixed) OFF(pend_ON)");
    desk.at(8000);
    EXPECT_EQ(desk.states(all), "ON OFF ON(locked) ON(fixed) ON");
}

TEST_F(flash_tasks, restart_that_is_looked_at_late_has_all_its_steps_behind_it)
{
    flash_desk desk(folder.path, flash_chain);
    desk.begin("reboot");
    desk.at(60000);
    EXPECT_EQ(desk.states({"1.1.1", "1.1.2", "1.1.3", "1.1.5"}), "ON OFF ON(locked) ON");
}

TEST_F(flash_tasks, restart_ends_what_outlets_waited_for)
{
    flash_desk desk(folder.path, flash_chain);
    desk.command("off", "1.1.1,1.1.5");
    desk.begin("reboot");
    desk.at(60000);
    EXPECT_EQ(desk.states({"1.1.1", "1.1.5"}), "ON ON");
}

TEST_F(flash_tasks, relay_that_sticks_stays_as_it_is_through_a_restart)
{
    flash_desk desk(folder.path, flash_chain);
    desk.ask({"desk", "outlet", "1.1.1", "fail"});
    desk.begin("reboot");
    desk.at(3000);
    EXPECT_EQ(desk.mod("1.1.1"), "ON(error)");
}

TEST_F(flash_tasks, unit_without_a_cold_start_delay_comes_up_at_once)
{
    flash_desk desk(folder.path, flash_chain);
    EXPECT_EQ(desk.begin("reboot", 2), done);
    EXPECT_EQ(desk.ctrl("1.2.1"), "ON");
}

// What flash keeps of a unit's parts, that it keeps all that can be set, and what a restart does to what flows and to
// what was recorded of it.

#include <set>

#include "appliance/morvd/leaves.h"
#include "tests/unit/appliance/flash_desk.h"

static constexpr char parts_chain[] = R"(
noise = false
[[port]]
name = "local"
[[port.unit]]
id = "rack1"
model_nr = 130
max_current = 16
cold_start_delay = 4
cycle_interval = 10
overcurrent = false
buzzer = true
syslog = false
display_mode = "0/I"
display_cycle = 5
phases = 2
circuits = 2
outlets = 3
post_power_on = 0.5
post_power_off = 1
flash_time = 0
reboot_time = 3000
voltage = 200
metering = ["unit", "phase", "circuit", "outlet"]
hwocp = ["outlet"]
load = 400
[[port.unit.outlet]]
number = 3
fixed = true
load = 0
[[port.unit.sensor]]
type = "external-temperature"
name = "aisle"
value = 20
thresholds = [40, 30, 10, 5]
[[port.unit.sensor]]
type = "smoke"
)";

static constexpr changed_setting part_changes[] = {
    {"current-alarm", "32.0", "20.5"},
    {"current-warning", "25.6", "20.0"},
    {"current-low", "0.0", "1.5"},
    {"current-lowcrit", "0.0", "0.5"},
    {"phase.2.current-alarm", "16.0", "12.0"},
    {"phase.2.current-warning", "12.8", "11.0"},
    {"phase.2.current-low", "0.0", "2.0"},
    {"phase.2.current-lowcrit", "0.0", "1.0"},
    {"circuit.1.current-alarm", "16.0", "9.0"},
    {"circuit.1.current-warning", "12.8", "8.5"},
    {"circuit.1.current-low", "0.0", "0.2"},
    {"circuit.1.current-lowcrit", "0.0", "0.1"},
    {"outlet.1.current-alarm", "16.0", "3.0"},
    {"outlet.1.current-warning", "12.8", "2.9"},
    {"outlet.1.current-low", "0.0", "2.8"},
    {"outlet.1.current-lowcrit", "0.0", "2.7"},
    {"envmon.1.name", "aisle", "hot aisle"},
    {"envmon.1.unit", "oC", "oF"},
    {"envmon.1.high-thres", "40.0", "100.1"},
    {"envmon.1.high-warn-thres", "30.0", "90.2"},
    {"envmon.1.low-warn-thres", "10.0", "70.3"},
    {"envmon.1.low-thres", "5.0", "60.4"},
    {"envmon.2.name", "", "ceiling"},
};

// Those that are tried beside the tasks.
static constexpr const char *other_settings[] = {
    "id",
    "cold-start-delay",
    "cycle-interval",
    "overcurrent",
    "buzzer",
    "syslog",
    "display-mode",
    "display-cycle",
    "outlet.*.name",
    "outlet.*.post-power-on",
    "outlet.*.post-power-off",
};

static void change_parts(flash_desk &desk)
{
    set_all(desk, part_changes);
    expect_all(desk, part_changes, &changed_setting::after);
}

// --- All that can be set --------------------------------------------------------------------------------------------

static void add_settable(std::set<std::string> &names, const std::string &node, std::span<const leaf> leaves)
{
    for (const leaf &one : leaves)
        if (one.admin && one.info)
            names.insert(node + std::string(one.name));
}

static std::string with_star(std::string leaf)
{
    if (size_t digit = leaf.find_first_of("0123456789"); digit != leaf.npos)
        leaf[digit] = '*';
    return leaf;
}

TEST(flash_settings, every_leaf_that_can_be_set_and_read_is_kept)
{
    std::set<std::string> settable;
    add_settable(settable, "", unit_leaves);
    add_settable(settable, "phase.*.", phase_leaves);
    add_settable(settable, "circuit.*.", circuit_leaves);
    add_settable(settable, "outlet.*.", outlet_leaves);
    add_settable(settable, "envmon.*.", envmon_leaves);
    for (const char *node : {"", "phase.*.", "circuit.*.", "outlet.*."})
        add_settable(settable, node, meter_leaves);

    std::set<std::string> kept;
    const chain units = chain_from(parts_chain).units;
    for (const setting &one : settings_of(units.ports[0].units[0]))
        kept.insert(with_star(one.part) + (one.part.empty() ? "" : ".") + one.name);
    EXPECT_TRUE(kept.erase("outlet.*.state"));
    EXPECT_TRUE(kept.erase("outlet.*.locked"));
    EXPECT_EQ(kept, settable);

    std::set<std::string> tried(std::begin(other_settings), std::end(other_settings));
    for (const changed_setting &one : part_changes)
        tried.insert(with_star(one.leaf));
    EXPECT_EQ(tried, settable);
}

TEST(flash_settings, part_without_instruments_or_levels_keeps_none)
{
    const chain units = chain_from("[[port]]\nname = 'local'\n[[port.unit]]\nid = 'x'\nphases = 2\ncircuits = 1\n"
                                   "[[port.unit.sensor]]\ntype = 'smoke'\nunit = ''\n")
                            .units;
    EXPECT_EQ(settings_of(units.ports[0].units[0]), (configuration{{"", "id", "x"}, {"envmon.1", "name", ""}}));
}

// --- Kept and lost --------------------------------------------------------------------------------------------------

TEST_F(flash_tasks, settings_of_parts_outlive_the_daemon_and_a_restart_once_saved)
{
    {
        flash_desk desk(folder.path, parts_chain);
        expect_all(desk, part_changes, &changed_setting::before);
        change_parts(desk);
        EXPECT_EQ(desk.begin("save"), done);
        desk.begin("reboot");
        desk.at(3000);
        expect_all(desk, part_changes, &changed_setting::after);
    }
    flash_desk next(folder.path, parts_chain);
    expect_all(next, part_changes, &changed_setting::after);
}

TEST_F(flash_tasks, settings_of_parts_that_were_not_saved_are_gone_with_the_daemon)
{
    {
        flash_desk desk(folder.path, parts_chain);
        desk.begin("save");
        change_parts(desk);
    }
    flash_desk next(folder.path, parts_chain);
    expect_all(next, part_changes, &changed_setting::before);
}

TEST_F(flash_tasks, settings_of_parts_that_were_not_saved_are_gone_with_a_restart)
{
    flash_desk desk(folder.path, parts_chain);
    change_parts(desk);
    desk.begin("reboot");
    desk.at(3000);
    expect_all(desk, part_changes, &changed_setting::before);
}

// Both ways, since levels hold one another in their order.
TEST_F(flash_tasks, restore_moves_levels_up_and_down)
{
    flash_desk desk(folder.path, parts_chain);
    desk.begin("save");
    change_parts(desk);
    EXPECT_EQ(desk.begin("restore"), done);
    expect_all(desk, part_changes, &changed_setting::before);
    change_parts(desk);
    desk.begin("save");
    for (const changed_setting &one : part_changes)
        desk.set(one.leaf, one.before);
    EXPECT_EQ(desk.begin("restore"), done);
    expect_all(desk, part_changes, &changed_setting::after);
}

TEST_F(flash_tasks, defaults_put_parts_as_they_were_made)
{
    flash_desk desk(folder.path, parts_chain);
    change_parts(desk);
    desk.begin("save");
    EXPECT_EQ(desk.begin("factory-default"), done);
    expect_all(desk, part_changes, &changed_setting::before);
}

TEST_F(flash_tasks, names_that_two_outlets_changed_about_come_back)
{
    flash_desk desk(folder.path, parts_chain);
    desk.set("outlet.1.name", "web");
    desk.set("outlet.2.name", "db");
    desk.begin("save");
    desk.set("outlet.1.name", "");
    desk.set("outlet.2.name", "web");
    desk.set("outlet.1.name", "db");
    EXPECT_EQ(desk.begin("restore"), done);
    EXPECT_EQ(desk.shown("outlet.1.name"), "web");
    EXPECT_EQ(desk.shown("outlet.2.name"), "db");
}

TEST_F(flash_tasks, levels_of_a_monitor_come_back_whichever_unit_it_works_in_by_then)
{
    flash_desk desk(folder.path, parts_chain);
    change_parts(desk);
    desk.begin("save");
    for (const char *unit : {"oC", "K", "oF"}) {
        desk.set("envmon.1.unit", unit);
        desk.set("envmon.1.low-thres", "0");
        EXPECT_EQ(desk.begin("restore"), done);
        expect_all(desk, part_changes, &changed_setting::after);
    }
}

TEST_F(flash_tasks, monitor_without_its_probe_is_restored_for_the_next)
{
    flash_desk desk(folder.path, parts_chain);
    desk.begin("save");
    change_parts(desk);
    desk.ask({"desk", "sensor", "pull", "1", "1", "1"});
    desk.begin("restore");
    desk.ask({"desk", "sensor", "plug", "1", "1", "1"});
    expect_all(desk, part_changes, &changed_setting::before);
}

TEST_F(flash_tasks, setting_that_an_older_save_did_not_know_is_as_made)
{
    flash_desk desk(folder.path, parts_chain);
    ASSERT_TRUE(desk.flash.save("local", 1, {{"", "id", "kept"}, {"envmon.1", "name", "old"}}));
    int64_t now = 0;
    for (const char *task : {"restore", "reboot"}) {
        change_parts(desk);
        EXPECT_EQ(desk.begin(task), done);
        desk.at(now += 60000);
        EXPECT_EQ(desk.shown("id"), "kept") << task;
        EXPECT_EQ(desk.shown("envmon.1.name"), "old") << task;
        EXPECT_EQ(desk.shown("envmon.1.high-thres"), "40.0") << task;
        EXPECT_EQ(desk.shown("phase.2.current-alarm"), "16.0") << task;
        EXPECT_EQ(desk.states({"1.1.1", "1.1.2"}), "ON ON") << task;
    }
}

TEST_F(flash_tasks, level_that_the_unit_can_not_have_any_more_is_passed_over)
{
    {
        flash_desk desk(folder.path, parts_chain);
        change_parts(desk);
        desk.begin("save");
    }
    std::string smaller = parts_chain;
    smaller.replace(smaller.find("max_current = 16"), 16, "max_current = 10");
    flash_desk next(folder.path, smaller);
    EXPECT_EQ(next.shown("phase.2.current-alarm"), "10.0");
    EXPECT_EQ(next.shown("phase.2.current-low"), "2.0");
    EXPECT_EQ(next.shown("circuit.1.current-alarm"), "9.0");
}

// --- What flows, and what was recorded ------------------------------------------------------------------------------

struct restart : flash_tasks {
    flash_desk desk{folder.path, parts_chain};

    const unit &its() const { return desk.simulated.units.ports[0].units[0]; }
    double amperes(size_t outlet) const { return its().outlets[outlet - 1].measured.now[quantity::current]; }
    std::string advance(const std::string &seconds) { return desk.ask({"desk", "clock", "advance", seconds}); }
};

TEST_F(restart, outlets_carry_nothing_until_they_are_back)
{
    advance("10"); // 400 W at two outlets; the third is fixed and idle
    EXPECT_DOUBLE_EQ(its().measured.joules, 8000);
    desk.begin("reboot");
    EXPECT_EQ(amperes(1), 0);
    EXPECT_EQ(its().measured.now[quantity::current], 0);
    advance("7"); // 3 s away, 4 s of delay
    EXPECT_DOUBLE_EQ(its().measured.joules, 8000);
    EXPECT_DOUBLE_EQ(amperes(1), 2);
    EXPECT_EQ(amperes(2), 0);
}

TEST_F(restart, each_outlet_that_comes_back_is_read_at_its_own_time)
{
    desk.shown("id"); // the first request starts the clock of the meters
    desk.begin("reboot");
    desk.at(7499);
    EXPECT_EQ(desk.shown("current"), "2.0");
    desk.at(7500);
    EXPECT_EQ(desk.shown("current"), "4.0");
    desk.at(10000);
    EXPECT_EQ(desk.shown("current"), "4.0");
    EXPECT_DOUBLE_EQ(its().measured.joules, 3 * 400 + 2.5 * 400);
}

TEST_F(restart, outlet_that_comes_back_to_too_much_trips_at_once)
{
    desk.shown("id");
    desk.begin("reboot");
    desk.ask({"desk", "load", "1", "1", "1", "4000"}); // 20 A of 16
    desk.at(7000);
    EXPECT_EQ(desk.ctrl("1.1.1"), "OFF");
    EXPECT_TRUE(its().outlets[0].tripped.value_or(false));
    desk.at(8000);
    EXPECT_EQ(desk.ctrl("1.1.2"), "ON");
    EXPECT_EQ(desk.shown("current"), "2.0");
}

TEST_F(restart, protection_that_has_tripped_stays_so_and_holds_its_outlet_off)
{
    desk.ask({"desk", "hwocp", "trip", "1", "1", "outlet", "2"});
    desk.begin("reboot");
    desk.at(60000);
    EXPECT_EQ(desk.states({"1.1.1", "1.1.2"}), "ON OFF");
    EXPECT_TRUE(its().outlets[1].tripped.value_or(false));
}

TEST_F(restart, extremes_and_averages_begin_anew_and_energy_goes_on)
{
    desk.ask({"desk", "load", "1", "1", "1", "2000"}); // 10 A, and 2 A beside it
    desk.ask({"desk", "sensor", "set", "1", "1", "1", "35"});
    advance("10");
    desk.ask({"desk", "load", "1", "1", "1", "400"});
    desk.ask({"desk", "sensor", "set", "1", "1", "1", "25"});
    advance("10");
    EXPECT_EQ(desk.shown("current-max"), "12.0");
    EXPECT_EQ(desk.shown("envmon.1.max-value"), "35.0");
    const double before = its().measured.joules;
    const std::string since = desk.shown("cumulative-starttime");

    desk.begin("reboot");
    advance("3"); // it is back, its outlets wait
    for (const char *leaf : {"current-max", "current-avg", "phase.1.current-max", "circuit.1.power-max"})
        EXPECT_EQ(std::stod(desk.shown(leaf)), 0) << leaf;
    EXPECT_EQ(desk.shown("voltage-min"), "200.0");
    EXPECT_EQ(desk.shown("envmon.1.max-value"), "25.0");
    EXPECT_EQ(desk.shown("envmon.1.avg-value"), "25.0");
    EXPECT_EQ(desk.shown("envmon.1.num-samples"), "1");
    advance("6");
    EXPECT_EQ(desk.shown("current-max"), "4.0");
    EXPECT_DOUBLE_EQ(its().measured.joules, before + 2 * 400 + 1.5 * 400);
    EXPECT_EQ(desk.shown("cumulative-starttime"), since);
}

TEST_F(restart, minimum_is_not_that_of_the_time_away)
{
    desk.set("cold-start-delay", "0");
    desk.set("outlet.1.post-power-on", "0");
    desk.begin("save");
    advance("10");
    desk.begin("reboot");
    advance("10");
    EXPECT_EQ(desk.shown("current-min"), "4.0");
    EXPECT_EQ(desk.shown("power-factor-min"), "1.00");
}

TEST_F(restart, other_tasks_leave_what_was_recorded)
{
    desk.ask({"desk", "load", "1", "1", "1", "2000"});
    advance("10");
    desk.ask({"desk", "load", "1", "1", "1", "400"});
    for (const char *task : {"save", "restore", "factory-default"}) {
        EXPECT_EQ(desk.begin(task), done);
        advance("1");
        EXPECT_EQ(desk.shown("current-max"), "12.0") << task;
        EXPECT_EQ(desk.shown("current"), "4.0") << task;
    }
}

// Hardware over-current protection and fuses: what trips and blows them, what lies behind them, what makes them ready
// again.

#include "tests/unit/appliance/outlet_desk.h"

// Three phases in delta with a fuse in each circuit: outlets 1 and 2 on XY1, 3 and 4 on XZ1, 5 and 6 on YZ1; the last
// is fixed. A second unit has no protection, a third a fuse and nothing else.
static constexpr char guarded_chain[] = R"(
noise = false
[[port]]
name = "local"
[[port.unit]]
model_nr = 130
max_current = 16
topology = "delta"
overcurrent = false
phases = 3
circuits = 3
outlets = 6
voltage = 230
load = 100
hwocp = ["unit", "phase", "outlet"]
fuse = 10
metering = ["unit", "circuit", "outlet"]
post_power_on = 1
post_power_off = 1
[[port.unit.outlet]]
number = 6
fixed = true
[[port.unit]]
circuits = 1
outlets = 1
[[port.unit]]
circuits = 1
outlets = 1
fuse = 10
)";

struct guarded_desk : switching_desk {
    guarded_desk() : switching_desk(guarded_chain) {}

    std::string tell(const std::vector<std::string> &words)
    {
        std::vector<std::string> all = {"desk"};
        all.insert(all.end(), words.begin(), words.end());
        return ask(all);
    }
    std::string info(const std::string &leaf) { return text_of(ask({"info", unit_path + leaf})); }
    std::string reset() { return ask({"admin", unit_path + "hwocp.reset"}); }
    void load(int outlet, const std::string &watts)
    {
        EXPECT_EQ(tell({"load", "1", "1", std::to_string(outlet), watts}), done);
    }
    std::string all_states() { return states({"1.1.1", "1.1.2", "1.1.3", "1.1.4", "1.1.5", "1.1.6"}); }

    inline static const std::string unit_path = "power.port.1.pdu.1.";
};

// --- Leaves ---------------------------------------------------------------------------------------------------------

TEST(protection, state_of_each_part_is_served)
{
    guarded_desk desk;
    for (const char *leaf : {"hwocp", "phase.1.hwocp", "phase.3.hwocp", "outlet.1.hwocp", "outlet.6.hwocp"})
        EXPECT_EQ(desk.info(leaf), "not tripped") << leaf;
    EXPECT_EQ(desk.info("circuit.3.blown-fuse"), "OK");
    EXPECT_EQ(desk.info("circuit.3.hwocp"), no_such_path);
    EXPECT_EQ(desk.info("phase.1.blown-fuse"), no_such_path);
}

static bool lists(guarded_desk &desk, const std::string &path, const std::string &name)
{
    return desk.ask({"mlist", path}).find("\r\n" + name + "\r\n") != std::string::npos;
}

TEST(protection, parts_list_what_they_have_and_no_more)
{
    guarded_desk desk;
    for (const char *node : {"", ".phase.1", ".outlet.1"}) {
        EXPECT_TRUE(lists(desk, std::string("power.port.1.pdu.1") + node, "hwocp")) << node;
        EXPECT_FALSE(lists(desk, std::string("power.port.1.pdu.2") + node, "hwocp")) << node;
    }
    EXPECT_TRUE(lists(desk, "power.port.1.pdu.1.circuit.1", "blown-fuse"));
    EXPECT_FALSE(lists(desk, "power.port.1.pdu.2.circuit.1", "blown-fuse"));
    EXPECT_FALSE(lists(desk, "power.port.1.pdu.1", "hwocp.reset"));
    EXPECT_EQ(desk.ask({"admin", "power.port.1.pdu.2.hwocp.reset"}), no_such_path);
    EXPECT_EQ(desk.ask({"admin", "power.port.1.pdu.3.hwocp.reset"}), no_such_path);
}

TEST(protection, reset_takes_no_word)
{
    guarded_desk desk;
    EXPECT_EQ(desk.ask({"admin", guarded_desk::unit_path + "hwocp.reset", "now"}), bad_arguments);
    EXPECT_EQ(desk.info("hwocp.reset"), no_such_verb);
}

TEST(protection, own_protection_lists_its_two_states)
{
    guarded_desk desk;
    EXPECT_EQ(desk.ask({"mlist", guarded_desk::unit_path + "overcurrent"}), array({"on", "off"}));
}

// --- Trips ----------------------------------------------------------------------------------------------------------

TEST(protection, tripped_unit_takes_all_outlets_off)
{
    guarded_desk desk;
    EXPECT_EQ(desk.tell({"hwocp", "trip", "1", "1"}), done);
    EXPECT_EQ(desk.info("hwocp"), "tripped");
    EXPECT_EQ(desk.info("phase.1.hwocp"), "not tripped");
    EXPECT_EQ(desk.all_states(), "OFF OFF OFF OFF OFF ON(fixed)");
    EXPECT_EQ(desk.mod("1.1.1"), "OFF(ocp)");
    EXPECT_EQ(desk.ctrl("1.2.1"), "ON");
}

TEST(protection, tripped_phase_takes_the_outlets_off_that_it_feeds)
{
    guarded_desk desk;
    EXPECT_EQ(desk.tell({"hwocp", "trip", "1", "1", "phase", "1"}), done);
    EXPECT_EQ(desk.info("hwocp"), "not tripped");
    EXPECT_EQ(desk.info("phase.1.hwocp"), "tripped");
    EXPECT_EQ(desk.all_states(), "OFF OFF OFF OFF ON ON(fixed)");
}

TEST(protection, tripped_outlet_goes_off_alone)
{
    guarded_desk desk;
    EXPECT_EQ(desk.tell({"hwocp", "trip", "1", "1", "outlet", "4"}), done);
    EXPECT_EQ(desk.info("hwocp"), "not tripped");
    EXPECT_EQ(desk.info("outlet.4.hwocp"), "tripped");
    EXPECT_EQ(desk.all_states(), "ON ON ON OFF ON ON(fixed)");
}

TEST(protection, fixed_outlet_behind_a_trip_has_no_current)
{
    guarded_desk desk;
    desk.tell({"hwocp", "trip", "1", "1", "outlet", "6"});
    EXPECT_EQ(desk.ctrl("1.1.6"), "ON(fixed)");
    EXPECT_EQ(desk.info("outlet.6.current"), "0.0");
    EXPECT_EQ(desk.info("outlet.6.voltage"), "0.0");
}

TEST(protection, trip_ends_what_is_pending)
{
    guarded_desk desk;
    desk.command("off", "1.1.1,1.1.2");
    desk.command("cycle", "1.1.3");
    desk.tell({"hwocp", "trip", "1", "1"});
    desk.at(100'000);
    EXPECT_EQ(desk.states({"1.1.2", "1.1.3"}), "OFF OFF");
}

TEST(protection, outlet_behind_a_trip_does_not_come_on)
{
    guarded_desk desk;
    desk.tell({"hwocp", "trip", "1", "1", "outlet", "4"});
    for (const char *action : {"on", "ion", "cycle"}) {
        EXPECT_EQ(desk.command(action, "1.1.4"), done);
        desk.at(*desk.simulated.clock.driven + 10'000);
        EXPECT_EQ(desk.ctrl("1.1.4"), "OFF") << action;
    }
    EXPECT_EQ(desk.ask({"get", "power.pdu.pdu-local.overcurrent"}), bulk("1"));
}

TEST(protection, reset_makes_all_parts_ready_and_switches_nothing_on)
{
    guarded_desk desk;
    desk.tell({"hwocp", "trip", "1", "1"});
    desk.tell({"hwocp", "trip", "1", "1", "phase", "2"});
    desk.tell({"hwocp", "trip", "1", "1", "outlet", "1"});
    EXPECT_EQ(desk.reset(), done);
    for (const char *leaf : {"hwocp", "phase.2.hwocp", "outlet.1.hwocp"})
        EXPECT_EQ(desk.info(leaf), "not tripped") << leaf;
    desk.at(100'000);
    EXPECT_EQ(desk.ctrl("1.1.1"), "OFF");
    EXPECT_EQ(desk.mod("1.1.1"), "OFF");
    desk.command("on", "1.1.1");
    EXPECT_EQ(desk.ctrl("1.1.1"), "ON");
}

TEST(protection, reset_of_what_is_ready_changes_nothing)
{
    guarded_desk desk;
    EXPECT_EQ(desk.reset(), done);
    EXPECT_EQ(desk.all_states(), "ON ON ON ON ON ON(fixed)");
}

TEST(protection, reset_mends_no_fuse)
{
    guarded_desk desk;
    desk.tell({"fuse", "blow", "1", "1", "1"});
    desk.reset();
    EXPECT_EQ(desk.info("circuit.1.blown-fuse"), "BLOWN");
}

// --- Fuses ----------------------------------------------------------------------------------------------------------

TEST(protection, blown_fuse_feeds_no_outlet_of_its_circuit)
{
    guarded_desk desk;
    EXPECT_NE(desk.info("circuit.1.power"), "0.0");
    EXPECT_EQ(desk.tell({"fuse", "blow", "1", "1", "1"}), done);
    EXPECT_EQ(desk.info("circuit.1.blown-fuse"), "BLOWN");
    for (const char *leaf :
         {"circuit.1.power", "circuit.1.current", "outlet.1.current", "outlet.1.voltage", "outlet.2.power"})
        EXPECT_EQ(desk.info(leaf), "0.0") << leaf;
    EXPECT_EQ(desk.info("outlet.3.power"), "100.0");
    EXPECT_EQ(desk.info("power"), "400.0");
}

TEST(protection, outlet_behind_a_blown_fuse_keeps_its_state_and_says_so)
{
    guarded_desk desk;
    desk.tell({"fuse", "blow", "1", "1", "1"});
    EXPECT_EQ(desk.ctrl("1.1.1"), "ON");
    EXPECT_EQ(desk.mod("1.1.1"), "ON(fuse)");
    EXPECT_EQ(desk.mod("1.1.3"), "ON");
    desk.command("off", "1.1.1");
    EXPECT_EQ(desk.ctrl("1.1.1"), "OFF");
    EXPECT_EQ(desk.mod("1.1.1"), "OFF(fuse)");
}

TEST(protection, mended_fuse_feeds_again)
{
    guarded_desk desk;
    desk.tell({"fuse", "blow", "1", "1", "1"});
    EXPECT_EQ(desk.tell({"fuse", "mend", "1", "1", "1"}), done);
    EXPECT_EQ(desk.info("circuit.1.blown-fuse"), "OK");
    EXPECT_EQ(desk.info("outlet.1.power"), "100.0");
    EXPECT_EQ(desk.mod("1.1.1"), "ON");
}

// --- Overload -------------------------------------------------------------------------------------------------------

TEST(protection, overloaded_outlet_trips_and_saves_what_is_before_it)
{
    guarded_desk desk;
    desk.load(1, "8000"); // 20 A at 398 V
    EXPECT_EQ(desk.info("outlet.1.hwocp"), "tripped");
    EXPECT_EQ(desk.ctrl("1.1.1"), "OFF");
    EXPECT_EQ(desk.info("circuit.1.blown-fuse"), "OK");
    EXPECT_EQ(desk.info("phase.1.hwocp"), "not tripped");
    EXPECT_EQ(desk.info("hwocp"), "not tripped");
    EXPECT_EQ(desk.info("outlet.2.power"), "100.0");
}

TEST(protection, fuse_blows_where_its_outlets_together_are_too_much)
{
    guarded_desk desk;
    desk.load(1, "2500");
    EXPECT_EQ(desk.info("circuit.1.blown-fuse"), "OK");
    desk.load(2, "2500"); // 12.6 A together
    EXPECT_EQ(desk.info("circuit.1.blown-fuse"), "BLOWN");
    EXPECT_EQ(desk.info("outlet.1.hwocp"), "not tripped");
    EXPECT_EQ(desk.ctrl("1.1.1"), "ON");
    EXPECT_EQ(desk.info("circuit.1.current"), "0.0");
}

TEST(protection, phase_trips_where_its_circuits_together_are_too_much)
{
    guarded_desk desk; // the phase has no instruments of its own
    desk.load(1, "3850");
    EXPECT_EQ(desk.info("phase.1.hwocp"), "not tripped");
    desk.load(3, "3850"); // 9.9 A and 9.9 A, at 60 degrees
    EXPECT_EQ(desk.info("circuit.1.blown-fuse"), "OK");
    EXPECT_EQ(desk.info("circuit.2.blown-fuse"), "OK");
    EXPECT_EQ(desk.info("phase.1.hwocp"), "tripped");
    EXPECT_EQ(desk.info("phase.2.hwocp"), "not tripped");
    EXPECT_EQ(desk.all_states(), "OFF OFF OFF OFF ON ON(fixed)");
    EXPECT_EQ(desk.info("hwocp"), "not tripped");
}

TEST(protection, unit_trips_where_nothing_nearer_does)
{
    switching_desk desk("noise = false\n[[port]]\nname = 'local'\n[[port.unit]]\nmax_current = 10\noutlets = 2\n"
                        "load = 1500\nhwocp = ['unit']\n"); // 13 A
    EXPECT_EQ(desk.ctrl("1.1.1"), "OFF");
    EXPECT_EQ(desk.ask({"info", "power.port.1.pdu.1.hwocp"}), bulk("tripped"));
}

TEST(protection, current_that_can_just_be_carried_breaks_nothing)
{
    switching_desk desk("noise = false\n[[port]]\nname = 'local'\n[[port.unit]]\nmax_current = 10\ncircuits = 1\n"
                        "outlets = 1\nload = 2300\nfuse = 10\nhwocp = ['unit', 'phase', 'outlet']\n");
    EXPECT_EQ(desk.mod("1.1.1"), "ON");
    EXPECT_EQ(desk.ask({"info", "power.port.1.pdu.1.hwocp"}), bulk("not tripped"));
}

TEST(protection, overload_that_outlasts_the_reset_trips_again)
{
    guarded_desk desk;
    desk.load(6, "8000"); // fixed: the reset gives it its current back
    EXPECT_EQ(desk.info("outlet.6.hwocp"), "tripped");
    EXPECT_EQ(desk.reset(), done);
    EXPECT_EQ(desk.info("outlet.6.hwocp"), "tripped");
    desk.load(6, "100");
    desk.reset();
    EXPECT_EQ(desk.info("outlet.6.hwocp"), "not tripped");
}

TEST(protection, overload_comes_with_the_outlet_that_is_switched_on)
{
    guarded_desk desk;
    desk.command("off", "1.1.1");
    desk.load(1, "8000");
    EXPECT_EQ(desk.info("outlet.1.hwocp"), "not tripped");
    desk.command("on", "1.1.1");
    EXPECT_EQ(desk.info("outlet.1.hwocp"), "tripped");
    EXPECT_EQ(desk.ctrl("1.1.1"), "OFF");
}

// --- What the desk is told ------------------------------------------------------------------------------------------

TEST(protection_desk, part_without_protection_or_fuse_is_refused)
{
    guarded_desk desk;
    const std::vector<std::string> words[] = {
        {"hwocp", "trip", "1", "2"},
        {"hwocp", "trip", "1", "2", "phase", "1"},
        {"hwocp", "trip", "1", "2", "outlet", "1"},
        {"hwocp", "trip", "1", "9"},
        {"hwocp", "trip", "1", "1", "phase", "4"},
        {"hwocp", "trip", "1", "1", "outlet", "7"},
        {"fuse", "blow", "1", "2", "1"},
        {"fuse", "blow", "1", "1", "4"},
        {"fuse", "mend", "9", "1", "1"},
    };
    for (const std::vector<std::string> &one : words)
        EXPECT_EQ(desk.tell(one), no_such_part) << testing::PrintToString(one);
}

TEST(protection_desk, words_that_make_no_sense_are_refused)
{
    guarded_desk desk;
    const std::vector<std::string> words[] = {
        {"hwocp"},
        {"hwocp", "reset", "1", "1"},
        {"hwocp", "trip", "1"},
        {"hwocp", "trip", "1", "1", "phase"},
        {"hwocp", "trip", "1", "1", "circuit", "1"},
        {"hwocp", "trip", "1", "1", "phase", "1", "1"},
        {"fuse"},
        {"fuse", "blow", "1", "1"},
        {"fuse", "burn", "1", "1", "1"},
    };
    for (const std::vector<std::string> &one : words)
        EXPECT_EQ(desk.tell(one), bad_arguments) << testing::PrintToString(one);
    EXPECT_EQ(desk.tell({"hwocp", "trip", "x", "1"}), bad_value);
    EXPECT_EQ(desk.tell({"hwocp", "trip", "1", "1", "outlet", "0"}), bad_value);
    EXPECT_EQ(desk.tell({"fuse", "blow", "1", "1", "-1"}), bad_value);
}

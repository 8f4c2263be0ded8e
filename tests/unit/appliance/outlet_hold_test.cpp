// What keeps an outlet from switching: a lock, being fixed, over-current protection, a relay that sticks; and the words
// of the desk that bring these about.

#include "tests/unit/appliance/outlet_desk.h"

// --- Locked and fixed outlets ---------------------------------------------------------------------------------------

TEST(outlet_hold, lock_keeps_an_outlet_as_it_is)
{
    switching_desk desk;
    desk.command("off", "1.1.2");
    EXPECT_EQ(desk.command("lock", "1.1.1,1.1.2"), done);
    EXPECT_EQ(desk.states({"1.1.1", "1.1.2"}), "ON(locked) OFF(locked)");
    for (const char *action : {"on", "off", "ion", "ioff", "cycle"}) {
        EXPECT_EQ(desk.command(action, "1.1.1,1.1.2"), done) << action;
        desk.at(*desk.simulated.clock.driven + 100'000);
        EXPECT_EQ(desk.states({"1.1.1", "1.1.2"}), "ON(locked) OFF(locked)") << action;
    }
    EXPECT_EQ(desk.mod("1.1.1"), "ON");
    EXPECT_EQ(desk.mod("1.1.2"), "OFF");
}

TEST(outlet_hold, unlock_frees_an_outlet_and_switches_nothing)
{
    switching_desk desk;
    EXPECT_EQ(desk.ctrl("1.1.5"), "ON(locked)");
    EXPECT_EQ(desk.command("unlock", "1.1.5"), done);
    EXPECT_EQ(desk.ctrl("1.1.5"), "ON");
    EXPECT_EQ(desk.command("unlock", "1.1.5"), done);
    EXPECT_EQ(desk.ctrl("1.1.5"), "ON");
    desk.command("off", "1.1.5");
    EXPECT_EQ(desk.ctrl("1.1.5"), "OFF");
}

TEST(outlet_hold, lock_ends_what_is_pending)
{
    switching_desk desk;
    desk.command("off", "1.1.1,1.1.2");
    desk.command("cycle", "1.1.4");
    desk.command("lock", "1.1.2,1.1.4");
    desk.at(100'000);
    EXPECT_EQ(desk.states({"1.1.1", "1.1.2", "1.1.4"}), "OFF ON(locked) OFF(locked)");
    desk.command("unlock", "1.1.2,1.1.4");
    desk.at(200'000);
    EXPECT_EQ(desk.states({"1.1.2", "1.1.4"}), "ON OFF");
}

TEST(outlet_hold, unlock_leaves_what_is_pending)
{
    switching_desk desk;
    desk.command("off", "1.1.1,1.1.2");
    desk.command("unlock", "1.1.2");
    EXPECT_EQ(desk.ctrl("1.1.2"), "ON(pend_OFF)");
    desk.at(500);
    EXPECT_EQ(desk.ctrl("1.1.2"), "OFF");
}

TEST(outlet_hold, fixed_outlet_takes_every_action_and_changes_by_none)
{
    switching_desk desk;
    for (const char *action : {"off", "ioff", "cycle", "lock", "unlock", "on", "ion"}) {
        EXPECT_EQ(desk.command(action, "1.1.6"), done) << action;
        EXPECT_EQ(desk.ctrl("1.1.6"), "ON(fixed)") << action;
        EXPECT_EQ(desk.mod("1.1.6"), "ON") << action;
    }
    EXPECT_FALSE(desk.simulated.units.ports[0].units[0].outlets[5].locked);
}

TEST(outlet_hold, locked_and_fixed_outlets_cost_no_pause)
{
    switching_desk desk;
    desk.command("off", "1.1.5,1.1.6,1.1.2");
    EXPECT_EQ(desk.ctrl("1.1.2"), "OFF");
}

// --- Over-current protection ----------------------------------------------------------------------------------------

static const std::string local_overcurrent = "power.pdu.pdu-local.overcurrent";

TEST(outlet_hold, protection_keeps_an_outlet_of_an_overloaded_circuit_off)
{
    switching_desk desk;
    desk.command("off", "1.1.1");
    EXPECT_EQ(desk.ask({"desk", "circuit", "1.1.1", "overload"}), done);
    EXPECT_EQ(desk.mod("1.1.1"), "OFF(ocp)");
    for (const char *action : {"on", "ion", "cycle"}) {
        EXPECT_EQ(desk.command(action, "1.1.1"), done);
        desk.at(*desk.simulated.clock.driven + 10'000);
        EXPECT_EQ(desk.ctrl("1.1.1"), "OFF") << action;
        EXPECT_EQ(desk.mod("1.1.1"), "OFF(ocp)") << action;
    }
    EXPECT_EQ(desk.ask({"get", local_overcurrent}), bulk("1"));
}

TEST(outlet_hold, outlet_that_is_kept_off_costs_no_pause)
{
    switching_desk desk;
    desk.command("ioff", "1.1.1,1.1.8");
    desk.ask({"desk", "circuit", "1.1.1", "overload"});
    desk.command("on", "1.1.1,1.1.8");
    EXPECT_EQ(desk.states({"1.1.1", "1.1.8"}), "OFF ON");
}

TEST(outlet_hold, protection_leaves_an_outlet_on_that_is_on)
{
    switching_desk desk;
    desk.ask({"desk", "circuit", "1.1.1", "overload"});
    EXPECT_EQ(desk.ctrl("1.1.1"), "ON");
    EXPECT_EQ(desk.mod("1.1.1"), "ON");
    EXPECT_EQ(desk.ask({"get", local_overcurrent}), bulk("0"));
}

TEST(outlet_hold, protection_does_not_reach_beyond_the_circuit)
{
    switching_desk desk;
    desk.ask({"desk", "circuit", "1.1.2", "overload"});
    desk.command("off", "1.1.1");
    desk.command("on", "1.1.1");
    EXPECT_EQ(desk.ctrl("1.1.1"), "ON");
}

TEST(outlet_hold, overloaded_phase_holds_off_what_it_feeds)
{
    switching_desk desk("[[port]]\nname = 'local'\n[[port.unit]]\novercurrent = true\nphases = 3\ntopology = 'delta'\n"
                        "circuits = 3\noutlets = 3\n[[port.unit]]\novercurrent = true\noutlets = 1\n");
    desk.ask({"desk", "phase", "1.1.3", "overload"});
    desk.ask({"desk", "phase", "1.2.1", "overload"});
    for (const char *action : {"off", "on"})
        desk.command(action, "1.1.1,1.1.2,1.1.3,1.2.1");
    EXPECT_EQ(desk.states({"1.1.1", "1.1.2", "1.1.3", "1.2.1"}), "ON OFF OFF OFF"); // XY, XZ, YZ, and the phase itself
}

TEST(outlet_hold, protection_that_is_turned_off_keeps_nothing_off)
{
    switching_desk desk;
    desk.command("off", "1.1.1");
    desk.ask({"desk", "circuit", "1.1.1", "overload"});
    EXPECT_EQ(desk.ask({"info", "power.port.1.pdu.1.overcurrent"}), bulk("on"));
    EXPECT_EQ(desk.ask({"admin", "power.port.1.pdu.1.overcurrent", "off"}), done);
    EXPECT_EQ(desk.ask({"info", "power.port.1.pdu.1.overcurrent"}), bulk("off"));
    EXPECT_EQ(desk.mod("1.1.1"), "OFF");
    EXPECT_EQ(desk.ask({"get", local_overcurrent}), bulk("0"));
    desk.command("on", "1.1.1");
    EXPECT_EQ(desk.ctrl("1.1.1"), "ON");
}

TEST(outlet_hold, outlet_kept_off_waits_to_be_told_again)
{
    switching_desk desk;
    desk.command("off", "1.1.1");
    desk.ask({"desk", "circuit", "1.1.1", "overload"});
    desk.command("on", "1.1.1");
    EXPECT_EQ(desk.ask({"desk", "circuit", "1.1.1", "relieve"}), done);
    desk.at(100'000);
    EXPECT_EQ(desk.ctrl("1.1.1"), "OFF");
    EXPECT_EQ(desk.mod("1.1.1"), "OFF");
    desk.command("on", "1.1.1");
    EXPECT_EQ(desk.ctrl("1.1.1"), "ON");
}

TEST(outlet_hold, overload_that_comes_while_an_outlet_waits_keeps_it_off)
{
    switching_desk desk;
    desk.command("ioff", "1.1.1,1.1.2");
    desk.command("on", "1.1.1,1.1.2");
    desk.ask({"desk", "circuit", "1.1.1", "overload"});
    EXPECT_EQ(desk.states({"1.1.1", "1.1.2"}), "ON OFF(pend_ON)");
    EXPECT_EQ(desk.mod("1.1.2"), "OFF(ocp)");
    desk.at(1000);
    EXPECT_EQ(desk.ctrl("1.1.2"), "OFF");
}

TEST(outlet_hold, overload_in_another_unit_does_not_show_at_the_appliances_own)
{
    switching_desk desk("[[port]]\nname = 'local'\n[[port.unit]]\novercurrent = true\noutlets = 1\n[[port.unit]]\n"
                        "overcurrent = true\noutlets = 1\n[[port.unit.phase]]\noverloaded = true\n");
    desk.command("off", "1.1.1,1.2.1");
    desk.command("on", "1.1.1,1.2.1");
    EXPECT_EQ(desk.states({"1.1.1", "1.2.1"}), "ON OFF");
    EXPECT_EQ(desk.ask({"get", local_overcurrent}), bulk("0"));
}

TEST(outlet_hold, protection_takes_on_and_off_and_nothing_else)
{
    switching_desk desk;
    for (const char *value : {"", "ON", "1", "true", "on "})
        EXPECT_EQ(desk.ask({"admin", "power.port.1.pdu.1.overcurrent", value}), bad_value) << value;
    EXPECT_EQ(desk.ask({"admin", "power.port.1.pdu.1.overcurrent"}), bad_arguments);
    EXPECT_EQ(desk.ask({"info", "power.port.1.pdu.1.overcurrent"}), bulk("on"));
    EXPECT_EQ(desk.ask({"admin", "power.port.1.pdu.2.overcurrent", "on"}), no_such_path);
}

// --- What the desk is told ------------------------------------------------------------------------------------------

TEST(outlet_desk, clock_is_driven_by_words)
{
    switching_desk desk;
    desk.command("off", "1.1.1,1.1.2");
    EXPECT_EQ(desk.ask({"desk", "clock", "advance", "0.499"}), done);
    EXPECT_EQ(desk.ctrl("1.1.2"), "ON(pend_OFF)");
    EXPECT_EQ(desk.ask({"desk", "clock", "advance", "0.001"}), done);
    EXPECT_EQ(desk.ctrl("1.1.2"), "OFF");
    EXPECT_EQ(desk.ask({"desk", "clock", "advance", "100000"}), done);
    EXPECT_EQ(desk.simulated.clock.driven, 100'000'500);
}

TEST(outlet_desk, clock_takes_seconds_up_to_a_bound)
{
    switching_desk desk;
    for (const char *seconds : {"", "-1", "1.2345", "x", "100000.001", "9999999999"})
        EXPECT_EQ(desk.ask({"desk", "clock", "advance", seconds}), bad_value) << seconds;
    EXPECT_EQ(desk.ask({"desk", "clock", "advance"}), bad_arguments);
    EXPECT_EQ(desk.ask({"desk", "clock", "back", "1"}), bad_arguments);
    EXPECT_EQ(desk.simulated.clock.driven, 0);
}

TEST(outlet_desk, clock_of_the_machine_can_be_moved_on)
{
    switching_desk desk;
    desk.simulated.clock.driven.reset();
    int64_t time = desk.simulated.clock.now_ms(), date = desk.simulated.clock.date();
    desk.command("off", "1.1.2,1.1.1");
    EXPECT_EQ(desk.ctrl("1.1.1"), "ON(pend_OFF)");
    EXPECT_EQ(desk.ask({"desk", "clock", "advance", "3600"}), done);
    EXPECT_EQ(desk.ctrl("1.1.1"), "OFF");
    EXPECT_GE(desk.simulated.clock.now_ms(), time + 3'600'000);
    EXPECT_GE(desk.simulated.clock.date(), date + 3600);
}

TEST(outlet_desk, relay_that_sticks_stays_and_says_so)
{
    switching_desk desk;
    desk.command("off", "1.1.2");
    EXPECT_EQ(desk.ask({"desk", "outlet", "1.1.1", "fail"}), done);
    EXPECT_EQ(desk.ask({"desk", "outlet", "1.1.2", "fail"}), done);
    EXPECT_EQ(desk.mod("1.1.1"), "ON(error)");
    EXPECT_EQ(desk.mod("1.1.2"), "OFF(error)");
    for (const char *action : {"off", "on", "ioff", "ion", "cycle"}) {
        EXPECT_EQ(desk.command(action, "1.1.1,1.1.2"), done);
        desk.at(*desk.simulated.clock.driven + 100'000);
        EXPECT_EQ(desk.states({"1.1.1", "1.1.2"}), "ON OFF") << action;
    }
    EXPECT_EQ(desk.mod("1.1.2"), "OFF(error)");
}

TEST(outlet_desk, cycle_ends_at_once_where_the_relay_sticks)
{
    switching_desk desk;
    desk.ask({"desk", "outlet", "1.1.1", "fail"});
    desk.command("cycle", "1.1.1");
    EXPECT_EQ(desk.ctrl("1.1.1"), "ON");
}

TEST(outlet_desk, mended_relay_switches_again)
{
    switching_desk desk;
    desk.ask({"desk", "outlet", "1.1.1", "fail"});
    EXPECT_EQ(desk.ask({"desk", "outlet", "1.1.1", "mend"}), done);
    EXPECT_EQ(desk.mod("1.1.1"), "ON");
    desk.command("off", "1.1.1");
    EXPECT_EQ(desk.ctrl("1.1.1"), "OFF");
}

TEST(outlet_desk, part_that_does_not_exist_is_refused)
{
    switching_desk desk;
    EXPECT_EQ(desk.ask({"desk", "outlet", "1.1.9", "fail"}), no_such_part);
    EXPECT_EQ(desk.ask({"desk", "circuit", "1.1.3", "overload"}), no_such_part);
    EXPECT_EQ(desk.ask({"desk", "circuit", "1.9.1", "overload"}), no_such_part);
    EXPECT_EQ(desk.ask({"desk", "phase", "9.1.1", "overload"}), no_such_part);
    EXPECT_EQ(desk.ask({"desk", "outlet", "1.1", "fail"}), bad_value);
    EXPECT_EQ(desk.ask({"desk", "outlet", "1.1.1"}), bad_arguments);
    EXPECT_EQ(desk.ask({"desk", "outlet", "1.1.1", "explode"}), bad_arguments);
    EXPECT_EQ(desk.ask({"desk", "phase", "1.1.1", "fail"}), bad_arguments);
}

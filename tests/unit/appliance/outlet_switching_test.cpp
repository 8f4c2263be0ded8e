// A chain of outlets as a client sees it: what each action does at once and what later, and which outlets it takes.

#include "tests/unit/appliance/outlet_desk.h"

static const std::vector<std::string> first_three = {"1.1.1", "1.1.2", "1.1.3"};
static constexpr char three[] = "1.1.1,1.1.2,1.1.3";

// --- on and off -----------------------------------------------------------------------------------------------------

TEST(outlet_switching, single_outlet_switches_at_once)
{
    switching_desk desk;
    EXPECT_EQ(desk.command("off", "1.1.2"), done);
    EXPECT_EQ(desk.ctrl("1.1.2"), "OFF");
    EXPECT_EQ(desk.mod("1.1.2"), "OFF");
    EXPECT_EQ(desk.command("on", "1.1.2"), done);
    EXPECT_EQ(desk.ctrl("1.1.2"), "ON");
    EXPECT_EQ(desk.mod("1.1.2"), "ON");
}

TEST(outlet_switching, off_pauses_behind_each_outlet_for_its_own_interval)
{
    switching_desk desk;
    desk.command("off", three);
    EXPECT_EQ(desk.states(first_three), "OFF ON(pend_OFF) ON(pend_OFF)");
    EXPECT_EQ(desk.mod("1.1.2"), "ON(wait)");
    desk.at(499);
    EXPECT_EQ(desk.states(first_three), "OFF ON(pend_OFF) ON(pend_OFF)");
    desk.at(500);
    EXPECT_EQ(desk.states(first_three), "OFF OFF ON(pend_OFF)");
    desk.at(1499);
    EXPECT_EQ(desk.states(first_three), "OFF OFF ON(pend_OFF)");
    desk.at(1500);
    EXPECT_EQ(desk.states(first_three), "OFF OFF OFF");
    EXPECT_EQ(desk.mod("1.1.3"), "OFF");
}

TEST(outlet_switching, on_pauses_behind_each_outlet_for_its_own_interval)
{
    switching_desk desk;
    desk.command("ioff", three);
    desk.command("on", three);
    EXPECT_EQ(desk.states(first_three), "ON OFF(pend_ON) OFF(pend_ON)");
    EXPECT_EQ(desk.mod("1.1.2"), "OFF(wait)");
    desk.at(999);
    EXPECT_EQ(desk.states(first_three), "ON OFF(pend_ON) OFF(pend_ON)");
    desk.at(1000);
    EXPECT_EQ(desk.states(first_three), "ON ON OFF(pend_ON)");
    desk.at(3499);
    EXPECT_EQ(desk.states(first_three), "ON ON OFF(pend_ON)");
    desk.at(3500);
    EXPECT_EQ(desk.states(first_three), "ON ON ON");
    EXPECT_EQ(desk.mod("1.1.2"), "ON");
}

TEST(outlet_switching, outlets_switch_in_the_order_of_the_action)
{
    switching_desk desk;
    desk.command("off", "1.1.3,1.1.1,1.1.2");
    EXPECT_EQ(desk.states(first_three), "ON(pend_OFF) ON(pend_OFF) OFF");
    desk.at(4000);
    EXPECT_EQ(desk.states(first_three), "OFF ON(pend_OFF) OFF");
    desk.at(4500);
    EXPECT_EQ(desk.states(first_three), "OFF OFF OFF");
}

TEST(outlet_switching, sequence_runs_on_across_units_and_ports)
{
    switching_desk desk;
    desk.command("off", "1.1.1,1.2.1,2.1.1");
    EXPECT_EQ(desk.states({"1.1.1", "1.2.1", "2.1.1"}), "OFF ON(pend_OFF) ON(pend_OFF)");
    desk.at(500);
    EXPECT_EQ(desk.states({"1.1.1", "1.2.1", "2.1.1"}), "OFF OFF OFF");
}

TEST(outlet_switching, outlet_without_an_interval_costs_no_pause)
{
    switching_desk desk;
    desk.command("off", "1.1.4,1.2.1,1.1.1");
    EXPECT_EQ(desk.states({"1.1.4", "1.2.1", "1.1.1"}), "OFF OFF OFF");
}

TEST(outlet_switching, outlet_that_is_in_the_wanted_state_costs_no_pause)
{
    switching_desk desk;
    desk.command("ioff", "1.1.2");
    desk.command("on", "1.1.1,1.1.3,1.1.2");
    EXPECT_EQ(desk.states(first_three), "ON ON ON");
}

TEST(outlet_switching, outlet_named_twice_counts_where_it_is_named_first)
{
    switching_desk desk;
    desk.command("off", "1.1.1,1.1.2,1.1.1,1.1.2,1.1.3");
    desk.at(1500);
    EXPECT_EQ(desk.states(first_three), "OFF OFF OFF");
}

TEST(outlet_switching, long_sequence_is_whole_after_one_leap_of_the_clock)
{
    switching_desk desk;
    desk.command("off", three);
    desk.at(1'000'000);
    EXPECT_EQ(desk.states(first_three), "OFF OFF OFF");
}

TEST(outlet_switching, immediate_actions_know_no_pauses)
{
    switching_desk desk;
    EXPECT_EQ(desk.command("ioff", three), done);
    EXPECT_EQ(desk.states(first_three), "OFF OFF OFF");
    EXPECT_EQ(desk.command("ion", three), done);
    EXPECT_EQ(desk.states(first_three), "ON ON ON");
}

TEST(outlet_switching, number_of_outlets_on_follows)
{
    switching_desk desk;
    EXPECT_EQ(desk.ask({"info", "power.port.1.pdu.1.num-outlets-on"}), bulk("8"));
    desk.command("off", three);
    EXPECT_EQ(desk.ask({"info", "power.port.1.pdu.1.num-outlets-on"}), bulk("7"));
    desk.at(500);
    EXPECT_EQ(desk.ask({"info", "power.port.1.pdu.1.num-outlets-on"}), bulk("6"));
}

TEST(outlet_switching, all_the_outlets_that_a_chain_can_number_take_one_action)
{
    chain_file file;
    std::string fault;
    ASSERT_TRUE(load_chain_file(ZT_CHAINS_FOLDER "/full.toml", &file, &fault)) << fault;
    std::string outlets;
    std::vector<std::string> each;
    for (size_t pdu = 1; pdu <= file.units.ports[0].units.size(); pdu++)
        for (size_t number = 1; number <= file.units.ports[0].units[pdu - 1].outlets.size(); number++)
            each.push_back("1." + std::to_string(pdu) + "." + std::to_string(number));
    ASSERT_EQ(each.size(), 128u);
    for (const std::string &one : each)
        outlets += (outlets.empty() ? "" : ",") + one;

    switching_desk desk("");
    desk.simulated.units = std::move(file.units);
    EXPECT_EQ(desk.command("off", outlets), done);
    for (const std::string &one : each)
        EXPECT_EQ(desk.ctrl(one), "OFF") << one;
    EXPECT_EQ(desk.command("on", outlets), done);
    for (const std::string &one : each)
        EXPECT_EQ(desk.ctrl(one), "ON") << one;
}

TEST(outlet_switching, pauses_of_many_outlets_add_up)
{
    switching_desk desk("[[port]]\nname = 'local'\n[[port.unit]]\noutlets = 128\npost_power_off = 0.5\n");
    EXPECT_EQ(desk.ask({"admin", "power.port.1.pdu.1.off"}), done);
    desk.at(63'499);
    EXPECT_EQ(desk.states({"1.1.127", "1.1.128"}), "OFF ON(pend_OFF)");
    desk.at(63'500);
    EXPECT_EQ(desk.ctrl("1.1.128"), "OFF");
}

// --- cycle ----------------------------------------------------------------------------------------------------------

TEST(outlet_switching, cycle_rests_for_the_interval_of_the_unit)
{
    switching_desk desk;
    EXPECT_EQ(desk.command("cycle", "1.1.4,1.2.1"), done);
    EXPECT_EQ(desk.states({"1.1.4", "1.2.1"}), "OFF(cycle) OFF(cycle)");
    EXPECT_EQ(desk.mod("1.1.4"), "OFF(wait)");
    desk.at(4999);
    EXPECT_EQ(desk.states({"1.1.4", "1.2.1"}), "OFF(cycle) OFF(cycle)");
    desk.at(5000);
    EXPECT_EQ(desk.states({"1.1.4", "1.2.1"}), "ON OFF(cycle)");
    desk.at(6999);
    EXPECT_EQ(desk.ctrl("1.2.1"), "OFF(cycle)");
    desk.at(7000);
    EXPECT_EQ(desk.ctrl("1.2.1"), "ON");
    EXPECT_EQ(desk.mod("1.2.1"), "ON");
}

TEST(outlet_switching, cycle_goes_off_and_comes_on_in_sequence)
{
    switching_desk desk;
    desk.command("cycle", three);
    EXPECT_EQ(desk.states(first_three), "OFF(cycle) ON(pend_OFF) ON(pend_OFF)");
    desk.at(500);
    EXPECT_EQ(desk.states(first_three), "OFF(cycle) OFF(cycle) ON(pend_OFF)");
    desk.at(1500);
    EXPECT_EQ(desk.states(first_three), "OFF(cycle) OFF(cycle) OFF(cycle)");
    desk.at(5000);
    EXPECT_EQ(desk.states(first_three), "ON OFF(cycle) OFF(cycle)");
    desk.at(5500); // the second has rested, and the first came on half a second ago
    EXPECT_EQ(desk.states(first_three), "ON OFF(pend_cycle) OFF(cycle)");
    EXPECT_EQ(desk.mod("1.1.2"), "OFF(wait)");
    desk.at(6000);
    EXPECT_EQ(desk.states(first_three), "ON ON OFF(cycle)");
    desk.at(6500);
    EXPECT_EQ(desk.states(first_three), "ON ON OFF(pend_cycle)");
    desk.at(8499);
    EXPECT_EQ(desk.states(first_three), "ON ON OFF(pend_cycle)");
    desk.at(8500);
    EXPECT_EQ(desk.states(first_three), "ON ON ON");
}

TEST(outlet_switching, cycle_brings_an_outlet_on_that_was_off)
{
    switching_desk desk;
    desk.command("off", "1.1.1");
    desk.command("cycle", "1.1.1,1.1.4");
    EXPECT_EQ(desk.states({"1.1.1", "1.1.4"}), "OFF(cycle) OFF(cycle)"); // no pause behind one that was off
    desk.at(5000);
    EXPECT_EQ(desk.states({"1.1.1", "1.1.4"}), "ON OFF(pend_cycle)");
    desk.at(6000);
    EXPECT_EQ(desk.ctrl("1.1.4"), "ON");
}

TEST(outlet_switching, cycle_of_a_unit_without_an_interval_does_not_rest)
{
    switching_desk desk;
    desk.command("off", "2.1.1");
    EXPECT_EQ(desk.command("cycle", "2.1.1"), done);
    EXPECT_EQ(desk.ctrl("2.1.1"), "ON");
}

// --- One action after another ---------------------------------------------------------------------------------------

TEST(outlet_switching, new_action_replaces_what_is_pending)
{
    switching_desk desk;
    desk.command("off", three);
    desk.at(400);
    desk.command("on", "1.1.2");
    EXPECT_EQ(desk.states(first_three), "OFF ON ON(pend_OFF)");
    desk.at(10'000);
    EXPECT_EQ(desk.states(first_three), "OFF ON OFF");
}

TEST(outlet_switching, action_repeated_starts_its_sequence_anew)
{
    switching_desk desk;
    desk.command("off", "1.1.1,1.1.2");
    desk.at(400);
    desk.command("off", "1.1.3,1.1.2"); // now behind 1.1.3, whose pause is four seconds
    desk.at(4399);
    EXPECT_EQ(desk.states(first_three), "OFF ON(pend_OFF) OFF");
    desk.at(4400);
    EXPECT_EQ(desk.states(first_three), "OFF OFF OFF");
}

TEST(outlet_switching, immediate_action_replaces_what_is_pending)
{
    switching_desk desk;
    desk.command("off", three);
    desk.command("ioff", three);
    EXPECT_EQ(desk.states(first_three), "OFF OFF OFF");
    desk.command("on", three);
    desk.command("ioff", "1.1.3");
    desk.at(10'000);
    EXPECT_EQ(desk.states(first_three), "ON ON OFF");
}

TEST(outlet_switching, off_ends_a_cycle)
{
    switching_desk desk;
    desk.command("cycle", "1.1.1");
    desk.at(2000);
    desk.command("off", "1.1.1");
    EXPECT_EQ(desk.ctrl("1.1.1"), "OFF");
    desk.at(10'000);
    EXPECT_EQ(desk.ctrl("1.1.1"), "OFF");
}

TEST(outlet_switching, on_ends_the_rest_of_a_cycle)
{
    switching_desk desk;
    desk.command("cycle", "1.1.1");
    desk.command("on", "1.1.1");
    EXPECT_EQ(desk.ctrl("1.1.1"), "ON");
}

TEST(outlet_switching, cycle_begun_again_rests_anew)
{
    switching_desk desk;
    desk.command("cycle", "1.1.1");
    desk.at(3000);
    desk.command("cycle", "1.1.1");
    desk.at(7999);
    EXPECT_EQ(desk.ctrl("1.1.1"), "OFF(cycle)");
    desk.at(8000);
    EXPECT_EQ(desk.ctrl("1.1.1"), "ON");
}

TEST(outlet_switching, interval_that_changes_leaves_a_running_sequence_alone)
{
    switching_desk desk;
    desk.command("off", "1.1.1,1.1.2");
    desk.ask({"admin", "power.port.1.pdu.1.outlet.1.post-power-off", "9"});
    desk.at(500);
    EXPECT_EQ(desk.ctrl("1.1.2"), "OFF");
}

// --- Which outlets --------------------------------------------------------------------------------------------------

TEST(outlet_switching, empty_list_is_accepted_and_does_nothing)
{
    switching_desk desk;
    for (const char *action : {"on", "off", "ion", "ioff", "lock", "unlock", "cycle"})
        EXPECT_EQ(desk.command(action, ""), done) << action;
    EXPECT_EQ(desk.ask({"info", "power.port.1.pdu.1.num-outlets-on"}), bulk("8"));
}

TEST(outlet_switching, outlet_that_does_not_exist_refuses_the_whole_action)
{
    switching_desk desk;
    for (const char *last : {"1.1.9", "1.4.1", "3.1.1", "1.1.2147483647"})
        EXPECT_EQ(desk.command("off", "1.1.1,1.1.2," + std::string(last)), no_such_part) << last;
    EXPECT_EQ(desk.states({"1.1.1", "1.1.2"}), "ON ON");
}

TEST(outlet_switching, malformed_list_refuses_the_whole_action)
{
    switching_desk desk;
    for (const char *list : {"1.1.1,", "1.1.1,,1.1.2", "1.1.1,1.1", "1.1.1,x", "1.1.1,1.1.0", "1.1.1 ,1.1.2"})
        EXPECT_EQ(desk.command("off", list), bad_value) << list;
    EXPECT_EQ(desk.ctrl("1.1.1"), "ON");
}

TEST(outlet_switching, command_takes_one_list)
{
    switching_desk desk;
    EXPECT_EQ(desk.ask({"admin", "power.command.off"}), bad_arguments);
    EXPECT_EQ(desk.ask({"admin", "power.command.off", "1.1.1", "1.1.2"}), bad_arguments);
    EXPECT_EQ(desk.ask({"info", "power.command.off"}), no_such_verb);
    EXPECT_EQ(desk.ask({"admin", "power.command.blink", "1.1.1"}), no_such_path);
    EXPECT_EQ(desk.ctrl("1.1.1"), "ON");
}

TEST(outlet_switching, outlet_without_a_relay_takes_commands_of_its_chain_and_has_none_of_its_own)
{
    switching_desk desk;
    EXPECT_EQ(desk.command("off", "1.3.1,1.1.1"), done);
    EXPECT_EQ(desk.ctrl("1.1.1"), "OFF");
    EXPECT_TRUE(desk.simulated.units.ports[0].units[2].outlets[0].on);
    EXPECT_EQ(desk.ask({"admin", "power.port.1.pdu.3.outlet.1.off"}), no_such_path);
    EXPECT_EQ(desk.ask({"admin", "power.port.1.pdu.3.off"}), no_such_path);
}

TEST(outlet_switching, outlet_is_switched_at_its_own_place)
{
    switching_desk desk;
    const std::string outlet = "power.port.1.pdu.1.outlet.1.";
    const std::pair<const char *, const char *> actions[] = {
        {"off", "OFF"},         {"on", "ON"},     {"ioff", "OFF"},        {"ion", "ON"},
        {"lock", "ON(locked)"}, {"unlock", "ON"}, {"cycle", "OFF(cycle)"}};
    for (auto [action, state] : actions) {
        EXPECT_EQ(desk.ask({"admin", outlet + action}), done) << action;
        EXPECT_EQ(desk.ctrl("1.1.1"), state) << action;
    }
    EXPECT_EQ(desk.ctrl("1.1.2"), "ON");
    EXPECT_EQ(desk.ask({"admin", outlet + "off", "x"}), bad_arguments);
    EXPECT_EQ(desk.ask({"admin", outlet + "off", ""}), bad_arguments);
}

TEST(outlet_switching, unit_is_switched_with_all_its_outlets_in_order)
{
    switching_desk desk;
    EXPECT_EQ(desk.ask({"admin", "power.port.1.pdu.1.off"}), done);
    EXPECT_EQ(desk.states(first_three), "OFF ON(pend_OFF) ON(pend_OFF)");
    desk.at(5500);
    EXPECT_EQ(desk.states({"1.1.3", "1.1.4", "1.1.5", "1.1.6", "1.1.8", "1.2.1"}),
              "OFF OFF ON(locked) ON(fixed) OFF ON");
    EXPECT_EQ(desk.ask({"admin", "power.port.1.pdu.1.ion"}), done);
    EXPECT_EQ(desk.states(first_three), "ON ON ON");
    EXPECT_EQ(desk.ask({"admin", "power.port.1.pdu.2.cycle"}), done);
    EXPECT_EQ(desk.states({"1.2.1", "1.2.3"}), "OFF(cycle) OFF(cycle)");
    EXPECT_EQ(desk.ask({"admin", "power.port.1.pdu.2.ioff"}), done);
    EXPECT_EQ(desk.states({"1.2.1", "1.2.3"}), "OFF OFF");
    EXPECT_EQ(desk.ask({"admin", "power.port.1.pdu.2.on"}), done);
    EXPECT_EQ(desk.states({"1.2.1", "1.2.3"}), "ON ON");
    EXPECT_EQ(desk.ask({"admin", "power.port.1.pdu.2.on", "1"}), bad_arguments);
}

// Switching, locking and listing outlets: words, flushes, exchanges and their order.

#include <string>

#include "tests/fakes/fakes.h"

namespace {

const char heading[] = " Outlet Name                    Status          Interval (s)    Users\n";

// Units of eight outlets, all on, with everything that a listing shows. `becomes` scripts what the daemon makes of an
// action: the status that the outlet has behind it.
struct outlet_cmds : testing::Test {
    fake_chain chain;

    fake_node unit(int outlets = 8)
    {
        fake_node added = chain.unit({.outlets = outlets});
        for (int k = 1; k <= outlets; k++)
            added.outlet(k)
                .publish("ctrl-status", "ON")
                .publish("mod-status", "ON")
                .publish("name", "")
                .publish("post-power-on", "2.5")
                .publish("post-power-off", "1.0");
        return added;
    }
    void becomes(const std::string &action, fake_node outlet, const std::string &status)
    {
        std::string path = outlet.path("ctrl-status");
        tree.when("admin", "power.command." + action, [path, status](const texts &) { tree.text(path, status); });
    }
    void all_become(const std::string &action, fake_node unit, int outlets, const std::string &status)
    {
        tree.when("admin", "power.command." + action, [=](const texts &) {
            for (int k = 1; k <= outlets; k++)
                tree.text(unit.outlet(k).path("ctrl-status"), status);
        });
    }
};

texts exchanges_of(const std::string &verb)
{
    texts found;
    for (const std::string &exchange : exchanges())
        if (exchange.rfind(verb, 0) == 0)
            found.push_back(exchange);
    return found;
}

// --- on, off --------------------------------------------------------------------------------------------------------

TEST_F(outlet_cmds, on_switches_and_reports)
{
    unit().outlet(3).publish("ctrl-status", "OFF");
    becomes("on", chain.at(1).outlet(3), "ON");
    EXPECT_EQ(answer("on 3"), "3: Outlet turned on.\n");
    EXPECT_EXCHANGES({"info power.num-devices", "info power.port.1.num-pdus", "info power.num-devices",
                      "info power.port.1.num-pdus", "admin power.command.on 1.1.3",
                      "info power.port.1.pdu.1.outlet.3.ctrl-status"});
}

TEST_F(outlet_cmds, off_switches_and_reports)
{
    unit();
    becomes("off", chain.at(1).outlet(3), "OFF");
    EXPECT_EQ(answer("off 3"), "3: Outlet turned off.\n");
    EXPECT_EQ(exchanges_of("admin"), texts{"admin power.command.off 1.1.3"});
}

TEST_F(outlet_cmds, immediate_forms_send_their_own_action_and_say_the_same)
{
    unit();
    EXPECT_EQ(answer("ion 3"), "3: Outlet turned on.\n");
    EXPECT_EQ(exchanges_of("admin"), texts{"admin power.command.ion 1.1.3"});
    becomes("ioff", chain.at(1).outlet(3), "OFF");
    EXPECT_EQ(answer("ioff 3"), "3: Outlet turned off.\n");
    EXPECT_EQ(exchanges_of("admin"), texts{"admin power.command.ioff 1.1.3"});
}

TEST_F(outlet_cmds, on_all_is_one_action_and_one_status_read_an_outlet)
{
    unit(12);
    unit(8);
    std::string lines, joined;
    for (int n = 1; n <= 20; n++) {
        lines += std::to_string(n) + ": Outlet turned on.\n";
        joined += (n > 1 ? "," : "") + std::string(n <= 12 ? "1.1." : "1.2.") + std::to_string(n <= 12 ? n : n - 12);
    }
    EXPECT_EQ(answer("on all"), lines);
    EXPECT_EQ(exchanges_of("admin"), texts{"admin power.command.on " + joined});
    EXPECT_EQ(exchanges_of("info power.port.1.pdu.").size(), 20U);
}

TEST_F(outlet_cmds, lines_are_shown_as_they_are_found)
{
    unit();
    answer("on 1-3");
    EXPECT_EQ(session.tap, (texts{"1: Outlet turned on.\n", "2: Outlet turned on.\n", "3: Outlet turned on.\n"}));
}

TEST_F(outlet_cmds, whole_string_fault_sends_no_action)
{
    unit();
    EXPECT_EQ(answer("on 1,nosuch"), "Invalid outlet [1,nosuch].\n");
    EXPECT_EQ(answer("off 1,nosuch"), "Invalid outlet [1,nosuch].\n");
    EXPECT_EQ(exchanges_of("admin"), texts{});
    EXPECT_NE(call(72, {"1,nosuch"}).result, 0);
}

TEST_F(outlet_cmds, absent_argument_declines_in_silence)
{
    unit();
    for (int row : {72, 73, 76, 77, 80, 83, 86, 89}) {
        called done = call(row, {""});
        EXPECT_EQ(done.result, 1) << row;
        EXPECT_FALSE(done.text) << row;
        EXPECT_EXCHANGES({});
    }
}

TEST_F(outlet_cmds, unresolved_token_is_reported_in_its_place)
{
    unit();
    std::string token(65, 'w');
    EXPECT_EQ(answer("on 1,5-2"), "1: Outlet turned on.\nInvalid outlet [5-2].\n");
    EXPECT_EQ(exchanges_of("admin"), texts{"admin power.command.on 1.1.1"});
    EXPECT_EQ(answer("on 5-2,1"), "1: Outlet turned on.\n");
    EXPECT_EQ(call(72, {("1," + token + ",2").c_str()}).text, "2: Outlet turned on.\n");
    EXPECT_EQ(printed(), "1: Outlet turned on.\nInvalid outlet [" + token + "].\n");
}

TEST_F(outlet_cmds, action_is_sent_even_where_nothing_resolved)
{
    unit();
    EXPECT_EQ(answer("on 5-2"), "Invalid outlet [5-2].\n");
    EXPECT_EQ(exchanges_of("admin"), texts{"admin power.command.on "});
}

TEST_F(outlet_cmds, locked_outlet_refuses_with_its_remark)
{
    unit().outlet(3).publish("ctrl-status", "OFF(locked)");
    EXPECT_EQ(answer("on 3"), "3: Cannot be turned on, outlet locked.\n");
    EXPECT_EQ(last_result(), 0);
    EXPECT_EQ(answer("off 3"), "3: Cannot be turned off, outlet locked.\n");
}

TEST_F(outlet_cmds, fixed_outlet_refuses_although_it_is_on)
{
    unit().outlet(3).publish("ctrl-status", "ON(fixed)");
    EXPECT_EQ(answer("on 3"), "3: Cannot be turned on, outlet fixed.\n");
}

TEST_F(outlet_cmds, over_current_protection_is_told_by_on_alone)
{
    unit().outlet(3).publish("ctrl-status", "OFF");
    tree.text("power.pdu.pdu-local.overcurrent", "1");
    EXPECT_EQ(answer("on 3"), "3: Outlet disabled (over-current protection).\n");
    tree.text("power.pdu.pdu-local.overcurrent", "0");
    EXPECT_EQ(answer("on 3"), "3: Outlet could not be turned on.\n");
    tree.refuse("get", "power.pdu.pdu-local.overcurrent");
    EXPECT_EQ(answer("on 3"), "3: Outlet could not be turned on.\n");
    chain.at(1).outlet(3).publish("ctrl-status", "ON");
    EXPECT_EQ(answer("off 3"), "3: Outlet could not be turned off.\n");
    EXPECT_EQ(exchanges_of("get"), texts{});
}

TEST_F(outlet_cmds, other_status_takes_the_error_words_and_asks_no_key)
{
    unit().outlet(3).publish("ctrl-status", "NOT_SET");
    EXPECT_EQ(answer("on 3"), "3: Outlet could not be turned on.\n");
    EXPECT_EQ(exchanges_of("get"), texts{});
}

TEST_F(outlet_cmds, refused_action_shows_the_outlet_unchanged)
{
    unit();
    tree.refuse("admin", "power.command.off");
    EXPECT_EQ(answer("off 3"), "3: Outlet could not be turned off.\n");
    EXPECT_EQ(last_result(), 0);
}

TEST_F(outlet_cmds, failed_or_absent_status_takes_the_error_words)
{
    fake_node outlet = unit().outlet(3);
    tree.refuse("info", outlet.path("ctrl-status"));
    EXPECT_EQ(answer("on 3"), "3: Outlet could not be turned on.\n");
    tree.allow("info", outlet.path("ctrl-status")).absent(outlet.path("ctrl-status"));
    EXPECT_EQ(answer("on 3"), "3: Outlet could not be turned on.\n");
}

TEST_F(outlet_cmds, bare_words_show_the_usage_but_the_immediate_ones_have_none)
{
    unit();
    EXPECT_EQ(answer("on").rfind("Usage: on <outletString>\n", 0), 0U);
    EXPECT_EQ(answer("off help").rfind("Usage: off <outletString>\n", 0), 0U);
    EXPECT_EQ(answer("ion"), failure_text);
    EXPECT_EQ(answer("ioff help"), "Invalid outlet [help].\n");
}

// --- cycle ----------------------------------------------------------------------------------------------------------

TEST_F(outlet_cmds, cycle_goes_off_waits_and_goes_on)
{
    fake_node first = unit();
    tree.text(first.path("cycle-interval"), "5");
    all_become("off", first, 2, "OFF");
    all_become("on", first, 2, "ON");
    EXPECT_EQ(answer("cycle 1-2"), "1: Outlet turned off.\n2: Outlet turned off.\n"
                                   "1: Outlet turned on.\n2: Outlet turned on.\n");
    EXPECT_EQ(wall_clock.sleeps(), std::vector<int64_t>{5000000});
    EXPECT_EQ(exchanges_of("admin"),
              (texts{"admin power.command.off 1.1.1,1.1.2", "admin power.command.on 1.1.1,1.1.2"}));
    EXPECT_EQ(exchanges_of("info power.port.1.pdu.1.cycle-interval").size(), 1U);
}

TEST_F(outlet_cmds, cycle_shows_all_off_lines_before_its_pause)
{
    fake_node first = unit();
    tree.text(first.path("cycle-interval"), "5");
    all_become("off", first, 1, "OFF");
    all_become("on", first, 1, "ON");
    answer("cycle 1");
    texts order;
    for (const std::string &event : events())
        if (event.rfind("tap", 0) == 0 || event.rfind("sleep", 0) == 0 || event.find("power.command") != event.npos)
            order.push_back(event);
    EXPECT_EQ(order, (texts{"send admin power.command.off 1.1.1", "tap 1: Outlet turned off.\n", "sleep 5000000",
                            "send admin power.command.on 1.1.1", "tap 1: Outlet turned on.\n"}));
}

TEST_F(outlet_cmds, cycle_without_a_delay_goes_on_at_once)
{
    fake_node first = unit();
    all_become("off", first, 2, "OFF");
    all_become("on", first, 2, "ON");
    for (const char *delay : {"0", "-4", "x"}) {
        tree.text(first.path("cycle-interval"), delay);
        EXPECT_EQ(answer("cycle 2"), "2: Outlet turned off.\n2: Outlet turned on.\n");
        EXPECT_EQ(wall_clock.sleeps(), std::vector<int64_t>{}) << delay;
    }
    tree.refuse("info", first.path("cycle-interval"));
    EXPECT_EQ(answer("cycle 2"), "2: Outlet turned off.\n2: Outlet turned on.\n");
    EXPECT_EQ(wall_clock.sleeps(), std::vector<int64_t>{});
}

TEST_F(outlet_cmds, cycle_takes_the_delay_of_the_first_unit_whatever_is_named)
{
    unit();
    fake_node second = unit();
    tree.text(chain.at(1).path("cycle-interval"), "3").text(second.path("cycle-interval"), "9");
    answer("cycle 2.1");
    EXPECT_EQ(wall_clock.sleeps(), std::vector<int64_t>{3000000});
}

TEST_F(outlet_cmds, cycle_turns_on_also_what_failed_to_go_off)
{
    unit().outlet(2).publish("ctrl-status", "ON(locked)");
    EXPECT_EQ(answer("cycle 2"), "2: Cannot be turned off, outlet locked.\n2: Cannot be turned on, outlet locked.\n");
    EXPECT_EQ(exchanges_of("admin").size(), 2U);
}

TEST_F(outlet_cmds, cycle_reads_over_current_from_the_status_and_not_from_the_key)
{
    unit();
    tree.text("power.pdu.pdu-local.overcurrent", "1");
    becomes("on", chain.at(1).outlet(2), "OFF over-current");
    EXPECT_EQ(answer("cycle 2"), "2: Outlet could not be turned off.\n2: Outlet disabled (over-current protection).\n");
    becomes("on", chain.at(1).outlet(2), "OFF");
    EXPECT_EQ(answer("cycle 2"), "2: Outlet could not be turned off.\n2: Outlet could not be turned on.\n");
    EXPECT_EQ(exchanges_of("get"), texts{});
}

TEST_F(outlet_cmds, cycle_whole_string_fault_and_usage)
{
    unit();
    EXPECT_EQ(answer("cycle 99"), "Invalid outlet [99].\n");
    EXPECT_EQ(exchanges_of("admin"), texts{});
    EXPECT_EQ(answer("cycle").rfind("Usage: cycle <outletString>\n", 0), 0U);
}

// --- lock, unlock ---------------------------------------------------------------------------------------------------

TEST_F(outlet_cmds, lock_and_unlock_report_the_status_behind_the_action)
{
    unit();
    becomes("lock", chain.at(1).outlet(1), "ON(locked)");
    EXPECT_EQ(answer("lock 1"), "1: Outlet locked.\n");
    EXPECT_EQ(exchanges_of("admin"), texts{"admin power.command.lock 1.1.1"});
    becomes("unlock", chain.at(1).outlet(1), "ON");
    EXPECT_EQ(answer("unlock 1"), "1: Outlet unlocked.\n");
    EXPECT_EQ(exchanges_of("admin"), texts{"admin power.command.unlock 1.1.1"});
}

TEST_F(outlet_cmds, fixed_outlet_can_be_neither_locked_nor_unlocked)
{
    unit().outlet(1).publish("ctrl-status", "ON(fixed)");
    EXPECT_EQ(answer("lock 1"), "1: Cannot be locked, outlet fixed.\n");
    EXPECT_EQ(answer("unlock 1"), "1: Cannot be unlocked, outlet fixed.\n");
}

TEST_F(outlet_cmds, lock_that_did_not_take_uses_the_error_words)
{
    unit();
    EXPECT_EQ(answer("lock 1"), "1: Outlet could not be locked.\n");
    chain.at(1).outlet(1).publish("ctrl-status", "ON(locked)");
    EXPECT_EQ(answer("unlock 1"), "1: Outlet could not be unlocked.\n");
}

TEST_F(outlet_cmds, lock_with_a_failed_status_read_uses_the_error_words)
{
    fake_node outlet = unit().outlet(1);
    tree.refuse("info", outlet.path("ctrl-status"));
    EXPECT_EQ(answer("lock 1"), "1: Outlet could not be locked.\n");
    EXPECT_EQ(answer("unlock 1"), "1: Outlet could not be unlocked.\n");
}

TEST_F(outlet_cmds, lock_reports_strings_and_tokens_that_do_not_resolve)
{
    unit();
    EXPECT_EQ(answer("lock nosuch"), "Invalid outlet [nosuch].\n");
    EXPECT_EQ(answer("unlock 1,5-2"), "1: Outlet unlocked.\nInvalid outlet [5-2].\n");
    EXPECT_EQ(answer("lock").rfind("Usage: lock <outletString>\n", 0), 0U);
    EXPECT_EQ(answer("unlock help").rfind("Usage: unlock <outletString>\n", 0), 0U);
}

// --- status ---------------------------------------------------------------------------------------------------------

TEST_F(outlet_cmds, status_shows_name_state_and_intervals)
{
    unit().outlet(3).publish("ctrl-status", "ON(locked)").publish("mod-status", "OFF(ocp)").publish("name", "web1");
    EXPECT_EQ(answer("status 3"),
              std::string(heading) + " 3      web1                    Locked ON+      2.5/1.0        \n");
}

TEST_F(outlet_cmds, status_all_on_a_published_chain_asks_the_tree_for_no_outlet)
{
    unit();
    unit();
    answer("status all");
    for (const std::string &exchange : exchanges())
        EXPECT_EQ(exchange.find("outlet"), exchange.npos) << exchange;
    EXPECT_EQ(exchanges_of("mlist"), texts{});
}

TEST_F(outlet_cmds, status_logs_the_road_of_its_values)
{
    unit().outlet(1).publish("name", "web1");
    answer("status 1");
    EXPECT_FAILURES({"shm name web1", "shm cap status", "shm cap mod status", "shm cap poston 2.5",
                     "shm cap postoff 1.0", "using shm", "mod=ON, ctrl=ON"});
}

TEST_F(outlet_cmds, status_column_of_each_state)
{
    struct {
        const char *ctrl, *mod, *column;
    } cases[] = {
        {"ON", "ON", "Unlocked ON"},
        {"OFF", "OFF", "Unlocked OFF"},
        {"ON(fixed)", "ON", "Fixed ON"},
        {"ON(fixed)", "ON(error)", "Fixed ON!"},
        {"OFF(locked)", "OFF(ocp)", "Locked OFF+"},
        {"OFF", "Comm error", "Unlocked OFF?"},
        {"ON", "Comm error", "Unlocked ON?"},
        {"OFF(pend_ON)", "OFF(wait)", "Unlocked ON"},
        {"ON(locked)", "OFF(error)", "Locked ON!"},
        {"OFF(cycle)", "OFF(fuse)", "Unlocked OFF"},
    };
    unit();
    for (const auto &given : cases) {
        chain.at(1).outlet(1).publish("ctrl-status", given.ctrl).publish("mod-status", given.mod);
        std::string column = given.column;
        column.resize(15, ' ');
        EXPECT_EQ(answer("status 1"),
                  std::string(heading) + " 1                              " + column + " 2.5/1.0        \n");
    }
}

TEST_F(outlet_cmds, status_of_an_unknown_name_has_no_heading)
{
    unit();
    EXPECT_EQ(answer("status nosuch"), "Invalid outlet [nosuch].\n");
}

TEST_F(outlet_cmds, status_passes_an_unresolved_token_over_without_a_word)
{
    unit();
    EXPECT_EQ(answer("status 1,5-2"),
              std::string(heading) + " 1                              Unlocked ON     2.5/1.0        \n");
}

TEST_F(outlet_cmds, status_intervals_that_the_outlet_lacks)
{
    fake_node outlet = unit().outlet(1);
    std::string line = std::string(heading) + " 1                              Unlocked ON     ";
    outlet.without("post-power-on");
    EXPECT_EQ(answer("status 1"), line + "0.0/1.0        \n");
    outlet.without("post-power-off");
    EXPECT_EQ(answer("status 1"), line + "0.0            \n");
    outlet.publish("post-power-on", "2.5");
    EXPECT_EQ(answer("status 1"), line + "2.5            \n");
}

TEST_F(outlet_cmds, status_takes_an_interval_from_the_tree_where_only_the_tree_has_it)
{
    fake_node outlet = unit().outlet(1);
    outlet.without("post-power-on").serve("post-power-on", "7.5");
    EXPECT_EQ(answer("status 1"),
              std::string(heading) + " 1                              Unlocked ON     7.5/1.0        \n");
}

TEST_F(outlet_cmds, status_leaves_out_an_outlet_without_a_status_node)
{
    unit().outlet(1).without("ctrl-status");
    EXPECT_EQ(answer("status 1-2"),
              std::string(heading) + " 2                              Unlocked ON     2.5/1.0        \n");
    EXPECT_LOGGED("Node ctrl-status unavailable for 1@1@1");
    chain.at(1).outlet(1).publish("ctrl-status", "ON").without("mod-status");
    EXPECT_EQ(answer("status 1"), heading);
    EXPECT_LOGGED("Node mod-status unavailable for 1@1@1");
}

TEST_F(outlet_cmds, status_reads_the_tree_where_the_segment_is_not_usable)
{
    fake_node outlet = unit().outlet(1);
    outlet.publish("name", "web1");
    cli_own_name = 0;
    called done = call(89, {"1"});
    EXPECT_EQ(done.result, 0);
    EXPECT_EQ(printed() + done.text.value_or(""),
              std::string(heading) + " 1      web1                    Unlocked ON     2.5/1.0        \n");
    tree.refuse("info", outlet.path("mod-status"));
    done = call(89, {"1"});
    EXPECT_EQ(printed() + done.text.value_or(""), heading);
    tree.allow("info", outlet.path("mod-status")).text(outlet.path("mod-status"), "");
    done = call(89, {"1"});
    EXPECT_EQ(printed() + done.text.value_or(""), heading);
    tree.refuse("info", outlet.path("name")).text(outlet.path("mod-status"), "ON");
    done = call(89, {"1"});
    EXPECT_EQ(printed() + done.text.value_or(""),
              std::string(heading) + " 1                              Unlocked ON     2.5/1.0        \n");
}

// --- What fails on the way ------------------------------------------------------------------------------------------

TEST_F(outlet_cmds, each_failed_exchange_gives_documented_words_only)
{
    fake_node first = unit(2);
    tree.text(first.path("cycle-interval"), "1").text("power.pdu.pdu-local.overcurrent", "1");
    const char *const commands[] = {"on 1-2", "off 1.1",  "ion unit1.2", "cycle all",
                                    "lock 1", "unlock 2", "status all"};
    const char *const words[] = {"Invalid outlet [", ": Outlet ", ": Cannot be ", " Outlet Name ", "Unlocked "};
    for (how way : {refused, dropped})
        for (const char *command : commands)
            each_failing_exchange(way, [&](int n) {
                std::string text = answer(command);
                EXPECT_NE(text, "") << command << n;
                size_t begin = 0;
                for (size_t end; (end = text.find('\n', begin)) != text.npos; begin = end + 1) {
                    std::string line = text.substr(begin, end - begin);
                    bool known = false;
                    for (const char *word : words)
                        known |= line.find(word) != line.npos;
                    EXPECT_TRUE(known) << command << n << ": " << line;
                }
            });
}

TEST_F(outlet_cmds, each_failed_allocation_is_survived)
{
    unit(2);
    for (const char *command : {"on 1-2", "cycle 1", "lock 1", "status all"})
        EXPECT_GT(each_failing_allocation([&](int) { answer(command); }), 0);
}

TEST_F(outlet_cmds, bracket_without_a_remark_is_a_status_like_any_other)
{
    fake_node first = unit(1);
    for (const char *status : {"OFF(", "(locked)"}) {
        becomes("on", first.outlet(1), status);
        EXPECT_EQ(answer("on 1"), "1: Outlet could not be turned on.\n") << status;
    }
}

TEST_F(outlet_cmds, listing_leaves_out_an_outlet_without_a_status)
{
    fake_node first = unit(2);
    cli_own_name = 0;
    const std::string second = " 2                              Unlocked ON     2.5/1.0        \n";
    for (const char *leaf : {"ctrl-status", "mod-status"}) {
        first.outlet(1).refuse("info", leaf);
        EXPECT_EQ(call(89, {"1-2"}).text, second) << leaf;
        tree.allow("info", first.outlet(1).path(leaf)).absent(first.outlet(1).path(leaf));
        EXPECT_EQ(call(89, {"1-2"}).text, second) << leaf;
        first.outlet(1).serve(leaf, "ON");
    }
}

} // namespace

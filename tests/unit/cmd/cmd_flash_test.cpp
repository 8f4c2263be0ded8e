// The configuration in flash: what is shown before the wait, how long it is, and what each refusal says.

#include "cmd/cmd_flash.h"

#include <algorithm>
#include <iterator>
#include <memory>

#include "tests/fakes/fakes.h"

namespace {

// A unit is looked for by its ID first: a number is none.
const char no_id[] = "Fail to get pdu from pdu name 1";

const std::vector<int64_t> one_second = {1000000};

std::vector<int64_t> seconds(size_t count)
{
    return std::vector<int64_t>(count, 1000000);
}

std::string saving(int pdu)
{
    return "Saving configuration to flash on IPDU #" + std::to_string(pdu) + " ... ";
}

std::string resetting(int pdu)
{
    return "Setting configuration to defaults on IPDU #" + std::to_string(pdu) + ".\n";
}

const char restore_failed[] = "Restoring configuration to flash on IPDU #1 ... Failed\n";
const char factory_failed[] = "Setting configuration to defaults on IPDU #1 ... Failed\n";

// The exchanges, the waits and the outputs, in their order.
texts course()
{
    texts rest;
    for (const std::string &event : events())
        if (event.starts_with("send ") || event.starts_with("tap ") || event.starts_with("sleep "))
            rest.push_back(event);
    return rest;
}

struct flash : testing::Test {
    fake_chain chain;

    fake_node unit(const std::string &id = "")
    {
        return chain.unit({.id = id}).serve("save", "").serve("restore", "").serve("factory-default", "");
    }

    // The unit is at work once it has been told, and the node stays away for so many polls.
    static void busy(const fake_node &unit, const std::string &node, int polls)
    {
        const auto left = std::make_shared<int>(-1); // not at work
        tree.when("admin", unit.path(node), [=](const texts &) {
            *left = polls;
            if (polls > 0)
                tree.remove(unit.path(node));
        });
        tree.when("mlist", unit.path(), [=](const texts &) {
            if (*left > 0 && --*left == 0)
                unit.serve(node, "");
        });
    }
};

// --- save -----------------------------------------------------------------------------------------------------------

TEST_F(flash, opening_words_are_shown_before_the_unit_is_asked_and_waited_for)
{
    unit();
    EXPECT_EQ(answer("save"), saving(1) + "Done.\n");
    EXPECT_EQ(last_result(), 0);
    EXPECT_EQ(course(),
              (texts{"send mlist power.port.1.pdu.1", "tap " + saving(1), "send admin power.port.1.pdu.1.save",
                     "sleep 1000000", "send mlist power.port.1.pdu.1", "tap Done.\n"}));
    EXPECT_FAILURES({"Save command success on pdu 1@1, after 0 loops"});
}

TEST_F(flash, unit_that_is_back_at_the_first_poll_costs_one_second)
{
    unit();
    answer("save");
    EXPECT_EQ(wall_clock.sleeps(), one_second);
    EXPECT_LOGGED("Save command success on pdu 1@1, after 0 loops");
}

TEST_F(flash, polls_that_find_the_unit_at_work_are_counted)
{
    fake_node one = unit();
    for (size_t polls : {1U, 2U, 4U}) {
        busy(one, "save", static_cast<int>(polls));
        EXPECT_EQ(answer("save"), saving(1) + "Done.\n");
        EXPECT_EQ(wall_clock.sleeps(), seconds(polls + 1));
        EXPECT_FAILURES({"Save command success on pdu 1@1, after " + std::to_string(polls) + " loops"});
    }
}

TEST_F(flash, intended_unit_that_is_busy_beyond_five_polls_is_taken_for_done)
{
    busy(unit(), "save", 100);
    EXPECT_EQ(answer("save"), saving(1) + "Done.\n");
    EXPECT_EQ(wall_clock.sleeps(), seconds(5));
    EXPECT_EQ(std::ranges::count(exchanges(), "mlist power.port.1.pdu.1"), 6);
    EXPECT_FAILURES({"Save command success on pdu 1@1, after 5 loops"});
}

TEST_F(flash, fifth_poll_that_finds_the_unit_counts_four_loops)
{
    busy(unit(), "save", 4);
    answer("save");
    EXPECT_EQ(wall_clock.sleeps(), seconds(5));
    EXPECT_LOGGED("Save command success on pdu 1@1, after 4 loops");
}

TEST_F(flash, poll_that_gets_no_answer_counts_as_fruitless)
{
    unit();
    int probes = 0;
    tree.when("mlist", "power.port.1.pdu.1", [&](const texts &) {
        if (++probes == 1)
            tree.refuse("mlist", "power.port.1.pdu.1");
    });
    EXPECT_EQ(answer("save"), saving(1) + "Done.\n");
    EXPECT_LOGGED("Save command success on pdu 1@1, after 5 loops");
}

TEST_F(flash, intended_only_the_first_two_units_of_the_first_port_are_asked_to_save)
{
    for (int count = 0; count < 3; count++)
        unit();
    chain.next_port();
    unit();
    cli_own_name = 0; // without the segment the tree numbers the units of each port
    called done = call(cmd_save);
    EXPECT_EQ(done.result, 0);

    texts requests;
    std::ranges::copy_if(exchanges(), std::back_inserter(requests),
                         [](const std::string &exchange) { return exchange.starts_with("admin "); });
    EXPECT_EQ(requests, (texts{"admin power.port.1.pdu.1.save", "admin power.port.1.pdu.2.save"}));
    EXPECT_EQ(printed() + *done.text,
              saving(1) + "Done.\n" + saving(2) + "Done.\n" + saving(3) + "Done.\n" + saving(1) + "Done.\n");
    EXPECT_EQ(wall_clock.sleeps(), seconds(4));
    EXPECT_FAILURES({"Save command success on pdu 1@1, after 0 loops", "Save command success on pdu 2@1, after 0 loops",
                     "Save command success on pdu 3@1, after 0 loops",
                     "Save command success on pdu 1@2, after 0 loops"});
}

TEST_F(flash, unit_that_is_not_asked_is_waited_for_all_the_same)
{
    unit();
    unit();
    fake_node third = unit();
    int probes = 0;
    tree.when("mlist", third.path(), [&](const texts &) {
        if (++probes == 1)
            third.without("save");
    });
    EXPECT_EQ(answer("save"), saving(1) + "Done.\n" + saving(2) + "Done.\n" + saving(3) + "Done.\n");
    EXPECT_EQ(wall_clock.sleeps(), seconds(1 + 1 + 5));
    EXPECT_LOGGED("Save command success on pdu 3@1, after 5 loops");
}

TEST_F(flash, each_unit_is_taken_to_its_end_before_the_next)
{
    unit();
    unit();
    EXPECT_EQ(answer("save"), saving(1) + "Done.\n" + saving(2) + "Done.\n");
    EXPECT_EQ(course(),
              (texts{"send mlist power.port.1.pdu.1", "tap " + saving(1), "send admin power.port.1.pdu.1.save",
                     "sleep 1000000", "send mlist power.port.1.pdu.1", "send mlist power.port.1.pdu.2",
                     "tap Done.\n" + saving(2), "send admin power.port.1.pdu.2.save", "sleep 1000000",
                     "send mlist power.port.1.pdu.2", "tap Done.\n"}));
}

TEST_F(flash, refused_save_is_told_behind_the_opening_words_without_a_wait)
{
    unit().refuse("admin", "save");
    EXPECT_EQ(answer("save"), saving(1) + "Failed.\n");
    EXPECT_EQ(last_result(), 0);
    EXPECT_EQ(wall_clock.sleeps(), seconds(0));
    EXPECT_FAILURES({"Save command failed on pdu 1@1"});
}

TEST_F(flash, unit_without_save_is_told_in_the_words_of_the_row)
{
    unit().without("save");
    EXPECT_EQ(answer("save"), saving(1) + "Failed\n");
    EXPECT_EQ(last_result(), 0);
    EXPECT_FAILURES({"Node save unavailable for 1@1", "Fail to execute for PDU 1"});
}

TEST_F(flash, intended_unit_without_save_behind_a_saved_one_is_not_told)
{
    unit();
    unit().without("save");
    unit();
    EXPECT_EQ(answer("save"), saving(1) + "Done.\n" + saving(3) + "Done.\n");
    EXPECT_LOGGED("Node save unavailable for 2@1");
}

TEST_F(flash, unit_without_save_behind_another_one_is_not_told_either)
{
    unit().without("save");
    unit().without("save");
    EXPECT_EQ(answer("save"), saving(1) + "Failed\n");
}

// --- restore --------------------------------------------------------------------------------------------------------

TEST_F(flash, intended_restore_that_succeeds_is_silent)
{
    unit();
    EXPECT_EQ(answer("restore"), "");
    EXPECT_EQ(last_result(), 0);
    EXPECT_EQ(course(), (texts{"send mlist power.port.1.pdu.1", "send admin power.port.1.pdu.1.restore",
                               "sleep 1000000", "send mlist power.port.1.pdu.1"}));
    EXPECT_FAILURES({"Restore command success on pdu 1@1, after 0 loops"});
}

TEST_F(flash, restore_asks_every_unit_of_every_port)
{
    for (int count = 0; count < 3; count++)
        unit();
    chain.next_port();
    unit();
    cli_own_name = 0;
    EXPECT_EQ(call(cmd_restore).text, std::nullopt);
    EXPECT_EQ(std::ranges::count(exchanges(), "admin power.port.1.pdu.3.restore"), 1);
    EXPECT_EQ(std::ranges::count(exchanges(), "admin power.port.2.pdu.1.restore"), 1);
    EXPECT_EQ(wall_clock.sleeps(), seconds(4));
}

TEST_F(flash, restore_waits_for_its_own_node)
{
    fake_node one = unit();
    busy(one, "restore", 3);
    EXPECT_EQ(answer("restore"), "");
    EXPECT_EQ(wall_clock.sleeps(), seconds(4));
    EXPECT_LOGGED("Restore command success on pdu 1@1, after 3 loops");
    busy(one, "restore", 100);
    EXPECT_EQ(answer("restore"), "");
    EXPECT_EQ(wall_clock.sleeps(), seconds(5));
    EXPECT_LOGGED("Restore command success on pdu 1@1, after 5 loops");
}

TEST_F(flash, unit_without_restore_is_told_in_the_words_of_the_row)
{
    unit().without("restore");
    EXPECT_EQ(answer("restore"), restore_failed);
    EXPECT_FAILURES({"Node restore unavailable for 1@1", "Fail to execute for PDU 1"});
}

TEST_F(flash, refused_restore_is_told_without_a_wait)
{
    unit().refuse("admin", "restore");
    EXPECT_EQ(answer("restore"), restore_failed);
    EXPECT_EQ(wall_clock.sleeps(), seconds(0));
    EXPECT_FAILURES({"Restore command failed on pdu 1@1", "Fail to execute for PDU 1"});
}

TEST_F(flash, only_the_first_of_several_failed_restores_is_told)
{
    unit();
    unit().refuse("admin", "restore");
    unit().without("restore");
    EXPECT_EQ(answer("restore"), "Restoring configuration to flash on IPDU #2 ... Failed\n");
}

// --- factory_defaults -----------------------------------------------------------------------------------------------

TEST_F(flash, defaults_are_told_set_and_then_saved)
{
    unit();
    EXPECT_EQ(answer("factory_defaults"), resetting(1) + saving(1) + "Done.\n");
    EXPECT_EQ(last_result(), 0);
    EXPECT_EQ(
        course(),
        (texts{"send mlist power.port.1.pdu.1", "tap " + resetting(1), "send admin power.port.1.pdu.1.factory-default",
               "sleep 1000000", "send mlist power.port.1.pdu.1", "send mlist power.port.1.pdu.1", "tap " + saving(1),
               "send admin power.port.1.pdu.1.save", "sleep 1000000", "send mlist power.port.1.pdu.1", "tap Done.\n"}));
    EXPECT_FAILURES({"Save command success on pdu 1@1, after 0 loops"});
}

TEST_F(flash, named_unit_alone_goes_back_to_its_defaults)
{
    unit();
    unit("cellar");
    EXPECT_EQ(answer("factory_defaults cellar"), resetting(2) + saving(2) + "Done.\n");
    EXPECT_EQ(answer("factory_defaults 2"), resetting(2) + saving(2) + "Done.\n");
    EXPECT_EQ(std::ranges::count(exchanges(), "admin power.port.1.pdu.1.factory-default"), 0);
    EXPECT_EQ(std::ranges::count(exchanges(), "admin power.port.1.pdu.2.factory-default"), 1);
}

TEST_F(flash, words_behind_the_unit_are_ignored)
{
    unit();
    EXPECT_EQ(answer("factory_defaults 1 x"), resetting(1) + saving(1) + "Done.\n");
    EXPECT_EQ(answer("factory_defaults 1 and more"), resetting(1) + saving(1) + "Done.\n");
}

TEST_F(flash, units_are_reset_and_saved_one_behind_the_other)
{
    unit();
    unit();
    EXPECT_EQ(answer("factory_defaults"), resetting(1) + saving(1) + "Done.\n" + resetting(2) + saving(2) + "Done.\n");
    EXPECT_EQ(session.tap, (texts{resetting(1), saving(1), "Done.\n" + resetting(2), saving(2), "Done.\n"}));
    EXPECT_EQ(wall_clock.sleeps(), seconds(4));
}

TEST_F(flash, defaults_take_up_to_five_polls_and_the_save_five_more)
{
    fake_node one = unit();
    busy(one, "factory-default", 100);
    tree.when("admin", one.path("save"), [=](const texts &) { one.without("save"); });
    EXPECT_EQ(answer("factory_defaults 1"), resetting(1) + saving(1) + "Done.\n");
    EXPECT_EQ(wall_clock.sleeps(), seconds(10));
    EXPECT_LOGGED("Save command success on pdu 1@1, after 5 loops");
}

TEST_F(flash, third_unit_is_reset_by_a_request_and_saved_without_one)
{
    for (int count = 0; count < 3; count++)
        unit();
    EXPECT_EQ(answer("factory_defaults 3"), resetting(3) + saving(3) + "Done.\n");
    EXPECT_EQ(std::ranges::count(exchanges(), "admin power.port.1.pdu.3.factory-default"), 1);
    EXPECT_EQ(std::ranges::count(exchanges(), "admin power.port.1.pdu.3.save"), 0);
    EXPECT_EQ(wall_clock.sleeps(), seconds(2));
}

TEST_F(flash, unit_without_defaults_is_told_in_the_words_of_the_row)
{
    unit("a").without("factory-default");
    for (const char *line : {"factory_defaults", "factory_defaults a"}) {
        EXPECT_EQ(answer(line), factory_failed);
        EXPECT_EQ(failures().front(), "Node factory-default unavailable for 1@1");
    }
}

TEST_F(flash, refused_defaults_are_told_behind_their_own_line_and_nothing_is_saved)
{
    unit("a").refuse("admin", "factory-default");
    for (const char *line : {"factory_defaults", "factory_defaults a"}) {
        EXPECT_EQ(answer(line), resetting(1) + factory_failed);
        EXPECT_EQ(wall_clock.sleeps(), seconds(0));
        EXPECT_EQ(failures().front(), "Factory defaults command failed on pdu 1@1");
        EXPECT_EQ(std::ranges::count(exchanges(), "admin power.port.1.pdu.1.save"), 0);
    }
}

TEST_F(flash, refused_save_behind_the_defaults_is_told_and_counts_as_done)
{
    unit().refuse("admin", "save");
    EXPECT_EQ(answer("factory_defaults 1"), resetting(1) + saving(1) + "Failed.\n");
    EXPECT_EQ(last_result(), 0);
    EXPECT_EQ(wall_clock.sleeps(), one_second);
    EXPECT_FAILURES({no_id, "Save command failed on pdu 1@1"});
}

TEST_F(flash, unit_without_save_behind_the_defaults_is_told_in_the_words_of_save)
{
    unit().without("save");
    EXPECT_EQ(answer("factory_defaults 1"), resetting(1) + saving(1) + "Failed\n");
    EXPECT_FAILURES({no_id, "Node save unavailable for 1@1"});
}

TEST_F(flash, refused_defaults_behind_a_unit_that_is_done_show_their_line_and_their_failure)
{
    unit();
    unit().refuse("admin", "factory-default");
    EXPECT_EQ(answer("factory_defaults"), resetting(1) + saving(1) + "Done.\n" + resetting(2) +
                                              "Setting configuration to defaults on IPDU #2 ... Failed\n");
}

TEST_F(flash, unit_without_defaults_behind_a_unit_that_is_done_is_not_told)
{
    unit();
    unit().without("factory-default");
    EXPECT_EQ(answer("factory_defaults"), resetting(1) + saving(1) + "Done.\n");
}

TEST_F(flash, argument_that_is_no_unit_is_told)
{
    unit();
    for (const char *line : {"factory_defaults 9", "factory_defaults 0", "factory_defaults nobody x"})
        EXPECT_EQ(answer(line), no_such_ipdu) << line;
    EXPECT_EQ(wall_clock.sleeps(), seconds(0));
}

TEST_F(flash, save_and_restore_take_no_unit)
{
    unit();
    for (const char *line : {"save 1", "restore 1"}) {
        EXPECT_EQ(answer(line), failure_text) << line;
        EXPECT_EXCHANGES({});
    }
}

TEST_F(flash, units_that_cannot_be_listed_decline_the_line)
{
    cli_own_name = 0; // without the segment the tree is asked
    tree.refuse("mlist", "power.port");
    for (command_handler handler : {cmd_save, cmd_restore, cmd_factory}) {
        called done = call(handler);
        EXPECT_EQ(done.result, 1);
        EXPECT_EQ(done.text, std::nullopt);
    }
}

// --- Failures -------------------------------------------------------------------------------------------------------

// What the line answers as its n-th exchange fails, for each n, and then as none does.
void expect_answers(const char *line, const texts &expected)
{
    for (how way : {refused, dropped}) {
        int failed = each_failing_exchange(
            way, [&](int n) { EXPECT_EQ(answer(line), expected.at(static_cast<size_t>(n - 1))) << line << ", " << n; });
        EXPECT_EQ(static_cast<size_t>(failed), expected.size() - 1) << line;
    }
}

TEST_F(flash, any_exchange_may_fail)
{
    unit();
    const std::string saved = saving(1) + "Done.\n";
    const std::string save_failed = saving(1) + "Failed\n";
    const std::string save_refused = saving(1) + "Failed.\n";
    // A poll that fails costs another second and nothing else.
    expect_answers("save", {save_failed, save_refused, saved, saved});
    expect_answers("restore", {restore_failed, restore_failed, "", ""});
    expect_answers("factory_defaults",
                   {factory_failed, resetting(1) + factory_failed, resetting(1) + saved, resetting(1) + save_failed,
                    resetting(1) + save_refused, resetting(1) + saved, resetting(1) + saved});
    expect_answers("factory_defaults 1",
                   {resetting(1) + saved, no_such_ipdu, no_such_ipdu, factory_failed, resetting(1) + factory_failed,
                    resetting(1) + saved, resetting(1) + save_failed, resetting(1) + save_refused, resetting(1) + saved,
                    resetting(1) + saved});
}

TEST_F(flash, any_allocation_may_fail)
{
    unit();
    for (const char *line : {"save", "restore", "factory_defaults", "factory_defaults 1", "factory_defaults 9"}) {
        answer(line);
        int failed = each_failing_allocation([&](int) {
            answer(line);
            EXPECT_LE(wall_clock.sleeps().size(), 10U);
        });
        EXPECT_GT(failed, 2) << line;
    }
}

// The first allocation from the moment on at which the unit has answered so many probes.
std::string answer_without_memory_after(const char *line, int probes)
{
    heap.fail_at(0);
    int seen = 0;
    tree.when("mlist", "power.port.1.pdu.1", [&](const texts &) { seen++; });
    for (int n = 1;; n++) {
        seen = 0;
        heap.fail_at(n);
        std::string text = answer(line);
        heap.fail_at(0);
        if (logged("Fail to printf pdu 1 save string") || logged("Fail to printf pdu 1 factory string") || n > 400) {
            EXPECT_GE(seen, probes);
            return text;
        }
    }
}

TEST_F(flash, opening_words_that_cannot_be_built_are_logged_and_nothing_is_sent)
{
    unit();
    EXPECT_EQ(answer_without_memory_after("save", 1), saving(1) + "Failed\n");
    EXPECT_FAILURES({"Fail to append instance Saving configuration to flash on IPDU #%d ... ",
                     "Fail to printf pdu 1 save string", "Fail to execute for PDU 1"});
    EXPECT_EXCHANGES({"mlist power.port.1.pdu.1"});

    EXPECT_EQ(answer_without_memory_after("factory_defaults", 1), factory_failed);
    EXPECT_FAILURES({"Fail to append instance Setting configuration to defaults on IPDU #%d.\n",
                     "Fail to printf pdu 1 factory string", "Fail to execute for PDU 1"});
    EXPECT_EXCHANGES({"mlist power.port.1.pdu.1"});
}

} // namespace

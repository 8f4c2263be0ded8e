// Iteration over units and their nodes, and the probes.

#include "core/walkers.h"

#include <string>
#include <sys/time.h>
#include <vector>

#include <gtest/gtest.h>

#include "core/ztd_shm.h"
#include "tests/fakes/fakes.h"

// What the callbacks saw, and which of their calls (from 0) is to fail.
static texts seen;
static int failing_call;

static int result_of_this_call()
{
    return static_cast<int>(seen.size()) - 1 == failing_call ? 1 : 0;
}

static std::string numbered(std::initializer_list<int> numbers)
{
    std::string text;
    for (int number : numbers)
        text += (text.empty() ? "" : " ") + std::to_string(number);
    return text;
}

static int see_pdu(int row, char **, int port, int pdu, va_list *)
{
    seen.push_back(numbered({row, port, pdu}));
    return result_of_this_call();
}

static int see_elem(int port, int pdu, int type, int row, char **, int elem, va_list *)
{
    seen.push_back(numbered({port, pdu, type, row, elem}));
    return result_of_this_call();
}

static int see_envmon(int port, int pdu, int row, char **, int envmon, va_list *)
{
    seen.push_back(numbered({port, pdu, row, envmon}));
    return result_of_this_call();
}

class walkers : public testing::Test {
protected:
    void SetUp() override
    {
        seen.clear();
        failing_call = -1;
    }
    void without_segment() { cli_own_name = 0; }

    char *out = nullptr;
};

using probes = walkers;

// --- all_pdus ------------------------------------------------------------------------------------------------------

TEST_F(walkers, units_are_walked_from_the_segment_in_the_trees_numbers)
{
    fake_chain chain;
    chain.unit(), chain.unit(), chain.unit();
    EXPECT_EQ(all_pdus(7, &out, see_pdu), 0);
    EXPECT_EQ(seen, (texts{"7 1 1", "7 1 2", "7 1 3"}));
    EXPECT_EXCHANGES({});
    EXPECT_TRUE(log_records().empty());
}

TEST_F(walkers, lists_from_the_segment_are_noted_in_debug_mode)
{
    fake_chain chain;
    chain.unit();
    cli_debug = 1;
    EXPECT_EQ(all_pdus(7, &out, see_pdu), 0);
    texts lines = log_texts(7);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_TRUE(lines[0].starts_with("(walkers.cpp:") && lines[0].ends_with(") list_int_port_shm OK from SHM"));
    EXPECT_TRUE(lines[1].starts_with("(walkers.cpp:") && lines[1].ends_with(") list_int_pdu_shm OK from SHM"));
}

TEST_F(walkers, units_are_walked_from_the_tree_without_a_segment)
{
    fake_chain chain;
    chain.unit(), chain.unit();
    chain.next_port();
    chain.unit();
    without_segment();
    EXPECT_EQ(all_pdus(7, &out, see_pdu), 0);
    EXPECT_EQ(seen, (texts{"7 1 1", "7 1 2", "7 2 1"}));
    EXPECT_EXCHANGES({"mlist power.port", "mlist power.port.1.pdu", "mlist power.port.2.pdu"});
}

TEST_F(walkers, failing_callback_on_the_first_of_three_units_stops_nothing)
{
    fake_chain chain;
    chain.unit(), chain.unit(), chain.unit();
    failing_call = 0;
    EXPECT_EQ(all_pdus(7, &out, see_pdu), 0);
    EXPECT_EQ(seen.size(), 3u);
    EXPECT_FAILURES({"Fail to execute for PDU 1"});
}

TEST_F(walkers, unusable_segment_and_refused_ports_call_nobody)
{
    fake_chain chain;
    chain.unit();
    without_segment();
    tree.refuse("mlist", "power.port");
    EXPECT_EQ(all_pdus(7, &out, see_pdu), 1);
    EXPECT_EQ(seen, texts{});
    EXPECT_FAILURES({"Fail to retrieve list of Ports"});
}

TEST_F(walkers, refused_units_of_a_later_port_end_the_walk_and_keep_what_was_done)
{
    fake_chain chain;
    chain.unit();
    chain.next_port();
    chain.unit();
    without_segment();
    tree.refuse("mlist", "power.port.2.pdu");
    EXPECT_EQ(all_pdus(7, &out, see_pdu), 1);
    EXPECT_EQ(seen, (texts{"7 1 1"}));
    EXPECT_FAILURES({"Fail to retrieve list of PDUs"});
}

TEST_F(walkers, port_without_units_contributes_nothing)
{
    fake_chain chain;
    tree.list("power.port", {1, 2, 3}).list("power.port.1.pdu", {4});
    tree.list("power.port.2.pdu", texts{}).list("power.port.3.pdu", {6});
    without_segment();
    EXPECT_EQ(all_pdus(7, &out, see_pdu), 0);
    EXPECT_EQ(seen, (texts{"7 1 4", "7 3 6"}));
}

TEST_F(walkers, lists_keep_the_trees_order)
{
    tree.list("power.port", {2, 1}).list("power.port.2.pdu", {9, 3}).list("power.port.1.pdu", {5, 4});
    without_segment();
    EXPECT_EQ(all_pdus(0, &out, see_pdu), 0);
    EXPECT_EQ(seen, (texts{"0 2 9", "0 2 3", "0 1 5", "0 1 4"}));
}

TEST_F(walkers, port_list_that_is_no_list_of_numbers_counts_as_failed)
{
    tree.list("power.port", texts{"one"});
    without_segment();
    EXPECT_EQ(all_pdus(0, &out, see_pdu), 1);
    EXPECT_FAILURES({"Fail to retrieve list of Ports"});
}

TEST_F(walkers, dropped_exchange_leaks_nothing_wherever_it_comes)
{
    fake_chain chain;
    chain.unit();
    chain.next_port();
    chain.unit();
    without_segment();
    size_t live = heap.live();
    EXPECT_EQ(each_failing_exchange(dropped, [&](int n) { EXPECT_EQ(all_pdus(0, &out, see_pdu), n <= 3 ? 1 : 0); }), 3);
    EXPECT_EQ(heap.live(), live);
}

// --- Variable arguments --------------------------------------------------------------------------------------------

static int see_arguments(int, char **, int, int pdu, va_list *rest)
{
    // Twice: a peek leaves the list as it was.
    seen.push_back(numbered({pdu, peek_int(rest), peek_int(rest)}));
    return 0;
}

static int see_text(int port, int pdu, int type, int, char **, int elem, va_list *rest)
{
    seen.push_back(numbered({port, pdu, type, elem}) + " " + peek_text(rest));
    return 0;
}

static int see_real(int, int, int, char **, int envmon, va_list *rest)
{
    seen.push_back(std::to_string(envmon) + " " + std::to_string(peek_real(rest)));
    return 0;
}

TEST_F(walkers, all_three_units_get_the_same_argument)
{
    fake_chain chain;
    chain.unit(), chain.unit(), chain.unit();
    EXPECT_EQ(all_pdus(7, &out, see_arguments, 42), 0);
    EXPECT_EQ(seen, (texts{"1 42 42", "2 42 42", "3 42 42"}));
}

TEST_F(walkers, elements_and_envmons_get_the_same_argument_too)
{
    fake_chain chain;
    chain.unit({.outlets = 2, .envmons = 2});
    EXPECT_EQ(all_elements(1, 1, elem_outlet, 7, &out, see_text, "here"), 0);
    EXPECT_EQ(all_envmons(1, 1, 7, &out, see_real, 2.5), 0);
    EXPECT_EQ(seen, (texts{"1 1 2 1 here", "1 1 2 2 here", "1 2.500000", "2 2.500000"}));
}

TEST_F(walkers, single_node_runs_the_same_worker_and_gives_its_result)
{
    EXPECT_EQ(one_pdu(7, &out, 1, 3, see_arguments, 42), 0);
    EXPECT_EQ(one_element(1, 2, elem_circuit, 7, &out, 5, see_text, "there"), 0);
    EXPECT_EQ(one_envmon(1, 2, 7, &out, 4, see_real, 0.5), 0);
    EXPECT_EQ(seen, (texts{"3 42 42", "1 2 1 5 there", "4 0.500000"}));
    failing_call = 3;
    EXPECT_EQ(one_pdu(7, &out, 1, 3, see_pdu), 1);
    failing_call = 4;
    EXPECT_EQ(one_element(1, 2, elem_phase, 7, &out, 5, see_elem), 1);
    failing_call = 5;
    EXPECT_EQ(one_envmon(1, 2, 7, &out, 4, see_envmon), 1);
    EXPECT_TRUE(log_records().empty());
}

// --- all_elements --------------------------------------------------------------------------------------------------

TEST_F(walkers, elements_are_walked_from_the_segment)
{
    fake_chain chain;
    chain.unit({.outlets = 2, .phases = 1, .circuits = 2});
    for (int type : {elem_phase, elem_circuit, elem_outlet})
        EXPECT_EQ(all_elements(1, 1, type, 7, &out, see_elem), 0);
    EXPECT_EQ(seen, (texts{"1 1 0 7 1", "1 1 1 7 1", "1 1 1 7 2", "1 1 2 7 1", "1 1 2 7 2"}));
    EXPECT_EXCHANGES({});
}

TEST_F(walkers, elements_are_walked_from_the_tree_without_a_segment)
{
    fake_chain chain;
    chain.unit({.outlets = 1, .phases = 1, .circuits = 1});
    without_segment();
    for (int type : {elem_phase, elem_circuit, elem_outlet})
        EXPECT_EQ(all_elements(1, 1, type, 7, &out, see_elem), 0);
    EXPECT_EQ(seen, (texts{"1 1 0 7 1", "1 1 1 7 1", "1 1 2 7 1"}));
    EXPECT_EXCHANGES(
        {"mlist power.port.1.pdu.1.phase", "mlist power.port.1.pdu.1.circuit", "mlist power.port.1.pdu.1.outlet"});
}

TEST_F(walkers, elements_of_a_unit_that_the_segment_does_not_know_are_none)
{
    fake_chain chain;
    chain.unit();
    tree.list("power.port.2.pdu.5.outlet", {1, 2});
    EXPECT_EQ(all_elements(2, 5, elem_outlet, 7, &out, see_elem), 0);
    EXPECT_EQ(seen, texts{});
    EXPECT_EXCHANGES({});
}

TEST_F(walkers, failing_callback_on_an_element_is_logged_and_stops_nothing)
{
    fake_chain chain;
    chain.unit({.outlets = 3});
    failing_call = 1;
    EXPECT_EQ(all_elements(1, 1, elem_outlet, 7, &out, see_elem), 0);
    EXPECT_EQ(seen.size(), 3u);
    EXPECT_FAILURES({"Fail to execute for elem 2, type 2"});
}

TEST_F(walkers, refused_element_list_is_logged_from_the_inside_out)
{
    without_segment();
    EXPECT_EQ(all_elements(1, 2, elem_circuit, 7, &out, see_elem), 1);
    EXPECT_EQ(seen, texts{});
    EXPECT_FAILURES({"Fail to retrieve list of elements in 2@1, type 1"});
}

TEST_F(walkers, invalid_type_is_logged_with_the_port_first)
{
    EXPECT_EQ(all_elements(1, 2, 3, 7, &out, see_elem), 1);
    EXPECT_EQ(all_elements(1, 2, -1, 7, &out, see_elem), 1);
    EXPECT_EQ(seen, texts{});
    EXPECT_EXCHANGES({});
    EXPECT_FAILURES({"Invalid elem to find a list: 1@2, type 3", "Invalid elem to find a list: 1@2, type -1"});
}

// --- all_envmons ---------------------------------------------------------------------------------------------------

TEST_F(walkers, envmons_are_always_walked_from_the_tree)
{
    fake_chain chain;
    chain.unit({.envmons = 2});
    EXPECT_EQ(all_envmons(1, 1, 7, &out, see_envmon), 0);
    EXPECT_EQ(seen, (texts{"1 1 7 1", "1 1 7 2"}));
    EXPECT_EXCHANGES({"mlist power.port.1.pdu.1.envmon"});
}

TEST_F(walkers, failing_callback_on_an_envmon_is_logged_and_stops_nothing)
{
    fake_chain chain;
    chain.unit({.envmons = 2});
    failing_call = 0;
    EXPECT_EQ(all_envmons(1, 1, 7, &out, see_envmon), 0);
    EXPECT_EQ(seen.size(), 2u);
    EXPECT_FAILURES({"Fail to execute for envmon 1"});
}

TEST_F(walkers, refused_envmon_list_is_logged_with_the_port_first)
{
    EXPECT_EQ(all_envmons(1, 2, 7, &out, see_envmon), 1);
    EXPECT_FAILURES({"Fail to retrieve list of envmons in 1@2"});
}

// --- Probes --------------------------------------------------------------------------------------------------------

TEST_F(probes, child_of_a_unit_is_a_capability_and_noted_at_the_level_of_failures)
{
    tree.list("power.port.1.pdu.2", {"version", "current-alarm"});
    EXPECT_EQ(check_pdu_caps(1, 2, "current-alarm"), 0);
    EXPECT_EXCHANGES({"mlist power.port.1.pdu.2"});
    EXPECT_EQ(log_texts(4), (texts{"Found capability current-alarm in the list of nodes: 2@1"}));
}

TEST_F(probes, child_of_an_envmon_is_a_capability_and_noted_at_the_level_of_failures)
{
    tree.list("power.port.1.pdu.2.envmon.3", {"value"});
    EXPECT_EQ(check_envmon_caps(1, 2, 3, "value"), 0);
    EXPECT_EXCHANGES({"mlist power.port.1.pdu.2.envmon.3"});
    EXPECT_EQ(log_texts(4), (texts{"Found capability value in the list of nodes: 3@2@1"}));
}

TEST_F(probes, child_of_an_element_is_a_capability_and_noted_in_debug_mode_only)
{
    for (const char *kind : {"phase", "circuit", "outlet"})
        tree.list(std::string("power.port.1.pdu.2.") + kind + ".3", {"name"});
    for (int type : {elem_phase, elem_circuit, elem_outlet})
        EXPECT_EQ(check_elem_caps(1, 2, 3, type, "name"), 0);
    EXPECT_EXCHANGES({"mlist power.port.1.pdu.2.phase.3", "mlist power.port.1.pdu.2.circuit.3",
                      "mlist power.port.1.pdu.2.outlet.3"});
    EXPECT_NOT_LOGGED("Found capability name in the list of nodes: 3@2@1, type 2.");
    cli_debug = 1;
    EXPECT_EQ(check_elem_caps(1, 2, 3, elem_outlet, "name"), 0);
    EXPECT_LOGGED("Found capability name in the list of nodes: 3@2@1, type 2.");
    EXPECT_EQ(log_texts(4), texts{});
}

TEST_F(probes, longer_or_shorter_name_is_another_name)
{
    tree.list("power.port.1.pdu.1.outlet.1", {"name-x", "nam"});
    tree.list("power.port.1.pdu.1", {"name-x", "nam"});
    tree.list("power.port.1.pdu.1.envmon.1", {"name-x", "nam"});
    EXPECT_EQ(check_elem_caps(1, 1, 1, elem_outlet, "name"), 1);
    EXPECT_EQ(check_pdu_caps(1, 1, "name"), 1);
    EXPECT_EQ(check_envmon_caps(1, 1, 1, "name"), 1);
    EXPECT_TRUE(log_texts(4).empty());
}

TEST_F(probes, children_are_listed_anew_each_time)
{
    tree.list("power.port.1.pdu.1", {"voltage"});
    EXPECT_EQ(check_pdu_caps(1, 1, "voltage"), 0);
    tree.list("power.port.1.pdu.1", texts{});
    EXPECT_EQ(check_pdu_caps(1, 1, "voltage"), 1);
    EXPECT_EXCHANGES({"mlist power.port.1.pdu.1", "mlist power.port.1.pdu.1"});
}

TEST_F(probes, refused_lists_are_no_capability_and_logged)
{
    EXPECT_EQ(check_pdu_caps(1, 2, "name"), 1);
    EXPECT_EQ(check_envmon_caps(1, 2, 3, "name"), 1);
    EXPECT_EQ(check_elem_caps(1, 2, 3, elem_outlet, "name"), 1);
    EXPECT_FAILURES({"Fail to retrieve list of pdu capabilities in 2@1",
                     "Fail to retrieve list of envmon capabilities in 3@2@1",
                     "Fail to retrieve list of element capabilities in 3@2@1, type 2"});
}

TEST_F(probes, invalid_type_is_no_capability)
{
    EXPECT_EQ(check_elem_caps(1, 2, 3, elem_pdu, "name"), 1);
    EXPECT_FAILURES({"Invalid elem to find a list: 1@2, type 3"});
    EXPECT_EXCHANGES({});
}

// --- envmon2id -----------------------------------------------------------------------------------------------------

TEST_F(probes, envmon_is_found_by_its_sys_name)
{
    fake_chain chain;
    chain.unit({.envmons = 3});
    EXPECT_EQ(envmon2id("E2", 1, 1), 2);
    EXPECT_EXCHANGES({"mlist power.port.1.pdu.1.envmon", "info power.port.1.pdu.1.envmon.1.sys-name",
                      "info power.port.1.pdu.1.envmon.2.sys-name"});
    EXPECT_EQ(envmon2id("E", 1, 1), -1);
    EXPECT_EQ(envmon2id("E22", 1, 1), -1);
}

TEST_F(probes, envmon_that_cannot_be_read_is_skipped)
{
    fake_chain chain;
    fake_node unit = chain.unit({.envmons = 3});
    unit.envmon(1).refuse("info", "sys-name");
    tree.absent("power.port.1.pdu.1.envmon.2.sys-name");
    EXPECT_EQ(envmon2id("E3", 1, 1), 3);
    EXPECT_FAILURES({});
}

TEST_F(probes, envmon_without_a_name_or_address_is_not_looked_for)
{
    EXPECT_EQ(envmon2id("", 1, 1), -1);
    EXPECT_EQ(envmon2id(nullptr, 1, 1), -1);
    EXPECT_EQ(envmon2id("E1", -1, 1), -1);
    EXPECT_EQ(envmon2id("E1", 1, -2), -1);
    EXPECT_EXCHANGES({});
    EXPECT_FAILURES({"Name not provided", "Name not provided", "Invalid port/pdu: -1/1", "Invalid port/pdu: 1/-2"});
}

TEST_F(probes, refused_envmon_list_finds_nothing)
{
    EXPECT_EQ(envmon2id("E1", 1, 2), -1);
    EXPECT_FAILURES({"Fail to retrieve list of elements in 2@1"});
}

// --- Time account --------------------------------------------------------------------------------------------------

// How many readings of the clock the body makes: two a bracket.
template <class Body> static int64_t clock_readings(Body body)
{
    timeval before, after;
    wall_clock.step(1);
    gettimeofday(&before, nullptr);
    body();
    gettimeofday(&after, nullptr);
    wall_clock.step(0);
    return (after.tv_sec - before.tv_sec) * 1000000 + after.tv_usec - before.tv_usec - 1;
}

TEST_F(walkers, each_read_of_segment_and_tree_has_a_bracket_of_its_own)
{
    fake_chain chain;
    chain.unit({.envmons = 1});
    cli_debug = 1;
    EXPECT_EQ(clock_readings([&] { all_pdus(0, &out, see_pdu); }), 4);
    EXPECT_EQ(clock_readings([&] { all_elements(1, 1, elem_phase, 0, &out, see_elem); }), 2);
    EXPECT_EQ(clock_readings([&] { all_envmons(1, 1, 0, &out, see_envmon); }), 2);
    EXPECT_EQ(clock_readings([&] { check_pdu_caps(1, 1, "id"); }), 2);
    EXPECT_EQ(clock_readings([&] { check_elem_caps(1, 1, 1, elem_outlet, "name"); }), 2);
    EXPECT_EQ(clock_readings([&] { check_envmon_caps(1, 1, 1, "value"); }), 2);
    EXPECT_EQ(clock_readings([&] { envmon2id("E1", 1, 1); }), 4);
    without_segment();
    EXPECT_EQ(clock_readings([&] { all_pdus(0, &out, see_pdu); }), 8);
    EXPECT_EQ(clock_readings([&] { all_elements(1, 1, elem_phase, 0, &out, see_elem); }), 4);
}

TEST_F(walkers, no_time_is_taken_outside_debug_mode)
{
    fake_chain chain;
    chain.unit();
    EXPECT_EQ(clock_readings([&] { all_pdus(0, &out, see_pdu); }), 0);
}

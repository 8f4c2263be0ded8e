// From what the user typed to the tree's numbers, and back to the chain-wide outlet number.

#include "core/identifiers.h"

#include <string>

#include <gtest/gtest.h>

#include "core/ztd_shm.h"
#include "tests/fakes/fakes.h"

static void without_segment()
{
    cli_own_name = 0;
}

// --- pduid2pdu, pduid2port -----------------------------------------------------------------------------------------

TEST(pduid, unit_is_found_in_the_segment_by_its_id)
{
    fake_chain chain;
    chain.unit();
    chain.unit({.id = "rack1"});
    EXPECT_EQ(pduid2pdu("rack1"), 2);
    EXPECT_EQ(pduid2port("rack1"), 1);
    EXPECT_EXCHANGES({});
}

TEST(pduid, unit_that_the_segment_does_not_know_is_asked_of_the_tree)
{
    fake_chain chain;
    chain.unit();
    tree.text("power.pdu.far.pdu", "4").text("power.pdu.far.port", "2");
    EXPECT_EQ(pduid2pdu("far"), 4);
    EXPECT_EQ(pduid2port("far"), 2);
    EXPECT_EXCHANGES({"info power.pdu.far.pdu", "info power.pdu.far.port"});
    EXPECT_FAILURES({});
}

TEST(pduid, id_goes_encoded_into_its_path)
{
    tree.text("power.pdu.a%2Eb.pdu", "4");
    EXPECT_EQ(pduid2pdu("a.b"), 4);
}

TEST(pduid, absent_or_empty_id_is_not_looked_for)
{
    EXPECT_EQ(pduid2pdu(nullptr), -1);
    EXPECT_EQ(pduid2pdu(""), -1);
    EXPECT_EQ(pduid2port(nullptr), -1);
    EXPECT_EQ(pduid2port(""), -1);
    EXPECT_EXCHANGES({});
    EXPECT_FAILURES({"PDU id not provided", "PDU id not provided", "PDU id not provided", "PDU id not provided"});
}

TEST(pduid, unknown_id_is_logged)
{
    EXPECT_EQ(pduid2pdu("nobody"), -1);
    EXPECT_EQ(pduid2port("nobody"), -1);
    EXPECT_FAILURES({"Fail to get pdu from pdu name nobody", "Fail to get port from pdu name nobody"});
}

TEST(pduid, result_of_0_is_no_unit_and_no_port)
{
    tree.text("power.pdu.zero.pdu", "0").text("power.pdu.zero.port", "0");
    EXPECT_EQ(pduid2pdu("zero"), -1);
    EXPECT_EQ(pduid2port("zero"), -1);
    EXPECT_FAILURES({});
}

TEST(pduid, port_0_from_the_segment_is_no_port_and_the_tree_is_not_asked)
{
    fake_chain chain;
    chain.unit({.id = "own"});
    shm_port &port = *fake_segment::at<shm_port>(segment.root().ports);
    port.id = 1;
    port.name[0] = 'L';
    EXPECT_EQ(pduid2port("own"), -1);
    EXPECT_EXCHANGES({});
}

// --- pdu2port ------------------------------------------------------------------------------------------------------

TEST(pdu2port, ordinal_is_counted_over_all_ports)
{
    fake_chain chain;
    chain.unit(), chain.unit();
    chain.next_port();
    chain.unit();
    EXPECT_EQ(pdu2port(1), 1);
    EXPECT_EXCHANGES({"info power.num-devices", "info power.port.1.num-pdus"});
    EXPECT_EQ(pdu2port(2), 1);
    EXPECT_EQ(pdu2port(3), 2);
    EXPECT_EQ(pdu2port(4), -1);
    EXPECT_FAILURES({});
}

TEST(pdu2port, number_0_reads_every_port_and_fits_none)
{
    fake_chain chain;
    chain.unit();
    chain.next_port();
    chain.unit();
    EXPECT_EQ(pdu2port(0), -1);
    EXPECT_EXCHANGES({"info power.num-devices", "info power.port.1.num-pdus", "info power.port.2.num-pdus"});
    EXPECT_FAILURES({});
}

TEST(pdu2port, negative_number_is_logged_and_nothing_read)
{
    EXPECT_EQ(pdu2port(-1), -1);
    EXPECT_EXCHANGES({});
    EXPECT_FAILURES({"PDU not provided"});
}

TEST(pdu2port, refused_number_of_ports_is_logged)
{
    EXPECT_EQ(pdu2port(1), -1);
    EXPECT_FAILURES({"Fail to get number of ports"});
}

TEST(pdu2port, refused_number_of_units_is_logged)
{
    fake_chain chain;
    chain.unit();
    chain.next_port();
    tree.refuse("info", "power.port.2.num-pdus");
    EXPECT_EQ(pdu2port(2), -1);
    EXPECT_FAILURES({"Fail to get number of pdus on port 2"});
}

TEST(pdu2port, counts_beyond_any_chain_do_not_overflow)
{
    tree.text("power.num-devices", "2").text("power.port.1.num-pdus", "2147483647");
    tree.text("power.port.2.num-pdus", "2147483647");
    EXPECT_EQ(pdu2port(INT32_MAX), 1);
    tree.text("power.port.1.num-pdus", "2147483646");
    EXPECT_EQ(pdu2port(INT32_MAX), 2);
}

// --- pdu2model -----------------------------------------------------------------------------------------------------

TEST(pdu2model, model_comes_from_the_segment)
{
    fake_chain chain;
    chain.unit({.model = 140});
    EXPECT_EQ(pdu2model(1, 1), 140);
    EXPECT_EXCHANGES({});
}

TEST(pdu2model, model_comes_from_the_tree_where_the_segment_has_no_answer)
{
    fake_chain chain;
    chain.unit();
    tree.text("power.port.1.pdu.5.model_nr", "64");
    EXPECT_EQ(pdu2model(1, 5), 64);
    EXPECT_EXCHANGES({"info power.port.1.pdu.5.model_nr"});
}

TEST(pdu2model, only_the_leading_digits_of_the_trees_text_count)
{
    tree.text("power.port.1.pdu.1.model_nr", "131 rev 2").text("power.port.1.pdu.2.model_nr", "none");
    EXPECT_EQ(pdu2model(1, 1), 131);
    EXPECT_EQ(pdu2model(1, 2), 0);
}

TEST(pdu2model, absent_or_empty_value_is_an_unknown_model)
{
    tree.absent("power.port.1.pdu.1.model_nr").text("power.port.1.pdu.2.model_nr", "");
    EXPECT_EQ(pdu2model(1, 1), -1);
    EXPECT_EQ(pdu2model(1, 2), -1);
    EXPECT_FAILURES({});
}

TEST(pdu2model, refused_read_is_logged_from_the_inside_out)
{
    EXPECT_EQ(pdu2model(1, 2), -1);
    EXPECT_FAILURES({"Fail to get model for pdu 2@1"});
}

TEST(pdu2model, current_family_ends_at_128_and_143)
{
    EXPECT_FALSE(model_is_current(-1));
    EXPECT_FALSE(model_is_current(127));
    EXPECT_TRUE(model_is_current(128));
    EXPECT_TRUE(model_is_current(143));
    EXPECT_FALSE(model_is_current(144));
}

// --- elemname2id ---------------------------------------------------------------------------------------------------

TEST(elemname2id, list_comes_from_the_tree_and_names_from_the_segment)
{
    fake_chain chain;
    chain.unit({.outlets = 3, .phases = 3, .circuits = 3});
    EXPECT_EQ(elemname2id(elem_phase, "P3", 1, 1), 3);
    EXPECT_EQ(elemname2id(elem_circuit, "S2", 1, 1), 2);
    EXPECT_EQ(elemname2id(elem_outlet, "O1", 1, 1), 1);
    EXPECT_EXCHANGES(
        {"mlist power.port.1.pdu.1.phase", "mlist power.port.1.pdu.1.circuit", "mlist power.port.1.pdu.1.outlet"});
}

TEST(elemname2id, names_come_from_the_tree_where_the_segment_has_no_answer)
{
    fake_chain chain;
    chain.unit({.outlets = 1, .phases = 1, .circuits = 1});
    without_segment();
    EXPECT_EQ(elemname2id(elem_phase, "P1", 1, 1), 1);
    EXPECT_EQ(elemname2id(elem_circuit, "S1", 1, 1), 1);
    EXPECT_EQ(elemname2id(elem_outlet, "O1", 1, 1), 1);
    EXPECT_EXCHANGES({"mlist power.port.1.pdu.1.phase", "info power.port.1.pdu.1.phase.1.sys-name",
                      "mlist power.port.1.pdu.1.circuit", "info power.port.1.pdu.1.circuit.1.sys-name",
                      "mlist power.port.1.pdu.1.outlet", "info power.port.1.pdu.1.outlet.1.sys-name"});
}

TEST(elemname2id, outlet_is_found_by_its_sys_name_and_never_by_its_user_name)
{
    fake_chain chain;
    chain.unit({.outlets = 2}).outlet(2).publish("name", "web");
    EXPECT_EQ(elemname2id(elem_outlet, "O2", 1, 1), 2);
    EXPECT_EQ(elemname2id(elem_outlet, "web", 1, 1), -1);
    without_segment();
    EXPECT_EQ(elemname2id(elem_outlet, "O2", 1, 1), 2);
    EXPECT_EQ(elemname2id(elem_outlet, "web", 1, 1), -1);
}

TEST(elemname2id, name_must_match_as_a_whole)
{
    fake_chain chain;
    chain.unit({.outlets = 12});
    EXPECT_EQ(elemname2id(elem_outlet, "O", 1, 1), -1);
    EXPECT_EQ(elemname2id(elem_outlet, "O12", 1, 1), 12);
    EXPECT_EQ(elemname2id(elem_outlet, "O123", 1, 1), -1);
}

TEST(elemname2id, first_of_equal_names_in_list_order_is_the_result)
{
    fake_chain chain;
    fake_node unit = chain.unit({.outlets = 3});
    unit.outlet(2).publish("sys-name", "twin");
    unit.outlet(3).publish("sys-name", "twin");
    tree.list("power.port.1.pdu.1.outlet", {3, 2, 1});
    EXPECT_EQ(elemname2id(elem_outlet, "twin", 1, 1), 3);
}

TEST(elemname2id, element_whose_name_cannot_be_read_is_skipped)
{
    fake_chain chain;
    fake_node unit = chain.unit({.outlets = 3});
    unit.outlet(1).refuse("info", "sys-name");
    tree.absent("power.port.1.pdu.1.outlet.2.sys-name");
    without_segment();
    EXPECT_EQ(elemname2id(elem_outlet, "O3", 1, 1), 3);
    EXPECT_FAILURES({});
}

TEST(elemname2id, absent_name_or_address_is_not_looked_for)
{
    EXPECT_EQ(elemname2id(elem_outlet, nullptr, 1, 1), -1);
    EXPECT_EQ(elemname2id(elem_outlet, "", 1, 1), -1);
    EXPECT_EQ(elemname2id(elem_outlet, "O1", -1, 1), -1);
    EXPECT_EQ(elemname2id(elem_outlet, "O1", 1, -2), -1);
    EXPECT_EXCHANGES({});
    EXPECT_FAILURES({"Name not provided", "Name not provided", "Invalid port/pdu: -1/1", "Invalid port/pdu: 1/-2"});
}

TEST(elemname2id, invalid_type_is_logged_with_the_port_first)
{
    EXPECT_EQ(elemname2id(3, "O1", 1, 2), -1);
    EXPECT_EXCHANGES({});
    EXPECT_FAILURES({"Invalid elem to find a list: 1@2, type 3"});
}

TEST(elemname2id, refused_list_is_logged_from_the_inside_out)
{
    EXPECT_EQ(elemname2id(elem_phase, "P1", 1, 2), -1);
    EXPECT_FAILURES({"Fail to retrieve list of elements in 2@1, type 0"});
}

// --- ppo2outx ------------------------------------------------------------------------------------------------------

TEST(ppo2outx, outlets_of_the_units_before_come_first)
{
    fake_chain chain;
    chain.unit({.outlets = 8});
    chain.unit({.outlets = 8});
    EXPECT_EQ(ppo2outx(1, 2, 5), 13);
    EXPECT_EXCHANGES({"info power.num-devices", "info power.port.1.num-pdus"});
    EXPECT_EQ(ppo2outx(1, 1, 1), 1);
    EXPECT_EQ(ppo2outx(1, 1, 8), 8);
    EXPECT_EQ(ppo2outx(1, 2, 8), 16);
}

TEST(ppo2outx, outlet_counts_come_from_the_tree_where_the_segment_has_no_answer)
{
    fake_chain chain;
    chain.unit({.outlets = 8});
    chain.unit({.outlets = 4});
    without_segment();
    EXPECT_EQ(ppo2outx(1, 2, 4), 12);
    EXPECT_EXCHANGES({"info power.num-devices", "info power.port.1.num-pdus", "info power.port.1.pdu.1.num-outlets",
                      "info power.port.1.pdu.2.num-outlets"});
}

TEST(ppo2outx, outlet_above_the_units_count_is_none)
{
    fake_chain chain;
    chain.unit({.outlets = 8});
    EXPECT_EQ(ppo2outx(1, 1, 9), -1);
    EXPECT_FAILURES({});
}

TEST(ppo2outx, port_or_unit_beyond_the_chain_is_none)
{
    fake_chain chain;
    chain.unit();
    EXPECT_EQ(ppo2outx(2, 1, 1), -1);
    EXPECT_EXCHANGES({"info power.num-devices"});
    EXPECT_EQ(ppo2outx(1, 2, 1), -1);
    EXPECT_FAILURES({});
}

TEST(ppo2outx, numbers_below_1_are_none_and_nothing_is_read)
{
    fake_chain chain;
    chain.unit();
    for (int number : {0, -1}) {
        EXPECT_EQ(ppo2outx(number, 1, 1), -1);
        EXPECT_EQ(ppo2outx(1, number, 1), -1);
        EXPECT_EQ(ppo2outx(1, 1, number), -1);
    }
    EXPECT_EXCHANGES({});
}

TEST(ppo2outx, outlets_behind_number_128_have_none)
{
    fake_chain chain;
    for (int i = 0; i < 9; i++)
        chain.unit({.outlets = 16});
    EXPECT_EQ(ppo2outx(1, 8, 16), 128);
    EXPECT_EQ(ppo2outx(1, 9, 1), -1);
    EXPECT_FAILURES({});
}

// Two units with 8 and 6 outlets on port 1, two with 4 and 2 on port 2.
static void two_ports()
{
    tree.text("power.num-devices", "2").text("power.port.1.num-pdus", "2").text("power.port.2.num-pdus", "2");
    tree.text("power.port.1.pdu.1.num-outlets", "8").text("power.port.1.pdu.2.num-outlets", "6");
    tree.text("power.port.2.pdu.1.num-outlets", "4").text("power.port.2.pdu.2.num-outlets", "2");
    without_segment();
}

TEST(ppo2outx, the_outlet_is_counted_once_on_each_port_up_to_its_own)
{
    two_ports();
    EXPECT_EQ(ppo2outx(2, 1, 3), 3 + 3);
    EXPECT_EQ(ppo2outx(2, 2, 1), (8 + 1) + (4 + 1));
    EXPECT_EXCHANGES({"info power.num-devices", "info power.port.1.num-pdus", "info power.port.1.pdu.1.num-outlets",
                      "info power.port.2.num-pdus", "info power.port.2.pdu.1.num-outlets", "info power.num-devices",
                      "info power.port.1.num-pdus", "info power.port.1.pdu.1.num-outlets",
                      "info power.port.1.pdu.2.num-outlets", "info power.port.2.num-pdus",
                      "info power.port.2.pdu.1.num-outlets", "info power.port.2.pdu.2.num-outlets"});
}

TEST(ppo2outx, unit_on_a_later_port_needs_as_many_units_on_every_port_before)
{
    two_ports();
    tree.text("power.port.1.num-pdus", "1");
    EXPECT_EQ(ppo2outx(2, 2, 1), -1);
    EXPECT_FAILURES({});
}

TEST(ppo2outx, outlet_on_a_later_port_needs_as_many_outlets_on_the_unit_of_every_port_before)
{
    two_ports();
    tree.text("power.port.2.pdu.2.num-outlets", "8");
    EXPECT_EQ(ppo2outx(2, 2, 6), (8 + 6) + (4 + 6));
    EXPECT_EQ(ppo2outx(2, 2, 7), -1);
}

TEST(ppo2outx, refused_number_of_ports_is_logged)
{
    EXPECT_EQ(ppo2outx(1, 1, 1), -1);
    EXPECT_FAILURES({"Fail to get number of ports"});
}

TEST(ppo2outx, refused_number_of_units_is_logged)
{
    tree.text("power.num-devices", "1");
    EXPECT_EQ(ppo2outx(1, 1, 1), -1);
    EXPECT_FAILURES({"Fail to get number of pdus on port 1"});
}

TEST(ppo2outx, refused_number_of_outlets_is_logged_from_the_inside_out)
{
    two_ports();
    tree.refuse("info", "power.port.1.pdu.2.num-outlets");
    EXPECT_EQ(ppo2outx(1, 2, 1), -1);
    EXPECT_FAILURES({"Fail to get number of outlets on 2@1"});
}

TEST(ppo2outx, unit_before_it_without_a_count_of_outlets_leaves_no_number)
{
    fake_chain chain;
    chain.unit();
    chain.unit();
    without_segment();
    tree.refuse("info", "power.port.1.pdu.1.num-outlets");
    EXPECT_EQ(ppo2outx(1, 2, 1), -1);
    EXPECT_FAILURES({"Fail to get number of outlets on 1@1"});
    EXPECT_EXCHANGES({"info power.num-devices", "info power.port.1.num-pdus", "info power.port.1.pdu.1.num-outlets"});
}

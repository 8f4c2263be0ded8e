// Segments in the middle of an update, or made by somebody who means harm: no reader runs out of the segment, loops, or
// gives a text that its field does not hold.

#include "core/ztd_shm.h"

#include <cstring>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "client/types.h"
#include "core/shm_layout.h"
#include "core/shm_records.h"
#include "tests/fakes/fakes.h"

static constexpr uint32_t segment_end = shm_base_address + segment_size;

static shm_port &first_port()
{
    return *fake_segment::at<shm_port>(segment.root().ports);
}

static size_t length(const paramtype_int_list *list)
{
    size_t nodes = 0;
    for (; list; list = list->next)
        nodes++;
    return nodes;
}

static size_t listed_pdus(int port)
{
    owned_int_list list;
    EXPECT_EQ(list_int_pdu_shm(port, into(list)), 0);
    return length(list.get());
}

static bool answers_model(int port, int pdu)
{
    int model;
    return node_info_shm(port, pdu, 0, elem_pdu, info_pdu_model, nullptr, &model) == 0;
}

// --- Pointers ------------------------------------------------------------------------------------------------------

TEST(hostile_segment, pointer_outside_the_segment_counts_as_null)
{
    fake_chain chain;
    chain.unit();
    const uint32_t ports_at = segment.root().ports;
    for (uint32_t outside : {4u, shm_base_address - 4, segment_end, segment_end - 4, 0xfffffffcu, 0xffffffffu}) {
        first_port().pdus = outside;
        EXPECT_EQ(listed_pdus(1), 0u) << outside;
        EXPECT_FALSE(answers_model(1, 1)) << outside;
        segment.root().ports = outside;
        owned_int_list ports;
        EXPECT_EQ(list_int_port_shm(into(ports)), 0) << outside;
        EXPECT_EQ(ports.get(), nullptr) << outside;
        segment.root().ports = ports_at;
    }
}

TEST(hostile_segment, misaligned_pointer_counts_as_null)
{
    fake_chain chain;
    chain.unit();
    ASSERT_TRUE(answers_model(1, 1));
    uint32_t at = first_port().pdus;
    for (uint32_t off : {1u, 2u, 3u}) {
        first_port().pdus = at + off;
        EXPECT_EQ(listed_pdus(1), 0u) << off;
    }
}

TEST(hostile_segment, record_must_lie_in_the_segment_to_its_last_byte)
{
    fake_chain chain;
    chain.unit();
    uint32_t last = segment_end - sizeof(shm_pdu);
    *fake_segment::at<shm_pdu>(last) = chain.at(1).pdu_record();
    first_port().pdus = last;
    EXPECT_EQ(listed_pdus(1), 1u);
    first_port().pdus = last + 4;
    EXPECT_EQ(listed_pdus(1), 0u);
}

TEST(hostile_segment, segment_smaller_than_its_pointers_say_is_not_overrun)
{
    fake_chain chain;
    chain.unit();
    uint32_t record = first_port().pdus;
    segment.size = record - shm_base_address + sizeof(shm_pdu) - 1;
    EXPECT_EQ(listed_pdus(1), 0u);
    shm_forget();
    segment.size++;
    EXPECT_EQ(listed_pdus(1), 1u);
}

TEST(hostile_segment, outlet_array_is_followed_only_as_far_as_it_lies_inside)
{
    fake_chain chain;
    shm_pdu &pdu = chain.unit({.outlets = 2}).pdu_record();
    pdu.outlets = segment_end - 2 * sizeof(shm_outlet);
    pdu.num_outlets = 255;
    owned_text text;
    EXPECT_EQ(node_info_shm(1, 1, 2, elem_outlet, info_outlet_name, into(text), nullptr), 0);
    EXPECT_NE(node_info_shm(1, 1, 3, elem_outlet, info_outlet_name, into(text), nullptr), 0);
    EXPECT_NE(node_caps_shm(1, 1, 255, elem_outlet, ~0u), 0);
    int number;
    EXPECT_NE(name2id_shm("nobody", name_of_outlet, wanted_outlet, nullptr, &number), 0);
}

TEST(hostile_segment, outlets_that_are_not_all_there_give_no_list)
{
    fake_chain chain;
    shm_pdu &pdu = chain.unit({.outlets = 2}).pdu_record();
    pdu.outlets = 0;
    owned_int_list list;
    EXPECT_NE(list_int_elem_shm(1, 1, elem_outlet, into(list)), 0);
    EXPECT_EQ(list.get(), nullptr);
}

// --- Lists that close on themselves --------------------------------------------------------------------------------

// Makes the port's first unit its own next one.
static void close_units(const fake_node &first)
{
    first.pdu_record().next = first_port().pdus;
}

TEST(hostile_segment, cycle_of_ports_ends)
{
    fake_chain chain;
    chain.unit();
    first_port().next = segment.root().ports;
    EXPECT_LE(listed_pdus(1), segment_size / sizeof(shm_port));
    EXPECT_FALSE(answers_model(1, 9));
}

TEST(hostile_segment, cycle_of_units_ends)
{
    fake_chain chain;
    close_units(chain.unit());
    EXPECT_LE(listed_pdus(1), segment_size / sizeof(shm_pdu));
    EXPECT_FALSE(answers_model(1, 9));
    int number;
    EXPECT_NE(name2id_shm("nobody", name_of_outlet, wanted_pdu, nullptr, &number), 0);
    EXPECT_NE(name2id_shm("nobody", name_of_pdu, wanted_pdu, nullptr, &number), 0);
}

TEST(hostile_segment, cycle_of_ports_with_cycles_of_units_takes_no_longer_than_one_walk)
{
    fake_chain chain;
    close_units(chain.unit());
    first_port().next = segment.root().ports;
    EXPECT_LE(listed_pdus(1), segment_size / sizeof(shm_pdu));
}

// --- Work ----------------------------------------------------------------------------------------------------------

// A unit that is its own next one, with a value that gives no text at each of its nodes: every way over the list finds
// it as often as the list is long.
static void make_unit_that_never_answers(fake_chain &chain, int outlets)
{
    const fake_node unit = chain.unit({.outlets = outlets, .phases = 3, .circuits = 6});
    for (int k = 1; k <= outlets; k++)
        unit.outlet(k).poll("voltage", "1.0").poll("voltage-type", "MEASURED").block().voltage_type = 77;
    close_units(unit);
}

TEST(hostile_segment, four_units_at_one_address_are_asked_and_no_more)
{
    fake_chain chain;
    make_unit_that_never_answers(chain, 1);
    owned_text text;
    forget();
    EXPECT_NE(elecmon_elem_info_shm(1, 1, 1, elem_outlet, shm_mask_voltage_type, into(text)), 0);
    EXPECT_EQ(failures(), texts(4, "unknown voltage type"));
}

TEST(hostile_segment, units_are_listed_as_far_as_there_are_numbers_for_them)
{
    fake_chain chain;
    close_units(chain.unit());
    EXPECT_EQ(listed_pdus(1), 257u);
}

// A record by hand, in front of what `next` leads to; its address.
static uint32_t put_port(uint32_t pdus, uint32_t next)
{
    const uint32_t at = segment.allocate(sizeof(shm_port));
    shm_port &port = *fake_segment::at<shm_port>(at);
    port.id = 1;
    memcpy(port.name, "local", sizeof "local");
    port.pdus = pdus;
    port.next = next;
    return at;
}

static uint32_t put_unit(char name, uint32_t next)
{
    const uint32_t at = segment.allocate(sizeof(shm_pdu));
    shm_pdu &unit = *fake_segment::at<shm_pdu>(at);
    unit.id = 1;
    unit.name[0] = name;
    unit.next = next;
    return at;
}

static bool knows(const char *unit)
{
    int number;
    return name2id_shm(unit, name_of_pdu, wanted_pdu, nullptr, &number) == 0;
}

TEST(hostile_segment, ports_are_followed_as_far_as_there_are_ids_for_them)
{
    uint32_t ports = put_port(put_unit('x', 0), 0);
    for (int before = 1; before < 256; before++)
        ports = put_port(0, ports);
    segment.root().ports = ports;
    EXPECT_TRUE(knows("x"));
    segment.root().ports = put_port(0, ports);
    EXPECT_FALSE(knows("x"));
}

TEST(hostile_segment, units_are_followed_up_to_a_number_whatever_the_size_of_the_segment)
{
    segment.size = size_t{1} << 30; // as it says; the records lie at its beginning
    uint32_t last = put_unit('x', 0);
    for (int before = 1; before < 8; before++)
        last = put_unit('o', last);
    uint32_t many = 0;
    for (int units = 0; units < 127; units++)
        many = put_unit('o', many);
    uint32_t ports = put_port(last, 0);
    for (int before = 0; before < 8; before++)
        ports = put_port(many, ports);
    segment.root().ports = ports;
    EXPECT_TRUE(knows("x")); // the 1024th
    segment.root().ports = put_port(put_unit('o', 0), ports);
    EXPECT_FALSE(knows("x"));
}

TEST(hostile_segment, listing_of_what_never_ends_takes_no_more_than_that)
{
    static constexpr size_t outlets = 5;
    fake_chain chain;
    make_unit_that_never_answers(chain, outlets);
    answer("voltage");
    // Some twenty records a node: of the four units that are asked, and of the exchange where none of them answers.
    EXPECT_GT(log_records().size(), 257u * outlets);
    EXPECT_LT(log_records().size(), 257u * (1 + 3 + 6 + outlets) * 20);
}

// --- Counts --------------------------------------------------------------------------------------------------------

TEST(hostile_segment, more_phases_or_circuits_than_a_record_holds_give_no_answer)
{
    fake_chain chain;
    shm_pdu &pdu = chain.unit({.phases = 3, .circuits = 6}).pdu_record();
    pdu.num_phases = 4;
    pdu.num_circuits = 7;
    for (int type : {elem_phase, elem_circuit}) {
        owned_int_list list;
        EXPECT_NE(list_int_elem_shm(1, 1, type, into(list)), 0) << type;
        owned_text text;
        EXPECT_NE(node_info_shm(1, 1, 4, type, info_elem_sys_name, into(text), nullptr), 0) << type;
        EXPECT_NE(elecmon_elem_info_shm(1, 1, 255, type, shm_mask_current, into(text)), 0) << type;
    }
}

// --- Texts ---------------------------------------------------------------------------------------------------------

template <size_t width> static void fill(char (&field)[width])
{
    memset(field, 'x', width);
}

static std::string text_of(int elem, int type, int attribute)
{
    owned_text text;
    int result = node_info_shm(1, 1, elem, type, attribute, into(text), nullptr);
    return result ? "(no answer)" : text.get();
}

TEST(hostile_segment, text_without_its_end_stops_with_its_field)
{
    fake_chain chain;
    fake_node unit = chain.unit({.circuits = 1});
    fill(unit.pdu_record().model_text);
    fill(unit.phase(1).elem_record().sys_name);
    fill(unit.circuit(1).elem_record().sys_name);
    fill(unit.outlet(1).outlet_record().name);
    fill(unit.outlet(1).outlet_record().sys_name);
    EXPECT_EQ(text_of(0, elem_pdu, info_pdu_model), std::string(16, 'x'));
    EXPECT_EQ(text_of(1, elem_phase, info_elem_sys_name), std::string(11, 'x'));
    EXPECT_EQ(text_of(1, elem_circuit, info_elem_sys_name), std::string(11, 'x'));
    EXPECT_EQ(text_of(1, elem_outlet, info_outlet_name), std::string(33, 'x'));
    EXPECT_EQ(text_of(1, elem_outlet, info_outlet_sys_name), std::string(9, 'x'));
}

TEST(hostile_segment, names_without_their_end_are_compared_within_their_fields)
{
    fake_chain chain;
    fake_node unit = chain.unit();
    fill(unit.pdu_record().name);
    fill(unit.outlet(1).outlet_record().name);
    int number = 0;
    EXPECT_EQ(name2id_shm(std::string(47, 'x').c_str(), name_of_pdu, wanted_pdu, nullptr, &number), 0);
    EXPECT_NE(name2id_shm(std::string(48, 'x').c_str(), name_of_pdu, wanted_pdu, nullptr, &number), 0);
    EXPECT_EQ(name2id_shm(std::string(33, 'x').c_str(), name_of_outlet, wanted_pdu, nullptr, &number), 0);
    EXPECT_NE(name2id_shm(std::string(34, 'x').c_str(), name_of_outlet, wanted_pdu, nullptr, &number), 0);
}

TEST(hostile_segment, port_name_without_its_end_is_not_local)
{
    fake_chain chain;
    chain.unit();
    fill(first_port().name);
    EXPECT_EQ(listed_pdus(1), 0u);
    EXPECT_EQ(listed_pdus(0), 1u);
}

// --- Noise ---------------------------------------------------------------------------------------------------------

static uint32_t draw(std::mt19937 &random, uint32_t below)
{
    return static_cast<uint32_t>(random()) % below;
}

// Random words, every other one of them a pointer into the noise.
static void make_noise(std::mt19937 &random)
{
    static constexpr uint32_t noisy = 0x4000;
    uint32_t words[noisy / sizeof(uint32_t)];
    for (uint32_t &word : words)
        word =
            draw(random, 2) ? shm_base_address + draw(random, noisy + 0x100) / 4 * 4 : static_cast<uint32_t>(random());
    segment.install({reinterpret_cast<const uint8_t *>(words), sizeof words});
    segment.root().ports = shm_base_address + sizeof(shm_root) + draw(random, noisy) / 4 * 4; // not the root itself
    if (draw(random, 2)) // a walk that gets somewhere
        memcpy(first_port().name, "local", 6);
}

static void ask_for_lists(int port, int pdu)
{
    owned_int_list list;
    if (list_int_port_shm(into(list)) == 0) {
        ASSERT_LE(length(list.get()), 1u);
    }
    if (list_int_pdu_shm(port, into(list)) == 0) {
        ASSERT_LE(length(list.get()), segment_size / sizeof(shm_pdu));
    }
    for (int type = -1; type <= 4; type++)
        if (list_int_elem_shm(port, pdu, type, into(list)) == 0) {
            ASSERT_LE(length(list.get()), 255u);
        }
}

static void ask_for_values(int port, int pdu, int elem, std::mt19937 &random)
{
    static constexpr int attributes[] = {1, 2, 4, 0x10, 0x20, 0x80, 0x100, 0x2000, 0x20000, 0};
    for (int type = -1; type <= 4; type++) {
        owned_text text;
        uint32_t mask = 1u << draw(random, 32);
        node_caps_shm(port, pdu, elem, type, mask);
        elecmon_caps_shm(port, pdu, elem, type, mask);
        if (elecmon_elem_info_shm(port, pdu, elem, type, mask, into(text)) == 0) {
            ASSERT_LE(strlen(text.get()), 40u);
        }
        for (int attribute : attributes) {
            int number;
            owned_text word;
            node_info_shm(port, pdu, elem, type, attribute, into(word), &number);
            ASSERT_LE(word ? strlen(word.get()) : 0, 33u);
        }
    }
}

TEST(hostile_segment, random_bytes_neither_crash_nor_loop)
{
    std::mt19937 random(20110722);
    int walks_that_got_somewhere = 0;
    for (int round = 0; round < 2000; round++) {
        make_noise(random);
        int port = static_cast<int>(draw(random, 256)), pdu = static_cast<int>(draw(random, 257));
        uint32_t first = first_port().pdus;
        if (first >= shm_base_address && first < segment_end - sizeof(shm_pdu)) { // often an address that exists
            int shift = strcmp(first_port().name, "local") == 0 ? 0 : 1;
            port = first_port().id - shift;
            pdu = fake_segment::at<uint8_t>(first)[offsetof(shm_pdu, id)] + shift;
        }
        walks_that_got_somewhere += answers_model(port, pdu);
        ask_for_lists(port, pdu);
        ask_for_values(port, pdu, static_cast<int>(draw(random, 10)), random);
        int number;
        name2id_shm("x", name_of_pdu, static_cast<int>(draw(random, 4)), nullptr, &number);
        if (round % 50 == 0)
            name2id_shm("x", name_of_outlet, static_cast<int>(draw(random, 4)), nullptr, &number);
        if (HasFatalFailure())
            FAIL() << "round " << round;
    }
    EXPECT_GT(walks_that_got_somewhere, 200);
}

TEST(hostile_segment, record_far_behind_the_end_of_an_array_is_none)
{
    const shm_view view = {shm_base_address, segment_size};
    EXPECT_NE(record_at<shm_outlet>(view, shm_base_address, 1), nullptr);
    EXPECT_EQ(record_at<shm_outlet>(view, shm_base_address, segment_size), nullptr);
}

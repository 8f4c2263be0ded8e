// What the readers answer from a segment in good order.

#include "core/ztd_shm.h"

#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "client/types.h"
#include "core/shm_layout.h"
#include "tests/fakes/fakes.h"

using numbers = std::vector<int>;

static std::optional<numbers> taken(int result, const owned_int_list &list)
{
    if (result != 0)
        return std::nullopt;
    numbers values;
    for (const auto *node = list.get(); node; node = node->next)
        values.push_back(node->value);
    return values;
}

static std::optional<numbers> ports()
{
    owned_int_list list;
    int result = list_int_port_shm(into(list));
    return taken(result, list);
}

static std::optional<numbers> pdus(int port)
{
    owned_int_list list;
    int result = list_int_pdu_shm(port, into(list));
    return taken(result, list);
}

static std::optional<numbers> elems(int port, int pdu, int type)
{
    owned_int_list list;
    int result = list_int_elem_shm(port, pdu, type, into(list));
    return taken(result, list);
}

static std::optional<std::string> value(int port, int pdu, int elem, int type, uint32_t mask)
{
    owned_text text;
    if (elecmon_elem_info_shm(port, pdu, elem, type, mask, into(text)))
        return std::nullopt;
    return text.get();
}

static std::optional<std::string> attribute_text(int port, int pdu, int elem, int type, int attribute)
{
    owned_text text;
    if (node_info_shm(port, pdu, elem, type, attribute, into(text), nullptr))
        return std::nullopt;
    return text.get();
}

static std::optional<int> attribute_number(int port, int pdu, int elem, int type, int attribute)
{
    int number = -99;
    if (node_info_shm(port, pdu, elem, type, attribute, nullptr, &number)) {
        EXPECT_EQ(number, -99);
        return std::nullopt;
    }
    return number;
}

static std::optional<int> found(const char *name, int kind, int wanted)
{
    int number = -99;
    if (name2id_shm(name, kind, wanted, nullptr, &number)) {
        EXPECT_EQ(number, -99);
        return std::nullopt;
    }
    return number;
}

// The record id of the only port, under another name than "local".
static void rename_first_port(uint8_t id, const char *name)
{
    shm_port &port = *fake_segment::at<shm_port>(segment.root().ports);
    port.id = id;
    memcpy(port.name, name, strlen(name) + 1);
}

// --- Without an answer ---------------------------------------------------------------------------------------------

TEST(shm_readers, unusable_segment_gives_no_answer_to_any_reader)
{
    fake_chain chain;
    chain.unit({.circuits = 1}).publish("current", "1.0").outlet(1).publish("name", "lamp");
    cli_own_name = 0;
    EXPECT_EQ(ports(), std::nullopt);
    EXPECT_EQ(pdus(1), std::nullopt);
    EXPECT_EQ(elems(1, 1, elem_outlet), std::nullopt);
    EXPECT_NE(node_caps_shm(1, 1, 0, elem_pdu, ~0u), 0);
    EXPECT_NE(elecmon_caps_shm(1, 1, 0, elem_pdu, ~0u), 0);
    EXPECT_EQ(elecmon_available_shm(1, 1, 0, elem_pdu, ~0u), 0U);
    EXPECT_EQ(value(1, 1, 0, elem_pdu, shm_mask_current), std::nullopt);
    EXPECT_EQ(attribute_number(1, 1, 0, elem_pdu, info_pdu_num_outlets), std::nullopt);
    EXPECT_EQ(found("lamp", name_of_outlet, wanted_outlet), std::nullopt);
    EXPECT_EQ(found("unit1", name_of_pdu, wanted_pdu), std::nullopt);
}

TEST(shm_readers, unit_not_found_gives_no_answer_for_its_values)
{
    fake_chain chain;
    chain.unit().publish("current", "1.0");
    EXPECT_EQ(value(1, 2, 0, elem_pdu, shm_mask_current), std::nullopt);
    EXPECT_EQ(value(2, 1, 0, elem_pdu, shm_mask_current), std::nullopt);
    EXPECT_NE(node_caps_shm(1, 2, 0, elem_pdu, ~0u), 0);
    EXPECT_NE(elecmon_caps_shm(1, 2, 0, elem_pdu, ~0u), 0);
    EXPECT_EQ(attribute_number(1, 2, 0, elem_pdu, info_pdu_model), std::nullopt);
}

TEST(shm_readers, no_reader_asks_the_tree)
{
    fake_chain chain;
    chain.unit();
    ports(), pdus(1), elems(1, 1, elem_phase), value(1, 1, 0, elem_pdu, 0x10), found("x", name_of_pdu, wanted_pdu);
    EXPECT_EXCHANGES({});
}

// --- Numbering -----------------------------------------------------------------------------------------------------

TEST(shm_readers, local_port_and_the_port_behind_it_make_up_one_port)
{
    fake_chain chain;
    chain.unit({.model = 128});
    chain.unit({.model = 129});
    chain.unit({.model = 130});
    ASSERT_EQ(chain.at(2).pdu_record().id, 1); // on the port of record id 2
    EXPECT_EQ(pdus(1), (numbers{1, 2, 3}));
    EXPECT_EQ(pdus(2), numbers{});
    EXPECT_EQ(attribute_number(1, 1, 0, elem_pdu, info_pdu_model), 128);
    EXPECT_EQ(attribute_number(1, 2, 0, elem_pdu, info_pdu_model), 129);
    EXPECT_EQ(attribute_number(1, 3, 0, elem_pdu, info_pdu_model), 130);
    EXPECT_EQ(attribute_number(2, 1, 0, elem_pdu, info_pdu_model), std::nullopt);
}

TEST(shm_readers, port_of_another_name_holds_the_tree_port_plus_1_and_the_pdu_minus_1)
{
    fake_chain chain(fake_chain::without_local);
    chain.unit({.model = 131});
    ASSERT_EQ(fake_segment::at<shm_port>(segment.root().ports)->id, 2);
    ASSERT_EQ(chain.at(1).pdu_record().id, 0);
    EXPECT_EQ(attribute_number(1, 1, 0, elem_pdu, info_pdu_model), 131);
    EXPECT_EQ(pdus(1), numbers{1});
}

TEST(shm_readers, only_the_exact_name_local_marks_the_own_unit)
{
    fake_chain chain;
    chain.unit();
    rename_first_port(1, "local1");
    EXPECT_EQ(pdus(1), numbers{});
    EXPECT_EQ(pdus(0), numbers{2});
    rename_first_port(1, "loca");
    EXPECT_EQ(pdus(1), numbers{});
    rename_first_port(1, "local");
    EXPECT_EQ(pdus(1), numbers{1});
}

TEST(shm_readers, extreme_tree_addresses_are_just_not_found)
{
    fake_chain chain;
    chain.unit();
    for (int number : {INT32_MIN, -1, 0, INT32_MAX}) {
        EXPECT_EQ(pdus(number), numbers{});
        EXPECT_EQ(elems(number, number, elem_outlet), numbers{});
        EXPECT_EQ(attribute_number(number, number, 0, elem_pdu, info_pdu_model), std::nullopt);
        EXPECT_EQ(value(1, 1, number, elem_outlet, shm_mask_current), std::nullopt);
        EXPECT_EQ(value(1, 1, number, elem_phase, shm_mask_current), std::nullopt);
        EXPECT_EQ(value(1, 1, number, elem_circuit, shm_mask_current), std::nullopt);
    }
}

TEST(shm_readers, walk_goes_on_behind_a_port_of_the_same_id_that_did_not_answer)
{
    fake_chain chain;
    chain.unit({.outlets = 2});
    chain.unit({.outlets = 6});
    // Both records now claim the tree's port 1, pdu 1.
    shm_port &first = *fake_segment::at<shm_port>(segment.root().ports);
    shm_port &second = *fake_segment::at<shm_port>(first.next);
    second.id = first.id;
    memcpy(second.name, first.name, sizeof second.name);
    EXPECT_EQ(attribute_text(1, 1, 5, elem_outlet, info_outlet_sys_name), "O5");
    EXPECT_EQ(attribute_text(1, 1, 2, elem_outlet, info_outlet_sys_name), "O2");
    EXPECT_EQ(attribute_number(1, 1, 0, elem_pdu, info_pdu_num_outlets), 2);
}

// --- Lists ---------------------------------------------------------------------------------------------------------

TEST(shm_readers, port_list_holds_the_first_port_alone_by_its_record_id)
{
    fake_chain chain;
    chain.unit();
    chain.unit();
    EXPECT_EQ(ports(), numbers{1});
    rename_first_port(7, "serial");
    EXPECT_EQ(ports(), numbers{7});
}

TEST(shm_readers, segment_without_a_port_answers_with_an_empty_list)
{
    EXPECT_EQ(ports(), numbers{});
    EXPECT_EQ(pdus(1), numbers{});
    EXPECT_EQ(elems(1, 1, elem_phase), numbers{});
}

TEST(shm_readers, elements_are_listed_by_their_id_bytes)
{
    fake_chain chain;
    fake_node unit = chain.unit({.outlets = 3, .phases = 2, .circuits = 4});
    unit.outlet(2).outlet_record().id = 200;
    EXPECT_EQ(elems(1, 1, elem_phase), (numbers{1, 2}));
    EXPECT_EQ(elems(1, 1, elem_circuit), (numbers{1, 2, 3, 4}));
    EXPECT_EQ(elems(1, 1, elem_outlet), (numbers{1, 200, 3}));
}

TEST(shm_readers, elements_of_a_unit_not_found_are_an_empty_answer)
{
    fake_chain chain;
    chain.unit();
    EXPECT_EQ(elems(1, 2, elem_outlet), numbers{});
}

TEST(shm_readers, elements_of_an_unknown_type_give_no_answer)
{
    fake_chain chain;
    chain.unit();
    EXPECT_EQ(elems(1, 1, elem_pdu), std::nullopt);
    EXPECT_EQ(elems(1, 1, -1), std::nullopt);
    EXPECT_EQ(elems(1, 1, 4), std::nullopt);
}

TEST(shm_readers, lists_without_memory_give_no_answer_and_leak_nothing)
{
    fake_chain chain;
    chain.unit({.outlets = 3});
    size_t live = heap.live();
    EXPECT_EQ(each_failing_allocation([](int n) {
                  std::optional<numbers> answer = elems(1, 1, elem_outlet);
                  EXPECT_EQ(answer, n <= 3 ? std::nullopt : std::optional(numbers{1, 2, 3}));
              }),
              3);
    EXPECT_EQ(each_failing_allocation([](int n) { EXPECT_EQ(pdus(1).has_value(), n > 1); }), 1);
    EXPECT_EQ(each_failing_allocation([](int n) { EXPECT_EQ(ports().has_value(), n > 1); }), 1);
    EXPECT_EQ(heap.live(), live);
}

// --- Capability words ----------------------------------------------------------------------------------------------

TEST(shm_readers, node_capability_is_any_bit_of_the_mask_in_the_nodes_word)
{
    fake_chain chain;
    fake_node unit = chain.unit({.outlets = 2, .phases = 1, .circuits = 1});
    unit.pdu_record().capabilities = 0x100;
    unit.phase(1).elem_record().capabilities = 0x200;
    unit.circuit(1).elem_record().capabilities = 0x400;
    unit.outlet(2).outlet_record().capabilities = 0x800;
    struct {
        int elem, type;
        uint32_t bit;
    } const nodes[] = {{0, elem_pdu, 0x100}, {1, elem_phase, 0x200}, {1, elem_circuit, 0x400}, {2, elem_outlet, 0x800}};
    for (const auto &node : nodes) {
        EXPECT_EQ(node_caps_shm(1, 1, node.elem, node.type, node.bit), 0);
        EXPECT_EQ(node_caps_shm(1, 1, node.elem, node.type, node.bit | 1), 0);
        EXPECT_NE(node_caps_shm(1, 1, node.elem, node.type, ~node.bit), 0);
    }
    EXPECT_NE(node_caps_shm(1, 1, 1, 4, ~0u), 0);
}

TEST(shm_readers, value_counts_only_in_a_valid_block)
{
    fake_chain chain;
    fake_node unit = chain.unit({.outlets = 1, .phases = 1, .circuits = 1});
    struct {
        fake_node node;
        int elem, type;
        uint32_t *word;
        uint32_t valid;
    } const nodes[] = {
        {unit, 0, elem_pdu, &unit.pdu_record().capabilities, 0x00080000},
        {unit.phase(1), 1, elem_phase, &unit.phase(1).elem_record().capabilities, 0x8},
        {unit.circuit(1), 1, elem_circuit, &unit.circuit(1).elem_record().capabilities, 0x8},
        {unit.outlet(1), 1, elem_outlet, &unit.outlet(1).outlet_record().capabilities, 0x400},
    };
    for (const auto &at : nodes) {
        at.node.block().available = shm_mask_voltage;
        *at.word = ~at.valid;
        EXPECT_NE(elecmon_caps_shm(1, 1, at.elem, at.type, shm_mask_voltage), 0) << at.type;
        *at.word = at.valid;
        EXPECT_EQ(elecmon_caps_shm(1, 1, at.elem, at.type, shm_mask_voltage), 0) << at.type;
        EXPECT_EQ(elecmon_caps_shm(1, 1, at.elem, at.type, shm_mask_voltage | shm_mask_power), 0) << at.type;
        EXPECT_NE(elecmon_caps_shm(1, 1, at.elem, at.type, shm_mask_power), 0) << at.type;
    }
}

TEST(shm_readers, several_values_are_asked_for_as_each_by_itself)
{
    fake_chain chain;
    fake_node unit = chain.unit();
    fake_node other = chain.unit();
    // Both records claim the tree's port 1, pdu 1.
    shm_port &first = *fake_segment::at<shm_port>(segment.root().ports);
    shm_port &second = *fake_segment::at<shm_port>(first.next);
    second.id = first.id;
    memcpy(second.name, first.name, sizeof second.name);
    unit.block().available = 0x3;
    other.block().available = 0x6;
    for (uint32_t valid : {0U, 1U, 2U, 3U}) {
        unit.pdu_record().capabilities = valid & 1 ? 0x00080000 : 0;
        other.pdu_record().capabilities = valid & 2 ? 0x00080000 : 0;
        uint32_t each = 0;
        for (uint32_t mask : {0x1U, 0x2U, 0x4U, 0x8U})
            each |= elecmon_caps_shm(1, 1, 0, elem_pdu, mask) == 0 ? mask : 0;
        EXPECT_EQ(elecmon_available_shm(1, 1, 0, elem_pdu, 0xf), each) << valid;
        EXPECT_EQ(elecmon_available_shm(1, 1, 0, elem_pdu, 0x5), each & 0x5) << valid;
        EXPECT_EQ(each, (valid & 1 ? 0x3U : 0U) | (valid & 2 ? 0x6U : 0U));
    }
}

TEST(shm_readers, element_number_above_the_count_has_no_capability)
{
    fake_chain chain;
    fake_node unit = chain.unit({.outlets = 2, .phases = 1, .circuits = 1});
    for (shm_elem &phase : unit.pdu_record().phases)
        phase.capabilities = ~0u;
    EXPECT_EQ(node_caps_shm(1, 1, 1, elem_phase, 1), 0);
    EXPECT_NE(node_caps_shm(1, 1, 2, elem_phase, 1), 0);
    EXPECT_NE(elecmon_caps_shm(1, 1, 2, elem_phase, 1), 0);
    EXPECT_NE(node_caps_shm(1, 1, 3, elem_outlet, ~0u), 0);
}

// --- Values --------------------------------------------------------------------------------------------------------

TEST(shm_readers, each_value_is_rendered_in_its_fixed_precision)
{
    fake_chain chain;
    elecmon_block &block = chain.unit().block();
    struct {
        int32_t *cell;
        uint32_t mask;
    } const tenths[] = {
        {&block.current, 0x10},      {&block.current_min, 0x20},    {&block.current_max, 0x40},
        {&block.current_avg, 0x80},  {&block.current_alarm, 0x1},   {&block.current_warning, 0x2},
        {&block.current_low, 0x4},   {&block.current_lowcrit, 0x8}, {&block.voltage, 0x100},
        {&block.voltage_min, 0x200}, {&block.voltage_max, 0x400},   {&block.voltage_avg, 0x800},
        {&block.power, 0x2000},      {&block.power_min, 0x4000},    {&block.power_max, 0x8000},
        {&block.power_avg, 0x10000},
    };
    int32_t stored = 1000;
    for (const auto &at : tenths)
        *at.cell = ++stored; // each place another value
    stored = 1000;
    for (const auto &at : tenths) {
        stored++;
        std::string digits = std::to_string(stored);
        EXPECT_EQ(value(1, 1, 0, elem_pdu, at.mask), digits.substr(0, 3) + "." + digits.substr(3)) << at.mask;
    }
    struct {
        int32_t *cell;
        uint32_t mask;
    } const hundredths[] = {{&block.power_factor, 0x40000},
                            {&block.power_factor_min, 0x80000},
                            {&block.power_factor_max, 0x100000},
                            {&block.power_factor_avg, 0x200000}};
    for (const auto &at : hundredths) {
        *at.cell = 97;
        EXPECT_EQ(value(1, 1, 0, elem_pdu, at.mask), "0.97") << at.mask;
    }
}

TEST(shm_readers, negative_values_keep_their_sign)
{
    fake_chain chain;
    elecmon_block &block = chain.unit().block();
    block.power = -5;
    block.power_factor = -5;
    block.cumulative_watthour = -18000000;
    EXPECT_EQ(value(1, 1, 0, elem_pdu, shm_mask_power), "-0.5");
    EXPECT_EQ(value(1, 1, 0, elem_pdu, shm_mask_power_factor), "-0.05");
    EXPECT_EQ(value(1, 1, 0, elem_pdu, shm_mask_cumulative_watthour), "-0.500");
}

TEST(shm_readers, energy_of_36000000_is_one_kilowatt_hour)
{
    fake_chain chain;
    elecmon_block &block = chain.unit().block();
    block.cumulative_watthour = 36000000;
    EXPECT_EQ(value(1, 1, 0, elem_pdu, shm_mask_cumulative_watthour), "1.000");
}

TEST(shm_readers, energy_takes_all_64_bits)
{
    fake_chain chain;
    elecmon_block &block = chain.unit().block();
    block.cumulative_watthour = int64_t{36000000} * 1000000 + 18000000;
    EXPECT_EQ(value(1, 1, 0, elem_pdu, shm_mask_cumulative_watthour), "1000000.500");
}

TEST(shm_readers, energy_is_read_from_a_record_that_lies_on_4_bytes_only)
{
    fake_chain chain;
    shm_pdu &whole = chain.unit().pdu_record();
    uint32_t room = segment.allocate(sizeof(shm_pdu) + 8);
    uint32_t address = room % 8 == 0 ? room + 4 : room;
    *fake_segment::at<shm_pdu>(address) = whole;
    fake_segment::at<shm_pdu>(address)->block.cumulative_watthour = 72000000;
    fake_segment::at<shm_port>(segment.root().ports)->pdus = address;
    EXPECT_EQ(value(1, 1, 0, elem_pdu, shm_mask_cumulative_watthour), "2.000");
}

TEST(shm_readers, start_time_is_a_date_and_empty_for_0)
{
    fake_chain chain;
    elecmon_block &block = chain.unit().block();
    EXPECT_EQ(value(1, 1, 0, elem_pdu, shm_mask_cumulative_starttime), "");
    block.cumulative_starttime = 1311340620;
    EXPECT_EQ(value(1, 1, 0, elem_pdu, shm_mask_cumulative_starttime), "2011-07-22 13:17:00");
}

TEST(shm_readers, kinds_of_power_have_three_words_and_no_log)
{
    fake_chain chain;
    elecmon_block &block = chain.unit().block();
    const char *const words[] = {"UNDEFINED", "ESTIMATED", "MEASURED"};
    for (int code = 0; code < 3; code++) {
        block.power_type = code;
        block.power_factor_type = code;
        EXPECT_EQ(value(1, 1, 0, elem_pdu, shm_mask_power_type), words[code]);
        EXPECT_EQ(value(1, 1, 0, elem_pdu, shm_mask_power_factor_type), words[code]);
    }
    block.power_type = 3;
    block.power_factor_type = -1;
    EXPECT_EQ(value(1, 1, 0, elem_pdu, shm_mask_power_type), std::nullopt);
    EXPECT_EQ(value(1, 1, 0, elem_pdu, shm_mask_power_factor_type), std::nullopt);
    EXPECT_TRUE(log_records().empty());
}

TEST(shm_readers, kind_of_voltage_is_logged_in_words_of_its_own_odd_spelling_kept)
{
    fake_chain chain;
    elecmon_block &block = chain.unit().block();
    const struct {
        int code;
        const char *word, *log;
    } kinds[] = {
        {0, "UNDEFINED", "undefined voltage type. returning UNDEFINED"},
        {1, "ESTIMATED", "estimaed voltage type. returning ESTIMATED"},
        {2, "MEASURED", "measured voltage type. returning MEASURED"},
    };
    for (const auto &kind : kinds) {
        forget();
        block.voltage_type = kind.code;
        EXPECT_EQ(value(1, 1, 0, elem_pdu, shm_mask_voltage_type), kind.word);
        EXPECT_FAILURES({kind.log});
    }
}

TEST(shm_readers, unknown_kind_of_voltage_is_logged_and_gives_no_answer)
{
    fake_chain chain;
    elecmon_block &block = chain.unit().block();
    for (int code : {-1, 3}) {
        forget();
        block.voltage_type = code;
        EXPECT_EQ(value(1, 1, 0, elem_pdu, shm_mask_voltage_type), std::nullopt);
        EXPECT_FAILURES({"unknown voltage type"});
    }
}

TEST(shm_readers, overcurrent_protection_is_tripped_by_any_byte_but_0)
{
    fake_chain chain;
    elecmon_block &block = chain.unit().block();
    EXPECT_EQ(value(1, 1, 0, elem_pdu, shm_mask_hwocp), "not tripped");
    block.hwocp = 1;
    EXPECT_EQ(value(1, 1, 0, elem_pdu, shm_mask_hwocp), "tripped");
    block.hwocp = 0x80;
    EXPECT_EQ(value(1, 1, 0, elem_pdu, shm_mask_hwocp), "tripped");
}

TEST(shm_readers, fuse_has_three_words)
{
    fake_chain chain;
    elecmon_block &block = chain.unit().block();
    const char *const words[] = {"N/A", "OK", "BLOWN"};
    for (uint8_t code = 0; code < 3; code++) {
        block.blown_fuse = code;
        EXPECT_EQ(value(1, 1, 0, elem_pdu, shm_mask_blown_fuse), words[code]);
    }
    block.blown_fuse = 3;
    EXPECT_EQ(value(1, 1, 0, elem_pdu, shm_mask_blown_fuse), std::nullopt);
}

TEST(shm_readers, mask_without_a_value_gives_no_answer)
{
    fake_chain chain;
    chain.unit();
    for (uint32_t mask : {0x02000000u, 0x10000000u, 0u, shm_mask_current | shm_mask_voltage})
        EXPECT_EQ(value(1, 1, 0, elem_pdu, mask), std::nullopt) << mask;
}

TEST(shm_readers, value_is_read_at_nodes_of_every_type)
{
    fake_chain chain;
    fake_node unit = chain.unit({.outlets = 2, .phases = 3, .circuits = 6});
    unit.block().current = 10;
    unit.phase(3).block().current = 23;
    unit.circuit(6).block().current = 36;
    unit.outlet(2).block().current = 42;
    EXPECT_EQ(value(1, 1, 0, elem_pdu, shm_mask_current), "1.0");
    EXPECT_EQ(value(1, 1, 3, elem_phase, shm_mask_current), "2.3");
    EXPECT_EQ(value(1, 1, 6, elem_circuit, shm_mask_current), "3.6");
    EXPECT_EQ(value(1, 1, 2, elem_outlet, shm_mask_current), "4.2");
    EXPECT_EQ(value(1, 1, 3, elem_outlet, shm_mask_current), std::nullopt);
    EXPECT_EQ(value(1, 1, 1, 4, shm_mask_current), std::nullopt);
}

TEST(shm_readers, value_is_read_whatever_validity_and_availability_say)
{
    fake_chain chain;
    fake_node unit = chain.unit();
    unit.block().current = 15;
    ASSERT_EQ(unit.block().available, 0u);
    ASSERT_EQ(unit.pdu_record().capabilities & shm_pdu_block_valid, 0u);
    EXPECT_EQ(value(1, 1, 0, elem_pdu, shm_mask_current), "1.5");
}

TEST(shm_readers, element_is_selected_by_position_not_by_its_id)
{
    fake_chain chain;
    fake_node unit = chain.unit({.outlets = 2});
    unit.outlet(1).outlet_record().id = 2;
    unit.outlet(2).outlet_record().id = 1;
    unit.outlet(1).block().current = 11;
    EXPECT_EQ(value(1, 1, 1, elem_outlet, shm_mask_current), "1.1");
}

TEST(shm_readers, value_without_memory_gives_no_answer)
{
    fake_chain chain;
    chain.unit();
    for (const shm_value &known : shm_values) {
        heap.fail_at(1);
        EXPECT_EQ(value(1, 1, 0, elem_pdu, known.mask), std::nullopt) << known.leaf;
        EXPECT_TRUE(heap.failed()) << known.leaf;
    }
}

// --- Attributes ----------------------------------------------------------------------------------------------------

TEST(shm_readers, phase_and_circuit_give_their_sys_name)
{
    fake_chain chain;
    chain.unit({.phases = 2, .circuits = 3});
    EXPECT_EQ(attribute_text(1, 1, 2, elem_phase, info_elem_sys_name), "P2");
    EXPECT_EQ(attribute_text(1, 1, 3, elem_circuit, info_elem_sys_name), "S3");
    EXPECT_EQ(attribute_text(1, 1, 3, elem_phase, info_elem_sys_name), std::nullopt);
    EXPECT_EQ(attribute_text(1, 1, 4, elem_circuit, info_elem_sys_name), std::nullopt);
    EXPECT_EQ(attribute_text(1, 1, 1, elem_phase, 1), std::nullopt);
}

TEST(shm_readers, outlet_gives_names_statuses_and_intervals)
{
    fake_chain chain;
    chain.unit()
        .outlet(3)
        .publish("name", "web server")
        .publish("ctrl-status", "ON(locked)")
        .publish("mod-status", "Comm error")
        .publish("post-power-on", "2.5")
        .publish("post-power-off", "-0.1");
    EXPECT_EQ(attribute_text(1, 1, 3, elem_outlet, info_outlet_name), "web server");
    EXPECT_EQ(attribute_text(1, 1, 3, elem_outlet, info_outlet_sys_name), "O3");
    EXPECT_EQ(attribute_text(1, 1, 3, elem_outlet, info_outlet_ctrl_status), "ON(locked)");
    EXPECT_EQ(attribute_text(1, 1, 3, elem_outlet, info_outlet_mod_status), "Comm error");
    EXPECT_EQ(attribute_text(1, 1, 3, elem_outlet, info_outlet_post_on), "2.5");
    EXPECT_EQ(attribute_text(1, 1, 3, elem_outlet, info_outlet_post_off), "-0.1");
    EXPECT_EQ(attribute_text(1, 1, 3, elem_outlet, 0x40), std::nullopt);
}

TEST(shm_readers, outlet_above_the_count_gives_no_answer)
{
    fake_chain chain;
    chain.unit({.outlets = 8});
    EXPECT_EQ(attribute_text(1, 1, 9, elem_outlet, info_outlet_ctrl_status), std::nullopt);
    EXPECT_EQ(attribute_text(1, 1, 8, elem_outlet, info_outlet_ctrl_status), "UNDEFINED");
}

TEST(shm_readers, unit_gives_model_code_and_counts_as_numbers)
{
    fake_chain chain;
    chain.unit({.outlets = 12, .phases = 3, .model = 143});
    EXPECT_EQ(attribute_number(1, 1, 0, elem_pdu, info_pdu_model), 143);
    EXPECT_EQ(attribute_number(1, 1, 0, elem_pdu, info_pdu_num_outlets), 12);
    EXPECT_EQ(attribute_number(1, 1, 0, elem_pdu, info_pdu_num_phases), 3);
    EXPECT_EQ(attribute_number(1, 1, 0, elem_pdu, 1), std::nullopt);
}

TEST(shm_readers, unit_gives_its_model_as_text_too)
{
    fake_chain chain;
    chain.unit({.model = 140}).poll("model", "PM3000");
    EXPECT_EQ(attribute_text(1, 1, 0, elem_pdu, info_pdu_model), "PM3000");
    owned_text text;
    int code = 0;
    EXPECT_EQ(node_info_shm(1, 1, 0, elem_pdu, info_pdu_model, into(text), &code), 0);
    EXPECT_STREQ(text.get(), "PM3000");
    EXPECT_EQ(code, 140);
}

TEST(shm_readers, attribute_without_a_place_for_it_gives_no_answer)
{
    fake_chain chain;
    chain.unit({.circuits = 1});
    EXPECT_NE(node_info_shm(1, 1, 0, elem_pdu, info_pdu_model, nullptr, nullptr), 0);
    EXPECT_NE(node_info_shm(1, 1, 0, elem_pdu, info_pdu_num_outlets, nullptr, nullptr), 0);
    EXPECT_EQ(attribute_text(1, 1, 0, elem_pdu, info_pdu_num_outlets), std::nullopt);
    EXPECT_EQ(attribute_number(1, 1, 1, elem_outlet, info_outlet_sys_name), std::nullopt);
    EXPECT_EQ(attribute_number(1, 1, 1, elem_circuit, info_elem_sys_name), std::nullopt);
}

TEST(shm_readers, attribute_of_an_unknown_type_gives_no_answer)
{
    fake_chain chain;
    chain.unit();
    EXPECT_EQ(attribute_text(1, 1, 1, 4, 2), std::nullopt);
    EXPECT_EQ(attribute_text(1, 1, 1, -1, 2), std::nullopt);
}

TEST(shm_readers, attribute_without_memory_gives_no_answer)
{
    fake_chain chain;
    chain.unit();
    heap.fail_at(1);
    EXPECT_EQ(attribute_text(1, 1, 1, elem_outlet, info_outlet_sys_name), std::nullopt);
    heap.fail_at(1);
    EXPECT_EQ(attribute_text(1, 1, 0, elem_pdu, info_pdu_model), std::nullopt);
}

// --- Names ---------------------------------------------------------------------------------------------------------

TEST(shm_readers, outlet_is_found_by_its_user_name_in_the_trees_numbers)
{
    fake_chain chain;
    chain.unit().outlet(2).publish("name", "own");
    chain.unit();
    chain.unit().outlet(5).publish("name", "far");
    EXPECT_EQ(found("own", name_of_outlet, wanted_port), 1);
    EXPECT_EQ(found("own", name_of_outlet, wanted_pdu), 1);
    EXPECT_EQ(found("own", name_of_outlet, wanted_outlet), 2);
    EXPECT_EQ(found("far", name_of_outlet, wanted_port), 1);
    EXPECT_EQ(found("far", name_of_outlet, wanted_pdu), 3);
    EXPECT_EQ(found("far", name_of_outlet, wanted_outlet), 5);
    EXPECT_EQ(found("fa", name_of_outlet, wanted_outlet), std::nullopt);
    EXPECT_EQ(found("O5", name_of_outlet, wanted_outlet), std::nullopt);
}

TEST(shm_readers, outlet_result_is_its_id_byte)
{
    fake_chain chain;
    chain.unit().outlet(2).publish("name", "own").outlet_record().id = 77;
    EXPECT_EQ(found("own", name_of_outlet, wanted_outlet), 77);
}

TEST(shm_readers, unit_is_found_by_its_id_in_the_trees_numbers)
{
    fake_chain chain;
    chain.unit({.id = "own"});
    chain.unit({.id = "far"});
    EXPECT_EQ(found("own", name_of_pdu, wanted_port), 1);
    EXPECT_EQ(found("own", name_of_pdu, wanted_pdu), 1);
    EXPECT_EQ(found("far", name_of_pdu, wanted_port), 1);
    EXPECT_EQ(found("far", name_of_pdu, wanted_pdu), 2);
    EXPECT_EQ(found("nobody", name_of_pdu, wanted_pdu), std::nullopt);
}

TEST(shm_readers, first_match_answers)
{
    fake_chain chain;
    chain.unit({.id = "twin"}).outlet(4).publish("name", "same");
    chain.unit({.id = "twin"}).outlet(1).publish("name", "same");
    EXPECT_EQ(found("twin", name_of_pdu, wanted_pdu), 1);
    EXPECT_EQ(found("same", name_of_outlet, wanted_pdu), 1);
    EXPECT_EQ(found("same", name_of_outlet, wanted_outlet), 4);
}

TEST(shm_readers, unit_has_no_outlet_number_to_give)
{
    fake_chain chain;
    chain.unit({.id = "own"});
    EXPECT_EQ(found("own", name_of_pdu, wanted_outlet), std::nullopt);
    EXPECT_EQ(found("own", name_of_pdu, 3), std::nullopt);
}

TEST(shm_readers, unknown_kind_of_name_gives_no_answer)
{
    fake_chain chain;
    chain.unit({.id = "own"});
    for (int kind : {-1, 0, 1, 4})
        EXPECT_EQ(found("own", kind, wanted_pdu), std::nullopt) << kind;
}

TEST(shm_readers, absent_name_or_result_gives_no_answer_even_at_a_match)
{
    fake_chain chain;
    chain.unit({.id = "own"});
    int number;
    EXPECT_NE(name2id_shm("own", name_of_pdu, wanted_pdu, nullptr, nullptr), 0);
    EXPECT_NE(name2id_shm(nullptr, name_of_pdu, wanted_pdu, nullptr, &number), 0);
}

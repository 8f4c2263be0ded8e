// The records of the segment, read back at the addresses that they give.

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <memory>
#include <optional>
#include <thread>

#include "appliance/ztd_ng/image.h"

// A segment in plain memory, and how a reader goes through it.
class ztd_image : public testing::Test {
protected:
    void make(size_t size)
    {
        words_ = std::make_unique<uint64_t[]>(size / sizeof(uint64_t));
        memory_ = {reinterpret_cast<std::byte *>(words_.get()), size};
        image_.emplace(memory_);
    }
    void SetUp() override { make(0x20000); }

    template <class Record> Record *at(uint32_t address) const
    {
        if (address == 0)
            return nullptr;
        const size_t offset = address - shm_base_address;
        EXPECT_LE(offset + sizeof(Record), memory_.size());
        EXPECT_EQ(offset % 8, 0U) << "a 64-bit value would not be one store";
        return reinterpret_cast<Record *>(memory_.data() + offset);
    }
    shm_root &root() const { return *reinterpret_cast<shm_root *>(memory_.data()); }
    shm_port *first_port() const { return at<shm_port>(root().ports); }
    shm_port *port(int n) const
    {
        shm_port *port = first_port();
        while (port != nullptr && n-- > 1)
            port = at<shm_port>(port->next);
        return port;
    }
    shm_pdu *first_pdu(int port_ordinal = 1) const { return at<shm_pdu>(port(port_ordinal)->pdus); }
    shm_outlet *outlet(int number) const { return at<shm_outlet>(first_pdu()->outlets) + (number - 1); }

    std::vector<int> ids(const shm_port *port) const
    {
        std::vector<int> found;
        for (shm_pdu *pdu = at<shm_pdu>(port->pdus); pdu != nullptr; pdu = at<shm_pdu>(pdu->next))
            found.push_back(pdu->id);
        return found;
    }
    bool ready() const { return root().ready & shm_ready_bit; }

    std::unique_ptr<uint64_t[]> words_;
    std::span<std::byte> memory_;
    std::optional<status_image> image_;
};

static unit_status unit(int number, bool local = false)
{
    unit_status unit;
    unit.number = number;
    unit.local = local;
    unit.id = "unit" + std::to_string(number);
    return unit;
}

static outlet_status outlet_named(int number, const std::string &name)
{
    outlet_status outlet;
    outlet.number = number;
    outlet.name = name;
    return outlet;
}

static unit_status unit_with_outlets(int number, int outlets)
{
    unit_status made = unit(number, true);
    for (int i = 1; i <= outlets; i++)
        made.outlets.push_back(outlet_named(i, "o" + std::to_string(i)));
    return made;
}

static chain_status local_chain(std::vector<unit_status> units)
{
    return {{.number = 1, .name = "local", .device = "/dev/ttyS1", .units = std::move(units)}};
}

static void give(elecmon_status &status, uint32_t mask, int64_t value)
{
    for (size_t i = 0; i < value_count; i++)
        if (shm_values[i].mask == mask)
            status.values[i] = value;
    status.available |= mask;
}

// --- Numbers --------------------------------------------------------------------------------------------------------

TEST_F(ztd_image, local_unit_keeps_its_numbers_and_chained_units_move_to_the_port_behind)
{
    image_->publish(local_chain({unit(1, true), unit(2), unit(3)}));

    EXPECT_EQ(port(1)->id, 1);
    EXPECT_STREQ(port(1)->name, "local");
    EXPECT_EQ(ids(port(1)), std::vector({1}));
    EXPECT_EQ(port(2)->id, 2);
    EXPECT_STREQ(port(2)->name, "/dev/ttyS1");
    EXPECT_EQ(ids(port(2)), std::vector({1, 2}));
    EXPECT_EQ(port(2)->next, 0U);
}

TEST_F(ztd_image, port_of_another_name_is_one_up_and_its_units_one_down)
{
    image_->publish({{.number = 1, .name = "ttyS2", .device = {}, .units = {unit(1, true), unit(2)}}});

    EXPECT_EQ(port(1)->id, 2);
    EXPECT_STREQ(port(1)->name, "ttyS2");
    EXPECT_EQ(ids(port(1)), std::vector({0, 1}));
    EXPECT_EQ(port(1)->next, 0U);
}

TEST_F(ztd_image, name_and_id_of_a_record_belong_to_one_tree_port_only)
{
    image_->publish({{.number = 1, .name = "local", .device = {}, .units = {unit(1, true), unit(2)}},
                     {.number = 2, .name = "local", .device = {}, .units = {unit(1, true), unit(2)}},
                     {.number = 3, .name = "ttyS3", .device = {}, .units = {unit(1)}}});

    const std::pair<int, std::string> expected[] = {
        {1, "local"}, {2, "chain"}, {2, "local"}, {3, "chain"}, {4, "ttyS3"}};
    int n = 0;
    for (const auto &[id, name] : expected) {
        const shm_port *record = port(++n);
        ASSERT_NE(record, nullptr);
        EXPECT_EQ(record->id, id);
        EXPECT_EQ(record->name, name);
    }
    EXPECT_EQ(port(n)->next, 0U);
}

TEST_F(ztd_image, chain_behind_the_local_unit_is_never_named_local)
{
    image_->publish({{.number = 1, .name = "local", .device = "local", .units = {unit(1, true), unit(2)}}});

    EXPECT_STREQ(port(2)->name, "chain");
}

TEST_F(ztd_image, local_port_stays_while_its_unit_is_away)
{
    image_->publish(local_chain({unit(1, true), unit(2)}));
    image_->publish(local_chain({unit(2)}));

    EXPECT_EQ(port(1)->id, 1);
    EXPECT_EQ(port(1)->pdus, 0U);
    EXPECT_EQ(ids(port(2)), std::vector({1}));
}

TEST_F(ztd_image, number_beyond_a_byte_has_no_record)
{
    image_->publish({{.number = 1, .name = "far", .device = {}, .units = {unit(256), unit(257)}},
                     {.number = 255, .name = "farther", .device = {}, .units = {unit(1)}}});

    EXPECT_EQ(ids(port(1)), std::vector({255}));
    EXPECT_EQ(port(1)->next, 0U);
}

TEST_F(ztd_image, skipped_outlet_number_leaves_a_record_that_has_nothing)
{
    unit_status one = unit(1, true);
    one.outlets = {outlet_named(1, "first"), outlet_named(3, "third")};
    one.outlets[1].capabilities = shm_outlet_ctrl_status;
    image_->publish(local_chain({one}));

    EXPECT_EQ(first_pdu()->num_outlets, 3);
    EXPECT_EQ(outlet(2)->id, 2);
    EXPECT_STREQ(outlet(2)->name, "");
    EXPECT_EQ(outlet(2)->capabilities, 0U);
    EXPECT_EQ(outlet(3)->id, 3);
    EXPECT_STREQ(outlet(3)->name, "third");
}

TEST_F(ztd_image, phases_and_circuits_beyond_their_tables_are_left_out)
{
    unit_status one = unit(1, true);
    for (int i = 1; i <= 8; i++) {
        one.phases.push_back({.number = i, .sys_name = "P" + std::to_string(i), .values = {}});
        one.circuits.push_back({.number = i, .sys_name = "S" + std::to_string(i), .values = {}});
    }
    image_->publish(local_chain({one}));

    EXPECT_EQ(first_pdu()->num_phases, shm_phases_max);
    EXPECT_STREQ(first_pdu()->phases[2].sys_name, "P3");
    EXPECT_EQ(first_pdu()->num_circuits, shm_circuits_max);
    EXPECT_STREQ(first_pdu()->circuits[5].sys_name, "S6");
    EXPECT_EQ(first_pdu()->num_outlets, 0);
}

// --- Values ---------------------------------------------------------------------------------------------------------

TEST_F(ztd_image, unit_says_who_it_is)
{
    unit_status one = unit(1, true);
    one.id = "rack7";
    one.model = "ZT-8";
    one.model_code = 130;
    image_->publish(local_chain({one}));

    EXPECT_STREQ(first_pdu()->name, "rack7");
    EXPECT_STREQ(first_pdu()->model_text, "ZT-8");
    EXPECT_EQ(first_pdu()->model, 130);
}

TEST_F(ztd_image, each_value_lands_in_its_field_under_its_bit)
{
    unit_status one = unit(1, true);
    for (size_t i = 0; i < value_count; i++)
        give(one.values, shm_values[i].mask, 10 + static_cast<int64_t>(i));
    image_->publish(local_chain({one}));

    const elecmon_block &block = first_pdu()->block;
    EXPECT_EQ(block.available, 0x0dffffffU) << "all but the one that names no value";
    const auto *bytes = reinterpret_cast<const std::byte *>(&block);
    for (size_t i = 0; i < value_count; i++) {
        int64_t stored = 0;
        int32_t word = 0;
        switch (shm_values[i].rendering) {
        case shm_as_energy:
            memcpy(&stored, bytes + shm_values[i].offset, sizeof stored);
            break;
        case shm_as_tripped:
        case shm_as_fuse:
            stored = std::to_integer<uint8_t>(bytes[shm_values[i].offset]);
            break;
        default:
            memcpy(&word, bytes + shm_values[i].offset, sizeof word);
            stored = word;
        }
        EXPECT_EQ(stored, 10 + static_cast<int64_t>(i)) << shm_values[i].leaf;
    }
}

TEST_F(ztd_image, block_is_valid_where_any_value_is_there)
{
    unit_status one = unit_with_outlets(1, 2);
    one.phases = {{.number = 1, .sys_name = "P1", .values = {}}, {.number = 2, .sys_name = "P2", .values = {}}};
    one.circuits = one.phases;
    give(one.values, shm_mask_voltage, 2300);
    give(one.phases[0].values, shm_mask_current, 15);
    give(one.circuits[1].values, shm_mask_blown_fuse, 2);
    give(one.outlets[1].values, shm_mask_power, 1);
    image_->publish(local_chain({one}));

    const shm_pdu &pdu = *first_pdu();
    EXPECT_EQ(pdu.capabilities, shm_pdu_block_valid);
    EXPECT_EQ(pdu.phases[0].capabilities, shm_elem_block_valid);
    EXPECT_EQ(pdu.phases[1].capabilities, 0U);
    EXPECT_EQ(pdu.circuits[0].capabilities, 0U);
    EXPECT_EQ(pdu.circuits[1].capabilities, shm_elem_block_valid);
    EXPECT_EQ(outlet(1)->capabilities, 0U);
    EXPECT_EQ(outlet(2)->capabilities, shm_outlet_block_valid);
    EXPECT_EQ(pdu.phases[0].block.current, 15);
    EXPECT_EQ(pdu.circuits[1].block.blown_fuse, 2);
}

TEST_F(ztd_image, outlet_says_what_it_has_of_its_own)
{
    unit_status one = unit_with_outlets(1, 1);
    outlet_status &status = one.outlets[0];
    status.capabilities = shm_outlet_ctrl_status | shm_outlet_mod_status | shm_outlet_post_on | shm_outlet_post_off;
    status.ctrl_status = 4;
    status.mod_status = 9;
    status.post_on = 25;
    status.post_off = -1;
    status.sys_name = "O1";
    give(status.values, shm_mask_current, 7);
    image_->publish(local_chain({one}));

    EXPECT_EQ(outlet(1)->capabilities, 0x4b2U);
    EXPECT_EQ(outlet(1)->ctrl_status, 4);
    EXPECT_EQ(outlet(1)->mod_status, 9);
    EXPECT_EQ(outlet(1)->post_on, 25);
    EXPECT_EQ(outlet(1)->post_off, -1);
    EXPECT_STREQ(outlet(1)->sys_name, "O1");
}

TEST_F(ztd_image, value_that_goes_takes_its_bit_along)
{
    unit_status one = unit(1, true);
    give(one.values, shm_mask_voltage, 2300);
    give(one.values, shm_mask_current, 15);
    image_->publish(local_chain({one}));
    one.values = {};
    give(one.values, shm_mask_current, 16);
    image_->publish(local_chain({one}));

    EXPECT_EQ(first_pdu()->block.available, shm_mask_current);
    EXPECT_EQ(first_pdu()->block.current, 16);
    EXPECT_EQ(first_pdu()->block.voltage, 0);

    one.values = {};
    image_->publish(local_chain({one}));
    EXPECT_EQ(first_pdu()->block.available, 0U);
    EXPECT_EQ(first_pdu()->capabilities, 0U);
}

TEST_F(ztd_image, text_longer_than_its_field_is_cut_before_the_nul)
{
    unit_status one = unit_with_outlets(1, 1);
    one.id = std::string(60, 'i');
    one.model = std::string(60, 'm');
    one.outlets[0].name = std::string(60, 'n');
    one.outlets[0].sys_name = std::string(60, 's');
    one.phases = {{.number = 1, .sys_name = std::string(60, 'p'), .values = {}}};
    image_->publish(local_chain({one}));

    EXPECT_EQ(std::string(first_pdu()->name), std::string(46, 'i'));
    EXPECT_EQ(std::string(first_pdu()->model_text), std::string(15, 'm'));
    EXPECT_EQ(std::string(outlet(1)->name), std::string(32, 'n'));
    EXPECT_EQ(std::string(outlet(1)->sys_name), std::string(8, 's'));
    EXPECT_EQ(std::string(first_pdu()->phases[0].sys_name), std::string(10, 'p'));
}

TEST_F(ztd_image, shorter_text_leaves_nothing_of_the_longer_one)
{
    unit_status one = unit(1, true);
    one.id = "a-long-name";
    image_->publish(local_chain({one}));
    one.id = "b";
    image_->publish(local_chain({one}));

    for (char letter : std::span(first_pdu()->name).subspan(1))
        EXPECT_EQ(letter, '\0');
    EXPECT_EQ(first_pdu()->name[0], 'b');
}

// --- Life of the records --------------------------------------------------------------------------------------------

TEST_F(ztd_image, ready_byte_is_set_with_the_first_publication_and_its_other_bits_stay)
{
    root().ready = 0x81;
    image_.emplace(memory_);
    EXPECT_EQ(root().ready, 0x01);
    image_->publish(local_chain({unit(1, true)}));
    EXPECT_EQ(root().ready, 0x81);
    image_->withdraw();
    EXPECT_EQ(root().ready, 0x01);
}

TEST_F(ztd_image, nothing_is_linked_and_not_ready_where_the_chain_does_not_fit)
{
    make(sizeof(shm_root) + 0x40 + sizeof(shm_port) + sizeof(shm_pdu));

    EXPECT_THROW(image_->publish(local_chain({unit_with_outlets(1, 1)})), image_full);
    EXPECT_FALSE(ready());
    EXPECT_EQ(root().ports, 0U);
}

TEST_F(ztd_image, same_chain_again_takes_no_more_room)
{
    image_->publish(local_chain({unit_with_outlets(1, 8), unit(2)}));
    const size_t used = image_->used();
    for (int i = 0; i < 100; i++)
        image_->publish(local_chain({unit_with_outlets(1, 8), unit(2)}));
    EXPECT_EQ(image_->used(), used);
}

TEST_F(ztd_image, unit_that_vanishes_is_taken_out_and_still_leads_on)
{
    image_->publish(local_chain({unit(1, true), unit(2), unit(3)}));
    const shm_pdu *vanished = first_pdu(2);
    image_->publish(local_chain({unit(1, true), unit(3)}));

    EXPECT_EQ(ids(port(2)), std::vector({2}));
    EXPECT_STREQ(vanished->name, "unit2");
    ASSERT_NE(vanished->next, 0U);
    EXPECT_EQ(at<shm_pdu>(vanished->next)->id, 2);
}

TEST_F(ztd_image, unit_that_returns_gets_its_record_again)
{
    image_->publish(local_chain({unit(1, true), unit(2), unit(3)}));
    const size_t used = image_->used();
    const shm_pdu *second = first_pdu(2);
    image_->publish(local_chain({unit(1, true)}));
    EXPECT_EQ(ids(port(1)), std::vector({1}));
    EXPECT_EQ(port(1)->next, 0U);
    image_->publish(local_chain({unit(1, true), unit(2), unit(3)}));

    EXPECT_EQ(first_pdu(2), second);
    EXPECT_EQ(ids(port(2)), std::vector({1, 2}));
    EXPECT_EQ(image_->used(), used);
}

TEST_F(ztd_image, chain_without_ports_is_published_empty)
{
    image_->publish(local_chain({unit(1, true)}));
    image_->publish({});
    EXPECT_EQ(root().ports, 0U);
    EXPECT_TRUE(ready());
}

TEST_F(ztd_image, more_outlets_move_to_a_new_array_and_fewer_stay_in_it)
{
    image_->publish(local_chain({unit_with_outlets(1, 8)}));
    shm_outlet *first = outlet(1);
    image_->publish(local_chain({unit_with_outlets(1, 24)}));
    shm_outlet *second = outlet(1);
    EXPECT_NE(first, second);
    EXPECT_EQ(first_pdu()->num_outlets, 24);
    EXPECT_STREQ(outlet(24)->name, "o24");
    EXPECT_STREQ(first[7].name, "o8") << "who read the old array reads on";

    image_->publish(local_chain({unit_with_outlets(1, 2)}));
    EXPECT_EQ(outlet(1), second);
    EXPECT_EQ(first_pdu()->num_outlets, 2);
}

TEST_F(ztd_image, image_of_a_dead_daemon_is_taken_over_not_ready_and_kept_for_its_readers)
{
    image_->publish(local_chain({unit(1, true), unit(2)}));
    const size_t used = image_->used();
    const shm_port *old = first_port();
    EXPECT_EQ(status_image::owner(memory_), getpid());

    image_.emplace(memory_);
    EXPECT_FALSE(ready());
    EXPECT_EQ(image_->used(), used);
    EXPECT_EQ(first_port(), old);

    image_->publish(local_chain({unit(1, true)}));
    EXPECT_TRUE(ready());
    EXPECT_NE(first_port(), old);
    EXPECT_STREQ(old->name, "local");
    EXPECT_EQ(ids(old), std::vector({1}));
}

TEST_F(ztd_image, daemons_that_die_again_and_again_never_fill_the_memory)
{
    for (int deaths = 0; deaths < 300; deaths++) {
        const shm_port *old = deaths ? first_port() : nullptr;
        image_.emplace(memory_);
        ASSERT_NO_THROW(image_->publish(local_chain({unit(1, true), unit(2)}))) << deaths;
        ASSERT_NE(first_port(), old) << deaths;
        ASSERT_TRUE(old == nullptr || strcmp(old->name, "local") == 0) << "its readers read on";
    }
}

TEST_F(ztd_image, memory_that_was_more_than_half_full_is_begun_again_without_ports)
{
    make(sizeof(shm_root) + 0x40 + sizeof(shm_port) + sizeof(shm_pdu) + 0x80);
    image_->publish(local_chain({unit(1, true)}));
    image_.emplace(memory_);
    EXPECT_EQ(root().ports, 0U);
    image_->publish(local_chain({unit(1, true)}));
    EXPECT_EQ(ids(port(1)), std::vector({1}));
}

// The segment is open to everybody; the word lies behind the magic and the owner.
TEST_F(ztd_image, word_for_the_room_in_use_is_not_believed)
{
    uint32_t &used = *reinterpret_cast<uint32_t *>(memory_.data() + sizeof(shm_root) + 8);
    ASSERT_EQ(used, image_->used());
    for (uint32_t wrong : {0U, 1U, 0x1fU, 0xfffffff8U, 0xffffffffU, uint32_t(image_->used()) + 3}) {
        used = wrong;
        image_->publish(local_chain({unit(1, true)}));
        EXPECT_EQ(ids(port(1)), std::vector({1})) << wrong;
        used = wrong;
        image_.emplace(memory_);
        image_->publish(local_chain({unit(1, true)}));
        EXPECT_EQ(ids(port(1)), std::vector({1})) << wrong;
    }
}

TEST_F(ztd_image, memory_without_an_image_has_no_owner)
{
    const std::vector<std::byte> zeros(0x1000);
    EXPECT_EQ(status_image::owner(zeros), 0);
    EXPECT_EQ(status_image::owner(std::span(zeros).first(16)), 0);
}

// Walks as a reader does, without a lock, and says whether everything it met was whole.
static bool walk_is_sound(const std::byte *base, size_t size)
{
    const auto inside = [&](uint32_t address, size_t record) {
        return address >= shm_base_address && address - shm_base_address + record <= size;
    };
    const auto *root = reinterpret_cast<const volatile shm_root *>(base);
    int steps = 0;
    for (uint32_t port_at = root->ports; port_at != 0;) {
        if (!inside(port_at, sizeof(shm_port)) || ++steps > 10)
            return false;
        const auto *port = reinterpret_cast<const volatile shm_port *>(base + (port_at - shm_base_address));
        for (uint32_t pdu_at = port->pdus; pdu_at != 0;) {
            if (!inside(pdu_at, sizeof(shm_pdu)) || ++steps > 1000)
                return false;
            const auto *pdu = reinterpret_cast<const volatile shm_pdu *>(base + (pdu_at - shm_base_address));
            const uint8_t count = pdu->num_outlets;
            const uint32_t outlets = pdu->outlets;
            if (count > 0) {
                if (!inside(outlets, count * sizeof(shm_outlet)))
                    return false;
                const auto *array = reinterpret_cast<const volatile shm_outlet *>(base + (outlets - shm_base_address));
                if (array[count - 1].id != count || array[0].name[sizeof(shm_outlet::name) - 1] != '\0')
                    return false;
            }
            pdu_at = pdu->next;
        }
        port_at = port->next;
    }
    return true;
}

TEST_F(ztd_image, reader_that_walks_along_meets_whole_records_only)
{
    std::atomic<bool> published = false, done = false;
    bool sound = true;
    image_->publish(local_chain({unit_with_outlets(1, 1)}));
    std::thread reader([&] {
        published = true;
        while (sound && !done)
            sound = walk_is_sound(memory_.data(), memory_.size());
    });
    while (!published)
        std::this_thread::yield();
    for (int i = 0; i < 5000; i++) {
        std::vector<unit_status> units = {unit_with_outlets(1, 1 + i % 40)};
        for (int number = 2; number <= 6; number++)
            if ((i >> number) & 1)
                units.push_back(unit_with_outlets(number, 1 + (i + number) % 5));
        for (size_t n = 1; n < units.size(); n++)
            units[n].local = false;
        image_->publish(local_chain(std::move(units)));
    }
    done = true;
    reader.join();
    EXPECT_TRUE(sound);
}

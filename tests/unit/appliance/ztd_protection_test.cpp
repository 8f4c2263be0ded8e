// From the simulated chain to the segment: trips and fuses are published where a part has a protection or a fuse, with
// or without a meter beside it.

#include "appliance/ztd_ng/image.h"
#include "tests/unit/appliance/ztd_desk.h"

// A unit with everything and no meters, one with the unit's own protection only, and one with nothing.
static constexpr char guarded_chain[] = R"(
noise = false
[[port]]
name = "local"
[[port.unit]]
hwocp = ["unit", "phase", "outlet"]
fuse = 16
circuits = 2
outlets = 2
[[port.unit]]
hwocp = ["unit"]
circuits = 1
outlets = 1
[[port.unit]]
circuits = 1
outlets = 1
)";

struct ztd_protection : polled_desk {
    ztd_protection() : polled_desk(guarded_chain) {}

    void tell(const std::vector<std::string> &words)
    {
        pause();
        EXPECT_EQ(desk.ask(words), "+OK\r\n");
        run();
    }
};

TEST_F(ztd_protection, parts_say_which_protection_they_have)
{
    const std::vector<unit_status> &units = polled();
    EXPECT_EQ(units.at(0).values.available, shm_mask_hwocp);
    EXPECT_EQ(units[0].phases.at(0).values.available, shm_mask_hwocp);
    EXPECT_EQ(units[0].outlets.at(1).values.available, shm_mask_hwocp);
    EXPECT_EQ(units[0].circuits.at(0).values.available, shm_mask_blown_fuse);
    EXPECT_EQ(units.at(1).values.available, shm_mask_hwocp);
    EXPECT_EQ(units[1].phases.at(0).values.available, 0u);
    EXPECT_EQ(units[1].circuits.at(0).values.available, 0u);
    EXPECT_EQ(units.at(2).values.available, 0u);
}

TEST_F(ztd_protection, trips_and_blown_fuses_are_stored)
{
    tell({"desk", "hwocp", "trip", "1", "1", "outlet", "2"});
    tell({"desk", "hwocp", "trip", "1", "2"});
    tell({"desk", "fuse", "blow", "1", "1", "2"});
    const std::vector<unit_status> &units = polled();
    EXPECT_EQ(value_of(units.at(0).values, shm_mask_hwocp), 0);
    EXPECT_EQ(value_of(units[0].phases.at(0).values, shm_mask_hwocp), 0);
    EXPECT_EQ(value_of(units[0].outlets.at(0).values, shm_mask_hwocp), 0);
    EXPECT_EQ(value_of(units[0].outlets.at(1).values, shm_mask_hwocp), 1);
    EXPECT_EQ(value_of(units.at(1).values, shm_mask_hwocp), 1);
    EXPECT_EQ(value_of(units[0].circuits.at(0).values, shm_mask_blown_fuse), 1);
    EXPECT_EQ(value_of(units[0].circuits.at(1).values, shm_mask_blown_fuse), 2);
}

TEST_F(ztd_protection, reset_and_mended_fuse_are_stored)
{
    tell({"desk", "hwocp", "trip", "1", "1", "phase", "1"});
    tell({"desk", "fuse", "blow", "1", "1", "2"});
    EXPECT_EQ(value_of(polled().at(0).phases.at(0).values, shm_mask_hwocp), 1);
    tell({"admin", "power.port.1.pdu.1.hwocp.reset"});
    tell({"desk", "fuse", "mend", "1", "1", "2"});
    EXPECT_EQ(value_of(polled().at(0).phases.at(0).values, shm_mask_hwocp), 0);
    EXPECT_EQ(value_of(chain.at(0).units[0].circuits.at(1).values, shm_mask_blown_fuse), 1);
}

TEST_F(ztd_protection, block_is_valid_where_there_is_protection_and_nowhere_else)
{
    alignas(8) static std::byte memory[0x8000];
    std::fill(std::begin(memory), std::end(memory), std::byte{});
    auto at = [&](uint32_t address) { return memory + (address - shm_base_address); };
    tell({"desk", "hwocp", "trip", "1", "1"});
    polled();
    status_image image(memory);
    image.publish(chain);

    const auto *root = reinterpret_cast<const shm_root *>(memory);
    const auto *own_line = reinterpret_cast<const shm_port *>(at(root->ports));
    const auto *own = reinterpret_cast<const shm_pdu *>(at(own_line->pdus));
    EXPECT_TRUE(own->capabilities & shm_pdu_block_valid);
    EXPECT_EQ(own->block.hwocp, 1);
    EXPECT_TRUE(own->circuits[1].capabilities & shm_elem_block_valid);
    EXPECT_EQ(own->circuits[1].block.blown_fuse, 1);

    const auto *line = reinterpret_cast<const shm_port *>(at(own_line->next));
    const auto *guarded_only = reinterpret_cast<const shm_pdu *>(at(line->pdus));
    EXPECT_TRUE(guarded_only->capabilities & shm_pdu_block_valid);
    EXPECT_FALSE(guarded_only->circuits[0].capabilities & shm_elem_block_valid);
    const auto *bare = reinterpret_cast<const shm_pdu *>(at(guarded_only->next));
    EXPECT_FALSE(bare->capabilities & shm_pdu_block_valid);
}

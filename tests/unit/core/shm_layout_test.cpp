// The table of values in the segment: what daemon and reader agree on beyond the offsets, which the header itself
// asserts.

#include <bit>
#include <iterator>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "core/shm_layout.h"

TEST(shm_layout, every_value_has_one_bit_of_its_own)
{
    uint32_t seen = 0;
    for (const shm_value &value : shm_values) {
        EXPECT_TRUE(std::has_single_bit(value.mask)) << value.leaf;
        EXPECT_EQ(seen & value.mask, 0u) << value.leaf;
        seen |= value.mask;
    }
    EXPECT_EQ(std::size(shm_values), 27u);
    EXPECT_EQ(seen, 0x0dffffffu);
}

TEST(shm_layout, no_two_values_share_a_leaf_or_a_place)
{
    std::set<std::string> leaves;
    std::set<uint32_t> offsets;
    for (const shm_value &value : shm_values) {
        EXPECT_TRUE(leaves.insert(value.leaf).second) << value.leaf;
        EXPECT_TRUE(offsets.insert(value.offset).second) << value.leaf;
        EXPECT_LT(value.offset, sizeof(elecmon_block)) << value.leaf;
    }
}

TEST(shm_layout, masks_lie_at_their_places)
{
    struct {
        uint32_t mask, offset;
        const char *leaf;
    } const listed[] = {
        {0x00000010, 0x0c, "current"},
        {0x00000020, 0x10, "current-min"},
        {0x00000040, 0x14, "current-max"},
        {0x00000080, 0x18, "current-avg"},
        {0x00000001, 0x20, "current-alarm"},
        {0x00000002, 0x24, "current-warning"},
        {0x00000004, 0x28, "current-low"},
        {0x00000008, 0x2c, "current-lowcrit"},
        {0x00000100, 0x34, "voltage"},
        {0x00000200, 0x38, "voltage-min"},
        {0x00000400, 0x3c, "voltage-max"},
        {0x00000800, 0x40, "voltage-avg"},
        {0x00001000, 0x48, "voltage-type"},
        {0x00002000, 0x4c, "power"},
        {0x00004000, 0x50, "power-min"},
        {0x00008000, 0x54, "power-max"},
        {0x00010000, 0x58, "power-avg"},
        {0x00020000, 0x60, "power-type"},
        {0x00040000, 0x64, "power-factor"},
        {0x00080000, 0x68, "power-factor-min"},
        {0x00100000, 0x6c, "power-factor-max"},
        {0x00200000, 0x70, "power-factor-avg"},
        {0x00400000, 0x78, "power-factor-type"},
        {0x00800000, 0x80, "cumulative-watthour"},
        {0x01000000, 0x88, "cumulative-starttime"},
        {0x04000000, 0x8c, "hwocp"},
        {0x08000000, 0x8e, "blown-fuse"},
    };
    ASSERT_EQ(std::size(listed), std::size(shm_values));
    for (size_t i = 0; i < std::size(listed); i++) {
        EXPECT_EQ(shm_values[i].mask, listed[i].mask);
        EXPECT_EQ(shm_values[i].offset, listed[i].offset) << listed[i].leaf;
        EXPECT_STREQ(shm_values[i].leaf, listed[i].leaf);
    }
}

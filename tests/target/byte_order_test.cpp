// What the machine makes of the segment: bytes at offsets, as a program of any other origin would read them.

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <optional>
#include <vector>

#include "appliance/ztd_ng/image.h"

class byte_order : public testing::Test {
protected:
    static constexpr size_t size = 0x4000;

    void publish(const unit_status &unit)
    {
        image_->publish({{.number = 1, .name = "local", .device = "/dev/ttyS1", .units = {unit}}});
    }

    // The number in that many bytes, the highest first.
    uint64_t number_at(size_t offset, size_t bytes) const
    {
        uint64_t number = 0;
        for (size_t i = 0; i < bytes; i++)
            number = number << 8 | std::to_integer<uint64_t>(memory_[offset + i]);
        return number;
    }

    // Where the record is that a pointer at that offset leads to.
    size_t follow(size_t offset) const
    {
        const uint64_t address = number_at(offset, 4);
        EXPECT_GE(address, 0x3f000000U);
        EXPECT_LT(address, 0x3f000000U + size);
        return address < 0x3f000000U + size ? static_cast<size_t>(address - 0x3f000000U) : 0;
    }
    size_t unit_record() const { return follow(follow(0x1c0) + 0x04c); }

    std::unique_ptr<uint64_t[]> words_ = std::make_unique<uint64_t[]>(size / sizeof(uint64_t));
    std::span<std::byte> memory_{reinterpret_cast<std::byte *>(words_.get()), size};
    std::optional<status_image> image_{memory_};
};

static unit_status unit_with(uint32_t mask, int64_t value)
{
    unit_status unit;
    unit.number = 1;
    unit.local = true;
    unit.values.available = mask;
    for (size_t i = 0; i < value_count; i++)
        if (shm_values[i].mask == mask)
            unit.values.values[i] = value;
    return unit;
}

TEST_F(byte_order, pointers_have_their_highest_byte_first)
{
    publish(unit_with(0, 0));
    EXPECT_EQ(number_at(0x1c0, 1), 0x3fU);
    EXPECT_EQ(number_at(follow(0x1c0) + 0x04c, 1), 0x3fU);
    EXPECT_EQ(number_at(unit_record() + 0x004, 1), 1U) << "the unit's number";
}

TEST_F(byte_order, words_have_their_highest_byte_first)
{
    publish(unit_with(shm_mask_current, 0x01020304));
    EXPECT_EQ(number_at(unit_record() + 0x820 + 0x0c, 4), 0x01020304U);
    EXPECT_EQ(number_at(unit_record() + 0x820 + 0x08, 4), shm_mask_current);
    EXPECT_EQ(number_at(unit_record() + 0x044, 4), shm_pdu_block_valid);
}

TEST_F(byte_order, energy_has_the_highest_of_its_eight_bytes_first)
{
    publish(unit_with(shm_mask_cumulative_watthour, 0x0102030405060708));
    EXPECT_EQ(number_at(unit_record() + 0x820 + 0x80, 8), 0x0102030405060708U);
}

TEST_F(byte_order, start_of_counting_is_four_bytes)
{
    publish(unit_with(shm_mask_cumulative_starttime, 0x4f000001));
    EXPECT_EQ(number_at(unit_record() + 0x820 + 0x88, 4), 0x4f000001U);
    EXPECT_EQ(number_at(unit_record() + 0x820 + 0x8c, 4), 0U) << "what lies behind is another value";
}

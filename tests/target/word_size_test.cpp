// The machine that these tests were built for is the appliance's, and what the program relies on holds there.

#include <gtest/gtest.h>

#include <bit>
#include <sys/types.h>

#include "core/shm_layout.h"

TEST(word_size, machine_has_32_bits_and_the_highest_byte_first)
{
    EXPECT_EQ(std::endian::native, std::endian::big);
    EXPECT_EQ(sizeof(void *), 4U);
    EXPECT_EQ(sizeof(long), 4U);
    EXPECT_EQ(sizeof(size_t), 4U);
}

// Else `stat` fails on file systems that give their files long numbers.
TEST(word_size, numbers_and_sizes_of_files_have_64_bits)
{
    EXPECT_EQ(sizeof(ino_t), 8U);
    EXPECT_EQ(sizeof(off_t), 8U);
}

TEST(word_size, pointer_of_the_segment_is_a_pointer_of_the_machine)
{
    EXPECT_EQ(sizeof(shm_root::ports), sizeof(void *));
    EXPECT_EQ(alignof(shm_int64), 4U);
}

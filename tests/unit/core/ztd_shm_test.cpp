// Attaching the status segment and waiting for its daemon.

#include "core/ztd_shm.h"

#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/shm_layout.h"
#include "tests/fakes/fakes.h"

static const std::vector<int64_t> &sleeps()
{
    return wall_clock.sleeps();
}

static long count_events(const std::string &call)
{
    return std::ranges::count_if(events(), [&](const std::string &event) { return event.starts_with(call + " "); });
}

static void expect_attach(int result)
{
    uintptr_t slot = 0;
    EXPECT_EQ(shm_attach(&slot), result);
    EXPECT_EQ(slot, 0u);
    EXPECT_EQ(shm_usable(), -1);
    EXPECT_EQ(shm_wait_ready(), -1);
    EXPECT_TRUE(sleeps().empty());
    EXPECT_TRUE(log_records().empty());
}

// --- Attach --------------------------------------------------------------------------------------------------------

TEST(shm_attach, maps_the_segment_at_its_address_and_answers_its_id)
{
    uintptr_t slot = 0;
    segment.id = 99;
    EXPECT_EQ(shm_attach(&slot), 99);
    EXPECT_EQ(slot, 0x3f000000u);
}

TEST(shm_attach, asks_for_the_daemons_key_and_an_existing_segment)
{
    uintptr_t slot = 0;
    shm_attach(&slot);
    ASSERT_EQ(events().size(), 4u);
    EXPECT_EQ(events()[0], "ftok /bin/ztd_ng 42");
    EXPECT_TRUE(events()[1].starts_with("shmget 0x") && events()[1].ends_with(" 0 01666")) << events()[1];
    EXPECT_EQ(events()[2], "shmctl");
    EXPECT_EQ(events()[3], "shmat 0x3f000000 0");
}

TEST(shm_attach, finds_the_key_file_below_the_root)
{
    uintptr_t slot = 0;
    session.root = "/srv/appliance";
    shm_attach(&slot);
    ASSERT_FALSE(events().empty());
    EXPECT_EQ(events()[0], "ftok /srv/appliance/bin/ztd_ng 42");
}

TEST(shm_attach, does_nothing_where_the_slot_is_filled)
{
    uintptr_t slot = 0x3f000000;
    EXPECT_EQ(shm_attach(&slot), 0);
    EXPECT_TRUE(events().empty());
}

TEST(shm_attach, missing_key_file_is_minus_1)
{
    segment.key_file = false;
    expect_attach(-1);
}

TEST(shm_attach, root_too_long_for_the_key_file_is_minus_1)
{
    session.root = std::string(5000, 'r');
    expect_attach(-1);
}

TEST(shm_attach, missing_segment_is_minus_2)
{
    segment.exists = false;
    expect_attach(-2);
}

TEST(shm_attach, refused_mapping_is_minus_3)
{
    segment.attaches = false;
    expect_attach(-3);
}

TEST(shm_attach, mapping_elsewhere_is_minus_3)
{
    segment.elsewhere = true;
    expect_attach(-3);
}

TEST(shm_attach, segment_too_small_for_its_root_is_minus_3)
{
    segment.size = sizeof(shm_root) - 1;
    expect_attach(-3);
}

TEST(shm_attach, segment_of_a_root_alone_is_taken)
{
    segment.size = sizeof(shm_root);
    EXPECT_EQ(shm_usable(), 1);
    paramtype_int_list *ports = nullptr;
    EXPECT_EQ(list_int_port_shm(&ports), 0);
    EXPECT_EQ(ports, nullptr);
}

TEST(shm_usable, maps_once_and_keeps_the_mapping)
{
    EXPECT_EQ(shm_usable(), 1);
    EXPECT_EQ(shm_usable(), 0);
    EXPECT_EQ(shm_usable(), 0);
    EXPECT_EQ(count_events("shmat"), 1);
    EXPECT_EQ(count_events("shmdt"), 0);
}

TEST(shm_usable, tries_again_after_a_failure)
{
    segment.attaches = false;
    EXPECT_EQ(shm_usable(), -1);
    segment.attaches = true;
    EXPECT_EQ(shm_usable(), 1);
}

TEST(shm_usable, under_another_name_never_touches_the_segment)
{
    cli_own_name = 0;
    EXPECT_EQ(shm_usable(), -1);
    EXPECT_EQ(shm_wait_ready(), -1);
    EXPECT_TRUE(events().empty());
}

TEST(shm_usable, under_another_name_a_mapped_segment_is_no_use)
{
    EXPECT_EQ(shm_usable(), 1);
    cli_own_name = 0;
    EXPECT_EQ(shm_usable(), -1);
}

// --- Ready wait ----------------------------------------------------------------------------------------------------

TEST(shm_wait_ready, daemon_that_is_ready_gives_0_at_once)
{
    EXPECT_EQ(shm_wait_ready(), 0);
    EXPECT_TRUE(sleeps().empty());
}

TEST(shm_wait_ready, only_the_highest_bit_of_the_byte_means_ready)
{
    segment.root().ready = 0x7f;
    segment.ready_after = 1;
    EXPECT_EQ(shm_wait_ready(), 0);
    EXPECT_EQ(sleeps(), (std::vector<int64_t>{500000}));
}

TEST(shm_wait_ready, daemon_that_is_never_ready_gives_0_after_60_sleeps)
{
    segment.ready(false);
    EXPECT_EQ(shm_wait_ready(), 0);
    EXPECT_EQ(sleeps(), std::vector<int64_t>(60, 500000));
}

TEST(shm_wait_ready, daemon_that_turns_ready_at_the_last_test_gives_minus_1)
{
    segment.ready(false);
    segment.ready_after = 60;
    EXPECT_EQ(shm_wait_ready(), -1);
    EXPECT_EQ(sleeps().size(), 60u);
}

TEST(shm_wait_ready, daemon_that_turns_ready_one_test_earlier_gives_0)
{
    segment.ready(false);
    segment.ready_after = 59;
    EXPECT_EQ(shm_wait_ready(), 0);
    EXPECT_EQ(sleeps().size(), 59u);
}

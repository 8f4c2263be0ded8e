// The form of log records: a failure or notice in two, a debug line in one and in debug mode only.

#include "core/log.h"

#include <string>

#include <gtest/gtest.h>

#include "tests/fakes/fakes.h"

static std::string position(int line)
{
    return "(log_test.cpp:" + std::to_string(line) + ") ";
}

TEST(log, failure_is_position_then_message_at_level_4)
{
    int line = __LINE__ + 1;
    EXPECT_EQ(log_failure("Fail to get %s for %d@%d", "current", 2, 1), 1);
    ASSERT_EQ(log_records().size(), 2u);
    for (const log_record &record : log_records()) {
        EXPECT_EQ(record.level, 4);
        EXPECT_EQ(record.tag, "ZTCLI");
    }
    EXPECT_EQ(log_records()[0].message, position(line));
    EXPECT_EQ(log_records()[1].message, "Fail to get current for 2@1");
}

TEST(log, notice_is_position_then_message_at_level_6)
{
    int line = __LINE__ + 1;
    log_notice("Received upgrade command for PDUs %s", "1-2");
    ASSERT_EQ(log_records().size(), 2u);
    for (const log_record &record : log_records()) {
        EXPECT_EQ(record.level, 6);
        EXPECT_EQ(record.tag, "ZTCLI");
    }
    EXPECT_EQ(log_records()[0].message, position(line));
    EXPECT_EQ(log_records()[1].message, "Received upgrade command for PDUs 1-2");
}

TEST(log, debug_line_is_one_record_at_level_7)
{
    cli_debug = 1;
    int line = __LINE__ + 1;
    log_debug("val %f", 1.5);
    ASSERT_EQ(log_records().size(), 1u);
    EXPECT_EQ(log_records()[0].level, 7);
    EXPECT_EQ(log_records()[0].tag, "ZTCLI");
    EXPECT_EQ(log_records()[0].message, position(line) + "val 1.500000");
}

TEST(log, trace_line_has_a_tag_of_its_own)
{
    cli_debug = 1;
    int line = __LINE__ + 1;
    log_trace("RX [%s]", "on 1");
    ASSERT_EQ(log_records().size(), 1u);
    EXPECT_EQ(log_records()[0].tag, "CLITXRX");
    EXPECT_EQ(log_records()[0].message, position(line) + "RX [on 1]");
}

TEST(log, debug_and_trace_lines_are_written_in_debug_mode_only)
{
    log_debug("val %f", 1.5);
    log_trace("RX [%s]", "on 1");
    EXPECT_TRUE(log_records().empty());
}

TEST(log, text_from_outside_is_never_a_format)
{
    log_failure("Fail to get pdu from pdu name %s", "%n%s%d");
    EXPECT_LOGGED("Fail to get pdu from pdu name %n%s%d");
}

TEST(log, remark_is_written_like_a_failure)
{
    log_remark("using shm");
    EXPECT_EQ(log_texts(4), texts{"using shm"});
    EXPECT_EQ(log_records().size(), 2u);
}

TEST(log, takes_no_memory)
{
    cli_debug = 1;
    heap.fail_at(1);
    log_failure("Fail to get model for pdu %d@%d", 1, 1);
    log_debug("val %f", 1.5);
    EXPECT_FALSE(heap.failed());
    EXPECT_LOGGED("Fail to get model for pdu 1@1");
}

// The table of lines itself: it leaves out no row.

#include "tests/unit/shell/every_run.h"

using namespace every;

namespace {

constexpr int row_of_exit = command_row_count - 1;

TEST(every_line, hands_each_row_of_the_table_a_line)
{
    std::set<int> reached;
    for (const line_case &line : all_lines()) {
        reset();
        const small_chain chain(line.measured);
        if (line.dress)
            line.dress(chain);
        if (line.prepare)
            line.prepare();
        if (line.prepare == child_of_upgrade)
            continue; // its parent reaches the same row
        char *out = nullptr;
        run_rows_past_the_gate(line.line, &out, &reached);
        free(out);
    }
    reached.insert(row_of_exit); // below
    std::set<int> all;
    for (int row = 0; row < command_row_count; row++)
        all.insert(row);
    EXPECT_EQ(reached, all);
}

TEST(every_line, exit_needs_no_memory_and_no_exchange)
{
    ASSERT_STREQ(command_table[row_of_exit].pattern, "exit");
    answer("ver help"); // the segment is attached behind this
    tree.fail_exchange(1, refused);
    heap.fail_at(1);
    EXPECT_EXIT(answer("exit"), testing::ExitedWithCode(0), "");
}

} // namespace

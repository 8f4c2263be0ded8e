// Every line with each of the texts that it adds to its answer lost.

#include "tests/unit/shell/every_run.h"

using namespace every;

namespace {

// What the accumulator could not take in the last run, as the log has it.
std::string lost_text()
{
    static constexpr char before[] = "Fail to append ";
    for (const std::string &message : failures())
        if (const size_t end = message.rfind(" to accumulate string ");
            message.starts_with(before) && end != message.npos)
            return message.substr(strlen(before), end - strlen(before));
    return "nothing";
}

// The whole text but for one that was lost, wherever it stood.
bool is_without(const std::string &text, const std::string &whole, const std::string &lost)
{
    for (size_t at = whole.find(lost); at != whole.npos; at = whole.find(lost, at + 1))
        if (text == whole.substr(0, at) + whole.substr(at + lost.size()))
            return true;
    return false;
}

struct every_append : every_test {};

INSTANTIATE_TEST_SUITE_P(lines, every_append, testing::ValuesIn(all_runs()), title);

TEST_P(every_append, that_fails_loses_its_own_text_at_most)
{
    const whole_run whole = without_a_fault(run);
    const int count = whole.counts[nothing_appended];
    for (int n = 1; n <= count; n++) {
        SCOPED_TRACE(n);
        const outcome now = with(nothing_appended, n);
        EXPECT_TRUE(happened);
        EXPECT_EQ(ends_of_exchanges(), open_ends{});
        expect_true_deeds(run, whole, now);
        if (!is_without(now.text, whole.what.text, lost_text()))
            expect_true_words(run, whole, now);
        EXPECT_NE(now, whole.what);
    }
    EXPECT_EQ(with(nothing_appended, count + 1), whole.what);
    EXPECT_FALSE(happened);
}

} // namespace

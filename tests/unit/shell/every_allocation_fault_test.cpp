// Every line with each of its allocations failing.

#include "tests/unit/shell/every_run.h"

using namespace every;

namespace {

// Each of them, but under the sanitizers, which take minutes over that, some of each line's.
#ifdef __SANITIZE_ADDRESS__
constexpr int step = 7;
#else
constexpr int step = 1;
#endif

struct every_allocation : every_test {
    // Where memory is lacking in an exchange or for a text of the answer, the answer is the one without that exchange
    // or text.
    std::set<outcome> answers_without_one_thing(const whole_run &whole) const
    {
        std::set<outcome> answers = {whole.what};
        for (fault what : {exchange_refused, nothing_appended})
            for (int n = 1; n <= whole.counts[what]; n++)
                answers.insert(with(what, n));
        return answers;
    }
};

INSTANTIATE_TEST_SUITE_P(lines, every_allocation, testing::ValuesIn(all_runs()), title);

TEST_P(every_allocation, that_fails_is_given_back_and_answered_truly)
{
    const whole_run whole = without_a_fault(run);
    const int count = whole.counts[no_memory];
    const std::set<outcome> known = answers_without_one_thing(whole);
    for (int n = 1; n <= count; n += step) {
        SCOPED_TRACE(n);
        const outcome now = with(no_memory, n);
        EXPECT_TRUE(happened);
        const open_ends ends = ends_of_exchanges();
        EXPECT_EQ(ends.never_answered, 0);
        EXPECT_LE(ends.never_sent, 1);
        expect_true_deeds(run, whole, now);
        if (!known.contains(now))
            expect_true_words(run, whole, now);
    }
    EXPECT_EQ(with(no_memory, count + 1), whole.what);
    EXPECT_FALSE(happened);
}

} // namespace

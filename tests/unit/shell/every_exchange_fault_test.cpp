// Every line with each of its exchanges refused, dropped, or never begun.

#include "tests/unit/shell/every_run.h"

using namespace every;

namespace {

struct every_exchange : every_test {
    // What can't be listed counts as not there, an ID that is not found may be a number, and an element whose name
    // can't be read is not the one that is looked for.
    bool may_pass(const std::string &exchange) const
    {
        const auto begins = [&](const std::string &begin) { return exchange.starts_with(begin); };
        return begins("info power.pdu.") || begins("mlist ") || exchange.ends_with(".sys-name") ||
               std::any_of(run.line.passed.begin(), run.line.passed.end(), begins);
    }

    outcome expect_told(const whole_run &whole, fault what, int n) const
    {
        const std::string exchange = whole.exchanged[static_cast<size_t>(n) - 1];
        SCOPED_TRACE(std::string(fault_names[what]) + ": " + std::to_string(n) + " " + exchange);
        const outcome now = with(what, n);
        EXPECT_TRUE(happened);
        EXPECT_LOGGED(fault_traces[what]);
        EXPECT_EQ(ends_of_exchanges(), (open_ends{what == session_not_ready, what == exchange_dropped}));
        expect_true_words(run, whole, now);
        expect_true_deeds(run, whole, now);
        EXPECT_TRUE(now != whole.what || may_pass(exchange)) << "changed nothing";
        return now;
    }
};

INSTANTIATE_TEST_SUITE_P(lines, every_exchange, testing::ValuesIn(all_runs()), title);

TEST_P(every_exchange, that_fails_is_told_and_harms_nothing)
{
    const whole_run whole = without_a_fault(run);
    const int count = static_cast<int>(whole.exchanged.size());
    for (int n = 1; n <= count; n++) {
        const outcome refusal = expect_told(whole, exchange_refused, n);
        EXPECT_EQ(expect_told(whole, exchange_dropped, n), refusal) << n;
        EXPECT_EQ(expect_told(whole, session_not_ready, n), refusal) << n;
    }
    EXPECT_EQ(with(exchange_refused, count + 1), whole.what);
    EXPECT_FALSE(happened);
}

} // namespace

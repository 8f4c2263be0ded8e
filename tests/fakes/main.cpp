// Runs the tests on the fake platform, each from a fresh state.

#include <cstdlib>

#include "tests/fakes/fakes.h"

class fresh_state : public testing::EmptyTestEventListener {
    void OnTestStart(const testing::TestInfo &) override { fakes::reset(); }
    void OnTestEnd(const testing::TestInfo &) override { fakes::check_settled(); }
};

int main(int argc, char **argv)
{
    setenv("TZ", "UTC", 1); // dates are shown in local time
    testing::InitGoogleTest(&argc, argv);
    testing::UnitTest::GetInstance()->listeners().Append(new fresh_state);
    return RUN_ALL_TESTS();
}

// Starts of the program with one thing failing: its status and what it says are those that the step has for it.

#include <algorithm>
#include <ostream>

#include "shell/commands.h"
#include "tests/unit/shell/started.h"

using namespace started;

namespace {

// How a start ended.
struct start_end {
    int status;
    std::string answers;
    std::string log;
    bool operator==(const start_end &) const = default;
};

std::ostream &operator<<(std::ostream &out, const start_end &end)
{
    return out << end.status << ' ' << testing::PrintToString(end.answers) << ' ' << testing::PrintToString(end.log);
}

// A start with its n-th allocation failing, for all n and at last none: each end is one of `known`, and each of those
// is seen.
void expect_ends_without_memory(
    const texts &words, const std::vector<start_end> &known, const std::function<void()> &before = [] {})
{
    std::vector<bool> seen(known.size());
    bool starved = true;
    for (int n = 1; starved; n++) {
        const ended end = run({.words = words, .before = [&] {
                                   before();
                                   cli_free_args(); // a new process has no buffers yet
                                   heap.fail_at(n);
                               }});
        starved = end.starved;
        const start_end now = {end.status, end.answers, end.log};
        const auto found = std::find(known.begin(), known.end(), now);
        EXPECT_NE(found, known.end()) << n << ": " << now;
        if (found != known.end())
            seen[static_cast<size_t>(found - known.begin())] = true;
        EXPECT_EQ(end.out + end.err, "");
        ASSERT_LT(n, 200);
    }
    for (size_t at = 0; at < known.size(); at++)
        EXPECT_TRUE(seen[at]) << "never seen: " << known[at];
}

// What a command ends with whatever became of its memory before.
std::vector<start_end> ends_of_ver_help()
{
    const std::string usage = answer("ver help");
    forget(); // or the starts would inherit it
    return {{1, usage, ""},
            {1, "", "4 Fail to allocate the argument buffers\n"},
            {1, "", "4 Fail to copy the usage of ver help\n"}};
}

// --- Memory ----------------------------------------------------------------------------------------------------------

TEST(every_start_fault, prompt_comes_without_a_user_name_too)
{
    expect_ends_without_memory({"ztcli"}, {{1, "zt>", ""}});
}

TEST(every_start_fault, command_line_that_finds_no_memory_is_not_run)
{
    std::vector<start_end> known = ends_of_ver_help();
    known.push_back({1, "", "4 Cannot parse arguments\n"});
    expect_ends_without_memory({"ztcli", "ver", "help"}, known);
}

TEST(every_start_fault, session_command_that_finds_no_memory_is_not_run)
{
    std::vector<start_end> known = ends_of_ver_help();
    known.push_back({1, "", "4 Unable to convert CI command ver help\n"});
    known.push_back({1, "", "4 Cannot parse environment variables\n"});
    expect_ends_without_memory({"ztcli"}, known, [] { session.command = "ver help"; });
}

TEST(every_start_fault, group_that_finds_no_memory_is_no_group)
{
    expect_ends_without_memory({"other"},
                               {{0, "", ""}, {0, "", "4 Unable to send request to MORVD.\n"}, {1, "zt>", ""}}, [] {
                                   tree.list("authorization.group.name.admin.member", {"root", "operator"});
                               });
}

// --- The group check ------------------------------------------------------------------------------------------------

struct group_fault {
    const char *name;
    void (*strike)();
    const char *log;
};

std::ostream &operator<<(std::ostream &out, const group_fault &fault)
{
    return out << fault.name;
}

struct every_group_fault : testing::TestWithParam<group_fault> {};

INSTANTIATE_TEST_SUITE_P(faults, every_group_fault,
                         testing::Values(group_fault{"refused", [] { tree.fail_exchange(1, refused); },
                                                     "5 An error was encountered during the PSAPI request.\n"},
                                         group_fault{"dropped", [] { tree.fail_exchange(1, dropped); },
                                                     "4 Unable to send request to MORVD.\n"},
                                         group_fault{"not_ready", [] { tree.fail_ready(55, 1); },
                                                     "4 Unable to make TSAPI session ready for use.\n"}),
                         [](const auto &test) { return std::string(test.param.name); });

TEST_P(every_group_fault, ends_a_start_by_another_name_silently_with_status_0)
{
    const ended end = run({.words = {"other", "ver", "help"}, .before = [] {
                               tree.list("authorization.group.name.admin.member", {"operator"});
                               GetParam().strike();
                           }});
    EXPECT_EQ(end.status, 0);
    EXPECT_EQ(end.answers + end.out + end.err, "");
    EXPECT_EQ(end.log, GetParam().log);
    EXPECT_TRUE(end.events.ends_with("\ndestroy\n")) << end.events;
}

TEST_P(every_group_fault, is_no_fault_of_a_start_by_the_own_name)
{
    const ended end = run({.words = {"ztcli", "ver", "help"}, .before = [] { GetParam().strike(); }});
    EXPECT_EQ(end.status, 1);
    EXPECT_TRUE(end.answers.starts_with("Usage: ver")) << end.answers;
}

// --- The session and the login --------------------------------------------------------------------------------------

TEST(every_start_fault, session_that_does_not_open_is_named_by_its_cause)
{
    for (int cause : {1, 2, 13, 22, 110, -1}) {
        const ended end = run({.words = {"ztcli", "ver"}, .before = [=] {
                                   session.opens = false;
                                   session.open_errno = cause;
                               }});
        EXPECT_EQ(end.status, 1);
        EXPECT_EQ(end.log, "4 Fail to init CI, errno: " + std::to_string(cause) + "\n");
        EXPECT_EQ(end.answers + end.out + end.err, "");
        EXPECT_EQ(end.events, put_aside() + "init\n");
    }
}

TEST(every_start_fault, login_that_is_refused_or_lost_runs_nothing)
{
    for (int result : {-2, -15, 1, 5, 255}) {
        const ended end = run({.words = {"ztcli", "ver"}, .before = [=] { session.login_result = result; }});
        EXPECT_EQ(end.status, 0);
        EXPECT_EQ(end.log, "4 Fail to login to tsapi\n");
        EXPECT_EQ(end.answers + end.out + end.err, "");
        EXPECT_EQ(end.events.find("ready"), std::string::npos) << end.events;
        EXPECT_EQ(end.events.find("destroy"), std::string::npos) << "there is no handle to give back";
    }
}

} // namespace

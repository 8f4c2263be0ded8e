#include "ci.h"

#include <csignal>
#include <sys/stat.h>

#include "platform/standalone/session.h"
#include "support.h"

static int64_t clock_ms;

class session : public platform_test {
protected:
    static ci_session *open_session()
    {
        clock_ms = 1'000'000;
        ci_clock_ms = [] { return clock_ms; };
        return ci_init([](void *) { return 0; });
    }
};

TEST_F(session, carries_the_command)
{
    set("ZT_CI_COMMAND", "-c 'on 1'");
    ASSERT_TRUE(open_session());
    EXPECT_STREQ(open_session()->command, "-c 'on 1'");
}

TEST_F(session, without_a_command_carries_none)
{
    ASSERT_TRUE(open_session());
    EXPECT_EQ(open_session()->command, nullptr);
}

// --- The tap --------------------------------------------------------------------------------------------------------

class tap : public session {};

TEST_F(tap, takes_the_traffic_byte_for_byte)
{
    set("ZT_CI_DLA", root / "tap");
    ci_session *opened = open_session();
    for (const char *piece : {"zt>", "on 1", "\n", "", "1: Outlet turned on.\r\n\x01\xff"})
        EXPECT_NE(ci_dla(opened, piece), 0);
    EXPECT_EQ(content(root / "tap"), "zt>on 1\n1: Outlet turned on.\r\n\x01\xff");
}

TEST_F(tap, adds_behind_what_stands)
{
    std::ofstream(root / "tap") << "before ";
    set("ZT_CI_DLA", root / "tap");
    EXPECT_NE(ci_dla(open_session(), "after"), 0);
    EXPECT_EQ(content(root / "tap"), "before after");
}

TEST_F(tap, is_for_its_owner_alone)
{
    set("ZT_CI_DLA", root / "tap");
    EXPECT_NE(ci_dla(open_session(), "zt>"), 0);
    struct stat attributes;
    ASSERT_EQ(stat((root / "tap").c_str(), &attributes), 0);
    EXPECT_EQ(attributes.st_mode & 077, 0u);
}

TEST_F(tap, that_cannot_be_opened_fails)
{
    set("ZT_CI_DLA", root / "missing" / "tap");
    EXPECT_EQ(ci_dla(open_session(), "zt>"), 0);
}

TEST_F(tap, that_cannot_be_written_fails)
{
    set("ZT_CI_DLA", "/dev/full");
    EXPECT_EQ(ci_dla(open_session(), "zt>"), 0);
}

TEST_F(tap, that_could_not_be_opened_is_tried_again)
{
    set("ZT_CI_DLA", root / "later" / "tap");
    ci_session *opened = open_session();
    EXPECT_EQ(ci_dla(opened, "lost"), 0);
    std::filesystem::create_directory(root / "later");
    EXPECT_NE(ci_dla(opened, "kept"), 0);
    EXPECT_EQ(content(root / "later" / "tap"), "kept");
}

TEST_F(tap, succeeds_and_keeps_nothing_without_a_file)
{
    EXPECT_NE(ci_dla(open_session(), "zt>"), 0);
    EXPECT_TRUE(std::filesystem::is_empty(root));
}

// --- The time-out ---------------------------------------------------------------------------------------------------

class time_out : public session {
protected:
    void SetUp() override
    {
        session::SetUp();
        signals = 0;
        struct sigaction action = {};
        action.sa_handler = [](int signo) {
            signals = signals + 1;
            ci_flag_signal(signo, 1);
        };
        sigaction(SIGUSR1, &action, nullptr);
        ci_flag_signal(SIGUSR1, 0);
    }

    void TearDown() override
    {
        signal(SIGUSR1, SIG_DFL);
        session::TearDown();
    }

    static inline volatile int signals;
};

TEST_F(time_out, sends_signal_10_after_the_idle_seconds)
{
    set("ZT_CI_TIMEOUT", "3");
    ci_session *opened = open_session();
    clock_ms += 2'999;
    ci_check_modules(opened);
    EXPECT_EQ(signals, 0);
    clock_ms += 1;
    ci_check_modules(opened);
    EXPECT_EQ(signals, 1);
}

TEST_F(time_out, starts_anew_with_a_reset)
{
    set("ZT_CI_TIMEOUT", "3");
    ci_session *opened = open_session();
    clock_ms += 2'000;
    ci_reset_to(opened);
    clock_ms += 2'000;
    ci_check_modules(opened);
    EXPECT_EQ(signals, 0);
    clock_ms += 1'000;
    ci_check_modules(opened);
    EXPECT_EQ(signals, 1);
}

TEST_F(time_out, unset_never_comes)
{
    ci_session *opened = open_session();
    clock_ms += 1'000'000'000;
    ci_check_modules(opened);
    EXPECT_EQ(signals, 0);
}

TEST_F(time_out, that_is_no_positive_number_never_comes)
{
    for (const char *text : {"", "0", "-1", "+1", "1s", " 1", "1.5", "soon", "99999999999"}) {
        set("ZT_CI_TIMEOUT", text);
        ci_session *opened = open_session();
        clock_ms += 1'000'000'000'000;
        ci_check_modules(opened);
        EXPECT_EQ(signals, 0) << text;
    }
}

TEST_F(time_out, ends_the_session_through_exit_when_treated)
{
    set("ZT_CI_TIMEOUT", "1");
    ci_session *opened = open_session();
    EXPECT_EXIT(
        {
            atexit([] { fputs("exit handler ran\n", stderr); });
            clock_ms += 1'000;
            ci_check_modules(opened);
            ci_signal_treat();
        },
        testing::ExitedWithCode(1), "exit handler ran");
}

TEST_F(time_out, treating_ends_nothing_before_the_signal)
{
    set("ZT_CI_TIMEOUT", "1");
    open_session();
    EXPECT_EXIT(
        {
            ci_signal_treat();
            _exit(7);
        },
        testing::ExitedWithCode(7), "");
}

TEST_F(time_out, other_signals_end_nothing)
{
    open_session();
    EXPECT_EXIT(
        {
            for (int signo : {SIGHUP, SIGQUIT, SIGUSR2, SIGTERM})
                ci_flag_signal(signo, 1);
            ci_signal_treat();
            _exit(7);
        },
        testing::ExitedWithCode(7), "");
}

TEST_F(time_out, treating_is_asked_for_and_never_called_by_the_library)
{
    set("ZT_CI_TIMEOUT", "1");
    ci_session *opened = open_session();
    ci_set_sighandler([] { FAIL(); });
    clock_ms += 1'000;
    ci_check_modules(opened);
    EXPECT_EQ(signals, 1);
    ci_flag_signal(SIGUSR1, 0);
}

// --- Modules --------------------------------------------------------------------------------------------------------

class module_run : public session {
protected:
    void install(const std::string &name, const std::string &script)
    {
        const auto folder = root / "usr/libexec/ci";
        std::filesystem::create_directories(folder);
        std::ofstream(folder / name) << "#!/bin/sh\n" << script;
        std::filesystem::permissions(folder / name, std::filesystem::perms(0755));
    }

    static int run(const char *module, const char *function = "start", const char *arguments = "")
    {
        return ci_exec(open_session(), module, function, arguments);
    }
};

TEST_F(module_run, gets_function_and_arguments_as_one_word_each)
{
    install("probe", "printf '[%s]' \"$#\" \"$@\" > \"$ZT_ROOT/words\"\n");
    EXPECT_EQ(run("probe", "run this", "ls -l 'a b' \"$HOME\" `id` ; \\; * > /dev/null"), 0);
    EXPECT_EQ(content(root / "words"), "[2][run this][ls -l 'a b' \"$HOME\" `id` ; \\; * > /dev/null]");
}

TEST_F(module_run, gets_an_empty_argument_as_a_word)
{
    install("probe", "printf '[%s]' \"$#\" \"$@\" > \"$ZT_ROOT/words\"\n");
    EXPECT_EQ(run("probe", "start", ""), 0);
    EXPECT_EQ(content(root / "words"), "[2][start][]");
}

TEST_F(module_run, that_ends_with_0_succeeds)
{
    install("probe", "exit 0\n");
    EXPECT_EQ(run("probe"), 0);
}

TEST_F(module_run, that_ends_otherwise_fails)
{
    install("probe", "exit $1\n");
    for (const char *status : {"1", "7", "127", "255"})
        EXPECT_NE(run("probe", status), 0) << status;
}

TEST_F(module_run, that_is_killed_fails)
{
    install("probe", "kill -9 $$\n");
    EXPECT_NE(run("probe"), 0);
}

TEST_F(module_run, is_waited_for)
{
    install("probe", "read line < \"$ZT_ROOT/fifo\"; echo \"$line\" > \"$ZT_ROOT/words\"\n");
    ASSERT_EQ(mkfifo((root / "fifo").c_str(), 0600), 0);
    std::thread other([this] { std::ofstream(root / "fifo") << "go on\n"; });
    EXPECT_EQ(run("probe"), 0);
    EXPECT_EQ(content(root / "words"), "go on\n");
    other.join();
}

TEST_F(module_run, that_is_missing_fails)
{
    EXPECT_NE(run("missing"), 0);
}

TEST_F(module_run, that_is_not_executable_fails)
{
    install("probe", "exit 0\n");
    std::filesystem::permissions(root / "usr/libexec/ci/probe", std::filesystem::perms(0644));
    EXPECT_NE(run("probe"), 0);
}

TEST_F(module_run, name_is_one_path_component)
{
    install("probe", "echo ran > \"$ZT_ROOT/words\"\n");
    std::filesystem::create_directory(root / "usr/libexec/ci/sub");
    const std::string absolute = root / "usr/libexec/ci/probe";
    const std::string overlong(300, 'm');
    for (const char *name : {"", ".", "..", "../ci/probe", "./probe", "sub/../probe", "probe/", "/bin/true",
                             absolute.c_str(), overlong.c_str()})
        EXPECT_NE(run(name), 0) << name;
    EXPECT_NE(run(nullptr), 0);
    EXPECT_FALSE(std::filesystem::exists(root / "words"));
}

TEST_F(module_run, name_may_hold_what_a_shell_would_take_apart)
{
    install("a b;c", "exit 0\n");
    EXPECT_EQ(run("a b;c"), 0);
}

TEST_F(module_run, without_function_or_arguments_fails)
{
    install("probe", "exit 0\n");
    EXPECT_NE(run("probe", nullptr), 0);
    EXPECT_NE(run("probe", "start", nullptr), 0);
}

// A shell would put its own signals and users in order; a module that only prints its state does not.
class module_state : public module_run {
protected:
    void SetUp() override
    {
        module_run::SetUp();
        install("show", "");
        std::filesystem::remove(root / "usr/libexec/ci/show");
        std::filesystem::create_symlink("/bin/cat", root / "usr/libexec/ci/show");
    }

    // The lines of a module's status that begin with one of `keys`; `prepare` runs in the process that starts it.
    std::string state(const texts &keys, const std::function<void()> &prepare)
    {
        EXPECT_EQ(in_child([&] {
                      ASSERT_TRUE(freopen((root / "state").c_str(), "w", stdout));
                      prepare();
                      EXPECT_EQ(run("show", "/proc/self/status", "/dev/null"), 0);
                  }),
                  0);
        std::ifstream stream(root / "state");
        std::string shown;
        for (std::string line; std::getline(stream, line);) {
            for (const std::string &key : keys)
                shown += line.starts_with(key) ? line + "\n" : "";
        }
        return shown;
    }
};

TEST_F(module_state, has_no_signal_blocked_or_ignored)
{
    EXPECT_EQ(state({"SigBlk:", "SigIgn:"},
                    [] {
                        sigset_t all;
                        sigfillset(&all);
                        sigprocmask(SIG_BLOCK, &all, nullptr);
                        signal(SIGPIPE, SIG_IGN);
                        signal(SIGUSR2, SIG_IGN);
                    }),
              "SigBlk:\t0000000000000000\nSigIgn:\t0000000000000000\n");
}

TEST_F(module_state, has_the_real_user_for_good)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "skipped: needs root";
    EXPECT_EQ(state({"Uid:", "Gid:"},
                    [] {
                        ASSERT_EQ(setresgid(4711, 0, 0), 0);
                        ASSERT_EQ(setresuid(4712, 0, 0), 0); // as a set-user-ID program that has not yet stepped down
                    }),
              "Uid:\t4712\t4712\t4712\t4712\nGid:\t4711\t4711\t4711\t4711\n");
}

TEST_F(module_run, inherits_no_tap)
{
    set("ZT_CI_DLA", root / "tap");
    install("probe", "ls -l /proc/self/fd | grep -c /tap > \"$ZT_ROOT/words\"\nexit 0\n");
    ci_session *opened = open_session();
    EXPECT_NE(ci_dla(opened, "zt>"), 0);
    EXPECT_EQ(ci_exec(opened, "probe", "start", ""), 0);
    EXPECT_EQ(content(root / "words"), "0\n");
}

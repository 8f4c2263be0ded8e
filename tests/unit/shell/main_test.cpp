// Starts of the whole program, each in a process of its own: the order of its steps, its ends and their status.

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <functional>
#include <sys/resource.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <readline/readline.h>

#include "tests/unit/shell/started.h"

using namespace started;

namespace {

constexpr char banner[] = "ZTCLI 0.1 (2011-07-22T13:17-0700)\n";
constexpr char usage[] = "Usage: ztcli [command]\nOptions:\n-h\t\tHelp (this message).\n-d\t\tDebug mode.\n"
                         "-V\t\tShow CLI version.\n";

void admin_group(const texts &names)
{
    tree.list("authorization.group.name.admin.member", names);
}

} // namespace

// --- Order ----------------------------------------------------------------------------------------------------------

TEST(ztcli, steps_come_in_their_order)
{
    const ended end = run({});
    EXPECT_EQ(end.events, put_aside() + "init\nset_sighandler\nseteuid 0\nlogin\n" + put_aside() + "destroy\n");
    EXPECT_EQ(end.log, "");
    EXPECT_EQ(end.status, 1);
}

TEST(ztcli, group_check_comes_behind_the_login)
{
    const ended end = run({.words = {"other"}, .before = [] { admin_group({"operator"}); }});
    EXPECT_EQ(end.events, put_aside() + "init\nset_sighandler\nseteuid 0\nlogin\n" + put_aside() +
                              "ready\nsend list authorization.group.name.admin.member\nidle\nrelease\ndestroy\n");
    EXPECT_EQ(end.status, 1);
    EXPECT_EQ(end.answers, "zt>");
}

TEST(ztcli, start_and_end_are_traced_in_debug_mode)
{
    const ended end = run({.words = {"ztcli", "-d", "foo"}});
    EXPECT_TRUE(end.debug.starts_with("Command line foo\nCommand line: foo\nSignal handlers set.\n")) << end.debug;
    EXPECT_TRUE(end.debug.ends_with("got EOF\nZTCLI atexit\n")) << end.debug;
}

TEST(ztcli, trace_of_main_itself_needs_debug_mode_before_the_start)
{
    const ended end = run({.before = [] { cli_debug = 1; }});
    EXPECT_TRUE(end.debug.starts_with("ztcli main...ztcli\n")) << end.debug;
}

// --- Names ----------------------------------------------------------------------------------------------------------

TEST(ztcli, own_name_needs_no_group)
{
    for (const char *name : {"ztcli", "-ztcli", "/usr/bin/ztcli", "./ztcli", "-/usr/bin/ztcli", "a/b//ztcli"}) {
        const ended end = run({.words = {name, "foo"}});
        EXPECT_EQ(end.answers, failure_text) << name;
        EXPECT_EQ(end.events.find("group"), std::string::npos) << name;
    }
}

TEST(ztcli, other_names_need_the_group_and_end_silently_with_status_0)
{
    for (const char *name : {"ztcli2", "ztcl", "--ztcli", "/ztcli/", "/usr/bin/-ztcli", "ZTCLI", ""}) {
        const ended end = run({.words = {name, "foo"}, .before = [] { admin_group({"root"}); }});
        EXPECT_EQ(end.status, 0) << name;
        EXPECT_EQ(end.answers + end.out + end.err + end.log, "") << name;
    }
}

TEST(ztcli, start_without_any_word_has_no_name_of_its_own)
{
    const ended end = run({.words = {}, .before = [] {
                               admin_group({"root"});
                               cli_debug = 1;
                           }});
    EXPECT_EQ(end.status, 0);
    EXPECT_EQ(end.answers + end.out + end.err + end.log, "");
}

TEST(ztcli, other_name_without_a_user_name_ends_without_asking_the_tree)
{
    const ended end = run({.words = {"other"}, .before = [] { session.user = std::nullopt; }});
    EXPECT_EQ(end.status, 0);
    EXPECT_EQ(end.events.find("group"), std::string::npos);
}

TEST(ztcli, other_name_with_the_group_stops_every_command_at_the_gate)
{
    const ended end = run({.words = {"other"}, .input = "ver help\nalarm help\n", .before = [] {
                               admin_group({"root", "operator"});
                           }});
    EXPECT_EQ(end.answers, std::string("zt>ver help\n") + failure_text + "zt>alarm help\nCommand not recognized\nzt>");
}

// --- Ends -----------------------------------------------------------------------------------------------------------

TEST(ztcli, session_that_does_not_open_ends_with_status_1_and_nothing_to_undo)
{
    const ended end = run({.before = [] {
        session.opens = false;
        session.open_errno = 13;
    }});
    EXPECT_EQ(end.status, 1);
    EXPECT_EQ(end.log, "4 Fail to init CI, errno: 13\n");
    EXPECT_EQ(end.events, put_aside() + "init\n");
}

TEST(ztcli, session_that_does_not_open_without_a_cause_has_words_too)
{
    const ended end = run({.before = [] { session.opens = false; }});
    EXPECT_EQ(end.status, 1);
    EXPECT_EQ(end.log, "4 CLI_UNABLE_LINK_TO_CI\n");
}

TEST(ztcli, session_without_id_ends_with_status_1)
{
    const ended end = run({.before = [] { session.sid = 0; }});
    EXPECT_EQ(end.status, 1);
    EXPECT_EQ(end.log, "4 Could not find the session id.\n");
    EXPECT_EQ(end.events, put_aside() + "init\n");
}

TEST(ztcli, failed_login_gives_root_back_and_ends_with_status_0)
{
    const ended end = run({.before = [] { session.login_result = 5; }});
    EXPECT_EQ(end.status, 0);
    EXPECT_EQ(end.log, "4 Fail to login to tsapi\n");
    EXPECT_EQ(end.events, put_aside() + "init\nset_sighandler\nseteuid 0\nlogin\n" + put_aside());
    EXPECT_EQ(end.answers, "");
}

TEST(ztcli, program_that_cannot_put_root_aside_does_not_start)
{
    const ended end = run({.words = {"ztcli", "foo"}, .before = [] { session.seteuid_result = -1; }});
    EXPECT_EQ(end.status, 1);
    EXPECT_EQ(end.events, put_aside());
    EXPECT_EQ(end.answers, "");
}

TEST(ztcli, program_that_cannot_give_root_back_does_not_go_on)
{
    const ended end = run({.words = {"ztcli", "foo"}, .before = [] {
                               session.seteuid_result = -1;
                               session.seteuids_before = 2; // at the start, and to log in
                           }});
    EXPECT_EQ(end.status, 0);
    EXPECT_TRUE(end.events.find("login\n" + put_aside()) != std::string::npos) << end.events;
    EXPECT_EQ(end.answers, "");
}

TEST(ztcli, end_of_input_ends_with_status_1)
{
    const ended end = run({});
    EXPECT_EQ(end.status, 1);
    EXPECT_EQ(end.answers, "zt>");
}

TEST(ztcli, exit_ends_with_status_0_through_the_exit_handler)
{
    const ended typed = run({.input = "exit\nfoo\n"});
    EXPECT_EQ(typed.status, 0);
    EXPECT_EQ(typed.answers, "zt>exit\n");
    EXPECT_TRUE(typed.events.ends_with("destroy\n")) << typed.events;
    EXPECT_EQ(run({.words = {"ztcli", "exit"}}).status, 0);
}

TEST(ztcli, exit_with_a_word_behind_it_does_not_end)
{
    const ended end = run({.input = "exit now\n"});
    EXPECT_EQ(end.status, 1);
    EXPECT_EQ(end.answers, std::string("zt>exit now\n") + failure_text + "zt>");
}

TEST(ztcli, terminate_ends_with_status_1_through_the_exit_handler)
{
    const ended end = run({.input = "foo\n", .before = [] { rl_pre_input_hook = [] { return raise(SIGTERM); }; }});
    EXPECT_EQ(end.status, 1);
    EXPECT_EQ(end.answers, "zt>");
    EXPECT_NE(end.events.find("flag_signal 15 1\n"), std::string::npos) << end.events;
    EXPECT_TRUE(end.events.ends_with("\ndestroy\n")) << end.events;
}

TEST(ztcli, interrupt_is_blocked)
{
    const ended end = run({.input = "foo\n", .before = [] { rl_pre_input_hook = [] { return raise(SIGINT); }; }});
    EXPECT_EQ(end.status, 1);
    EXPECT_EQ(end.answers, std::string("zt>foo\n") + failure_text + "zt>");
}

TEST(ztcli, signal_12_at_the_prompt_brings_debug_mode_and_the_prompt_stays)
{
    const ended end = run({.input = "foo\nbar\n", .before = [] {
                               rl_pre_input_hook = [] {
                                   rl_pre_input_hook = nullptr;
                                   return raise(SIGUSR2);
                               };
                           }});
    EXPECT_EQ(end.status, 1);
    EXPECT_TRUE(end.answers.starts_with(std::string("zt>bar\n") + failure_text + "bar: Command spent "))
        << "the line in hand is dropped, the prompt is not drawn again: " << end.answers;
}

// --- Commands from outside ------------------------------------------------------------------------------------------

TEST(ztcli, command_line_runs_once_without_prompt_and_ends_with_status_1)
{
    const ended end = run({.words = {"ztcli", "ver", "help"}, .input = "foo\n"});
    EXPECT_TRUE(end.answers.starts_with("Usage: ver")) << end.answers;
    EXPECT_EQ(end.answers.find("zt>"), std::string::npos);
    EXPECT_EQ(end.tap, "zt>ver help\n" + end.answers) << "the prompt goes to the tap";
    EXPECT_EQ(end.status, 1);
}

TEST(ztcli, command_line_is_one_command_with_its_semicolon)
{
    EXPECT_EQ(run({.words = {"ztcli", "on 1; off 2"}}).answers, failure_text);
}

TEST(ztcli, session_command_runs_in_place_of_the_command_line)
{
    const ended end = run({.words = {"ztcli", "-V"}, .before = [] { session.command = "ver help"; }});
    EXPECT_TRUE(end.answers.starts_with("Usage: ver")) << end.answers;
    EXPECT_EQ(end.out, "");
    EXPECT_EQ(end.status, 1);
}

TEST(ztcli, session_command_keeps_its_quote_marks_and_so_matches_no_row)
{
    EXPECT_EQ(run({.before = [] { session.command = "-c 'ver help'"; }}).answers, failure_text);
}

TEST(ztcli, session_command_may_hold_options)
{
    const ended end = run({.before = [] { session.command = "-d foo"; }});
    EXPECT_NE(end.answers.find("foo: Command spent "), std::string::npos) << end.answers;
}

TEST(ztcli, session_command_that_cannot_be_converted_ends_with_status_1)
{
    const ended end = run({.before = [] { session.command = "'on 1"; }});
    EXPECT_EQ(end.status, 1);
    EXPECT_EQ(end.log, "4 Unable to convert CI command 'on 1\n");
    EXPECT_EQ(end.events, put_aside() + "init\n");
}

TEST(ztcli, session_command_of_32_words_ends_with_status_1)
{
    const ended end = run({.before = [] {
        session.command = "a";
        for (int i = 1; i < 32; i++)
            *session.command += " a";
    }});
    EXPECT_EQ(end.status, 1);
    EXPECT_TRUE(end.log.starts_with("4 Unable to convert CI command a a")) << end.log;
}

TEST(ztcli, session_command_with_a_wrong_option_ends_with_status_1)
{
    const ended end = run({.before = [] { session.command = "-x"; }});
    EXPECT_EQ(end.status, 1);
    EXPECT_EQ(end.log, "4 Cannot parse environment variables\n");
}

TEST(ztcli, empty_session_command_leaves_the_prompt)
{
    EXPECT_EQ(run({.words = {"ztcli", "foo"}, .before = [] { session.command = ""; }}).answers, "zt>");
}

// --- Options that end -----------------------------------------------------------------------------------------------

TEST(ztcli, version_goes_to_stdout_and_ends_with_status_1)
{
    const ended end = run({.words = {"ztcli", "-V"}});
    EXPECT_EQ(end.out, banner);
    EXPECT_EQ(end.err, "");
    EXPECT_EQ(end.log, "4 Cannot parse arguments\n");
    EXPECT_EQ(end.status, 1);
}

TEST(ztcli, help_goes_to_stderr_behind_the_banner_and_ends_with_status_1)
{
    for (const char *option : {"-h", "-?"}) {
        const ended end = run({.words = {"ztcli", option}});
        EXPECT_EQ(end.out, banner) << option;
        EXPECT_EQ(end.err, usage) << option;
        EXPECT_EQ(end.status, 1) << option;
    }
}

TEST(ztcli, unknown_option_is_named_and_gets_the_usage)
{
    const ended end = run({.words = {"ztcli", "-x"}});
    EXPECT_EQ(end.out, banner);
    EXPECT_EQ(end.err, std::string("ztcli: invalid option -- 'x'\n") + usage);
    EXPECT_EQ(end.status, 1);
}

TEST(ztcli, option_without_its_text_is_named_and_gets_the_usage)
{
    const ended end = run({.words = {"ztcli", "-c"}});
    EXPECT_EQ(end.err, std::string("ztcli: option requires an argument -- 'c'\n") + usage);
    EXPECT_EQ(end.status, 1);
}

// --- Descriptors ----------------------------------------------------------------------------------------------------

TEST(ztcli, closed_stdin_is_the_end_of_input)
{
    const ended end = run({.input = "foo\n", .before = [] { close(STDIN_FILENO); }});
    EXPECT_EQ(end.status, 1);
    EXPECT_EQ(end.answers, "zt>");
}

TEST(ztcli, closed_stream_that_nothing_can_be_put_in_ends_the_start)
{
    const ended end = run({.words = {"ztcli", "foo"}, .before = [] {
                               close(STDIN_FILENO);
                               const rlimit three = {3, 3}; // one is free, and a pipe has two ends
                               setrlimit(RLIMIT_NOFILE, &three);
                           }});
    EXPECT_EQ(end.status, 1);
    EXPECT_EQ(end.answers, "");
    EXPECT_EQ(end.events.find("init"), std::string::npos) << end.events;
}

TEST(ztcli, closed_standard_streams_are_not_given_to_what_is_opened_later)
{
    const ended end = run({.words = {"ztcli", "foo"}, .before = [] {
                               for (int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
                                   close(stream);
                               session.on_signal_treat = [] { _exit(dup(report_number) > STDERR_FILENO ? 7 : 8); };
                               rl_startup_hook = nullptr;
                               cli_signal_pending = 1; // has the hook above called once the loop begins
                           }});
    EXPECT_EQ(end.status, 7);
}

TEST(ztcli, closed_standard_streams_that_cannot_be_held_end_the_start)
{
    for (const rlim_t most : {rlim_t{0}, rlim_t{2}, rlim_t{3}}) { // where 3 are allowed there is none for a pipe
        const ended end = run({.words = {"ztcli", "foo"}, .before = [&] {
                                   close(STDERR_FILENO);
                                   const rlimit limit = {most, most};
                                   setrlimit(RLIMIT_NOFILE, &limit);
                               }});
        EXPECT_EQ(end.status, 1) << most;
        EXPECT_EQ(end.events + end.answers, "") << most;
    }
}

// --- Children -------------------------------------------------------------------------------------------------------

TEST(ztcli, ends_of_children_are_seen_whatever_the_caller_ignores)
{
    const ended end = run({.before = [] {
        signal(SIGCHLD, SIG_IGN);
        session.on_signal_treat = [] { _exit(signal(SIGCHLD, SIG_DFL) == SIG_DFL ? 7 : 8); };
        cli_signal_pending = 1; // has the hook above called once the loop begins
    }});
    EXPECT_EQ(end.status, 7);
}

// --- Terminal -------------------------------------------------------------------------------------------------------

class terminal : public testing::Test {
protected:
    void SetUp() override
    {
        master = posix_openpt(O_RDWR | O_NOCTTY);
        ASSERT_EQ(grantpt(master), 0);
        ASSERT_EQ(unlockpt(master), 0);
        slave = open(ptsname(master), O_RDWR | O_NOCTTY);
        ASSERT_GE(slave, 0);
    }
    void TearDown() override
    {
        close(slave);
        close(master);
    }
    tcflag_t local_flags() const
    {
        termios now = {};
        tcgetattr(slave, &now);
        return now.c_lflag;
    }

    int master = -1, slave = -1;
};

static void stop_echo()
{
    termios now;
    tcgetattr(STDIN_FILENO, &now);
    now.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    tcsetattr(STDIN_FILENO, TCSANOW, &now);
}

TEST_F(terminal, attributes_are_put_back_at_the_end)
{
    const tcflag_t before = local_flags();
    ASSERT_TRUE(before & ECHO);
    const ended end = run({.words = {"ztcli", "exit"},
                           .before =
                               [] {
                                   session.on_signal_treat = stop_echo;
                                   cli_signal_pending = 1;
                               }},
                          slave);
    EXPECT_EQ(end.status, 0);
    EXPECT_EQ(local_flags(), before);
}

TEST_F(terminal, changed_attributes_stay_where_stdin_was_no_terminal)
{
    const ended end = run({.words = {"ztcli", "exit"}, .before = [this] {
                               const int number = dup(slave);
                               session.on_signal_treat = [number] {
                                   dup2(number, STDIN_FILENO);
                                   stop_echo();
                               };
                               cli_signal_pending = 1;
                           }});
    EXPECT_EQ(end.status, 0);
    EXPECT_FALSE(local_flags() & ECHO);
}

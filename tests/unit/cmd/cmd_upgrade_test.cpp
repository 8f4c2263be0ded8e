// New firmware: what the parent, its child and the child's child do, and in which order.

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include <sys/wait.h>
#include <unistd.h>

#include "cmd/cmd_upgrade.h"
#include "tests/fakes/fakes.h"
#include "tests/fakes/processes.h"

namespace {

constexpr char download_line[] = "Downloading image. Please send file in 10 seconds.\n";
constexpr char own_line[] = "IPDU #1: Upgrading firmware... ";
constexpr char receive[] = "system /usr/bin/rz -q -b -r </dev/ttyS0 >/dev/ttyS0";
constexpr char check[] = "system /sbin/checkImage /tmp/ztfirmware > /dev/null 2>&1";
constexpr char write_program[] = "execve /sbin/flashImage [flashImage] [-U admin] [/tmp/ztfirmware] | "
                                 "[PATH=/bin:/sbin:/usr/bin:/usr/sbin]";
constexpr char refusal[] = "Command failed.\n";

struct upgrade : testing::Test {
    fake_chain chain;

    upgrade()
    {
        for (int unit = 1; unit <= 4; unit++)
            chain.unit().serve("upgrade", "");
        answer("upgrade"); // the segment is attached behind this
        sigprocmask(SIG_BLOCK, nullptr, &mask);
    }
    ~upgrade() override { sigprocmask(SIG_SETMASK, &mask, nullptr); } // the writer blocks all signals for good

    sigset_t mask;
};

// The events without those of the exchanges and the tap.
texts steps()
{
    texts all;
    for (const std::string &event : events())
        if (!event.starts_with("send ") && !event.starts_with("tap ") && event != "ready" && event != "idle" &&
            event != "release")
            all.push_back(event);
    return all;
}

texts sent()
{
    texts all;
    for (const std::string &exchange : exchanges())
        if (exchange.starts_with("admin "))
            all.push_back(exchange);
    return all;
}

// A root of its own with a place for the image.
struct own_root {
    std::filesystem::path path;
    std::filesystem::path image;

    own_root()
    {
        std::string name = testing::TempDir() + "upgradeXXXXXX";
        path = mkdtemp(name.data());
        image = path / "tmp/ztfirmware";
        std::filesystem::create_directory(path / "tmp");
        session.root = path.string();
    }
    ~own_root() { std::filesystem::remove_all(path); }
    own_root(const own_root &) = delete;
    own_root &operator=(const own_root &) = delete;

    void receive_image(size_t size = 1) const { std::ofstream(image) << std::string(size, 'f'); }
    bool has_image() const { return std::filesystem::exists(image); }
};

// --- With a file: the daemon alone ----------------------------------------------------------------------------------

TEST_F(upgrade, with_a_file_the_daemon_gets_the_list_as_it_was_typed)
{
    EXPECT_EQ(answer("upgrade 1-2 somefile"), "IPDU #1: Upgrading firmware... IPDU #2: Upgrading firmware... Done.\n");
    EXPECT_EQ(sent(), (texts{"admin power.port.1.upgrade 1-2"}));
    EXPECT_EQ(steps(), texts{});
    EXPECT_EQ(last_result(), 0);
}

TEST_F(upgrade, each_unit_is_shown_as_soon_as_it_is_dealt_with)
{
    answer("upgrade 3,1 somefile");
    EXPECT_EQ(session.tap, (texts{"IPDU #1: Upgrading firmware... ", "IPDU #3: Upgrading firmware... ", "Done.\n"}));
}

TEST_F(upgrade, all_units_are_checked_before_the_first_is_shown)
{
    chain.at(3).without("upgrade");
    EXPECT_EQ(answer("upgrade 2-4 x"), "IPDU 3: Unsupported command.\n");
    EXPECT_EQ(session.tap.size(), 1U);
    EXPECT_EQ(sent(), texts{});
    const texts said = failures();
    EXPECT_EQ(said.back(), "Node upgrade unavailable for 3@1");
    EXPECT_EQ(call(cmd_upgrade_file, {"2-4", "x"}).result, 1);
}

TEST_F(upgrade, unknown_unit_is_no_such_ipdu)
{
    EXPECT_EQ(answer("upgrade 9 x"), no_such_ipdu);
    EXPECT_EQ(answer("upgrade 1,9 x"), no_such_ipdu);
    EXPECT_EQ(sent(), texts{});
}

TEST_F(upgrade, id_stands_for_a_list_of_one)
{
    EXPECT_EQ(answer("upgrade unit2 x"), "IPDU #2: Upgrading firmware... Done.\n");
    EXPECT_EQ(sent(), (texts{"admin power.port.1.upgrade unit2"}));
}

TEST_F(upgrade, list_is_sorted_and_its_doubles_are_kept)
{
    EXPECT_EQ(answer("upgrade 2,1,2 x"), "IPDU #1: Upgrading firmware... IPDU #2: Upgrading firmware... "
                                         "IPDU #2: Upgrading firmware... Done.\n");
}

// Intended: one operation on the port of the last unit serves the list.
TEST_F(upgrade, operation_goes_to_the_port_of_the_last_unit)
{
    chain.next_port();
    chain.unit().serve("upgrade", "");
    tree.text("power.port.2.pdu.5.upgrade", "");
    EXPECT_EQ(answer("upgrade 1,5 x"), "IPDU #1: Upgrading firmware... IPDU #5: Upgrading firmware... Done.\n");
    EXPECT_EQ(sent(), (texts{"admin power.port.2.upgrade 1,5"}));
}

TEST_F(upgrade, list_is_cut_to_15_numbers)
{
    for (int unit = 5; unit <= 20; unit++)
        chain.unit().serve("upgrade", "");
    const std::string said = answer("upgrade 1-20 x");
    EXPECT_NE(said.find("#15:"), std::string::npos);
    EXPECT_EQ(said.find("#16:"), std::string::npos);
    EXPECT_EQ(sent(), (texts{"admin power.port.1.upgrade 1-20"}));
}

TEST_F(upgrade, text_that_is_no_list_is_refused)
{
    for (const char *list : {"nosuch", "1,nosuch", "nosuch,1", "5-2", "1,5-2", "-3", ",", "-"}) {
        EXPECT_EQ(answer("upgrade " + std::string(list) + " x"), refusal) << list;
        EXPECT_EQ(sent(), texts{});
        processes.take_over({0});
        EXPECT_EQ(answer("upgrade " + std::string(list)), refusal) << list;
        EXPECT_EQ(steps(), texts{});
    }
}

TEST_F(upgrade, list_that_begins_with_0_names_no_unit)
{
    EXPECT_EQ(answer("upgrade 0 x"), refusal);
    EXPECT_EQ(answer("upgrade 0,1 x"), refusal);
    EXPECT_EQ(sent(), texts{});
}

TEST_F(upgrade, refused_operation_has_failed)
{
    tree.refuse("admin", "power.port.1.upgrade");
    EXPECT_EQ(answer("upgrade 1-2 x"), "IPDU #1: Upgrading firmware... IPDU #2: Upgrading firmware... Failed.\n");
    EXPECT_TRUE(logged("Upgrade command failed on pdu 2@1 (-15)")) << dump_log();
    EXPECT_EQ(call(cmd_upgrade_file, {"1", "x"}).result, -15);
    tree.drop("admin", "power.port.1.upgrade");
    EXPECT_EQ(call(cmd_upgrade_file, {"1", "x"}).result, -2);
    EXPECT_TRUE(logged("Upgrade command failed on pdu 1@1 (-2)"));
}

TEST_F(upgrade, with_a_file_each_failed_exchange_and_allocation_is_survived)
{
    const texts answers = {"IPDU #1: Upgrading firmware... Done.\n", "IPDU #1: Upgrading firmware... Failed.\n",
                           no_such_ipdu, "IPDU 1: Unsupported command.\n"};
    for (how way : {refused, dropped})
        EXPECT_GT(each_failing_exchange(
                      way,
                      [&](int) {
                          const std::string said = answer("upgrade 1 x");
                          EXPECT_TRUE(std::find(answers.begin(), answers.end(), said) != answers.end()) << said;
                      }),
                  3);
    EXPECT_GT(each_failing_allocation([&](int) { answer("upgrade 1 x"); }), 3);
}

// --- The child ------------------------------------------------------------------------------------------------------

// Intended: the child waits for any process of its group, 0.
TEST_F(upgrade, child_receives_checks_writes_and_removes_the_image)
{
    const own_root root;
    root.receive_image();
    session.root = "";
    processes.take_over({0, 700});
    processes.on_system = [&](const std::string &line) {
        if (line.starts_with("/sbin/checkImage"))
            session.root = root.path.string(); // the image lies there
    };
    EXPECT_EQ(end_of_child("upgrade 1"), 0);
    EXPECT_EQ(printed(), download_line + std::string(own_line) + "Done.\n");
    EXPECT_EQ(session.tap, (texts{download_line, own_line, "Done.\n"}));
    EXPECT_EQ(steps(), (texts{"fork", receive, check, "fork", "waitpid 0 0", "exit 0"}));
    EXPECT_FALSE(root.has_image());
    EXPECT_EQ(log_texts(6), (texts{"Received upgrade command for PDUs 1"}));
}

TEST_F(upgrade, child_leaves_the_image_where_other_units_need_it)
{
    const own_root root;
    root.receive_image();
    processes.take_over({0, 700});
    EXPECT_EQ(end_of_child("upgrade 1,3"), 0);
    EXPECT_TRUE(root.has_image());
    EXPECT_EQ(printed(), download_line + std::string(own_line) + "Done.\n");
}

TEST_F(upgrade, child_neither_checks_nor_writes_where_the_own_unit_is_not_listed)
{
    const own_root root;
    root.receive_image();
    for (const char *line : {"upgrade 3", "upgrade 2-4", "upgrade unit2", "upgrade 0,1"}) {
        processes.take_over({0});
        EXPECT_EQ(end_of_child(line), 0);
        EXPECT_EQ(steps().size(), 3U); // fork, the receiver, the end
        EXPECT_EQ(printed(), download_line);
        EXPECT_TRUE(root.has_image());
    }
}

TEST_F(upgrade, own_unit_can_be_named_by_its_id)
{
    const own_root root;
    root.receive_image();
    processes.take_over({0, 700});
    EXPECT_EQ(end_of_child("upgrade unit1"), 0);
    EXPECT_EQ(printed(), download_line + std::string(own_line) + "Done.\n");
    EXPECT_FALSE(root.has_image());
}

TEST_F(upgrade, receiver_that_fails_ends_the_child_without_a_word)
{
    const own_root root;
    root.receive_image();
    for (int status : {-1, 127, exited(1), exited(127), exited(128), killed(SIGTERM), killed(SIGKILL) | 0x80}) {
        processes.take_over({0});
        processes.systems = {status};
        EXPECT_EQ(end_of_child("upgrade 1"), 1) << status;
        EXPECT_EQ(printed(), download_line);
        EXPECT_EQ(steps().size(), 3U);
        EXPECT_TRUE(root.has_image());
    }
}

TEST_F(upgrade, image_that_does_not_check_is_removed_without_a_word)
{
    for (int status : {-1, 127, exited(1), killed(SIGSEGV)}) {
        const own_root root;
        root.receive_image();
        processes.take_over({0});
        processes.systems = {0, status};
        EXPECT_EQ(end_of_child("upgrade 1"), 1) << status;
        EXPECT_EQ(printed(), download_line);
        EXPECT_EQ(steps().back(), "exit 1");
        EXPECT_EQ(steps().size(), 4U); // nothing is written
        EXPECT_FALSE(root.has_image());
    }
    const own_root root;
    root.receive_image();
    processes.take_over({0});
    processes.systems = {0, exited(1)};
    EXPECT_EQ(end_of_child("upgrade 1-2"), 1);
    EXPECT_TRUE(root.has_image());
}

TEST_F(upgrade, write_program_that_fails_is_told_and_the_image_removed)
{
    for (const wait_answer bad : {wait_answer{700, exited(1)}, wait_answer{700, exited(127)},
                                  wait_answer{700, killed(SIGKILL)}, wait_answer{-1, 0, ECHILD}}) {
        const own_root root;
        root.receive_image();
        processes.take_over({0, 700});
        processes.waits = {bad};
        EXPECT_EQ(end_of_child("upgrade 1"), 1);
        EXPECT_EQ(printed(), download_line + std::string(own_line) + "Failed.\n");
        EXPECT_EQ(logged("Error waiting for child process"), bad.result < 0);
        EXPECT_FALSE(root.has_image());
    }
}

TEST_F(upgrade, interrupted_wait_for_the_write_program_goes_on)
{
    const own_root root;
    root.receive_image();
    processes.take_over({0, 700});
    processes.waits = {{-1, 0, EINTR}, {-1, 0, EINTR}, {700, 0}};
    EXPECT_EQ(end_of_child("upgrade 1"), 0);
    EXPECT_EQ(printed(), download_line + std::string(own_line) + "Done.\n");
    EXPECT_NOT_LOGGED("Error waiting for child process");
}

TEST_F(upgrade, failed_second_fork_ends_the_child_at_once)
{
    const own_root root;
    root.receive_image();
    processes.take_over({0, -1});
    EXPECT_EQ(end_of_child("upgrade 1"), 255);
    EXPECT_EQ(printed(), download_line + std::string(own_line));
    EXPECT_TRUE(logged("Failed to fork before flashing the image"));
    EXPECT_TRUE(root.has_image());
}

TEST_F(upgrade, image_that_can_not_be_removed_is_logged)
{
    const own_root root; // without an image
    processes.take_over({0, 700});
    EXPECT_EQ(end_of_child("upgrade 1"), 0);
    EXPECT_TRUE(logged("Failed to remove the firmware file."));
}

TEST_F(upgrade, receiver_can_be_timed_and_broken_off)
{
    sigset_t blocked, before, seen;
    sigfillset(&blocked);
    sigprocmask(SIG_BLOCK, &blocked, &before);
    processes.take_over({0, 700});
    bool open[2] = {};
    int calls = 0;
    processes.on_system = [&](const std::string &) {
        sigprocmask(SIG_BLOCK, nullptr, &seen);
        open[calls++] = !sigismember(&seen, SIGALRM) && !sigismember(&seen, SIGINT) && sigismember(&seen, SIGTSTP);
    };
    const own_root root;
    end_of_child("upgrade 1");
    sigprocmask(SIG_SETMASK, &before, nullptr);
    EXPECT_EQ(calls, 2);
    EXPECT_TRUE(open[0]);
    EXPECT_FALSE(open[1]);
}

TEST_F(upgrade, programs_of_another_root_are_quoted_for_the_shell)
{
    session.root = "/a b/it's";
    processes.take_over({0, 700});
    end_of_child("upgrade 1");
    const std::string root = "'/a b/it'\\''s";
    EXPECT_EQ(steps()[1], "system " + root + "/usr/bin/rz' -q -b -r <" + root + "/dev/ttyS0' >" + root + "/dev/ttyS0'");
    EXPECT_EQ(steps()[2], "system " + root + "/sbin/checkImage' " + root + "/tmp/ztfirmware' > /dev/null 2>&1");
}

TEST_F(upgrade, root_that_is_too_long_is_a_failure_of_each_step)
{
    session.root = std::string(5000, 'r');
    processes.take_over({0});
    EXPECT_EQ(end_of_child("upgrade 1"), 1);
    EXPECT_EQ(steps(), (texts{"fork", "exit 1"}));
}

TEST_F(upgrade, child_survives_each_failed_allocation)
{
    const own_root root;
    EXPECT_GT(each_failing_allocation([&](int) {
                  root.receive_image();
                  processes.take_over({0, 700});
                  const int status = end_of_child("upgrade 1");
                  const texts all = steps();
                  const bool received = std::count_if(all.begin(), all.end(), [](const std::string &step) {
                                            return step.find("/usr/bin/rz") != step.npos;
                                        }) == 1;
                  const bool written = std::count(all.begin(), all.end(), "fork") == 2;
                  EXPECT_EQ(status, written ? 0 : 1);
                  EXPECT_EQ(root.has_image(), !received);
              }),
              5);
}

// --- The child's child ----------------------------------------------------------------------------------------------

TEST_F(upgrade, writer_takes_root_for_good_and_becomes_the_program)
{
    processes.take_over({0, 0});
    processes.becomes = true;
    EXPECT_EQ(end_of_child("upgrade 1"), became);
    EXPECT_EQ(steps(), (texts{"fork", receive, check, "fork", "seteuid 0", "setuid 0", write_program}));
}

TEST_F(upgrade, program_and_image_lie_below_the_root)
{
    const own_root root;
    processes.take_over({0, 0});
    processes.becomes = true;
    EXPECT_EQ(end_of_child("upgrade 1"), became);
    const std::string below = root.path.string();
    EXPECT_EQ(steps().back(), "execve " + below + "/sbin/flashImage [flashImage] [-U admin] [" + below +
                                  "/tmp/ztfirmware] | [PATH=/bin:/sbin:/usr/bin:/usr/sbin]");
}

// Intended: the texts of the two refusals stand crosswise to the calls.
TEST_F(upgrade, refused_root_ends_the_writer)
{
    processes.take_over({0, 0});
    session.seteuid_result = -1;
    EXPECT_EQ(end_of_child("upgrade 1"), 255);
    EXPECT_EQ(steps().back(), "exit 255");
    EXPECT_EQ(steps()[4], "seteuid 0");
    EXPECT_EQ(failures().back(), "Failed to setuid to root: Operation not permitted. ");

    processes.take_over({0, 0});
    session.seteuid_result = 0;
    processes.setuid_result = -1;
    EXPECT_EQ(end_of_child("upgrade 1"), 255);
    EXPECT_EQ(steps()[5], "setuid 0");
    EXPECT_EQ(steps().size(), 7U);
    EXPECT_EQ(failures().back(), "Failed to seteuid to root: Operation not permitted. ");
}

TEST_F(upgrade, program_that_can_not_be_started_ends_the_writer_with_127)
{
    processes.take_over({0, 0});
    EXPECT_EQ(end_of_child("upgrade 1"), 127);
    EXPECT_EQ(failures().back(), "Failed to flash the image: No such file or directory");
}

// The root grows too long behind the step whose command line has that text.
void lose_root_behind(const char *step)
{
    processes.on_system = [step](const std::string &line) {
        if (line.find(step) != line.npos)
            session.root = std::string(5000, 'r');
    };
}

TEST_F(upgrade, program_whose_path_is_too_long_ends_the_writer_with_127)
{
    processes.take_over({0, 0});
    lose_root_behind("checkImage");
    EXPECT_EQ(end_of_child("upgrade 1"), 127);
    EXPECT_EQ(failures().back(), "Failed to flash the image: File name too long");
    EXPECT_EQ(steps(), (texts{"fork", receive, check, "fork", "seteuid 0", "setuid 0", "exit 127"}));
}

TEST_F(upgrade, image_whose_path_is_too_long_is_not_removed)
{
    processes.take_over({0});
    lose_root_behind("rz");
    EXPECT_EQ(end_of_child("upgrade 1"), 1);
    EXPECT_EQ(failures().back(), "Failed to remove the firmware file.");
    EXPECT_EQ(steps(), (texts{"fork", receive, "exit 1"}));
}

TEST_F(upgrade, image_whose_path_is_too_long_never_comes)
{
    session.root = std::string(5000, 'r');
    processes.take_over({500});
    EXPECT_EQ(answer("upgrade 2"), "IPDU #2: Upgrading firmware... Done.\n");
    std::vector<int64_t> pauses(30, 1000000);
    pauses.insert(pauses.end(), {5000000, 5000000}); // in front of the daemon, and behind the wait for the child
    EXPECT_EQ(wall_clock.sleeps(), pauses);
}

TEST_F(upgrade, program_that_returns_otherwise_ends_the_writer_with_128)
{
    processes.take_over({0, 0});
    processes.execve_result = 0;
    EXPECT_EQ(end_of_child("upgrade 1"), 128);
    EXPECT_EQ(failures().back(), "execve returned without error!!!");
    EXPECT_EQ(steps()[steps().size() - 2], "setuid " + std::to_string(getuid()));
}

// --- The parent -----------------------------------------------------------------------------------------------------

TEST_F(upgrade, parent_of_the_own_unit_alone_waits_for_the_child)
{
    cli_debug = 1;
    processes.take_over({800});
    processes.waits = {{0}, {0}, {800, 0}};
    const std::string said = answer("upgrade 1");
    EXPECT_TRUE(said.starts_with("upgrade 1: Command spent")) << said;
    EXPECT_EQ(last_result(), 0);
    const std::string poll = "waitpid 800 " + std::to_string(WNOHANG);
    EXPECT_EQ(steps(), (texts{"fork", poll, "reset_to", "sleep 5000000", poll, "reset_to", "sleep 5000000", poll,
                              "reset_to", "sleep 5000000"}));
    EXPECT_EQ(log_texts(6), (texts{"Received upgrade command for PDUs 1", "There is no chained PDU to upgrade"}));
    EXPECT_LOGGED("The child returned with success.");
    EXPECT_EQ(sent(), texts{});
}

TEST_F(upgrade, child_that_failed_is_a_failed_command)
{
    cli_debug = 1;
    for (const wait_answer bad : {wait_answer{800, exited(1)}, wait_answer{800, exited(255)},
                                  wait_answer{800, killed(SIGKILL)}, wait_answer{-1, 0, ECHILD}}) {
        processes.take_over({800});
        processes.waits = {bad};
        const std::string said = answer("upgrade 1");
        EXPECT_TRUE(said.starts_with(refusal)) << said;
        EXPECT_LOGGED("The child returned with failure.");
        EXPECT_NOT_LOGGED("The child returned with success.");
    }
    processes.take_over({800});
    processes.waits = {{800, exited(1)}};
    EXPECT_EQ(call(cmd_upgrade, {"1"}).result, 1);
}

TEST_F(upgrade, failed_first_fork_is_a_failed_command)
{
    processes.take_over({-1});
    EXPECT_EQ(answer("upgrade 1"), refusal);
    EXPECT_EQ(steps(), (texts{"fork"}));
    EXPECT_EQ(failures().back(), "Failed to fork before transfer of firmware");
}

TEST_F(upgrade, chained_units_are_upgraded_once_the_image_has_come)
{
    const own_root root;
    root.receive_image(49152);
    processes.take_over({800});
    EXPECT_EQ(answer("upgrade 1,3"), "IPDU #3: Upgrading firmware... Done.\n");
    EXPECT_EQ(sent(), (texts{"admin power.port.1.upgrade 3"}));
    EXPECT_EQ(wall_clock.sleeps(), (std::vector<int64_t>{1000000, 5000000, 5000000}));
    EXPECT_EQ(log_texts(6), (texts{"Received upgrade command for PDUs 1,3", "Upgrading chained PDU 3"}));
    EXPECT_TRUE(root.has_image());
}

// Intended: an image that has not come in time is no failure here.
TEST_F(upgrade, image_that_does_not_come_is_waited_for_half_a_minute)
{
    const own_root root;
    for (const bool small : {false, true}) {
        if (small)
            root.receive_image(49151);
        processes.take_over({800});
        EXPECT_EQ(answer("upgrade 2-4"), "IPDU #2: Upgrading firmware... IPDU #3: Upgrading firmware... "
                                         "IPDU #4: Upgrading firmware... Done.\n");
        EXPECT_EQ(sent(), (texts{"admin power.port.1.upgrade 2-4"}));
        ASSERT_EQ(wall_clock.sleeps().size(), 32U);
        EXPECT_EQ(wall_clock.sleeps()[29], 1000000);
        EXPECT_EQ(wall_clock.sleeps()[30], 5000000);
    }
}

TEST_F(upgrade, rest_of_the_list_goes_to_the_daemon_as_ranges)
{
    const own_root root;
    root.receive_image(50000);
    for (int unit = 5; unit <= 7; unit++)
        chain.unit().serve("upgrade", "");
    processes.take_over({800});
    answer("upgrade 7,1-3,5");
    EXPECT_EQ(sent(), (texts{"admin power.port.1.upgrade 2-3,5,7"}));
}

// Intended: units that do not fit the buffer are left out.
TEST_F(upgrade, list_for_the_daemon_ends_where_31_characters_are_full)
{
    const own_root root;
    root.receive_image(50000);
    for (int unit = 5; unit <= 30; unit++)
        chain.unit({.outlets = 1}).serve("upgrade", "");
    processes.take_over({800});
    answer("upgrade 1,3,5,7,9,11,13,15,17,19,21,23");
    EXPECT_EQ(sent(), (texts{"admin power.port.1.upgrade 3,5,7,9,11,13,15,17,19,21,23"}));
    processes.take_over({800});
    answer("upgrade 10,12,14,16,18,20,22,24,26,28,30");
    EXPECT_EQ(sent(), (texts{"admin power.port.1.upgrade 10,12,14,16,18,20,22,24,26,28,"}));
}

TEST_F(upgrade, chained_units_answer_as_with_a_file)
{
    const own_root root;
    root.receive_image(50000);
    processes.take_over({800});
    EXPECT_EQ(answer("upgrade 1,9"), no_such_ipdu);
    EXPECT_EQ(last_result(), 0);
    chain.at(2).without("upgrade");
    processes.take_over({800});
    EXPECT_EQ(answer("upgrade 1-2"), "IPDU 2: Unsupported command.\n");
    tree.refuse("admin", "power.port.1.upgrade");
    processes.take_over({800});
    EXPECT_EQ(answer("upgrade 3"), "IPDU #3: Upgrading firmware... Failed.\n");
}

TEST_F(upgrade, answer_of_the_chained_units_stands_where_the_child_failed)
{
    const own_root root;
    root.receive_image(50000);
    processes.take_over({800});
    processes.waits = {{800, exited(1)}};
    EXPECT_EQ(answer("upgrade 1,3"), "IPDU #3: Upgrading firmware... Done.\n");
    processes.take_over({800});
    processes.waits = {{800, exited(1)}};
    EXPECT_EQ(call(cmd_upgrade, {"1,3"}).result, 1);
}

TEST_F(upgrade, list_of_0_has_neither_an_own_nor_a_chained_unit)
{
    processes.take_over({800});
    EXPECT_EQ(answer("upgrade 0"), "");
    EXPECT_EQ(sent(), texts{});
    EXPECT_EQ(log_texts(6).back(), "There is no chained PDU to upgrade");
}

TEST_F(upgrade, parent_survives_each_failed_exchange_and_allocation)
{
    const own_root root;
    root.receive_image(50000);
    for (how way : {refused, dropped})
        EXPECT_GT(each_failing_exchange(way,
                                        [&](int) {
                                            processes.take_over({800});
                                            answer("upgrade 1,3");
                                            EXPECT_EQ(steps().front(), "fork");
                                            EXPECT_EQ(steps().back(), "sleep 5000000");
                                            EXPECT_EQ(last_result(), 0);
                                        }),
                  4);
    each_failing_allocation([&](int) {
        processes.take_over({800});
        answer("upgrade 1,3");
        EXPECT_EQ(steps().back(), "sleep 5000000");
        EXPECT_EQ(last_result(), 0);
    });
}

TEST_F(upgrade, usage_stands_for_the_bare_word)
{
    EXPECT_EQ(answer("upgrade"), upgrade_usage);
    EXPECT_EQ(answer("upgrade help"), upgrade_usage);
}

} // namespace

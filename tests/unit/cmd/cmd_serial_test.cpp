// Speed and flow control of the user's own line.

#include <cstdio>
#include <string>

#include <readline/readline.h>

#include "cmd/cmd_serial.h"
#include "tests/fakes/fakes.h"
#include "tests/fakes/terminal.h"

namespace {

struct serial_line : testing::Test {
    FILE *instream = rl_instream;

    serial_line()
    {
        rl_instream = stdin;
        answer("serial help"); // the segment is attached behind this
        terminal.take_over();
    }
    ~serial_line() override { rl_instream = instream; }

    static void set(speed_t speed, bool hardware_flow)
    {
        cfsetospeed(&terminal.current, speed);
        cfsetispeed(&terminal.current, speed);
        if (hardware_flow)
            terminal.current.c_cflag |= CRTSCTS;
        else
            terminal.current.c_cflag &= ~static_cast<tcflag_t>(CRTSCTS);
    }
};

bool has_hardware_flow(const termios &attributes)
{
    return (attributes.c_cflag & CRTSCTS) != 0;
}

struct known_speed {
    const char *baud;
    speed_t symbol;
};

constexpr known_speed known_speeds[] = {{"9600", B9600}, {"19200", B19200}, {"115200", B115200}, {"230400", B230400}};

// --- Reading --------------------------------------------------------------------------------------------------------

TEST_F(serial_line, reading_shows_speed_and_flow_control)
{
    for (const known_speed &speed : known_speeds) {
        set(speed.symbol, false);
        EXPECT_EQ(answer("serial"), "IPDU #1: Serial set to " + std::string(speed.baud) + ", no flow control.\n");
        set(speed.symbol, true);
        EXPECT_EQ(answer("serial"), "IPDU #1: Serial set to " + std::string(speed.baud) + ", hw flow control.\n");
        EXPECT_EVENTS({"tcgetattr 0", "tap " + printed()});
        EXPECT_EXCHANGES({});
        EXPECT_FAILURES({"Success to printf serial string"});
    }
}

TEST_F(serial_line, any_other_speed_shows_as_0)
{
    for (speed_t symbol : {B0, B50, B300, B38400, B57600, B460800}) {
        set(symbol, false);
        EXPECT_EQ(answer("serial"), "IPDU #1: Serial set to 0, no flow control.\n");
    }
}

TEST_F(serial_line, line_that_can_not_be_asked_shows_what_nothing_is_set_to)
{
    set(B9600, true);
    terminal.fail_get = 1;
    EXPECT_EQ(answer("serial"), "IPDU #1: Serial set to 0, no flow control.\n");
    EXPECT_EQ(last_result(), 0);
}

TEST_F(serial_line, debug_mode_tells_what_is_read_and_set)
{
    answer("serial");
    EXPECT_NOT_LOGGED("Get serial 0");
    cli_debug = 1;
    answer("serial");
    EXPECT_LOGGED("Get serial 0");
    answer("serial 9600 HW");
    EXPECT_LOGGED("Setting serial 0: 9600 HW");
}

// --- Setting --------------------------------------------------------------------------------------------------------

TEST_F(serial_line, setting_is_told_first_and_done_after_a_pause)
{
    EXPECT_EQ(answer("serial 9600 hw"), "IPDU #1: Serial set to 9600, hw flow control.\n");
    EXPECT_EVENTS({"tap IPDU #1: Serial set to 9600, hw flow control.\n", "sleep 2000000", "deprep", "tcgetattr 0",
                   "tcsetattr 0 TCSANOW", "prep 0"});
    EXPECT_EQ(last_result(), 0);
}

TEST_F(serial_line, each_speed_can_be_set_with_and_without_flow_control)
{
    for (const known_speed &speed : known_speeds)
        for (const std::string flow : {"hw", "no"}) {
            EXPECT_EQ(answer("serial " + std::string(speed.baud) + " " + flow),
                      "IPDU #1: Serial set to " + std::string(speed.baud) + ", " + flow + " flow control.\n");
            EXPECT_EQ(cfgetispeed(&terminal.current), speed.symbol);
            EXPECT_EQ(cfgetospeed(&terminal.current), speed.symbol);
            EXPECT_EQ(has_hardware_flow(terminal.current), flow == "hw");
            EXPECT_EQ(terminal.current.c_lflag, tcflag_t{ECHO | ECHONL | ICANON});
        }
}

TEST_F(serial_line, speed_or_flow_word_of_another_kind_changes_nothing)
{
    for (const char *line : {"serial 38400 hw", "serial 0 hw", "serial -9600 hw", "serial 9601 no", "serial 9600 HW",
                             "serial 9600 No", "serial 9600 none", "serial 9600 h", "serial 9600 hw x", "serial 115200",
                             "serial fast hw", "serial hw 9600"}) {
        EXPECT_EQ(answer(line), failure_text) << line;
        EXPECT_EVENTS({"tap Invalid argument. Try help for details\n"});
        EXPECT_TRUE(terminal.set_to.empty());
    }
    EXPECT_EQ(call(cmd_serial_set, {9600, ""}).result, 1);
}

// Intended: each change starts from what the session began with.
TEST_F(serial_line, second_change_starts_from_the_saved_attributes_again)
{
    termios saved = terminal.current;
    saved.c_lflag = ECHO;
    const termios before = saved;
    cli_saved_termios = &saved;
    answer("serial 19200 hw");
    answer("serial 115200 no");
    EXPECT_EVENTS({"tap IPDU #1: Serial set to 115200, no flow control.\n", "sleep 2000000", "deprep",
                   "tcsetattr 0 TCSANOW", "prep 0"});
    EXPECT_EQ(terminal.current.c_lflag, ECHO + 0U);
    EXPECT_EQ(memcmp(&saved, &before, sizeof saved), 0);
}

TEST_F(serial_line, line_that_can_not_be_set_keeps_its_settings_behind_the_confirmation)
{
    cli_debug = 1;
    set(B19200, true);
    terminal.fail_set = 1;
    const std::string said = answer("serial 9600 no");
    const std::string expected = "IPDU #1: Serial set to 9600, no flow control.\n" + std::string(failure_text);
    EXPECT_TRUE(said.starts_with(expected)) << said;
    EXPECT_LOGGED("Setting serial stdin FAIL");
    EXPECT_EQ(cfgetospeed(&terminal.current), B19200);
    EXPECT_TRUE(has_hardware_flow(terminal.current));
    EXPECT_EQ(terminal.set_to.size(), 1U); // the old attributes
    cli_debug = 0;
    terminal.fail_set = 1;
    EXPECT_EQ(answer("serial 9600 no"), expected);
    EXPECT_EVENTS({"tap IPDU #1: Serial set to 9600, no flow control.\n", "sleep 2000000", "deprep", "tcgetattr 0",
                   "tcsetattr 0 TCSANOW", "tcsetattr 0 TCSANOW", "prep 0", "tap " + std::string(failure_text)});
}

TEST_F(serial_line, attributes_that_can_not_be_read_are_no_failure)
{
    terminal.fail_get = 1;
    EXPECT_EQ(answer("serial 9600 hw"), "IPDU #1: Serial set to 9600, hw flow control.\n");
    EXPECT_EQ(cfgetospeed(&terminal.current), B9600);
}

TEST_F(serial_line, works_under_the_own_name_alone)
{
    cli_own_name = 0;
    EXPECT_EQ(call(cmd_serial).result, 1);
    EXPECT_EQ(call(cmd_serial_set, {9600, "hw"}).result, 1);
    EXPECT_EVENTS({});
    EXPECT_EQ(printed(), "");
}

TEST_F(serial_line, input_without_a_descriptor_is_refused)
{
    FILE *without = fmemopen(nullptr, 16, "r");
    FILE *real = stdin;
    stdin = without;
    rl_instream = without;
    EXPECT_EQ(call(cmd_serial).result, 1);
    EXPECT_EQ(call(cmd_serial_set, {9600, "hw"}).result, 1);
    stdin = real;
    EXPECT_EVENTS({});
    fclose(without);
}

TEST_F(serial_line, failed_line_of_output_changes_nothing)
{
    for (const char *line : {"serial", "serial 9600 hw"})
        EXPECT_GT(each_failing_allocation([&](int n) {
                      terminal.take_over();
                      const std::string said = answer(line);
                      if (n > 2)
                          return;
                      EXPECT_EQ(said, failure_text);
                      EXPECT_TRUE(logged("Fail to printf serial string"));
                      EXPECT_TRUE(terminal.set_to.empty());
                      EXPECT_TRUE(wall_clock.sleeps().empty());
                  }),
                  1);
}

TEST_F(serial_line, line_is_stdin_where_the_editor_has_none)
{
    rl_instream = nullptr;
    EXPECT_EQ(answer("serial 19200 hw"), "IPDU #1: Serial set to 19200, hw flow control.\n");
    EXPECT_EQ(cfgetospeed(&terminal.current), static_cast<speed_t>(B19200));
}

} // namespace

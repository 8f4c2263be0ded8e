// serial: speed and flow control of the line on which the user is logged in. Because the change takes effect under the
// user's own feet, it is told first, at the old speed, and done after a pause.

#include "cmd/cmd_serial.h"

#include <cstdio>
#include <cstring>
#include <termios.h>
#include <unistd.h>

#include <readline/readline.h>

#include "core/log.h"

const char serial_usage[] = "Usage: serial [<9600|19200|115200|230400> <hw|no>]\n"
                            "Set serial port speed and flow control.\n";

struct line_speed {
    int baud;
    speed_t symbol;
};

static constexpr line_speed line_speeds[] = {{9600, B9600}, {19200, B19200}, {115200, B115200}, {230400, B230400}};

static constexpr int appliance_number = 1; // the line belongs to the appliance, not to a unit of the chain
static constexpr unsigned pause_seconds = 2;

static const line_speed *speed_of_baud(int baud)
{
    for (const line_speed &speed : line_speeds)
        if (speed.baud == baud)
            return &speed;
    return nullptr;
}

static int baud_of_symbol(speed_t symbol)
{
    for (const line_speed &speed : line_speeds)
        if (speed.symbol == symbol)
            return speed.baud;
    return 0;
}

static bool is_flow_word(const char *word)
{
    return strcmp(word, "hw") == 0 || strcmp(word, "no") == 0;
}

static void apply(termios *attributes, speed_t speed, bool hardware_flow)
{
    if (hardware_flow)
        attributes->c_cflag |= CRTSCTS;
    else
        attributes->c_cflag &= ~static_cast<tcflag_t>(CRTSCTS);
    cfsetospeed(attributes, speed);
    cfsetispeed(attributes, speed);
}

// Intended: each change starts from what the session began with, where that is known (a second one does not build on
// the first).
static int change_line(int line, speed_t speed, const char *flow)
{
    termios backup = {};
    if (cli_saved_termios)
        backup = *cli_saved_termios;
    else
        tcgetattr(line, &backup);
    termios wanted = backup;
    apply(&wanted, speed, strcmp(flow, "hw") == 0);

    const int failed = tcsetattr(line, TCSANOW, &wanted);
    if (failed) {
        log_debug("Setting serial stdin FAIL");
        tcsetattr(line, TCSANOW, &backup);
    }
    rl_prep_terminal(0);
    return failed ? 1 : 0;
}

int cmd_serial(int row, char **out, command_args)
{
    const int line = fileno(stdin);
    if (line < 0 || !cli_own_name)
        return 1;
    log_debug("Get serial %d", line);
    termios attributes = {};
    tcgetattr(line, &attributes); // a line that can't be asked shows what nothing is set to
    const char *flow = attributes.c_cflag & CRTSCTS ? "hw" : "no";
    if (append_output(out, command_table[row].format, appliance_number, baud_of_symbol(cfgetispeed(&attributes)), flow))
        return log_failure("Fail to printf serial string");
    log_remark("Success to printf serial string");
    return 0;
}

int cmd_serial_set(int row, char **out, command_args args)
{
    const int line = fileno(rl_instream ? rl_instream : stdin);
    if (line < 0 || !cli_own_name)
        return 1;
    const char *flow = args.text(1);
    log_debug("Setting serial %d: %d %s", line, args.integer(0), flow);
    const line_speed *speed = speed_of_baud(args.integer(0));
    if (!speed || !is_flow_word(flow))
        return 1;
    if (append_output(out, command_table[row].format, appliance_number, speed->baud, flow))
        return log_failure("Fail to printf serial string");
    cli_output_flush(out);
    sleep(pause_seconds); // until the text has left the line at the old speed
    rl_deprep_terminal();
    return change_line(line, speed->symbol, flow);
}

// coldstart: how long a unit waits after power has come back before it turns its outlets on.

#include "cmd/cmd_coldstart.h"

#include <cstdio>

#include "client/tree.h"
#include "core/log.h"
#include "core/utils.h"
#include "core/walkers.h"

const char coldstart_usage[] = "Usage: coldstart [<ipdu number or ID> [<duration>]]\n"
                               "Set the duration of cold start delay.\n";

// Intended: a reading says "set to" as a writing does (one format serves both).
static int append_delay(int row, char **out, int pdu, int delay)
{
    const char *format = command_table[row].format;
    // Intended: the message ends with a blank (the log is read by its texts).
    if (format && append_output(out, format, pdu, delay))
        return log_failure("Fail to printf pdu %d cold start delay %d ", pdu, delay);
    return 0;
}

static int get_delay(int row, char **out, int port, int pdu)
{
    if (check_pdu_caps(port, pdu, "cold-start-delay"))
        return log_failure("Node cold-start-delay unavailable for %d@%d", pdu, port);
    int delay = 0;
    if (vrn_tsapi_info_power_port_star0_pdu_star1_coldStartDelay(cli_tsapi, &delay, nullptr, port, pdu))
        return log_failure("Fail to get cold start delay for pdu %d@%d", pdu, port);
    return append_delay(row, out, pdu, delay);
}

static int set_delay(int row, char **out, int port, int pdu, int delay)
{
    if (delay < 0)
        return 1;
    if (check_pdu_caps(port, pdu, "cold-start-delay"))
        return log_failure("Node cold-start-delay unavailable for %d@%d", pdu, port);
    char value[sizeof "2147483647"];
    snprintf(value, sizeof value, "%d", delay);
    const char *args[] = {value, nullptr};
    if (vrn_tsapi_admin_power_port_star0_pdu_star1_coldStartDelay(cli_tsapi, args, port, pdu))
        return log_failure("Fail to set cold start delay for pdu %d@%d, value %s", pdu, port, value);
    return append_delay(row, out, pdu, delay);
}

static int coldstart_pdu_get(int row, char **out, int port, int pdu, va_list *)
{
    return failure_tail(get_delay(row, out, port, pdu), row, out);
}

int coldstart_pdu_set(int row, char **out, int port, int pdu, int delay)
{
    return failure_tail(set_delay(row, out, port, pdu, delay), row, out);
}

int cmd_coldstart(int row, char **out, command_args)
{
    return all_pdus(row, out, coldstart_pdu_get);
}

int cmd_coldstart_set(int row, char **out, command_args args)
{
    // Intended: a negative delay is declined before the unit is looked up (it never says "No such IPDU").
    const int delay = args.integer(1);
    unit at;
    if (delay < 0 || locate_pdu(args.text(0), &at, out, "coldstart"))
        return 1;
    return coldstart_pdu_set(row, out, at.port, at.pdu, delay);
}

int cmd_coldstart_get(int row, char **out, command_args args)
{
    unit at;
    if (locate_pdu(args.text(0), &at, out, "coldstart"))
        return 1;
    return one_pdu(row, out, at.port, at.pdu, coldstart_pdu_get);
}

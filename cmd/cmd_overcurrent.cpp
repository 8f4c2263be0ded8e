// currentprotection: whether outlets of an overloaded circuit may be turned on.
// It is one setting for all units; there is no form for a single one.

#include "cmd/cmd_overcurrent.h"

#include "client/tree.h"
#include "client/types.h"
#include "core/log.h"
#include "core/utils.h"
#include "core/walkers.h"

const char currentprotection_usage[] =
    "Usage: currentprotection <on|off|status>\n\n"
    "Configures overcurrent protection. Overcurrent protection prevents outlets connected to a circuit (phase or "
    "segment) of being turned on when the current on that circuit reaches the threshold.\n";

static int append_state(int row, char **out, int pdu, const char *state)
{
    const char *format = command_table[row].format;
    if (!format)
        return 0;
    owned_text capitals = in_capitals(state);
    if (!capitals || append_output(out, format, pdu, capitals.get()))
        return log_failure("Fail to printf pdu %d overcurrent %s string", pdu, capitals ? capitals.get() : state);
    return 0;
}

static int probe_overcurrent(int port, int pdu)
{
    if (check_pdu_caps(port, pdu, "overcurrent") == 0)
        return 0;
    return log_failure("Node overcurrent unavailable for %d@%d", pdu, port);
}

static int get_state(int row, char **out, int port, int pdu)
{
    if (probe_overcurrent(port, pdu))
        return 1;
    owned_text state;
    if (vrn_tsapi_info_power_port_star0_pdu_star1_overcurrent(cli_tsapi, into(state), nullptr, port, pdu))
        return log_failure("Fail to get overcurrent for pdu %d@%d", pdu, port);
    return append_state(row, out, pdu, text_or_empty(state));
}

static int set_state(int row, char **out, int port, int pdu, const char *value)
{
    if (!value || !*value || probe_overcurrent(port, pdu))
        return 1;
    const char *args[] = {value, nullptr};
    if (vrn_tsapi_admin_power_port_star0_pdu_star1_overcurrent(cli_tsapi, args, port, pdu))
        return log_failure("Fail to set overcurrent for pdu %d@%d, value %s", pdu, port, value);
    return append_state(row, out, pdu, value);
}

static int overc_pdu_get(int row, char **out, int port, int pdu, va_list *)
{
    return failure_tail(get_state(row, out, port, pdu), row, out);
}

int overc_pdu_set(int row, char **out, int port, int pdu, va_list *rest)
{
    return failure_tail(set_state(row, out, port, pdu, peek_text(rest)), row, out);
}

int cmd_overc_get(int row, char **out, command_args)
{
    return all_pdus(row, out, overc_pdu_get);
}

int cmd_overc_on(int row, char **out, command_args)
{
    return all_pdus(row, out, overc_pdu_set, "on");
}

int cmd_overc_off(int row, char **out, command_args)
{
    return all_pdus(row, out, overc_pdu_set, "off");
}

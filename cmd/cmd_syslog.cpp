// syslog: whether units send their events to the console port.

#include "cmd/cmd_syslog.h"

#include "client/tree.h"
#include "cmd/unit_switch.h"
#include "core/walkers.h"

const char syslog_usage[] =
    "Usage: syslog <on|off|status>\n\n"
    "Turns syslog messages on or off. If syslog is on, IPDU syslog events will be sent to the console port.\n";

static constexpr unit_switch syslog_switch = {"syslog", vrn_tsapi_info_power_port_star0_pdu_star1_syslog,
                                              vrn_tsapi_admin_power_port_star0_pdu_star1_syslog};

static int syslog_get(int row, char **out, int port, int pdu, va_list *)
{
    return switch_get(syslog_switch, row, out, port, pdu);
}

static int syslog_set(int row, char **out, int port, int pdu, va_list *rest)
{
    return switch_set(syslog_switch, row, out, port, pdu, peek_text(rest));
}

int cmd_syslog_status(int row, char **out, command_args)
{
    return all_pdus(row, out, syslog_get);
}

int cmd_syslog_on(int row, char **out, command_args)
{
    return all_pdus(row, out, syslog_set, "on");
}

int cmd_syslog_off(int row, char **out, command_args)
{
    return all_pdus(row, out, syslog_set, "off");
}

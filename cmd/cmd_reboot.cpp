// reboot: restarts a unit, by default the first of the chain.

#include "cmd/cmd_reboot.h"

#include "client/tree.h"
#include "core/log.h"
#include "core/utils.h"
#include "core/walkers.h"

const char reboot_usage[] =
    "Usage: 'reboot [<ipdu number or ID>]'\n\n"
    "Reboots a unit if the IPDU is provided, or the first IPDU in the chain if the IPDU is not provided.\n";

// Intended: a restart that succeeds says nothing (the prompt is the answer).
static int reboot(int port, int pdu)
{
    if (check_pdu_caps(port, pdu, "reboot"))
        return log_failure("Node reboot unavailable for %d@%d", pdu, port);
    if (vrn_tsapi_admin_power_port_star0_pdu_star1_reboot(cli_tsapi, nullptr, port, pdu))
        return log_failure("Reboot command failed on pdu %d@%d", pdu, port);
    return 0;
}

static int reboot_pdu(int row, char **out, int port, int pdu)
{
    return failure_tail(reboot(port, pdu), row, out);
}

int cmd_reboot(int row, char **out, command_args)
{
    unit at;
    if (locate_pdu_number(1, &at, out))
        return 1;
    return reboot_pdu(row, out, at.port, at.pdu);
}

int cmd_reboot_pdu(int row, char **out, command_args args)
{
    unit at;
    if (locate_pdu(args.text(0), &at, out))
        return 1;
    return reboot_pdu(row, out, at.port, at.pdu);
}

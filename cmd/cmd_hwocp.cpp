// hwocp: the state of the overcurrent protection in hardware, and its reset after it has tripped.

#include "cmd/cmd_hwocp.h"

#include <cstring>

#include "client/tree.h"
#include "client/types.h"
#include "cmd/protection.h"
#include "core/log.h"
#include "core/shm_layout.h"
#include "core/utils.h"
#include "core/walkers.h"
#include "core/ztd_shm.h"

const char hwocp_usage[] = "Usage: hwocp [<ipdu number or ID> [reset]]\n"
                           "Checks the status of the HW overcurrent protection.\n";

// Intended: the log names another command where a type has no such state (log readers know the line so).
static constexpr protection hwocp = {
    .mask = shm_mask_hwocp,
    .capability = "hwocp",
    .log_word = "hwocp",
    .log_command = "alarm",
    .types = {{"phase", vrn_tsapi_info_power_port_star0_pdu_star1_phase_star2_sysName,
               vrn_tsapi_info_power_port_star0_pdu_star1_phase_star2_hwocp},
              {},
              {"outlet", nullptr, vrn_tsapi_info_power_port_star0_pdu_star1_outlet_star2_hwocp}},
};

static bool is_tripped(const owned_text &state)
{
    return strcmp(text_or_empty(state), "tripped") == 0;
}

static int append_state(int row, char **out, int pdu, const char *label, bool tripped)
{
    const char *format = command_table[row].format;
    return format ? append_output(out, format, pdu, label, tripped ? "" : "not ") : 0;
}

static int elem_state(const element &at, int row, char **out)
{
    owned_text label, state;
    if (read_protection(hwocp, at, label, state))
        return 1;
    if (append_state(row, out, at.pdu, label.get(), is_tripped(state)))
        return log_failure("Fail to printf elem %d, type %d, hwocp %s string", at.number, at.type,
                           text_or_empty(state));
    return 0;
}

// Intended: an element that fails into an empty `out` puts the unit's sentence there (lines of others may follow it).
int hwocp_elem_get(int port, int pdu, int type, int row, char **out, int elem, va_list *)
{
    return failure_tail_of_unit(elem_state({port, pdu, type, elem}, row, out), row, out, pdu);
}

static int pdu_state(int row, char **out, int port, int pdu)
{
    if (elecmon_caps_shm(port, pdu, 0, elem_pdu, hwocp.mask) && check_pdu_caps(port, pdu, hwocp.capability)) {
        log_failure("Node hwocp unavailable for %d@%d", pdu, port);
        append_error_of_unit(row, out, pdu);
        return 1;
    }
    owned_text state;
    if (elecmon_elem_info_shm(port, pdu, 0, elem_pdu, hwocp.mask, into(state)) &&
        vrn_tsapi_info_power_port_star0_pdu_star1_hwocp(cli_tsapi, into(state), nullptr, port, pdu))
        return log_failure("Fail to get hwocp for pdu %d@%d", pdu, port);
    if (!state)
        return 1;
    if (append_state(row, out, pdu, "", is_tripped(state)))
        return log_failure("Fail to printf pdu %d hwocp %s string", pdu, state.get());
    return 0;
}

static void elem_states(int row, char **out, int port, int pdu)
{
    for (int type : {elem_phase, elem_outlet})
        all_elements(port, pdu, type, row, out, hwocp_elem_get);
}

static int hwocp_pdu_get(int row, char **out, int port, int pdu, va_list *)
{
    int result = pdu_state(row, out, port, pdu);
    // Intended: a unit without a state of its own still shows its elements (they carry theirs).
    elem_states(row, out, port, pdu);
    return failure_tail_of_unit(result, row, out, pdu);
}

// Whether the lines of the elements, written aside as those of `status_row`, tell of one that has tripped.
static bool some_elem_tripped(int status_row, int port, int pdu)
{
    owned_text lines;
    elem_states(status_row, into(lines), port, pdu);
    return strstr(text_or_empty(lines), "is tripped");
}

static int reset_pdu(int row, char **out, int port, int pdu)
{
    if (check_pdu_caps(port, pdu, hwocp.capability))
        return log_failure("Node hwocp unavailable for %d@%d", pdu, port);
    owned_text state;
    if (vrn_tsapi_info_power_port_star0_pdu_star1_hwocp(cli_tsapi, into(state), nullptr, port, pdu))
        return log_failure("Fail to get hwocp for pdu %d@%d", pdu, port);
    if (!is_tripped(state)) {
        int status_row = find_command_row(cmd_hwocp_pdu);
        if (status_row < 0)
            return log_failure("Cannot find cmd_save in the table"); // the words that log readers know
        if (!some_elem_tripped(status_row, port, pdu)) {
            append_state(status_row, out, pdu, "", false);
            return 0;
        }
    }
    if (vrn_tsapi_admin_power_port_star0_pdu_star1_hwocp_reset(cli_tsapi, nullptr, port, pdu))
        return log_failure("Fail to reset hwocp for pdu %d@%d", pdu, port);
    const char *format = command_table[row].format;
    // Without its line the reset is done all the same: the error format would deny it.
    if (format && append_output(out, format, pdu))
        log_failure("Fail to printf pdu %d hwocp reset string", pdu);
    return 0;
}

static int hwocp_pdu_reset(int row, char **out, int port, int pdu)
{
    return failure_tail_of_unit(reset_pdu(row, out, port, pdu), row, out, pdu);
}

int cmd_hwocp(int row, char **out, command_args)
{
    return all_pdus(row, out, hwocp_pdu_get);
}

int cmd_hwocp_pdu_reset(int row, char **out, command_args args)
{
    unit at;
    if (locate_pdu(args.text(0), &at, out))
        return 1;
    return hwocp_pdu_reset(row, out, at.port, at.pdu);
}

int cmd_hwocp_pdu(int row, char **out, command_args args)
{
    return one_located_pdu(row, out, args.text(0), hwocp_pdu_get);
}

// fuses: the state of the fuses of units and their segments.

#include "cmd/cmd_fuses.h"

#include "client/tree.h"
#include "client/types.h"
#include "cmd/protection.h"
#include "core/log.h"
#include "core/shm_layout.h"
#include "core/utils.h"
#include "core/walkers.h"
#include "core/ztd_shm.h"

const char fuses_usage[] = "Usage: fuses [<ipdu number or ID> [reset]]\n"
                           "Checks the status of the PDU fuses.\n";

static constexpr protection fuses = {
    .mask = shm_mask_blown_fuse,
    .capability = "blown-fuse",
    .log_word = "fuses",
    .log_command = "fuses",
    .types = {{},
              {"segment", vrn_tsapi_info_power_port_star0_pdu_star1_circuit_star2_sysName,
               vrn_tsapi_info_power_port_star0_pdu_star1_circuit_star2_blownFuse},
              {}},
};

static int elem_state(const element &at, int row, char **out)
{
    owned_text label, state;
    if (read_protection(fuses, at, label, state))
        return 1;
    const char *format = command_table[row].format;
    if (format && append_output(out, format, at.pdu, label.get(), text_or_empty(state)))
        return log_failure("Fail to printf elem %d, type %d, fuse %s string", at.number, at.type, text_or_empty(state));
    return 0;
}

int fuses_elem_get(int port, int pdu, int type, int row, char **out, int elem, va_list *)
{
    return failure_tail(elem_state({port, pdu, type, elem}, row, out), row, out);
}

// Intended: done whatever happened (a unit without fuses has an empty answer, not a refused line).
static int fuses_pdu_get(int row, char **out, int port, int pdu, va_list *)
{
    all_elements(port, pdu, elem_circuit, row, out, fuses_elem_get);
    return 0;
}

int cmd_fuses(int row, char **out, command_args)
{
    return all_pdus(row, out, fuses_pdu_get);
}

int cmd_fuses_pdu(int row, char **out, command_args args)
{
    return one_located_pdu(row, out, args.text(0), fuses_pdu_get);
}

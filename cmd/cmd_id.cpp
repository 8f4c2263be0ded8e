// id: shows and sets the identification name of a unit, by which commands address it beside its number.
// The length of a new name is the daemon's to judge; what would break outlet strings is refused here.

#include "cmd/cmd_id.h"

#include <cstring>

#include "client/tree.h"
#include "client/types.h"
#include "core/log.h"
#include "core/utils.h"
#include "core/walkers.h"

const char id_usage[] =
    "Usage: 'id  [<ipdu number or ID> [<ipdu ID>]]'\n\n"
    "Sets the IPDU identification name. <ipdu ID> cannot have more than 16 characters; also, ' ', '.', and ',' are not "
    "allowed.\n";

static int append_id(int row, char **out, int pdu, const char *id)
{
    const char *format = command_table[row].format;
    if (format && append_output(out, format, pdu, id))
        return log_failure("Fail to printf pdu %d id %s string", pdu, id);
    return 0;
}

static int get_id(int row, char **out, int port, int pdu)
{
    if (check_pdu_caps(port, pdu, "id"))
        return log_failure("Node id unavailable for %d@%d", pdu, port);
    owned_text id;
    if (vrn_tsapi_info_power_port_star0_pdu_star1_id(cli_tsapi, into(id), nullptr, port, pdu))
        return log_failure("Fail to get id for pdu %d@%d", pdu, port);
    return append_id(row, out, pdu, text_or_empty(id));
}

static int set_id(int row, char **out, int port, int pdu, const char *id)
{
    if (!id)
        return 1;
    if (check_pdu_caps(port, pdu, "id"))
        return log_failure("Node id unavailable for %d@%d", pdu, port);
    // In an outlet string '.' divides ID and outlet, ',' ends the token.
    if (const char *invalid = strpbrk(id, "., ")) {
        if (append_output(out, "Invalid character found in ID [%c].\n", *invalid))
            log_failure("Invalid char found in the id %s", id);
        return 1;
    }
    const char *args[] = {id, nullptr};
    if (vrn_tsapi_admin_power_port_star0_pdu_star1_id(cli_tsapi, args, port, pdu))
        return log_failure("Fail to set id for pdu %d@%d, value %s", pdu, port, id);
    return append_id(row, out, pdu, id);
}

static int id_pdu_get(int row, char **out, int port, int pdu, va_list *)
{
    return failure_tail(get_id(row, out, port, pdu), row, out);
}

static int id_pdu_set(int row, char **out, int port, int pdu, va_list *rest)
{
    return failure_tail(set_id(row, out, port, pdu, peek_text(rest)), row, out);
}

int cmd_id(int row, char **out, command_args)
{
    return all_pdus(row, out, id_pdu_get);
}

int cmd_id_pdu_set(int row, char **out, command_args args)
{
    unit at;
    if (locate_pdu(args.text(0), &at, out))
        return 1;
    return one_pdu(row, out, at.port, at.pdu, id_pdu_set, args.text(1));
}

int cmd_id_pdu(int row, char **out, command_args args)
{
    return one_located_pdu(row, out, args.text(0), id_pdu_get);
}

// name: gives one outlet a user name or clears it. The name is checked by the daemon alone.

#include "cmd/cmd_name.h"

#include "client/tree.h"
#include "core/log.h"
#include "core/outlet_string.h"
#include "core/utils.h"
#include "core/walkers.h"
#include "core/ztd_shm.h"

const char name_usage[] = "Usage: 'name <outlet#> <name>'\n\n"
                          "Names the outlet number <outlet#> as <name>. <name> cannot have more than 16 characters nor "
                          "start with a number; also, ',' is not allowed.\n";

// The one outlet that the text points at; false for none, several, or a token left unresolved.
static bool single_outlet(const char *text, outstr_entry *at)
{
    owned_outstr block = parse_outstr(text);
    if (!block)
        return false;
    std::span<const outstr_entry> records = outstr_records(block);
    if (records.size() != 1 || !outstr_resolved(records[0]))
        return false;
    *at = records[0];
    return true;
}

static int name_set(int row, char **out, const char *text, const char *name)
{
    outstr_entry at;
    if (!single_outlet(text, &at))
        return failure_tail(1, row, out);
    // Intended: an outlet without the leaf is asked all the same (the daemon's refusal is the answer).
    if (check_elem_caps(at.port, at.pdu, at.outlet, elem_outlet, "name"))
        log_failure("Node name unavailable for %d@%d@%d", at.outlet, at.pdu, at.port);
    const char *args[] = {name, nullptr};
    if (vrn_tsapi_admin_power_port_star0_pdu_star1_outlet_star2_name(cli_tsapi, args, at.port, at.pdu, at.outlet))
        append_output(out, "%d: Invalid outlet name.\n", at.outx);
    else
        append_output(out, command_table[row].format, at.outx, name);
    return 0;
}

int cmd_name_set(int row, char **out, command_args args)
{
    return name_set(row, out, args.text(0), args.text(1));
}

int cmd_name_clear(int row, char **out, command_args args)
{
    return name_set(row, out, args.text(0), "");
}

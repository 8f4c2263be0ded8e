// What `buzzer` and `syslog` share: a leaf of a unit that is on or off, shown and set in capitals.

#include "cmd/unit_switch.h"

#include "client/types.h"
#include "core/log.h"
#include "core/utils.h"
#include "core/walkers.h"
#include "shell/cli.h"

static int append_state(const unit_switch &node, int row, char **out, int pdu, const char *state)
{
    const char *format = command_table[row].format;
    if (!format)
        return 0;
    owned_text capitals = in_capitals(state);
    if (!capitals || append_output(out, format, capitals.get(), pdu))
        return log_failure("Fail to printf pdu %d %s %s string", pdu, node.name, capitals ? capitals.get() : state);
    return 0;
}

static int get_state(const unit_switch &node, int row, char **out, int port, int pdu)
{
    if (check_pdu_caps(port, pdu, node.name))
        return log_failure("Node %s unavailable for %d@%d", node.name, pdu, port);
    owned_text state;
    if (node.info(cli_tsapi, into(state), nullptr, port, pdu))
        return log_failure("Fail to get %s status for pdu %d@%d", node.name, pdu, port);
    return append_state(node, row, out, pdu, text_or_empty(state));
}

static int set_state(const unit_switch &node, int row, char **out, int port, int pdu, const char *value)
{
    if (!value || !*value)
        return 1;
    if (check_pdu_caps(port, pdu, node.name))
        return log_failure("Node %s unavailable for %d@%d", node.name, pdu, port);
    const char *args[] = {value, nullptr};
    if (node.admin(cli_tsapi, args, port, pdu))
        return log_failure("Fail to set %s %s for pdu %d@%d", node.name, value, pdu, port);
    return append_state(node, row, out, pdu, value);
}

int switch_get(const unit_switch &node, int row, char **out, int port, int pdu)
{
    return failure_tail(get_state(node, row, out, port, pdu), row, out);
}

int switch_set(const unit_switch &node, int row, char **out, int port, int pdu, const char *value)
{
    return failure_tail(set_state(node, row, out, port, pdu, value), row, out);
}

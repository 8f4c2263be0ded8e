// Iteration over units and over the nodes inside one, and the probes that ask what a node has.

#include "core/walkers.h"

#include <cstring>

#include "client/tree.h"
#include "client/types.h"
#include "core/log.h"
#include "core/timed.h"
#include "core/ztd_shm.h"
#include "shell/cli.h"

using elem_lister = int (*)(vrn_tsapi_handle *, paramtype_int_list **, int port, int pdu);
using name_lister = int (*)(vrn_tsapi_handle *, paramtype_UTF8String_list **, int port, int pdu, int elem);

// What the tree calls a phase, a circuit and an outlet.
static constexpr struct {
    elem_lister numbers; // all of a unit
    name_lister names;   // the children of one
} elem_kinds[] = {
    {vrn_tsapi_mlist_power_port_star0_pdu_star1_phase, vrn_tsapi_mlist_power_port_star0_pdu_star1_phase_star2},
    {vrn_tsapi_mlist_power_port_star0_pdu_star1_circuit, vrn_tsapi_mlist_power_port_star0_pdu_star1_circuit_star2},
    {vrn_tsapi_mlist_power_port_star0_pdu_star1_outlet, vrn_tsapi_mlist_power_port_star0_pdu_star1_outlet_star2},
};

static bool is_elem(int port, int pdu, int type)
{
    if (type >= elem_phase && type <= elem_outlet)
        return true;
    // Intended: port before pdu, unlike the other addresses of the log (log readers know the line so).
    log_failure("Invalid elem to find a list: %d@%d, type %d", port, pdu, type);
    return false;
}

int list_elems_of_tree(int port, int pdu, int type, paramtype_int_list **list)
{
    if (!is_elem(port, pdu, type))
        return 1;
    if (timed(elem_kinds[type].numbers, cli_tsapi, list, port, pdu))
        return log_failure("Fail to retrieve list of elements in %d@%d, type %d", pdu, port, type);
    return 0;
}

// --- Walkers -------------------------------------------------------------------------------------------------------

static int list_ports(owned_int_list &ports)
{
    if (timed(list_int_port_shm, into(ports)) == 0) {
        log_debug("list_int_port_shm OK from SHM");
        return 0;
    }
    if (timed(vrn_tsapi_mlist_power_port, cli_tsapi, into(ports)))
        return log_failure("Fail to retrieve list of Ports");
    return 0;
}

static int list_pdus(int port, owned_int_list &pdus)
{
    if (timed(list_int_pdu_shm, port, into(pdus)) == 0) {
        log_debug("list_int_pdu_shm OK from SHM");
        return 0;
    }
    if (timed(vrn_tsapi_mlist_power_port_star0_pdu, cli_tsapi, into(pdus), port))
        return log_failure("Fail to retrieve list of PDUs");
    return 0;
}

static int walk_pdus(int row, char **out, pdu_callback callback, va_list *rest)
{
    owned_int_list ports;
    if (list_ports(ports))
        return 1;
    for (const auto *port = ports.get(); port; port = port->next) {
        owned_int_list pdus;
        if (list_pdus(port->value, pdus))
            return 1;
        for (const auto *pdu = pdus.get(); pdu; pdu = pdu->next)
            if (callback(row, out, port->value, pdu->value, rest))
                log_failure("Fail to execute for PDU %d", pdu->value);
    }
    return 0;
}

int all_pdus(int row, char **out, pdu_callback callback, ...)
{
    va_list rest;
    va_start(rest, callback);
    int result = walk_pdus(row, out, callback, &rest);
    va_end(rest);
    return result;
}

static int list_elems(int port, int pdu, int type, owned_int_list &elems)
{
    if (timed(list_int_elem_shm, port, pdu, type, into(elems)) == 0)
        return 0;
    return list_elems_of_tree(port, pdu, type, into(elems));
}

static int walk_elements(int port, int pdu, int type, int row, char **out, elem_callback callback, va_list *rest)
{
    owned_int_list elems;
    if (list_elems(port, pdu, type, elems))
        return 1;
    for (const auto *elem = elems.get(); elem; elem = elem->next)
        if (callback(port, pdu, type, row, out, elem->value, rest))
            log_failure("Fail to execute for elem %d, type %d", elem->value, type);
    return 0;
}

int all_elements(int port, int pdu, int type, int row, char **out, elem_callback callback, ...)
{
    va_list rest;
    va_start(rest, callback);
    int result = walk_elements(port, pdu, type, row, out, callback, &rest);
    va_end(rest);
    return result;
}

static int list_envmons(int port, int pdu, owned_int_list &envmons)
{
    return timed(vrn_tsapi_mlist_power_port_star0_pdu_star1_envmon, cli_tsapi, into(envmons), port, pdu);
}

static int walk_envmons(int port, int pdu, int row, char **out, envmon_callback callback, va_list *rest)
{
    owned_int_list envmons;
    // Intended: port before pdu, unlike the other addresses of the log (log readers know the line so).
    if (list_envmons(port, pdu, envmons))
        return log_failure("Fail to retrieve list of envmons in %d@%d", port, pdu);
    for (const auto *envmon = envmons.get(); envmon; envmon = envmon->next)
        if (callback(port, pdu, row, out, envmon->value, rest))
            log_failure("Fail to execute for envmon %d", envmon->value);
    return 0;
}

int all_envmons(int port, int pdu, int row, char **out, envmon_callback callback, ...)
{
    va_list rest;
    va_start(rest, callback);
    int result = walk_envmons(port, pdu, row, out, callback, &rest);
    va_end(rest);
    return result;
}

int one_pdu(int row, char **out, int port, int pdu, pdu_callback callback, ...)
{
    va_list rest;
    va_start(rest, callback);
    int result = callback(row, out, port, pdu, &rest);
    va_end(rest);
    return result;
}

int one_element(int port, int pdu, int type, int row, char **out, int elem, elem_callback callback, ...)
{
    va_list rest;
    va_start(rest, callback);
    int result = callback(port, pdu, type, row, out, elem, &rest);
    va_end(rest);
    return result;
}

int one_envmon(int port, int pdu, int row, char **out, int envmon, envmon_callback callback, ...)
{
    va_list rest;
    va_start(rest, callback);
    int result = callback(port, pdu, row, out, envmon, &rest);
    va_end(rest);
    return result;
}

// --- Arguments of a walk -------------------------------------------------------------------------------------------

template <class Value> static Value peek(va_list *rest)
{
    va_list copy;
    va_copy(copy, *rest);
    Value value = va_arg(copy, Value);
    va_end(copy);
    return value;
}

int peek_int(va_list *rest)
{
    return peek<int>(rest);
}

const char *peek_text(va_list *rest)
{
    return peek<const char *>(rest);
}

double peek_real(va_list *rest)
{
    return peek<double>(rest);
}

// --- Probes --------------------------------------------------------------------------------------------------------

static bool has_name(const owned_text_list &names, const char *name)
{
    for (const auto *node = names.get(); node; node = node->next)
        if (node->value && strcmp(node->value, name) == 0)
            return true;
    return false;
}

int check_pdu_caps(int port, int pdu, const char *capability)
{
    owned_text_list names;
    if (timed(vrn_tsapi_mlist_power_port_star0_pdu_star1, cli_tsapi, into(names), port, pdu))
        return log_failure("Fail to retrieve list of pdu capabilities in %d@%d", pdu, port);
    if (!has_name(names, capability))
        return 1;
    // Intended: a success at the level of failures (log readers follow what a unit can do).
    log_remark("Found capability %s in the list of nodes: %d@%d", capability, pdu, port);
    return 0;
}

int check_elem_caps(int port, int pdu, int elem, int type, const char *capability)
{
    owned_text_list names;
    if (!is_elem(port, pdu, type))
        return 1;
    if (timed(elem_kinds[type].names, cli_tsapi, into(names), port, pdu, elem))
        return log_failure("Fail to retrieve list of element capabilities in %d@%d@%d, type %d", elem, pdu, port, type);
    if (!has_name(names, capability))
        return 1;
    log_debug("Found capability %s in the list of nodes: %d@%d@%d, type %d.", capability, elem, pdu, port, type);
    return 0;
}

int check_envmon_caps(int port, int pdu, int envmon, const char *capability)
{
    owned_text_list names;
    if (timed(vrn_tsapi_mlist_power_port_star0_pdu_star1_envmon_star2, cli_tsapi, into(names), port, pdu, envmon))
        return log_failure("Fail to retrieve list of envmon capabilities in %d@%d@%d", envmon, pdu, port);
    if (!has_name(names, capability))
        return 1;
    // Intended: a success at the level of failures (log readers follow what a unit can do).
    log_remark("Found capability %s in the list of nodes: %d@%d@%d", capability, envmon, pdu, port);
    return 0;
}

static bool envmon_is(int port, int pdu, int envmon, const char *name)
{
    owned_text found;
    if (timed(vrn_tsapi_info_power_port_star0_pdu_star1_envmon_star2_sysName, cli_tsapi, into(found), nullptr, port,
              pdu, envmon))
        return false;
    return found && strcmp(found.get(), name) == 0;
}

int envmon2id(const char *name, int port, int pdu)
{
    if (!name || !*name)
        return -log_failure("Name not provided");
    if (port < 0 || pdu < 0)
        return -log_failure("Invalid port/pdu: %d/%d", port, pdu);
    owned_int_list envmons;
    if (list_envmons(port, pdu, envmons))
        return -log_failure("Fail to retrieve list of elements in %d@%d", pdu, port);
    for (const auto *envmon = envmons.get(); envmon; envmon = envmon->next)
        if (envmon_is(port, pdu, envmon->value, name))
            return envmon->value;
    return -1;
}

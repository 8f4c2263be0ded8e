// From what the user typed to the tree's numbers, and back to the chain-wide outlet number.

#include "core/identifiers.h"

#include <cstdint>
#include <cstring>

#include "client/tree.h"
#include "client/types.h"
#include "core/log.h"
#include "core/timed.h"
#include "core/utils.h"
#include "core/walkers.h"
#include "core/ztd_shm.h"
#include "shell/cli.h"

// One number of the address of the unit with that ID.
struct pdu_number {
    int wanted; // as name2id_shm takes it
    int (*info)(vrn_tsapi_handle *, int *, const char *const *args, const char *id);
    const char *log_word;
};

static constexpr pdu_number number_of_pdu = {wanted_pdu, vrn_tsapi_info_power_pdu_star0_pdu, "pdu"};
static constexpr pdu_number number_of_port = {wanted_port, vrn_tsapi_info_power_pdu_star0_port, "port"};

// Where the sys-names of phases, circuits and outlets are.
static constexpr struct {
    int attribute; // as node_info_shm takes it
    int (*info)(vrn_tsapi_handle *, char **, const char *const *args, int port, int pdu, int elem);
} sys_names[] = {
    {info_elem_sys_name, vrn_tsapi_info_power_port_star0_pdu_star1_phase_star2_sysName},
    {info_elem_sys_name, vrn_tsapi_info_power_port_star0_pdu_star1_circuit_star2_sysName},
    {info_outlet_sys_name, vrn_tsapi_info_power_port_star0_pdu_star1_outlet_star2_sysName},
};

// --- Units ---------------------------------------------------------------------------------------------------------

static int pduid2number(const char *id, const pdu_number &kind)
{
    if (!id || !*id)
        return -log_failure("PDU id not provided");
    int number;
    if (timed(name2id_shm, id, name_of_pdu, kind.wanted, nullptr, &number) &&
        timed(kind.info, cli_tsapi, &number, nullptr, id))
        return -log_failure("Fail to get %s from pdu name %s", kind.log_word, id);
    return number != 0 ? number : -1;
}

int pduid2pdu(const char *id)
{
    return pduid2number(id, number_of_pdu);
}

int pduid2port(const char *id)
{
    return pduid2number(id, number_of_port);
}

int count_ports(int *count)
{
    if (timed(vrn_tsapi_info_power_numDevices, cli_tsapi, count, nullptr))
        return log_failure("Fail to get number of ports");
    return 0;
}

int count_pdus(int port, int *count)
{
    if (timed(vrn_tsapi_info_power_port_star0_numPdus, cli_tsapi, count, nullptr, port))
        return log_failure("Fail to get number of pdus on port %d", port);
    return 0;
}

int count_outlets(int port, int pdu, int *count)
{
    if (timed(node_info_shm, port, pdu, 0, elem_pdu, info_pdu_num_outlets, nullptr, count) &&
        timed(vrn_tsapi_info_power_port_star0_pdu_star1_numOutlets, cli_tsapi, count, nullptr, port, pdu))
        return log_failure("Fail to get number of outlets on %d@%d", pdu, port);
    return 0;
}

int pdu2port(int pdu)
{
    if (pdu < 0)
        return -log_failure("PDU not provided");
    int ports;
    if (count_ports(&ports))
        return -1;
    int64_t counted = 0;
    for (int port = 1; port <= ports; port++) {
        int pdus;
        if (count_pdus(port, &pdus))
            return -1;
        counted += pdus;
        // Intended: 0 asks for every port and fits none (the commands' answer to it comes after the reads).
        if (pdu > 0 && pdu <= counted)
            return port;
    }
    return -1;
}

int pdu2model(int port, int pdu)
{
    int model;
    if (timed(node_info_shm, port, pdu, 0, elem_pdu, info_pdu_model, nullptr, &model) == 0)
        return model;
    owned_text text;
    if (timed(vrn_tsapi_info_power_port_star0_pdu_star1_modelNr, cli_tsapi, into(text), nullptr, port, pdu))
        return -log_failure("Fail to get model for pdu %d@%d", pdu, port);
    return is_empty(text) ? -1 : decimal_value(text.get());
}

// --- Elements and outlets ------------------------------------------------------------------------------------------

static bool elem_is(int port, int pdu, int elem, int type, const char *name)
{
    owned_text found;
    if (timed(node_info_shm, port, pdu, elem, type, sys_names[type].attribute, into(found), nullptr) &&
        timed(sys_names[type].info, cli_tsapi, into(found), nullptr, port, pdu, elem))
        return false;
    return found && strcmp(found.get(), name) == 0;
}

int elemname2id(int type, const char *name, int port, int pdu)
{
    if (!name || !*name)
        return -log_failure("Name not provided");
    if (port < 0 || pdu < 0)
        return -log_failure("Invalid port/pdu: %d/%d", port, pdu);
    owned_int_list elems;
    if (list_elems_of_tree(port, pdu, type, into(elems)))
        return -1;
    for (const auto *elem = elems.get(); elem; elem = elem->next)
        if (elem_is(port, pdu, elem->value, type, name))
            return elem->value;
    return -1;
}

// Adds what one port contributes to a chain-wide number. 0, or -1.
static int add_port(int port, int pdu, int outlet, int64_t *total)
{
    int pdus;
    if (count_pdus(port, &pdus) || pdu > pdus)
        return -1;
    for (int before = 1; before < pdu; before++) {
        int outlets;
        if (count_outlets(port, before, &outlets))
            return -1;
        *total += outlets;
    }
    int outlets;
    if (count_outlets(port, pdu, &outlets) || outlet > outlets)
        return -1;
    *total += outlet;
    return 0;
}

int ppo2outx(int port, int pdu, int outlet)
{
    int ports;
    if (port <= 0 || pdu <= 0 || outlet <= 0 || count_ports(&ports) || port > ports)
        return -1;
    int64_t total = 0;
    // Intended: the same unit and outlet bound on each port up to the last (the numbers that users keep in scripts).
    for (int counted = 1; counted <= port; counted++)
        if (add_port(counted, pdu, outlet, &total))
            return -1;
    return total <= outx_max ? static_cast<int>(total) : -1;
}

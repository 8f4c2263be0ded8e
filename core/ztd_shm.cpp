// Attaches the status segment, waits for its daemon, and answers from its records.

#include "core/ztd_shm.h"

#include <cstdlib>
#include <cstring>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <unistd.h>

#include "client/types.h"
#include "core/render.h"
#include "core/shm_layout.h"
#include "core/shm_records.h"
#include "core/shm_value.h"
#include "platform/root.h"
#include "shell/cli.h"

static constexpr int ready_tests = 60;
static constexpr useconds_t ready_pause = 500000; // microseconds

static uintptr_t mapped_base; // the address slot of the process, 0 while nothing is mapped
static size_t mapped_size;    // of the whole segment, as long as it is mapped

static shm_view segment()
{
    return {mapped_base, mapped_size};
}

// --- Attach --------------------------------------------------------------------------------------------------------

int shm_attach(uintptr_t *slot)
{
    if (*slot)
        return 0;

    char path[root_path_size];
    key_t key = root_path(shm_key_file, path) ? ftok(path, shm_project_id) : -1;
    if (key == -1)
        return -1;
    // The size 0 can't create a segment, whatever the creation flag says: only the daemon's own is found.
    int id = shmget(key, 0, IPC_CREAT | 0666);
    if (id < 0)
        return -2;

    shmid_ds description;
    if (shmctl(id, IPC_STAT, &description) < 0 || description.shm_segsz < sizeof(shm_root))
        return -3;
    // The records hold absolute pointers: anywhere else they would point at nothing.
    void *const wanted = reinterpret_cast<void *>(static_cast<uintptr_t>(shm_base_address));
    if (shmat(id, wanted, 0) != wanted)
        return -3;
    *slot = shm_base_address;
    mapped_size = description.shm_segsz;
    return id;
}

void shm_forget()
{
    mapped_base = 0;
    mapped_size = 0;
}

int shm_usable()
{
    if (!cli_own_name)
        return -1;
    if (mapped_base)
        return 0;
    return shm_attach(&mapped_base) < 0 ? -1 : 1;
}

int shm_wait_ready()
{
    if (shm_usable() < 0)
        return -1;
    int left = ready_tests;
    while (!(fetch(root_record(segment()).ready) & shm_ready_bit) && --left >= 0)
        usleep(ready_pause);
    // Intended: a daemon that is never ready counts as ready, and only one that becomes ready at the very last test
    // fails (commands then run on what the segment holds, rather than none for as long as the daemon starts).
    return left == 0 ? -1 : 0;
}

// --- Values of nodes -----------------------------------------------------------------------------------------------

// Asks the units at that address, since several may claim it, until one answers (true). 0, or 1 for no answer.
template <class Ask> static int first_answer(int port, int pdu, Ask ask)
{
    if (shm_usable() < 0)
        return 1;
    int claims = 0;
    bool answered = false;
    any_unit(segment(), [&](int of_port, int number, const shm_pdu &unit) {
        if (number != pdu || of_port != port)
            return false;
        answered = ask(unit);
        return answered || ++claims == shm_claims_max;
    });
    return !answered;
}

int node_caps_shm(int port, int pdu, int elem, int type, uint32_t mask)
{
    return first_answer(port, pdu, [&](const shm_pdu &unit) {
        shm_node found = find_node(segment(), unit, elem, type);
        return (found.capabilities & mask) != 0;
    });
}

int elecmon_caps_shm(int port, int pdu, int elem, int type, uint32_t mask)
{
    return first_answer(port, pdu, [&](const shm_pdu &unit) {
        shm_node found = find_node(segment(), unit, elem, type);
        return (found.capabilities & found.block_valid) && (fetch(found.block->available) & mask);
    });
}

uint32_t elecmon_available_shm(int port, int pdu, int elem, int type, uint32_t wanted)
{
    uint32_t available = 0;
    first_answer(port, pdu, [&](const shm_pdu &unit) {
        shm_node found = find_node(segment(), unit, elem, type);
        if (found.capabilities & found.block_valid)
            available |= fetch(found.block->available) & wanted;
        return available == wanted;
    });
    return available;
}

int elecmon_elem_copy_shm(int port, int pdu, int elem, int type, uint32_t mask, char *buffer)
{
    return first_answer(port, pdu, [&](const shm_pdu &unit) {
        shm_node found = find_node(segment(), unit, elem, type);
        const char *value = found.block ? shm_value_text(*found.block, mask, buffer) : nullptr;
        if (value && value != buffer)
            memcpy(buffer, value, strlen(value) + 1);
        return value != nullptr;
    });
}

int elecmon_elem_info_shm(int port, int pdu, int elem, int type, uint32_t mask, char **text)
{
    char buffer[render_buffer_size];
    char *copy = elecmon_elem_copy_shm(port, pdu, elem, type, mask, buffer) ? nullptr : strdup(buffer);
    if (copy)
        *text = copy;
    return copy ? 0 : 1;
}

// --- Attributes ----------------------------------------------------------------------------------------------------

// Each gives a result of one kind; false where the caller has no place for it, or without memory.
static bool give_text(char **result, const char *text)
{
    char *copy = result ? strdup(text) : nullptr;
    if (copy)
        *result = copy;
    return copy != nullptr;
}

static bool give_number(int *result, int number)
{
    if (result)
        *result = number;
    return result != nullptr;
}

static bool outlet_attribute(const shm_outlet &outlet, int attribute, char **text)
{
    char buffer[render_buffer_size];
    switch (attribute) {
    case info_outlet_name:
        return give_text(text, field_copy(outlet.name).text);
    case info_outlet_sys_name:
        return give_text(text, field_copy(outlet.sys_name).text);
    case info_outlet_ctrl_status:
        return give_text(text, ctrl_status_str(fetch(outlet.ctrl_status)));
    case info_outlet_mod_status:
        return give_text(text, mod_status_str(fetch(outlet.mod_status)));
    case info_outlet_post_on:
        return give_text(text, tenths_str(buffer, fetch(outlet.post_on)));
    case info_outlet_post_off:
        return give_text(text, tenths_str(buffer, fetch(outlet.post_off)));
    default:
        return false;
    }
}

static bool unit_attribute(const shm_pdu &unit, int attribute, char **text, int *number)
{
    switch (attribute) {
    case info_pdu_model:
        if (text && !give_text(text, field_copy(unit.model_text).text))
            return false;
        return give_number(number, fetch(unit.model)) || text;
    case info_pdu_num_outlets:
        return give_number(number, fetch(unit.num_outlets));
    case info_pdu_num_phases:
        return give_number(number, fetch(unit.num_phases));
    default:
        return false;
    }
}

static bool node_attribute(const shm_pdu &unit, int elem, int type, int attribute, char **text, int *number)
{
    if (type == elem_pdu)
        return unit_attribute(unit, attribute, text, number);
    if (type == elem_outlet) {
        const shm_outlet *outlet = outlet_record(segment(), unit, elem);
        return outlet && outlet_attribute(*outlet, attribute, text);
    }
    if ((type != elem_phase && type != elem_circuit) || attribute != info_elem_sys_name)
        return false;
    const shm_elem *found = elem_record(unit, type, elem);
    return found && give_text(text, field_copy(found->sys_name).text);
}

int node_info_shm(int port, int pdu, int elem, int type, int attribute, char **text, int *number)
{
    return first_answer(port, pdu,
                        [&](const shm_pdu &unit) { return node_attribute(unit, elem, type, attribute, text, number); });
}

// --- Lists ---------------------------------------------------------------------------------------------------------

// A list in the making, in the nodes that paramtype_int_list_free releases.
struct int_list_builder {
    owned_int_list head;
    paramtype_int_list *last = nullptr;

    bool add(int value)
    {
        auto *added = static_cast<paramtype_int_list *>(malloc(sizeof(paramtype_int_list)));
        if (!added)
            return false;
        *added = {nullptr, value};
        if (last)
            last->next = added;
        else
            head.reset(added);
        last = added;
        return true;
    }
};

int list_int_port_shm(paramtype_int_list **list)
{
    if (shm_usable() < 0)
        return 1;
    int_list_builder ports;
    // Intended: the first port alone, under its record's own id (the whole chain is one port of the tree).
    const shm_port *first = first_port(segment());
    if (first && !ports.add(fetch(first->id)))
        return 1;
    *list = ports.head.release();
    return 0;
}

int list_int_pdu_shm(int port, paramtype_int_list **list)
{
    if (shm_usable() < 0)
        return 1;
    int_list_builder pdus;
    int listed = 0;
    bool whole = true;
    any_unit(segment(), [&](int of_port, int pdu, const shm_pdu &) {
        if (of_port != port)
            return false;
        whole = pdus.add(pdu);
        return !whole || ++listed == shm_listed_max;
    });
    if (!whole)
        return 1;
    *list = pdus.head.release();
    return 0;
}

static bool add_elems(int_list_builder &ids, const shm_pdu &unit, int type)
{
    int count = count_elems(unit, type);
    for (int k = 1; k <= count; k++) {
        const shm_elem *found = elem_record(unit, type, k);
        if (!found || !ids.add(fetch(found->id)))
            return false;
    }
    return count >= 0;
}

static bool add_outlets(int_list_builder &ids, const shm_pdu &unit)
{
    int count = fetch(unit.num_outlets);
    for (int k = 1; k <= count; k++) {
        const shm_outlet *found = outlet_record(segment(), unit, k);
        if (!found || !ids.add(fetch(found->id)))
            return false;
    }
    return true;
}

int list_int_elem_shm(int port, int pdu, int type, paramtype_int_list **list)
{
    if (type < elem_phase || type > elem_outlet || shm_usable() < 0)
        return 1;
    int_list_builder ids;
    bool whole = true;
    first_answer(port, pdu, [&](const shm_pdu &unit) {
        whole = type == elem_outlet ? add_outlets(ids, unit) : add_elems(ids, unit, type);
        return true;
    });
    if (!whole)
        return 1; // counts and records that don't fit together: the tree knows better
    *list = ids.head.release();
    return 0;
}

// --- Names ---------------------------------------------------------------------------------------------------------

// The id of the unit's outlet with that name, or -1.
static int outlet_named(const shm_pdu &unit, const char *name)
{
    int count = fetch(unit.num_outlets);
    for (int k = 1; k <= count; k++) {
        const shm_outlet *outlet = outlet_record(segment(), unit, k);
        if (outlet && field_copy(outlet->name).is(name))
            return fetch(outlet->id);
    }
    return -1;
}

int name2id_shm(const char *name, int kind, int wanted, const void *, int *result)
{
    if (!name || !result || (kind != name_of_outlet && kind != name_of_pdu) || shm_usable() < 0)
        return 1;
    // The first of that name decides, also where it has no such number.
    bool given = false;
    any_unit(segment(), [&](int port, int pdu, const shm_pdu &unit) {
        int outlet = kind == name_of_outlet ? outlet_named(unit, name) : -1;
        if (kind == name_of_outlet ? outlet < 0 : !field_copy(unit.name).is(name))
            return false;
        given = wanted == wanted_port || wanted == wanted_pdu || (wanted == wanted_outlet && outlet >= 0);
        if (given)
            *result = wanted == wanted_port ? port : wanted == wanted_pdu ? pdu : outlet;
        return true;
    });
    return !given;
}

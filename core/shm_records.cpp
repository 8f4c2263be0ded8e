// Careful access to the records of the status segment: the one place that follows its pointers.

#include "core/shm_records.h"

#include "core/ztd_shm.h"

// The record, or the index-th of an array of them, at an address found in the segment; null if it is not all inside.
template <class Record> static const Record *record_at(const shm_view &segment, uint32_t address, size_t index = 0)
{
    if (address < segment.base || address % alignof(Record) != 0)
        return nullptr;
    uint64_t offset = address - segment.base + uint64_t{index} * sizeof(Record);
    if (offset > segment.size || segment.size - offset < sizeof(Record))
        return nullptr;
    return reinterpret_cast<const Record *>(segment.base + static_cast<uintptr_t>(offset));
}

// --- Units ---------------------------------------------------------------------------------------------------------

const shm_port *first_port(const shm_view &segment)
{
    return record_at<shm_port>(segment, fetch(root_record(segment).ports));
}

unit_walk walk_units(const shm_view &segment)
{
    return {
        .segment = segment,
        .next_port = fetch(root_record(segment).ports),
        .next_pdu = 0,
        .ports_left = segment.size / sizeof(shm_port),
        .pdus_left = segment.size / sizeof(shm_pdu),
        .local = false,
        .port = 0,
        .pdu = 0,
        .record = nullptr,
    };
}

// The port of the appliance's own unit and the one behind it make up one port of the tree: the own unit is its pdu 1,
// and the units chained behind, which the records count from 1 too, follow from 2.
static bool enter_port(unit_walk &walk)
{
    const shm_port *port = walk.ports_left > 0 ? record_at<shm_port>(walk.segment, walk.next_port) : nullptr;
    if (!port)
        return false;
    walk.ports_left--;
    walk.next_port = fetch(port->next);
    walk.next_pdu = fetch(port->pdus);
    walk.local = field_copy(port->name).is(shm_local_port_name);
    walk.port = fetch(port->id) - (walk.local ? 0 : 1);
    return true;
}

bool next_unit(unit_walk &walk)
{
    do {
        walk.record = walk.pdus_left > 0 ? record_at<shm_pdu>(walk.segment, walk.next_pdu) : nullptr;
        if (walk.record) {
            walk.pdus_left--;
            walk.next_pdu = fetch(walk.record->next);
            walk.pdu = fetch(walk.record->id) + (walk.local ? 0 : 1);
            return true;
        }
    } while (enter_port(walk));
    return false;
}

// --- Nodes inside a unit -------------------------------------------------------------------------------------------

int count_elems(const shm_pdu &unit, int type)
{
    int count = fetch(type == elem_phase ? unit.num_phases : unit.num_circuits);
    return count <= (type == elem_phase ? shm_phases_max : shm_circuits_max) ? count : -1;
}

const shm_elem *elem_record(const shm_pdu &unit, int type, int k)
{
    if (k < 1 || k > count_elems(unit, type))
        return nullptr;
    return &(type == elem_phase ? unit.phases : unit.circuits)[k - 1];
}

const shm_outlet *outlet_record(const shm_view &segment, const shm_pdu &unit, int k)
{
    if (k < 1 || k > fetch(unit.num_outlets))
        return nullptr;
    return record_at<shm_outlet>(segment, fetch(unit.outlets), static_cast<size_t>(k) - 1);
}

shm_node find_node(const shm_view &segment, const shm_pdu &unit, int elem, int type)
{
    switch (type) {
    case elem_phase:
    case elem_circuit:
        if (const shm_elem *found = elem_record(unit, type, elem))
            return {fetch(found->capabilities), shm_elem_block_valid, &found->block};
        return {};
    case elem_outlet:
        if (const shm_outlet *found = outlet_record(segment, unit, elem))
            return {fetch(found->capabilities), shm_outlet_block_valid, &found->block};
        return {};
    case elem_pdu:
        return {fetch(unit.capabilities), shm_pdu_block_valid, &unit.block};
    default:
        return {};
    }
}

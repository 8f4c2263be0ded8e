// Careful access to the records of the status segment: the one place that follows its pointers.

#include "core/shm_records.h"

#include "core/ztd_shm.h"

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

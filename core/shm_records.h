// Careful access to the records of the status segment. The daemon may be in the middle of an update, and anybody may
// have made a segment with that key: a pointer counts only if the whole record behind it lies in the segment, each walk
// is bounded by how many records fit and by how many there can be, each cell is read once, and a text ends with its
// field.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "core/shm_layout.h"
#include "core/ztd_shm.h"

// The segment as it is mapped. It holds a root at least.
struct shm_view {
    uintptr_t base;
    size_t size;
};

// Listing a chain goes over it for each value of each element, and each way over a broken one may find the same unit as
// often as there are steps in it: without bounds of their own for those a segment of a megabyte could keep a command
// busy for minutes. What lies beyond them is for the tree to answer.
inline constexpr size_t shm_ports_max = 256;  // an id is a byte
inline constexpr size_t shm_units_max = 1024; // of all ports
inline constexpr int shm_listed_max = 257;    // the numbers that a unit of one port can have, 0 to 256
inline constexpr int shm_claims_max = 4;      // units at one address that are asked

// --- Cells ---------------------------------------------------------------------------------------------------------

// A cell, read exactly once: the next look may find another value.
template <class Cell> Cell fetch(const Cell &cell)
{
    static_assert(sizeof(Cell) <= sizeof(uint32_t), "a wider cell needs a type that says how it is aligned");
    return *const_cast<const volatile Cell *>(&cell);
}

// A text cell, copied and ended within its field.
template <size_t width> struct field_copy {
    char text[width + 1];

    explicit field_copy(const char (&field)[width])
    {
        memcpy(text, field, width);
        text[width] = '\0';
        std::atomic_signal_fence(std::memory_order_seq_cst); // what follows reads the copy, never the field again
    }
    bool is(const char *other) const { return strcmp(text, other) == 0; }
};

// True if a text cell holds that text; looks at no more of it than that takes.
template <size_t width, size_t size> bool holds(const char (&field)[width], const char (&text)[size])
{
    static_assert(size <= width);
    char begin[size];
    memcpy(begin, field, size);
    std::atomic_signal_fence(std::memory_order_seq_cst); // as in field_copy
    return memcmp(begin, text, size) == 0;
}

// --- Units ---------------------------------------------------------------------------------------------------------

inline const shm_root &root_record(const shm_view &segment)
{
    return *reinterpret_cast<const shm_root *>(segment.base);
}

// The record, or the index-th of an array of them, at an address found in the segment; null if it is not all inside.
template <class Record> const Record *record_at(const shm_view &segment, uint32_t address, size_t index = 0)
{
    const uint64_t offset = uint64_t{address} - segment.base; // beyond any segment where the address is below
    const uint64_t last = segment.size - (uint64_t{index} + 1) * sizeof(Record);
    if (last > segment.size || offset > last || address % alignof(Record) != 0)
        return nullptr;
    return reinterpret_cast<const Record *>(static_cast<uintptr_t>(address)) + index;
}

// Null where the segment has no port.
inline const shm_port *first_port(const shm_view &segment)
{
    return record_at<shm_port>(segment, fetch(root_record(segment).ports));
}

// Shows each unit in segment order to `visit(port, pdu, record)`, with the tree's numbers for it, until one makes it
// answer true; false behind the last. The port of the appliance's own unit and the one behind it make up one port of
// the tree: the own unit is its pdu 1, and the units chained behind, which the records count from 1 too, follow from 2.
// Two plain loops, since a listing goes over the chain a dozen times for each outlet.
template <class Visit> bool any_unit(const shm_view &segment, Visit visit)
{
    // A chain that closes on itself ends where no more records could lie in the segment or stand in a sound one.
    size_t pdus_left = std::min(segment.size / sizeof(shm_pdu), shm_units_max);
    size_t ports_left = std::min(segment.size / sizeof(shm_port), shm_ports_max);
    uint32_t next_port = fetch(root_record(segment).ports);
    for (; ports_left > 0; ports_left--) {
        const shm_port *port = record_at<shm_port>(segment, next_port);
        if (!port)
            return false;
        next_port = fetch(port->next);
        uint32_t next_pdu = fetch(port->pdus);
        const int shift = holds(port->name, shm_local_port_name) ? 0 : 1;
        const int number = fetch(port->id) - shift;
        for (; pdus_left > 0; pdus_left--) {
            const shm_pdu *pdu = record_at<shm_pdu>(segment, next_pdu);
            if (!pdu)
                break;
            next_pdu = fetch(pdu->next);
            if (visit(number, fetch(pdu->id) + shift, *pdu))
                return true;
        }
    }
    return false;
}

// --- Nodes inside a unit -------------------------------------------------------------------------------------------

// How many phases (type 0) or circuits (1) the unit says that it has, or -1 for more than there is room for.
inline int count_elems(const shm_pdu &unit, int type)
{
    int count = fetch(type == elem_phase ? unit.num_phases : unit.num_circuits);
    return count <= (type == elem_phase ? shm_phases_max : shm_circuits_max) ? count : -1;
}

// The k-th phase or circuit, or outlet, from 1, by position; null if there is none.
inline const shm_elem *elem_record(const shm_pdu &unit, int type, int k)
{
    if (k < 1 || k > count_elems(unit, type))
        return nullptr;
    return &(type == elem_phase ? unit.phases : unit.circuits)[k - 1];
}

inline const shm_outlet *outlet_record(const shm_view &segment, const shm_pdu &unit, int k)
{
    if (k < 1 || k > fetch(unit.num_outlets))
        return nullptr;
    return record_at<shm_outlet>(segment, fetch(unit.outlets), static_cast<size_t>(k) - 1);
}

// What nodes of all kinds have. `block` is null where the unit has no such node.
struct shm_node {
    uint32_t capabilities = 0;
    uint32_t block_valid = 0; // the bit among them that says whether the block counts
    const elecmon_block *block = nullptr;
};

// The node of type 0 to 3; with type 3, the unit itself, `elem` is not looked at.
inline shm_node find_node(const shm_view &segment, const shm_pdu &unit, int elem, int type)
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

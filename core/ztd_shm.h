// The readers of the status segment that the power monitor daemon publishes: the fast path, a value read here costs no
// round trip. Every reader answers 0 when the segment has spoken and non-zero for no answer, which is the caller's cue
// to ask the tree. Addresses are the tree's (port and pdu from 1); text and list results are new and the caller's; a
// result is written on 0 only. A value is copied out at once: the daemon writes on while we read, without a lock.
#pragma once

#include <cstdint>

#include "paramtype.h"

// Node kinds that the readers take as `type`.
inline constexpr int elem_phase = 0;
inline constexpr int elem_circuit = 1; // shown to the user as a segment
inline constexpr int elem_outlet = 2;
inline constexpr int elem_pdu = 3; // the unit itself; only the readers here take it, with element 0

// Maps the segment into `*slot` (0 while unmapped) for the life of the process. 0 if the slot is mapped already, else
// the segment id, or -1 (no key), -2 (no segment), -3 (not at its address, or too small to hold its root). A failure
// leaves the slot 0, so that the next call tries again.
int shm_attach(uintptr_t *slot);

// Forgets the process's mapping without unmapping it; the next use attaches anew. For tests.
void shm_forget();

// 0 if mapped, 1 if just mapped, -1 if unusable: not our own name, or the attach failed.
int shm_usable();

// Waits for the daemon's ready byte. 0, or -1; see the body for what the count of tests makes of a slow daemon.
int shm_wait_ready();

// The numbers of the ports; only the first port is looked at.
int list_int_port_shm(paramtype_int_list **list);

// The numbers of a port's units; empty, and still an answer, where the port is not found.
int list_int_pdu_shm(int port, paramtype_int_list **list);

// The ids of a unit's elements of one type (0 to 2); empty, and still an answer, where the unit is not found.
int list_int_elem_shm(int port, int pdu, int type, paramtype_int_list **list);

// Attribute codes of node_info_shm, as far as they name one thing at one type.
inline constexpr int info_elem_sys_name = 2; // type 0, 1
inline constexpr int info_outlet_name = 1;   // type 2, as the rest with outlet in their name
inline constexpr int info_outlet_ctrl_status = 2;
inline constexpr int info_outlet_post_on = 0x10;
inline constexpr int info_outlet_post_off = 0x20;
inline constexpr int info_outlet_mod_status = 0x80;
inline constexpr int info_outlet_sys_name = 0x100;
inline constexpr int info_pdu_model = 4; // type 3, as the rest with pdu in their name
inline constexpr int info_pdu_num_outlets = 0x2000;
inline constexpr int info_pdu_num_phases = 0x20000;

// 0 if any bit of the mask is set in the node's capability word.
int node_caps_shm(int port, int pdu, int elem, int type, uint32_t mask);

// 0 if the node's block of values is valid and any bit of the mask is set in its availability word.
int elecmon_caps_shm(int port, int pdu, int elem, int type, uint32_t mask);

// Those of the wanted bits for which elecmon_caps_shm would answer 0, found in one go; 0 where the segment is unusable.
uint32_t elecmon_available_shm(int port, int pdu, int elem, int type, uint32_t wanted);

// Renders the one value of the block that `mask` names. Neither the valid bit nor the availability word is tested.
int elecmon_elem_info_shm(int port, int pdu, int elem, int type, uint32_t mask, char **text);

// The same into a buffer of render_buffer_size bytes: it needs no memory, so that no value is lost for want of it.
int elecmon_elem_copy_shm(int port, int pdu, int elem, int type, uint32_t mask, char *buffer);

// One attribute of a node, as text or as number by its code. info_pdu_model gives whichever of the two is asked for.
int node_info_shm(int port, int pdu, int elem, int type, int attribute, char **text, int *number);

// Kinds and wishes of name2id_shm.
inline constexpr int name_of_outlet = 2;
inline constexpr int name_of_pdu = 3;
inline constexpr int wanted_port = 0;
inline constexpr int wanted_pdu = 1;
inline constexpr int wanted_outlet = 2;

// Finds an outlet by its user name or a unit by its ID and gives one number of its address. `reserved` is not looked
// at.
int name2id_shm(const char *name, int kind, int wanted, const void *reserved, int *result);

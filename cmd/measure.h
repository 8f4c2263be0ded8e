// What the measurement commands share: the nodes of a unit and the values that they have, how a value is probed, read
// and converted, what an element is called in a line, and how a command finds the nodes that it is about.
#pragma once

#include <cstdint>

#include "client/tree.h"
#include "client/types.h"
#include "core/shm_layout.h"
#include "core/utils.h"
#include "core/walkers.h"
#include "core/ztd_shm.h"
#include "shell/cli.h"

// --- Nodes and their values -----------------------------------------------------------------------------------------

// A unit, or one of its elements.
struct measure_node {
    int port;
    int pdu;
    int type = elem_pdu;
    int elem = 0;
};

inline bool is_unit(const measure_node &node)
{
    return node.type == elem_pdu && node.elem == 0;
}

inline bool is_element_type(int type)
{
    return type >= elem_phase && type <= elem_outlet;
}

// One operation for each kind of node, the elements' by type.
struct node_info {
    int (*unit)(vrn_tsapi_handle *, char **, const char *const *, int, int);
    int (*elem[3])(vrn_tsapi_handle *, char **, const char *const *, int, int, int);
};
struct node_admin {
    int (*unit)(vrn_tsapi_handle *, const char *const *, int, int);
    int (*elem[3])(vrn_tsapi_handle *, const char *const *, int, int, int);
};

// clang-format off
#define NODE_OPERATIONS(verb, leaf)                                                                                    \
    {vrn_tsapi_##verb##_power_port_star0_pdu_star1_##leaf,                                                             \
     {vrn_tsapi_##verb##_power_port_star0_pdu_star1_phase_star2_##leaf,                                                \
      vrn_tsapi_##verb##_power_port_star0_pdu_star1_circuit_star2_##leaf,                                              \
      vrn_tsapi_##verb##_power_port_star0_pdu_star1_outlet_star2_##leaf}}
// clang-format on

// A value that all kinds of node may have.
struct measure_leaf {
    const char *capability; // its name in the tree
    uint32_t mask;          // its bit in the segment
    node_info info;
};

// 0 on success; the result of the operation.
int admin_node(const node_admin &operation, const measure_node &node, const char *const *args);

// 0 if the node has it: by the tree, or by the segment first, which costs no exchange.
int probe_in_tree(const measure_node &node, const measure_leaf &leaf);
int probe(const measure_node &node, const measure_leaf &leaf);

// Logs that the node lacks what `word` names; 1.
int log_unavailable(const measure_node &node, const char *word);

// The value's text, new and the caller's. 0, or not 0 with nothing written and nothing logged.
int read_from_segment(const measure_node &node, const measure_leaf &leaf, char **text);
int read_from_tree(const measure_node &node, const measure_leaf &leaf, char **text);
int read_segment_first(const measure_node &node, const measure_leaf &leaf, char **text);

// The text as a number. 0, or 1: in silence without a text, else logged with `word` as the name of the value.
int convert(const char *word, const owned_text &text, double *value);

// The unit's model code, or -1, logged.
int measured_model(const measure_node &node);

// The number of the unit's phases. 0, or 1, logged.
int phases_in_segment(const measure_node &node, int *phases);
int phases_in_tree(const measure_node &node, int *phases);

// --- What an element is called --------------------------------------------------------------------------------------

struct element_name {
    owned_text text;
    int status = 0;       // not 0: the name could not be had, which does not end a reading at once
    bool between = false; // the name is a pair of lines
};

// Find the name of a phase or circuit; an outlet's is its number. 0, or 1 where the reading must end, logged or not as
// the finder says. These two only ever note the status; those of the tree that know phases refuse, logged, a phase of a
// unit that has but one.
using name_finder = int (*)(const measure_node &node, element_name *name);
int name_in_segment(const measure_node &node, element_name *name);
int name_in_tree(const measure_node &node, element_name *name);
int name_in_tree_unless_single_phase(const measure_node &node, element_name *name);
int refuse_single_phase(const measure_node &node, int phases);

// Where the element stands in a line: " for phase X", "for phase X ", "phase X ", ",X".
enum label_form { label_reading, label_cleared, label_plain, label_summary };

// 0 with the element's text; 1, logged, without a name or without memory. A unit's is empty.
int make_label(const measure_node &node, const element_name &name, label_form form, owned_text *label);

// Logs that an element of such a type cannot be had; 1.
int log_invalid_element(const measure_node &node, const char *word);

// --- Handlers -------------------------------------------------------------------------------------------------------

// Shows all phases, then all circuits, then all outlets of the unit with that worker.
void show_elements(int row, char **out, const measure_node &unit, elem_callback worker, int summary);

// The element of that name: outlets before phases before circuits. 0 with `*node` filled, or 1.
int find_element(const unit &at, const char *name, measure_node *node);

// 0 if the unit can say how many outlets it has; 1, logged.
int check_outlet_count(const unit &at);

// What an element form makes of a name that is no element's.
enum unknown_element { try_banks, decline };

// The unit and the element of the first two arguments. 0 with `*node` filled, or 1 where the command ends with
// `*answered` as its result.
int locate_element(int row, char **out, command_args args, unknown_element unknown, measure_node *node, int *result);

template <pdu_callback worker, int summary> int on_all_units(int row, char **out, command_args)
{
    return all_pdus(row, out, worker, summary);
}

template <pdu_callback worker, int summary> int on_unit(int row, char **out, command_args args)
{
    return one_located_pdu(row, out, args.text(0), worker, summary);
}

template <elem_callback worker, int summary, unknown_element unknown = try_banks>
int on_element(int row, char **out, command_args args)
{
    measure_node node;
    int result;
    if (locate_element(row, out, args, unknown, &node, &result))
        return result;
    return one_element(node.port, node.pdu, node.type, row, out, node.elem, worker, summary);
}

// Declares the workers of a reading command and makes its handlers. The workers answer 0 once their line is added (or
// the row has no format) and 1 before; those that show take a flag as their rest, 1 for the summary.
#define READING_COMMAND(measure)                                                                                       \
    int measure##_pdu_get(int row, char **out, int port, int pdu, va_list *rest);                                      \
    int measure##_elem_get(int port, int pdu, int type, int row, char **out, int elem, va_list *rest);                 \
    int measure##_pdu_reset(int row, char **out, int port, int pdu, va_list *rest);                                    \
    int measure##_elem_reset(int port, int pdu, int type, int row, char **out, int elem, va_list *rest);               \
    inline constexpr command_handler cmd_##measure = on_all_units<measure##_pdu_get, 0>;                               \
    inline constexpr command_handler cmd_##measure##_sum = on_all_units<measure##_pdu_get, 1>;                         \
    inline constexpr command_handler cmd_##measure##_reset = on_all_units<measure##_pdu_reset, 0>;                     \
    inline constexpr command_handler cmd_##measure##_sum_elem = on_element<measure##_elem_get, 1>;                     \
    inline constexpr command_handler cmd_##measure##_reset_elem = on_element<measure##_elem_reset, 0, decline>;        \
    inline constexpr command_handler cmd_##measure##_sum_pdu = on_unit<measure##_pdu_get, 1>;                          \
    inline constexpr command_handler cmd_##measure##_reset_pdu = on_unit<measure##_pdu_reset, 0>;                      \
    inline constexpr command_handler cmd_##measure##_elem = on_element<measure##_elem_get, 0>;                         \
    inline constexpr command_handler cmd_##measure##_pdu = on_unit<measure##_pdu_get, 0>

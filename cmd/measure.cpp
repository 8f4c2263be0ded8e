// The nodes of a unit, their values and their names, as the measurement commands ask for them.

#include "cmd/measure.h"

#include <cerrno>
#include <cstdlib>

#include "core/bank.h"
#include "core/identifiers.h"
#include "core/log.h"
#include "core/render.h"

// --- Values ---------------------------------------------------------------------------------------------------------

int admin_node(const node_admin &operation, const measure_node &node, const char *const *args)
{
    return is_unit(node) ? operation.unit(cli_tsapi, args, node.port, node.pdu)
                         : operation.elem[node.type](cli_tsapi, args, node.port, node.pdu, node.elem);
}

int probe_in_tree(const measure_node &node, const measure_leaf &leaf)
{
    return is_unit(node) ? check_pdu_caps(node.port, node.pdu, leaf.capability)
                         : check_elem_caps(node.port, node.pdu, node.elem, node.type, leaf.capability);
}

int probe(const measure_node &node, const measure_leaf &leaf)
{
    return elecmon_caps_shm(node.port, node.pdu, node.elem, node.type, leaf.mask) && probe_in_tree(node, leaf);
}

int log_unavailable(const measure_node &node, const char *word)
{
    return is_unit(node) ? log_failure("Node %s unavailable for %d@%d", word, node.pdu, node.port)
                         : log_failure("Node %s unavailable for %d@%d@%d", word, node.elem, node.pdu, node.port);
}

int read_from_segment(const measure_node &node, const measure_leaf &leaf, char **text)
{
    return elecmon_elem_info_shm(node.port, node.pdu, node.elem, node.type, leaf.mask, text);
}

int read_from_tree(const measure_node &node, const measure_leaf &leaf, char **text)
{
    return is_unit(node) ? leaf.info.unit(cli_tsapi, text, nullptr, node.port, node.pdu)
                         : leaf.info.elem[node.type](cli_tsapi, text, nullptr, node.port, node.pdu, node.elem);
}

int read_segment_first(const measure_node &node, const measure_leaf &leaf, char **text)
{
    return read_from_segment(node, leaf, text) && read_from_tree(node, leaf, text);
}

int convert(const char *word, const owned_text &text, double *value)
{
    if (is_empty(text))
        return 1;
    char *end;
    // Intended: `errno` is not cleared before, so that an old range error fails the value too (all readings do so).
    *value = real_value(text.get(), &end);
    if (errno == ERANGE || *end)
        return log_failure("Fail to convert %s %s to double", word, text.get());
    return 0;
}

int measured_model(const measure_node &node)
{
    int model = pdu2model(node.port, node.pdu);
    if (model < 0)
        log_failure("Fail to get model from pdu %d@%d", node.pdu, node.port);
    return model;
}

int phases_in_segment(const measure_node &node, int *phases)
{
    return node_info_shm(node.port, node.pdu, 0, elem_pdu, info_pdu_num_phases, nullptr, phases);
}

int phases_in_tree(const measure_node &node, int *phases)
{
    if (vrn_tsapi_info_power_port_star0_pdu_star1_numPhases(cli_tsapi, phases, nullptr, node.port, node.pdu))
        return log_failure("Fail to get number of phases of pdu %d@%d", node.pdu, node.port);
    return 0;
}

// --- Names ----------------------------------------------------------------------------------------------------------

int name_in_segment(const measure_node &node, element_name *name)
{
    if (node.type == elem_outlet)
        name->text = number_text(node.elem);
    else
        name->status =
            node_info_shm(node.port, node.pdu, node.elem, node.type, info_elem_sys_name, into(name->text), nullptr);
    return 0;
}

int name_in_tree(const measure_node &node, element_name *name)
{
    static constexpr auto phase_name = vrn_tsapi_info_power_port_star0_pdu_star1_phase_star2_sysName;
    static constexpr auto circuit_name = vrn_tsapi_info_power_port_star0_pdu_star1_circuit_star2_sysName;
    if (node.type == elem_outlet)
        name->text = number_text(node.elem);
    else
        name->status = (node.type == elem_phase ? phase_name : circuit_name)(cli_tsapi, into(name->text), nullptr,
                                                                             node.port, node.pdu, node.elem);
    return 0;
}

int refuse_single_phase(const measure_node &node, int phases)
{
    return phases > 1 ? 0 : log_failure("pdu %d@%d is single phase", node.pdu, node.port);
}

int name_in_tree_unless_single_phase(const measure_node &node, element_name *name)
{
    int phases;
    if (node.type == elem_phase && (phases_in_tree(node, &phases) || refuse_single_phase(node, phases)))
        return 1;
    return name_in_tree(node, name);
}

// What stands before the name by the element's type, before "between" in its place, and behind.
static constexpr struct {
    const char *kinds[3];
    const char *lead;
    const char *trail;
} label_parts[] = {{{" for phase ", " for segment ", " for outlet "}, " ", ""},
                   {{"for phase ", "for segment ", "for outlet "}, "", " "},
                   {{"phase ", "segment ", "outlet "}, "", " "}};

static owned_text label_text(const measure_node &node, const element_name &name, label_form form)
{
    const char *text = name.text.get();
    if (form == label_summary)
        return joined_text({",", text});
    const auto &parts = label_parts[form];
    return name.between ? new_text("%sbetween %c and %s%s", parts.lead, *text, text + 1, parts.trail)
                        : joined_text({parts.kinds[node.type], text, parts.trail});
}

int make_label(const measure_node &node, const element_name &name, label_form form, owned_text *label)
{
    if (is_unit(node))
        return 0;
    if (!is_empty(name.text))
        *label = label_text(node, name, form);
    return *label ? 0 : log_failure("No element string to print for %d@%d@%d", node.elem, node.pdu, node.port);
}

int log_invalid_element(const measure_node &node, const char *word)
{
    return log_failure("Invalid element for %s %d@%d@%d, type %d", word, node.elem, node.pdu, node.port, node.type);
}

// --- Handlers -------------------------------------------------------------------------------------------------------

void show_elements(int row, char **out, const measure_node &unit, elem_callback worker, int summary)
{
    for (int type : {elem_phase, elem_circuit, elem_outlet})
        all_elements(unit.port, unit.pdu, type, row, out, worker, summary);
}

int find_element(const unit &at, const char *name, measure_node *node)
{
    for (int type : {elem_outlet, elem_phase, elem_circuit}) {
        int elem = elemname2id(type, name, at.port, at.pdu);
        if (elem < 0)
            continue;
        *node = {at.port, at.pdu, type, elem};
        return 0;
    }
    return 1;
}

int check_outlet_count(const unit &at)
{
    int count;
    if (node_info_shm(at.port, at.pdu, 0, elem_pdu, info_pdu_num_outlets, nullptr, &count) &&
        vrn_tsapi_info_power_port_star0_pdu_star1_numOutlets(cli_tsapi, &count, nullptr, at.port, at.pdu))
        return log_failure("Fail to get number of outlets for %d@%d", at.pdu, at.port);
    return 0;
}

int locate_element(int row, char **out, command_args args, unknown_element unknown, measure_node *node, int *result)
{
    unit at;
    *result = 1;
    // The count is of no use here: a unit that cannot answer ends the command.
    if (locate_pdu(args.text(0), &at, out) || check_outlet_count(at))
        return 1;
    if (find_element(at, args.text(1), node) == 0)
        return 0;
    if (unknown == try_banks)
        *result = !answer_dummy_bank(at.port, at.pdu, row, out, args.text(1));
    return 1;
}

// energy: the energy that units, phases, segments and outlets have taken since their count began.

#include "cmd/cmd_energy.h"

#include "cmd/clearing.h"
#include "core/identifiers.h"
#include "core/log.h"

const char energy_usage[] = "Usage: energy [reset | summary] [<ipdu number or ID>]\n"
                            "   energy [<ipdu number or ID>]\n"
                            "   energy [<ipdu number or ID> X|Y|Z] (for three-phase models)\n"
                            "   energy [<ipdu number or ID> [XY|YZ|XZ|XN|YN|ZN]] (for three-phase models)\n"
                            "   energy [<ipdu number or ID> A|B|C] (for segments or circuits)\n"
                            "   energy [<ipdu number or ID> <outlet number>]\n"
                            "Displays the energy in a unit if it is provided, or in all units if it is not provided. "
                            "The reset option clears the energy and resets the start time.\n";

// --- What energy is -------------------------------------------------------------------------------------------------

static constexpr measure_leaf count_leaf = {"cumulative-watthour", shm_mask_cumulative_watthour,
                                            NODE_OPERATIONS(info, cumulativeWatthour)};
// The tree is asked for the start of a unit's count alone.
static constexpr measure_leaf start_leaf = {"cumulative-starttime",
                                            shm_mask_cumulative_starttime,
                                            {vrn_tsapi_info_power_port_star0_pdu_star1_cumulativeStarttime, {}}};

struct energy_reading {
    owned_text count;
    owned_text start;
    const char *shown_start = nullptr; // what the line says of it
    double energy;                     // kWh
    element_name name;
};

static int refuse_legacy(const measure_node &node)
{
    int model = measured_model(node);
    if (model < 0)
        return 1;
    return model_is_current(model) ? 0 : log_failure("Legacy ZT don't support energy command.");
}

// A count that never began counts from the beginning of time.
static void show_start(energy_reading *reading)
{
    reading->shown_start = is_empty(reading->start) ? "1970-01-01 00:00:00" : reading->start.get();
}

static int log_unprinted(const measure_node &node, bool summary, const energy_reading &reading)
{
    const char *form = summary ? "summary " : "";
    if (is_unit(node))
        return log_failure("Fail to printf pdu %d %senergy %.3f since %s string", node.pdu, form, reading.energy,
                           reading.shown_start);
    return log_failure("Fail to printf pdu %d %senergy %.3f since %s string, type %d", node.pdu, form, reading.energy,
                       reading.shown_start, node.type);
}

static int print_energy(int row, char **out, const measure_node &node, bool summary, const energy_reading &reading)
{
    owned_text label;
    const char *format = command_table[row].format;
    if (make_label(node, reading.name, summary ? label_summary : label_reading, &label))
        return 1;
    if (format && append_output(out, format, node.pdu, text_or_empty(label), reading.energy, reading.shown_start))
        return log_unprinted(node, summary, reading);
    return 0;
}

// --- Units ----------------------------------------------------------------------------------------------------------

static int read_unit(const measure_node &unit, energy_reading *reading)
{
    if (refuse_legacy(unit))
        return 1;
    if (probe(unit, count_leaf) || probe(unit, start_leaf))
        return log_unavailable(unit, "energy");
    if (read_segment_first(unit, count_leaf, into(reading->count)) ||
        read_segment_first(unit, start_leaf, into(reading->start)))
        return log_failure("Fail to get energy for pdu %d@%d", unit.pdu, unit.port);
    show_start(reading);
    return convert("energy", reading->count, &reading->energy);
}

int energy_pdu_get(int row, char **out, int port, int pdu, va_list *rest)
{
    int summary = peek_int(rest);
    measure_node unit = {port, pdu};
    energy_reading reading;
    int result = read_unit(unit, &reading) || print_energy(row, out, unit, summary, reading);
    show_elements(row, out, unit, energy_elem_get, summary);
    return failure_tail(result, row, out);
}

// --- Elements -------------------------------------------------------------------------------------------------------

static int probe_element(const measure_node &node)
{
    if (probe(node, count_leaf))
        return log_unavailable(node, "energy");
    if (elecmon_caps_shm(node.port, node.pdu, node.elem, node.type, start_leaf.mask) == 0) {
        log_notice("### Checked cap for port %d, pdu %d, elem %d, type %d", node.port, node.pdu, node.elem, node.type);
        return 0;
    }
    return probe_in_tree(node, start_leaf) ? log_unavailable(node, "energy") : 0;
}

// Both put what became of the energy and its start into `*status`; 1, logged, where the reading must end.
static int read_in_segment(const measure_node &node, energy_reading *reading, int *status)
{
    name_in_segment(node, &reading->name);
    *status = read_from_segment(node, count_leaf, into(reading->count));
    if (reading->name.status == 0 && *status == 0)
        *status = read_from_segment(node, start_leaf, into(reading->start));
    show_start(reading);
    log_notice("### Got from shm tsr1 %d tsr2 %d", reading->name.status, *status);
    return 0;
}

// Intended: the start is not read here, and the line shows what the formatter makes of no text (the segment's has one).
static int read_in_tree(const measure_node &node, energy_reading *reading, int *status)
{
    if (name_in_tree_unless_single_phase(node, &reading->name))
        return 1;
    *status = read_from_tree(node, count_leaf, into(reading->count));
    log_notice("### Got from tsapi tsr1 %d tsr2 %d", reading->name.status, *status);
    return 0;
}

static int read_element(const measure_node &node, energy_reading *reading)
{
    int status;
    if (refuse_legacy(node) || probe_element(node))
        return 1;
    if (!is_element_type(node.type))
        return log_invalid_element(node, "energy");
    if ((shm_usable() >= 0 ? read_in_segment : read_in_tree)(node, reading, &status))
        return 1;
    if (reading->name.status || status)
        return log_failure("Fail to get info for element %d@%d@%d, type %d", node.elem, node.pdu, node.port, node.type);
    return convert("energy", reading->count, &reading->energy);
}

int energy_elem_get(int port, int pdu, int type, int row, char **out, int elem, va_list *rest)
{
    int summary = peek_int(rest);
    measure_node node = {port, pdu, type, elem};
    energy_reading reading;
    int result = read_element(node, &reading) || print_energy(row, out, node, summary, reading);
    return failure_tail(result, row, out);
}

// --- Clearing -------------------------------------------------------------------------------------------------------

static constexpr clearing energy_clearing = {
    .word = "energy",
    .legacy_refusal = "Legacy ZT don't support reset-energy command.",
    .needed = {&count_leaf, &start_leaf},
    .probe = probe_in_tree,
    .unit_failure = "reset cumulative-watthour",
    .operation = NODE_OPERATIONS(admin, cumulativeWatthour_reset),
    .name = name_in_tree_unless_single_phase,
    .append = append_cleared,
};

int energy_pdu_reset(int row, char **out, int port, int pdu, va_list *)
{
    return clear_unit(energy_clearing, {port, pdu}, row, out);
}

int energy_elem_reset(int port, int pdu, int type, int row, char **out, int elem, va_list *)
{
    return clear_element(energy_clearing, {port, pdu, type, elem}, row, out);
}

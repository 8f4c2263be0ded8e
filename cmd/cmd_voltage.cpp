// voltage: the voltage of units, phases, segments and outlets, and its recorded extremes.

#include "cmd/cmd_voltage.h"

#include <cstring>

#include "cmd/clearing.h"
#include "core/log.h"
#include "core/render.h"

const char voltage_usage[] = "Usage: voltage [reset | summary] [<ipdu number or ID>]\n"
                             "   voltage [<ipdu number or ID>]\n"
                             "   voltage [<ipdu number or ID> [XY|YZ|XZ|XN|YN|ZN]] (for three-phase models)\n"
                             "   voltage [<ipdu number or ID> A|B|C] (for segments or circuits)\n"
                             "   voltage [<ipdu number or ID> <outlet number>]\n"
                             "Displays the voltage in a unit if it is provided, or in all units if it is not provided. "
                             "The reset option clears the maximum, minimum and average recorded voltage.\n";

// --- What voltage is ------------------------------------------------------------------------------------------------

// A circuit of a three-phase unit lies between two lines and is called so.
static int name_between_in_segment(const measure_node &node, element_name *name)
{
    int phases = 0;
    if (node.type == elem_circuit && phases_in_segment(node, &phases))
        return log_failure("Cannot get number of phases %d@%d@%d", node.elem, node.pdu, node.port);
    name->between = phases == 3;
    return name_in_segment(node, name);
}

static int name_between_in_tree(const measure_node &node, element_name *name)
{
    int phases = 0;
    if (node.type == elem_circuit && phases_in_tree(node, &phases))
        return 1;
    name->between = phases == 3;
    return name_in_tree(node, name);
}

static owned_text make_tail(const char *label, bool summary, const measure_reading &reading)
{
    double max = reading.value[value_max], min = reading.value[value_min], avg = reading.value[value_avg];
    if (reading.count < value_count)
        return nullptr;
    return summary ? new_text(",%.1fV,%.1fV,%.1fV", max, min, avg)
                   : new_text(". Maximum voltage%s: %.1fV. Minimum voltage%s: %.1fV. Average voltage%s: %.1fV", label,
                              max, label, min, label, avg);
}

static int append_voltage(const char *format, char **out, const measure_node &node, const char *label, bool summary,
                          const measure_reading &reading)
{
    owned_text tail = make_tail(label, summary, reading);
    return append_output(out, format, node.pdu, label, reading.value[value_now], text_or_empty(tail));
}

static constexpr measure_leaf voltage_type = {"voltage-type", shm_mask_voltage_type,
                                              NODE_OPERATIONS(info, voltageType)};

static constexpr measure voltage_measure = {
    .word = "voltage",
    .legacy_refusal = nullptr,
    .legacy_count = 1,
    .leaves = {{"voltage", shm_mask_voltage, NODE_OPERATIONS(info, voltage)},
               {"voltage-max", shm_mask_voltage_max, NODE_OPERATIONS(info, voltageMax)},
               {"voltage-min", shm_mask_voltage_min, NODE_OPERATIONS(info, voltageMin)},
               {"voltage-avg", shm_mask_voltage_avg, NODE_OPERATIONS(info, voltageAvg)}},
    .kind = &voltage_type,
    .name_stops = true,
    .decimals = 1,
    .append = append_voltage,
    .segment = {.read = read_from_segment,
                .name = name_between_in_segment,
                .invalid = "voltage",
                .kind = "voltage type",
                .measured = "Voltage",
                .before_max = "getting max volt",
                .before_rest = "getting min and avg"},
    // Intended: another spelling than the segment's (the log tells the source by it).
    .tree = {.read = read_from_tree,
             .name = name_between_in_tree,
             .invalid = "voltage",
             .kind = "voltage type",
             .measured = "Voltge"},
};

// --- Showing --------------------------------------------------------------------------------------------------------

static size_t length_of(const char *out)
{
    return out ? strlen(out) : 0;
}

// `mark` becomes how much was shown before a unit that has no voltage of its own.
static int probe_voltage(const measure_node &unit, const char *out, size_t *mark)
{
    if (probe_values(voltage_measure, unit, value_now, value_max) == 0)
        return 0;
    *mark = length_of(out);
    return 1;
}

static int check_unit_kind(const measure_node &unit, const char *out, size_t *mark)
{
    owned_text kind;
    if (read_segment_first(unit, voltage_type, into(kind)))
        return log_failure("Fail to get voltage type %d@%d", unit.pdu, unit.port);
    if (says_measured(kind))
        return 0;
    *mark = length_of(out);
    return log_failure("Voltge is not measured in %d@%d", unit.pdu, unit.port);
}

// All values are read before the first is converted.
static int read_voltage(const measure_node &unit, const char *out, size_t *mark, measure_reading *reading)
{
    const measure &m = voltage_measure;
    return find_family(m, unit, reading) || probe_voltage(unit, out, mark) ||
           probe_values(m, unit, value_max, reading->count) || check_unit_kind(unit, out, mark) ||
           read_unit_values(m, unit, value_now, reading->count, reading) ||
           convert_values(m, value_now, reading->count, reading);
}

int voltage_pdu_get(int row, char **out, int port, int pdu, va_list *rest)
{
    int summary = peek_int(rest);
    measure_node unit = {port, pdu};
    measure_reading reading;
    size_t mark = 0;
    int result =
        read_voltage(unit, *out, &mark, &reading) || print_reading(voltage_measure, row, out, unit, summary, reading);
    show_elements(row, out, unit, voltage_elem_get, summary);
    // Intended: behind other units the line comes only for the two refusals that set the mark (scripts count lines).
    // Where nothing set it the mark is 0, the length of nothing shown.
    if (length_of(*out) == mark)
        append_output(out, "IPDU #%d does not have voltage sensor.\n", pdu);
    return failure_tail(result, row, out);
}

int voltage_elem_get(int port, int pdu, int type, int row, char **out, int elem, va_list *rest)
{
    return get_element(voltage_measure, {port, pdu, type, elem}, row, out, peek_int(rest));
}

// --- Clearing -------------------------------------------------------------------------------------------------------

// Here the name comes before the phases.
static int name_to_clear(const measure_node &node, element_name *name)
{
    int phases = 0;
    name_in_tree(node, name);
    if (node.type == elem_circuit && phases_in_tree(node, &phases))
        return 1;
    name->between = phases == 3;
    return 0;
}

static constexpr clearing voltage_clearing = {
    .word = "voltage",
    .legacy_refusal = "Legacy ZT doesn't support reset-voltage",
    .needed = {&voltage_measure.leaves[value_now], nullptr},
    .probe = probe_in_tree,
    .unit_failure = "reset voltage",
    .operation = NODE_OPERATIONS(admin, resetVoltage),
    .name = name_to_clear,
    .append = append_cleared,
};

int voltage_pdu_reset(int row, char **out, int port, int pdu, va_list *)
{
    return clear_unit(voltage_clearing, {port, pdu}, row, out);
}

int voltage_elem_reset(int port, int pdu, int type, int row, char **out, int elem, va_list *)
{
    return clear_element(voltage_clearing, {port, pdu, type, elem}, row, out);
}

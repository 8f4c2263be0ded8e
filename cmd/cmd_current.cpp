// current: the current of units, phases, segments and outlets, with its recorded extremes. A legacy unit keeps the
// maximum alone.

#include "cmd/cmd_current.h"

#include "cmd/clearing.h"
#include "core/identifiers.h"
#include "core/render.h"

const char current_usage[] = "Usage: current [reset | summary] [<ipdu number or ID>]\n"
                             "   current [<ipdu number or ID>]\n"
                             "   current [<ipdu number or ID> X|Y|Z] (for three-phase models)\n"
                             "   current [<ipdu number or ID> [XY|YZ|XZ|XN|YN|ZN]] (for three-phase models)\n"
                             "   current [<ipdu number or ID> A|B|C] (for segments or circuits)\n"
                             "   current [<ipdu number or ID> <outlet number>]\n"
                             "   current threshold [<ipdu number or ID> [<outlet|phase|segment>] [<thresholds]]\n"
                             "Displays the current in a unit if it is provided, or in all units if it is not provided. "
                             "The reset option clears the maximum, minimum and average recorded current.\n"
                             "The threshold option show or set the threshold for all valid levels on the provided "
                             "elements. <thresholds> are 4 levels of thresholds, colon separated:\n"
                             "    High critical:High warning:Low warning:Low critical.\n\n";

// --- What current is ------------------------------------------------------------------------------------------------

// Intended: an element without a name ends the reading without a word in the log (the other measures have one).
static int silent_name_in_segment(const measure_node &node, element_name *name)
{
    name_in_segment(node, name);
    return name->status;
}

static int silent_name_in_tree(const measure_node &node, element_name *name)
{
    name_in_tree(node, name);
    return name->status;
}

static owned_text make_tail(const char *label, bool summary, const measure_reading &reading)
{
    if (reading.count < value_count)
        return nullptr;
    double min = reading.value[value_min], avg = reading.value[value_avg];
    return summary ? new_text(",%.1fA,%.1fA", min, avg)
                   : new_text(". Minimum current%s: %.1fA. Average current%s: %.1fA", label, min, label, avg);
}

static int append_current(const char *format, char **out, const measure_node &node, const char *label, bool summary,
                          const measure_reading &reading)
{
    double now = reading.value[value_now], max = reading.value[value_max];
    owned_text tail = make_tail(label, summary, reading);
    return summary ? append_output(out, format, node.pdu, label, now, max, text_or_empty(tail))
                   : append_output(out, format, node.pdu, label, now, label, max, text_or_empty(tail));
}

const measure current_measure = {
    .word = "current",
    .legacy_refusal = nullptr,
    .legacy_count = 2,
    .leaves = {{"current", shm_mask_current, NODE_OPERATIONS(info, current)},
               {"current-max", shm_mask_current_max, NODE_OPERATIONS(info, currentMax)},
               {"current-min", shm_mask_current_min, NODE_OPERATIONS(info, currentMin)},
               {"current-avg", shm_mask_current_avg, NODE_OPERATIONS(info, currentAvg)}},
    .kind = nullptr,
    .name_stops = true,
    .decimals = 1,
    .append = append_current,
    .segment = {.read = read_from_segment, .name = silent_name_in_segment, .invalid = "current"},
    .tree = {.read = read_from_tree, .name = silent_name_in_tree, .invalid = "current"},
};

// --- Showing --------------------------------------------------------------------------------------------------------

// The present value and the maximum are converted before the other two are fetched.
static int read_current(const measure_node &unit, measure_reading *reading)
{
    const measure &m = current_measure;
    return find_family(m, unit, reading) || probe_values(m, unit, value_now, reading->count) ||
           read_unit_values(m, unit, value_now, value_min, reading) ||
           convert_values(m, value_now, value_min, reading) ||
           read_unit_values(m, unit, value_min, reading->count, reading) ||
           convert_values(m, value_min, reading->count, reading);
}

int current_pdu_get(int row, char **out, int port, int pdu, va_list *rest)
{
    int summary = peek_int(rest);
    measure_node unit = {port, pdu};
    measure_reading reading;
    int result = read_current(unit, &reading) || print_reading(current_measure, row, out, unit, summary, reading);
    show_elements(row, out, unit, current_elem_get, summary);
    return failure_tail(result, row, out);
}

int current_elem_get(int port, int pdu, int type, int row, char **out, int elem, va_list *rest)
{
    return get_element(current_measure, {port, pdu, type, elem}, row, out, peek_int(rest));
}

// --- Clearing -------------------------------------------------------------------------------------------------------

// Tells what the unit's family has recorded.
static int append_current_cleared(const char *format, char **out, int pdu, int model, const char *label)
{
    return append_output(out, format, pdu, model_is_current(model) ? ", minimum and average" : "", label);
}

static constexpr clearing current_clearing = {
    .word = "current",
    .legacy_refusal = nullptr,
    .needed = {&current_measure.leaves[value_now], nullptr},
    .probe = probe,
    // Intended: a refused reset is logged in the words of a reading (log readers know the line so).
    .unit_failure = "get current",
    .operation = NODE_OPERATIONS(admin, resetCurrent),
    .name = name_in_tree,
    .append = append_current_cleared,
};

int current_pdu_reset(int row, char **out, int port, int pdu, va_list *)
{
    return clear_unit(current_clearing, {port, pdu}, row, out);
}

int current_elem_reset(int port, int pdu, int type, int row, char **out, int elem, va_list *)
{
    return clear_element(current_clearing, {port, pdu, type, elem}, row, out);
}

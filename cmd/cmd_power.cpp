// power: the power that units, phases, segments and outlets draw, and its recorded extremes.

#include "cmd/cmd_power.h"

#include "cmd/clearing.h"

const char power_usage[] = "Usage: power [reset | summary] [<ipdu number or ID>]\n"
                           "   power [<ipdu number or ID>]\n"
                           "   power [<ipdu number or ID> X|Y|Z] (for three-phase models)\n"
                           "   power [<ipdu number or ID> [XY|YZ|XZ|XN|YN|ZN]] (for three-phase models)\n"
                           "   power [<ipdu number or ID> A|B|C] (for segments or circuits)\n"
                           "   power [<ipdu number or ID> <outlet number>]\n"
                           "Displays the power in a unit if it is provided, or in all units if it is not provided. The "
                           "reset option clears the maximum, minimum and average recorded power.\n";

// --- What power is -----------------------------------------------------------------------------------------------

static constexpr measure_leaf power_type = {"power-type", shm_mask_power_type, NODE_OPERATIONS(info, powerType)};

static constexpr measure power_measure = {
    .word = "power",
    .legacy_refusal = "Legacy ZT don't support power command.",
    .legacy_count = 0,
    .leaves = {{"power", shm_mask_power, NODE_OPERATIONS(info, power)},
               {"power-max", shm_mask_power_max, NODE_OPERATIONS(info, powerMax)},
               {"power-min", shm_mask_power_min, NODE_OPERATIONS(info, powerMin)},
               {"power-avg", shm_mask_power_avg, NODE_OPERATIONS(info, powerAvg)}},
    .kind = &power_type,
    .name_stops = false,
    .decimals = 1,
    .append = append_power_values,
    .segment = {.read = read_from_segment,
                .name = name_in_segment,
                .invalid = "power",
                .kind = "power type",
                .measured = "Power"},
    .tree = {.read = read_from_tree,
             .name = name_in_tree_unless_single_phase,
             .invalid = "power",
             .kind = "power type",
             .measured = "Power"},
};

// --- Showing --------------------------------------------------------------------------------------------------------

int power_pdu_get(int row, char **out, int port, int pdu, va_list *rest)
{
    return get_power_unit(power_measure, {port, pdu}, row, out, peek_int(rest), power_elem_get);
}

int power_elem_get(int port, int pdu, int type, int row, char **out, int elem, va_list *rest)
{
    return get_element(power_measure, {port, pdu, type, elem}, row, out, peek_int(rest));
}

// --- Clearing -------------------------------------------------------------------------------------------------------

static constexpr clearing power_clearing = {
    .word = "power",
    .legacy_refusal = "Legacy ZT don't support reset-power command.",
    .needed = {&power_measure.leaves[value_now], nullptr},
    .probe = probe_in_tree,
    // Intended: a refused reset is logged in the words of a reading (log readers know the line so).
    .unit_failure = "get power",
    .operation = NODE_OPERATIONS(admin, resetPower),
    .name = name_in_tree_unless_single_phase,
    .append = append_cleared,
};

int power_pdu_reset(int row, char **out, int port, int pdu, va_list *)
{
    return clear_unit(power_clearing, {port, pdu}, row, out);
}

int power_elem_reset(int port, int pdu, int type, int row, char **out, int elem, va_list *)
{
    return clear_element(power_clearing, {port, pdu, type, elem}, row, out);
}

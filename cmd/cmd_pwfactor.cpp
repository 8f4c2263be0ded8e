// powerfactor: the power factor of units, phases, segments and outlets, and its recorded extremes.

#include "cmd/cmd_pwfactor.h"

#include "cmd/clearing.h"
#include "core/log.h"

const char powerfactor_usage[] =
    "Usage: powerfactor [reset | summary] [<ipdu number or ID>]\n"
    "   powerfactor [<ipdu number or ID>]\n"
    "   powerfactor [<ipdu number or ID> X|Y|Z] (for three-phase models)\n"
    "   powerfactor [<ipdu number or ID> [XY|YZ|XZ|XN|YN|ZN]] (for three-phase models)\n"
    "   powerfactor [<ipdu number or ID> A|B|C] (for segments or circuits)\n"
    "   powerfactor [<ipdu number or ID> <outlet number>]\n"
    "Displays the power factor in a unit if it is provided, or in all units if it is not provided. The reset option "
    "clears the maximum, minimum and average recorded power factor.\n";

// --- What power factor is ----------------------------------------------------------------------------------------

static int name_in_segment_unless_single_phase(const measure_node &node, element_name *name)
{
    int phases;
    if (node.type == elem_phase && phases_in_segment(node, &phases))
        return log_failure("Fail to get number of phases of pdu %d@%d", node.pdu, node.port);
    if (node.type == elem_phase && refuse_single_phase(node, phases))
        return 1;
    return name_in_segment(node, name);
}

static constexpr measure_leaf pwfact_type = {"power-factor-type", shm_mask_power_factor_type,
                                             NODE_OPERATIONS(info, powerFactorType)};

static constexpr measure pwfact_measure = {
    .word = "pwfact",
    .legacy_refusal = "Legacy ZT don't support power-factor command.",
    .legacy_count = 0,
    .leaves = {{"power-factor", shm_mask_power_factor, NODE_OPERATIONS(info, powerFactor)},
               {"power-factor-max", shm_mask_power_factor_max, NODE_OPERATIONS(info, powerFactorMax)},
               {"power-factor-min", shm_mask_power_factor_min, NODE_OPERATIONS(info, powerFactorMin)},
               {"power-factor-avg", shm_mask_power_factor_avg, NODE_OPERATIONS(info, powerFactorAvg)}},
    .kind = &pwfact_type,
    .name_stops = false,
    .decimals = 2,
    .append = append_power_values,
    .segment = {.read = read_from_segment,
                .name = name_in_segment_unless_single_phase,
                .invalid = "power-factor",
                .kind = "power-factor type",
                .measured = "power-factor",
                .announced = "using shm",
                .before_max = "getting max power-factory",
                .before_rest = "getting min and avg power-factor"},
    .tree = {.read = read_from_tree,
             .name = name_in_tree_unless_single_phase,
             .invalid = "pwfact",
             .kind = "power factor type",
             .measured = "Power factor",
             .announced = "using tsapi"},
};

// --- Showing --------------------------------------------------------------------------------------------------------

int pwfact_pdu_get(int row, char **out, int port, int pdu, va_list *rest)
{
    return get_power_unit(pwfact_measure, {port, pdu}, row, out, peek_int(rest), pwfact_elem_get);
}

int pwfact_elem_get(int port, int pdu, int type, int row, char **out, int elem, va_list *rest)
{
    return get_element(pwfact_measure, {port, pdu, type, elem}, row, out, peek_int(rest));
}

// --- Clearing -------------------------------------------------------------------------------------------------------

static constexpr clearing pwfact_clearing = {
    .word = "pwfact",
    .legacy_refusal = "Legacy ZT don't support reset-power-factor command.",
    .needed = {&pwfact_measure.leaves[value_now], nullptr},
    .probe = probe_in_tree,
    // Intended: a refused reset is logged in the words of a reading (log readers know the line so).
    .unit_failure = "get pwfact",
    .operation = NODE_OPERATIONS(admin, resetPowerFactor),
    .name = name_in_tree_unless_single_phase,
    .append = append_cleared,
};

int pwfact_pdu_reset(int row, char **out, int port, int pdu, va_list *)
{
    return clear_unit(pwfact_clearing, {port, pdu}, row, out);
}

int pwfact_elem_reset(int port, int pdu, int type, int row, char **out, int elem, va_list *)
{
    return clear_element(pwfact_clearing, {port, pdu, type, elem}, row, out);
}

// alarm: the one current above which a unit, or an element of it, raises an alarm. It is read and written in the tree
// alone, and units of any model are served.

#include "cmd/cmd_alarm.h"

#include "core/log.h"
#include "core/render.h"

const char alarm_usage[] = "Usage: alarm [<ipdu number or ID>]\n"
                           "   alarm [<ipdu number or ID> [<threshold>]]\n"
                           "   alarm [<ipdu number or ID> [<threshold> X|Y|Z]] (for three-phase models)\n"
                           "   alarm [<ipdu number or ID> [<threshold> [XY|YZ|XZ|XN|YN|ZN]] (for three-phase models)\n"
                           "   alarm [<ipdu number or ID> [<threshold> A|B|C]] (for segments or circuits)\n"
                           "   alarm [<ipdu number or ID> [<threshold> <outlet number>]]\n"
                           "Sets the current threshold for alarm to <threshold> on IPDU #<ipdu number>.\n"
                           "<threshold> should be between 1A and the maximum current.\n";

static constexpr measure_leaf alarm_leaf = {"current-alarm", shm_mask_current_alarm,
                                            NODE_OPERATIONS(info, currentAlarm)};
static constexpr node_admin alarm_setting = NODE_OPERATIONS(admin, currentAlarm);

static int probe_alarm(const measure_node &node)
{
    return probe_in_tree(node, alarm_leaf) ? log_unavailable(node, "alarm") : 0;
}

static int log_nameless(const measure_node &node)
{
    return log_failure("Fail to get name for element %d@%d@%d, type %d", node.elem, node.pdu, node.port, node.type);
}

// Adds the row's line; not 0 where it cannot be added.
static int append_alarm(int row, char **out, const measure_node &node, const owned_text &label, double value)
{
    const char *format = command_table[row].format;
    return format && append_output(out, format, node.pdu, text_or_empty(label), value);
}

// --- Showing --------------------------------------------------------------------------------------------------------

static int show_unit(int row, char **out, const measure_node &unit)
{
    owned_text text;
    double value;
    if (probe_alarm(unit))
        return 1;
    if (read_from_tree(unit, alarm_leaf, into(text)))
        return log_failure("Fail to get alarm for pdu %d@%d", unit.pdu, unit.port);
    if (convert("alarm", text, &value))
        return 1;
    if (append_alarm(row, out, unit, nullptr, value))
        return log_failure("Fail to printf pdu %d alarm %.1f string", unit.pdu, value);
    return 0;
}

int alarm_pdu_get(int row, char **out, int port, int pdu, va_list *)
{
    measure_node unit = {port, pdu};
    int result = show_unit(row, out, unit);
    show_elements(row, out, unit, alarm_elem_get, 0);
    return failure_tail(result, row, out);
}

static int show_element(int row, char **out, const measure_node &node)
{
    element_name name;
    owned_text text, label;
    double value;
    if (probe_alarm(node))
        return 1;
    if (!is_element_type(node.type))
        return log_invalid_element(node, "alarm");
    name_in_tree(node, &name);
    int status = read_from_tree(node, alarm_leaf, into(text));
    if (name.status)
        return log_nameless(node);
    if (status)
        return log_failure("Fail to get alarm for element %d@%d@%d, type %d", node.elem, node.pdu, node.port,
                           node.type);
    if (convert("alarm", text, &value) || make_label(node, name, label_plain, &label))
        return 1;
    // Intended: two blanks (log readers know the line so).
    if (append_alarm(row, out, node, label, value))
        return log_failure("Fail to printf elem %d, type %d,  alarm %.1f string", node.elem, node.type, value);
    return 0;
}

// Intended: an element that fails before anything is shown puts the row's failure there, and later elements' lines
// follow it (scripts see that the answer is not whole).
int alarm_elem_get(int port, int pdu, int type, int row, char **out, int elem, va_list *)
{
    return failure_tail(show_element(row, out, {port, pdu, type, elem}), row, out);
}

// --- Setting --------------------------------------------------------------------------------------------------------

static int write_alarm(const measure_node &node, const owned_text &text)
{
    const char *const value[] = {text.get(), nullptr};
    return admin_node(alarm_setting, node, value);
}

// Intended: a unit that takes the value itself leaves its elements as they are.
static int set_unit(int row, char **out, const measure_node &unit, double value)
{
    owned_text text = new_text("%.1f", value); // as the tree takes it, with one decimal
    if (!text)
        return log_failure("Fail to convert threshold %.1f for pdu %d@%d", value, unit.pdu, unit.port);
    if (write_alarm(unit, text))
        return log_failure("Fail to set threshold %s for pdu %d@%d", text.get(), unit.pdu, unit.port);
    // Intended: done also where the line cannot be added, since the value is set.
    if (append_alarm(row, out, unit, nullptr, value))
        log_failure("Fail to printf pdu %d threshold %.1f string", unit.pdu, value);
    return 0;
}

static int set_elements(int row, char **out, const measure_node &unit, double value)
{
    int result = 0;
    for (int type : {elem_phase, elem_circuit, elem_outlet})
        result |= all_elements(unit.port, unit.pdu, type, row, out, alarm_elem_set, value);
    return result;
}

int alarm_pdu_set(int row, char **out, int port, int pdu, va_list *rest)
{
    measure_node unit = {port, pdu};
    double value = peek_real(rest);
    int result = probe_alarm(unit) ? set_elements(row, out, unit, value) : set_unit(row, out, unit, value);
    return failure_tail(result, row, out);
}

static int set_element(int row, char **out, const measure_node &node, double value)
{
    element_name name;
    owned_text label;
    if (probe_alarm(node))
        return 1;
    owned_text text = new_text("%.1f", value); // as the tree takes it, with one decimal
    if (!text)
        return log_failure("Fail to convert threshold for element %d@%d@%d, type %d, value %.1f", node.elem, node.pdu,
                           node.port, node.type, value);
    if (!is_element_type(node.type))
        return log_failure("Invalid element for set alarm %d@%d@%d, type %d, value %.1f", node.elem, node.pdu,
                           node.port, node.type, value);
    name_in_tree(node, &name);
    int refused = write_alarm(node, text);
    if (name.status)
        return log_nameless(node);
    if (refused)
        return log_failure("Fail to set threshold for element %d@%d@%d, type %d, value %.1f", node.elem, node.pdu,
                           node.port, node.type, value);
    if (make_label(node, name, label_plain, &label))
        return 1;
    if (append_alarm(row, out, node, label, value))
        return log_failure("Fail to printf elem %d, type %d, threshold %.1f string", node.elem, node.type, value);
    return 0;
}

int alarm_elem_set(int port, int pdu, int type, int row, char **out, int elem, va_list *rest)
{
    return failure_tail(set_element(row, out, {port, pdu, type, elem}, peek_real(rest)), row, out);
}

// --- Handlers -------------------------------------------------------------------------------------------------------

// The unit of the first argument and the value of the second, whose one limit here is 0. The unit comes first.
static int locate_for_value(int row, char **out, command_args args, unit *at)
{
    if (locate_pdu(args.text(0), at, out))
        return 1;
    if (!(args.real(1) < 0.0)) // which lets through what is no number
        return 0;
    if (command_table[row].error_format)
        append_output(out, "%s", command_table[row].error_format);
    return 1;
}

int cmd_alarm_elem_set(int row, char **out, command_args args)
{
    unit at;
    measure_node node;
    int outlets;
    if (locate_for_value(row, out, args, &at))
        return 1;
    if (vrn_tsapi_info_power_port_star0_pdu_star1_numOutlets(cli_tsapi, &outlets, nullptr, at.port, at.pdu))
        return log_failure("Fail to get number of outlets for %d@%d", at.pdu, at.port);
    if (find_element(at, args.text(2), &node))
        return 1;
    return one_element(node.port, node.pdu, node.type, row, out, node.elem, alarm_elem_set, args.real(1));
}

int cmd_alarm_pdu_set(int row, char **out, command_args args)
{
    unit at;
    if (locate_for_value(row, out, args, &at))
        return 1;
    return one_pdu(row, out, at.port, at.pdu, alarm_pdu_set, args.real(1));
}

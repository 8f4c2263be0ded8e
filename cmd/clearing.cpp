// Clears what units and elements have recorded.

#include "cmd/clearing.h"

#include "core/identifiers.h"
#include "core/log.h"

static int may_clear(const clearing &rule, const measure_node &node, int *model)
{
    *model = measured_model(node);
    if (*model < 0)
        return 1;
    if (rule.legacy_refusal && !model_is_current(*model))
        return log_failure("%s", rule.legacy_refusal);
    for (const measure_leaf *leaf : rule.needed)
        if (leaf && rule.probe(node, *leaf))
            return log_unavailable(node, leaf->capability);
    return 0;
}

static int print_cleared(const clearing &rule, const measure_node &node, int row, char **out, int model,
                         const char *label)
{
    const char *format = command_table[row].format;
    if (!format || rule.append(format, out, node.pdu, model, label) == 0)
        return 0;
    return is_unit(node)
               ? log_failure("Fail to printf pdu %d reset %s string", node.pdu, rule.word)
               : log_failure("Fail to printf pdu %d reset %s string, type %d", node.pdu, rule.word, node.type);
}

int append_cleared(const char *format, char **out, int pdu, int, const char *label)
{
    return append_output(out, format, pdu, label);
}

int clear_unit(const clearing &rule, const measure_node &unit, int row, char **out)
{
    int model;
    if (may_clear(rule, unit, &model))
        return 1;
    if (admin_node(rule.operation, unit, nullptr))
        return log_failure("Fail to %s for pdu %d@%d", rule.unit_failure, unit.pdu, unit.port);
    return print_cleared(rule, unit, row, out, model, "");
}

int clear_element(const clearing &rule, const measure_node &node, int row, char **out)
{
    int model;
    element_name name;
    owned_text label;
    if (may_clear(rule, node, &model))
        return 1;
    if (!is_element_type(node.type))
        return log_invalid_element(node, rule.word);
    if (rule.name(node, &name))
        return 1;
    int refused = admin_node(rule.operation, node, nullptr);
    if (name.status || refused)
        return log_failure("Fail to reset %s for element %d@%d@%d, type %d", rule.word, node.elem, node.pdu, node.port,
                           node.type);
    if (make_label(node, name, label_cleared, &label))
        return 1;
    return print_cleared(rule, node, row, out, model, label.get());
}

// The machine behind the readings of four values.

#include "cmd/reading.h"

#include <strings.h>

#include "core/identifiers.h"
#include "core/log.h"

// --- Steps ----------------------------------------------------------------------------------------------------------

int find_family(const measure &m, const measure_node &node, measure_reading *reading)
{
    int model = measured_model(node);
    if (model < 0)
        return 1;
    bool legacy = !model_is_current(model);
    if (legacy && m.legacy_refusal)
        return log_failure("%s", m.legacy_refusal);
    reading->count = legacy ? m.legacy_count : value_count;
    return 0;
}

int probe_values(const measure &m, const measure_node &node, int from, int to)
{
    uint32_t wanted = 0;
    for (int i = from; i < to; i++)
        wanted |= m.leaves[i].mask;
    const uint32_t available = elecmon_available_shm(node.port, node.pdu, node.elem, node.type, wanted);
    for (int i = from; i < to; i++)
        if (!(available & m.leaves[i].mask) && probe_in_tree(node, m.leaves[i]))
            return log_unavailable(node, m.leaves[i].capability);
    return 0;
}

int read_unit_values(const measure &m, const measure_node &unit, int from, int to, measure_reading *reading)
{
    // Intended: the average fails in the words of the minimum (log readers know the line so).
    static constexpr const char *words[value_count] = {"", "Max", "Min", "Min"};
    for (int i = from; i < to; i++)
        if (read_segment_first(unit, m.leaves[i], into(reading->text[i])))
            return log_failure("Fail to get %s%s for pdu %d@%d", m.word, words[i], unit.pdu, unit.port);
    return 0;
}

int convert_values(const measure &m, int from, int to, measure_reading *reading)
{
    for (int i = from; i < to; i++)
        if (convert(m.leaves[i].capability, reading->text[i], &reading->value[i]))
            return 1;
    return 0;
}

bool says_measured(const owned_text &kind)
{
    return strcasecmp(text_or_empty(kind), "MEASURED") == 0;
}

static int log_unprinted(const measure &m, const measure_node &node, bool summary, double value)
{
    const char *form = summary ? "summary " : "";
    if (is_unit(node))
        return log_failure("Fail to printf pdu %d %s%s %.*f string", node.pdu, form, m.word, m.decimals, value);
    return log_failure("Fail to printf pdu %d %s%s %.*f string, type %d", node.pdu, form, m.word, m.decimals, value,
                       node.type);
}

int print_reading(const measure &m, int row, char **out, const measure_node &node, bool summary,
                  const measure_reading &reading)
{
    owned_text label;
    const char *format = command_table[row].format;
    if (make_label(node, reading.name, summary ? label_summary : label_reading, &label))
        return 1;
    if (format && m.append(format, out, node, text_or_empty(label), summary, reading))
        return log_unprinted(m, node, summary, reading.value[value_now]);
    return 0;
}

// --- Elements -------------------------------------------------------------------------------------------------------

static int check_kind(const measure &m, const measure_source &source, const measure_node &node)
{
    owned_text kind;
    if (!m.kind)
        return 0;
    if (source.read(node, *m.kind, into(kind)))
        return log_failure("Fail to get %s %d@%d", source.kind, node.pdu, node.port);
    if (!says_measured(kind))
        return log_failure("%s is not measured in %d@%d@%d", source.measured, node.elem, node.pdu, node.port);
    return 0;
}

static void remark(const char *words)
{
    if (words)
        log_remark("%s", words);
}

// The present value and the maximum stop the reading where they fail; the minimum and the average are both tried.
static int read_in_turn(const measure &m, const measure_source &source, const measure_node &node,
                        measure_reading *reading)
{
    int status = m.name_stops ? reading->name.status : 0;
    for (int i = value_now; i < reading->count; i++) {
        if (i == value_max)
            remark(source.before_max);
        if (i == value_min)
            remark(source.before_rest);
        status |= source.read(node, m.leaves[i], into(reading->text[i]));
        if (status && i < value_min)
            break;
    }
    return status | reading->name.status;
}

static int read_element(const measure &m, const measure_node &node, measure_reading *reading)
{
    if (find_family(m, node, reading) || probe_values(m, node, value_now, reading->count))
        return 1;
    const measure_source &source = shm_usable() >= 0 ? m.segment : m.tree;
    remark(source.announced);
    if (!is_element_type(node.type))
        return log_invalid_element(node, source.invalid);
    if (check_kind(m, source, node) || source.name(node, &reading->name))
        return 1;
    if (read_in_turn(m, source, node, reading))
        return log_failure("Fail to get info for element %d@%d@%d, type %d", node.elem, node.pdu, node.port, node.type);
    return convert_values(m, value_now, reading->count, reading);
}

int get_element(const measure &m, const measure_node &node, int row, char **out, bool summary)
{
    measure_reading reading;
    int result = read_element(m, node, &reading) || print_reading(m, row, out, node, summary, reading);
    return failure_tail(result, row, out);
}

// --- Power and power factor -----------------------------------------------------------------------------------------

int append_power_values(const char *format, char **out, const measure_node &node, const char *label, bool summary,
                        const measure_reading &reading)
{
    double now = reading.value[value_now], max = reading.value[value_max];
    double min = reading.value[value_min], avg = reading.value[value_avg];
    return summary ? append_output(out, format, node.pdu, label, now, max, min, avg)
                   : append_output(out, format, node.pdu, label, now, label, max, label, min, label, avg);
}

static int check_power_kind(const measure &m, const measure_node &unit)
{
    owned_text kind;
    // Intended: a kind that the segment delivers is not looked at (a unit's line stands whatever it is).
    if (read_from_segment(unit, *m.kind, into(kind)) == 0)
        return 0;
    if (read_from_tree(unit, *m.kind, into(kind)))
        return log_failure("Fail to get %s %d@%d", m.tree.kind, unit.pdu, unit.port);
    if (!says_measured(kind))
        return log_failure("%s is not measured in %d@%d", m.tree.measured, unit.pdu, unit.port);
    return 0;
}

int get_power_unit(const measure &m, const measure_node &unit, int row, char **out, bool summary,
                   elem_callback elem_get)
{
    measure_reading reading;
    int result = find_family(m, unit, &reading) || probe_values(m, unit, value_now, value_count) ||
                 check_power_kind(m, unit) || read_unit_values(m, unit, value_now, value_count, &reading) ||
                 convert_values(m, value_now, value_count, &reading) ||
                 print_reading(m, row, out, unit, summary, reading);
    show_elements(row, out, unit, elem_get, summary);
    return failure_tail(result, row, out);
}

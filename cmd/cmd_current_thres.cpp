// current threshold: shows and sets the four levels of current at which a unit or an element raises its alarm. A level
// is text all the way: what the tree or the user wrote is what is shown; it is converted only to see that it is a
// number.

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "cmd/cmd_current.h"
#include "core/identifiers.h"
#include "core/log.h"
#include "core/utils.h"

// In the order of the command line and of the output.
enum { high_critical, high_warning, low_warning, low_critical, level_count };

static constexpr measure_leaf level_leaves[level_count] = {
    {"current-alarm", shm_mask_current_alarm, NODE_OPERATIONS(info, currentAlarm)},
    {"current-warning", shm_mask_current_warning, NODE_OPERATIONS(info, currentWarning)},
    {"current-low", shm_mask_current_low, NODE_OPERATIONS(info, currentLow)},
    {"current-lowcrit", shm_mask_current_lowcrit, NODE_OPERATIONS(info, currentLowcrit)},
};

using level_texts = owned_text[level_count]; // missing where a node lacks the level

// --- Showing --------------------------------------------------------------------------------------------------------

static int refuse_legacy(const measure_node &node)
{
    int model = measured_model(node);
    if (model < 0)
        return 1;
    if (!model_is_current(model))
        return log_failure("Current threshold not supported for legacy ZT %d@%d", node.pdu, node.port);
    return 0;
}

static bool is_number(const char *text)
{
    char *end;
    // Intended: `errno` is not cleared before (all readings take an old range error for their own).
    real_value(text, &end);
    return errno != ERANGE && *end == '\0';
}

static int check_numbers(const level_texts &levels)
{
    // Intended: the low levels are tested in the other order than they are shown in (the log's first line tells it).
    static constexpr struct {
        int level;
        const char *word;
    } order[] = {{high_critical, "hcrit"}, {high_warning, "hwarn"}, {low_critical, "lcrit"}, {low_warning, "lwarn"}};
    for (const auto &[level, word] : order)
        if (levels[level] && !is_number(levels[level].get()))
            return log_failure("Fail to convert %s %s to double", word, levels[level].get());
    return 0;
}

static int append_levels(int row, char **out, const measure_node &node, const owned_text &label,
                         const level_texts &levels)
{
    const char *format = command_table[row].format;
    return format && append_output(out, format, node.pdu, text_or_empty(label), text_or_empty(levels[high_critical]),
                                   text_or_empty(levels[high_warning]), text_or_empty(levels[low_warning]),
                                   text_or_empty(levels[low_critical]));
}

// Only the high critical level has to be there.
static int read_element_levels(const measure_node &node, element_name *name, level_texts &levels)
{
    const measure_source &source = shm_usable() >= 0 ? current_measure.segment : current_measure.tree;
    if (!is_element_type(node.type))
        return log_invalid_element(node, source.invalid);
    if (source.name(node, name))
        return 1;
    int status = source.read(node, level_leaves[high_critical], into(levels[high_critical]));
    for (int i = high_warning; i < level_count; i++)
        source.read(node, level_leaves[i], into(levels[i]));
    if (status)
        return log_failure("Fail to get current thresholds for element %d@%d@%d, type %d", node.elem, node.pdu,
                           node.port, node.type);
    return 0;
}

int current_elem_thres(int port, int pdu, int type, int row, char **out, int elem, va_list *)
{
    measure_node node = {port, pdu, type, elem};
    element_name name;
    level_texts levels;
    owned_text label;
    if (refuse_legacy(node))
        return 1;
    if (probe(node, level_leaves[high_critical]))
        return log_unavailable(node, "current-alarm");
    if (read_element_levels(node, &name, levels) || make_label(node, name, label_cleared, &label) ||
        check_numbers(levels))
        return 1;
    if (append_levels(row, out, node, label, levels))
        return log_failure("Fail to printf pdu %d threshold current string, type %d", pdu, type);
    return 0;
}

// A level that neither the segment nor the tree knows stays missing.
static int read_optional_level(const measure_node &unit, int level, owned_text *text)
{
    static constexpr const char *words[level_count] = {"", "high warning", "low warning", "lowcrit"};
    const measure_leaf &leaf = level_leaves[level];
    // Intended: where the segment says that there is such a level, the tree is not asked for it, and nothing is logged.
    if (elecmon_caps_shm(unit.port, unit.pdu, unit.elem, unit.type, leaf.mask) == 0)
        return read_from_segment(unit, leaf, into(*text));
    if (probe_in_tree(unit, leaf))
        return 0;
    if (read_from_tree(unit, leaf, into(*text)))
        return log_failure("Fail to get %s threshold for pdu %d@%d", words[level], unit.pdu, unit.port);
    return 0;
}

static int read_unit_levels(const measure_node &unit, level_texts &levels)
{
    if (refuse_legacy(unit))
        return 1;
    if (probe(unit, level_leaves[high_critical]))
        return log_unavailable(unit, "current");
    if (read_segment_first(unit, level_leaves[high_critical], into(levels[high_critical])))
        return log_failure("Fail to get high critical threshold for pdu %d@%d", unit.pdu, unit.port);
    for (int i = high_warning; i < level_count; i++)
        if (read_optional_level(unit, i, &levels[i]))
            return 1;
    return check_numbers(levels);
}

static int print_unit_levels(int row, char **out, const measure_node &unit, const level_texts &levels)
{
    if (append_levels(row, out, unit, nullptr, levels))
        return log_failure("Fail to printf pdu %d threshold current string", unit.pdu);
    return 0;
}

int current_pdu_thres(int row, char **out, int port, int pdu, va_list *)
{
    measure_node unit = {port, pdu};
    level_texts levels;
    int result = read_unit_levels(unit, levels) || print_unit_levels(row, out, unit, levels);
    show_elements(row, out, unit, current_elem_thres, 0);
    return failure_tail(result, row, out);
}

// --- Setting --------------------------------------------------------------------------------------------------------

// One field of the text, which stays missing where it is empty. False for what is no number, or without memory.
static bool take_level(const char *field, owned_text *level)
{
    if (*field == '\0')
        return true;
    if (is_number(field))
        level->reset(strdup(field));
    return static_cast<bool>(*level);
}

// Takes "40:30:2:1" apart. False unless it has three colons at least and each field is empty or a number.
static bool parse_levels(char *text, level_texts &levels)
{
    for (int i = 0; i < level_count; i++) {
        char *end = i < low_critical ? strchr(text, ':') : text + strlen(text);
        if (!end)
            return false;
        char *next = *end ? end + 1 : end;
        *end = '\0';
        if (!take_level(text, &levels[i]))
            return false;
        text = next;
    }
    return true;
}

static int take_levels(const measure_node &node, const char *text, level_texts &levels)
{
    owned_text copy(text ? strdup(text) : nullptr);
    if (!copy || !parse_levels(copy.get(), levels))
        return log_failure("Invalid threshold %d@%d@%d %s", node.elem, node.pdu, node.port, text ? text : "(null)");
    return 0;
}

static void drop_missing_levels(const measure_node &node, level_texts &levels)
{
    for (int i = 0; i < level_count; i++)
        if (probe(node, level_leaves[i]))
            levels[i].reset();
}

// Each level is written whatever became of those before it.
static void write_levels(const measure_node &node, const level_texts &levels, int (&status)[level_count])
{
    static constexpr node_admin operations[level_count] = {
        NODE_OPERATIONS(admin, currentAlarm), NODE_OPERATIONS(admin, currentWarning),
        NODE_OPERATIONS(admin, currentLow), NODE_OPERATIONS(admin, currentLowcrit)};
    for (int i = 0; i < level_count; i++) {
        const char *const value[] = {levels[i].get(), nullptr};
        status[i] = levels[i] ? admin_node(operations[i], node, value) : 0;
    }
}

// Intended: the levels are written also where the element's name cannot be had; only the line is lost then.
static int write_to_node(const measure_node &node, const level_texts &levels, element_name *name)
{
    if (!is_unit(node) && !is_element_type(node.type))
        return log_failure("Invalid element for set alarm %d@%d@%d, type %d, value %.1f", node.elem, node.pdu,
                           node.port, node.type, strtod(text_or_empty(levels[high_critical]), nullptr));
    if (!is_unit(node))
        name_in_tree(node, name);
    int status[level_count];
    write_levels(node, levels, status);
    if (name->status)
        return log_failure("Fail to get name for element %d@%d@%d, type %d", node.elem, node.pdu, node.port, node.type);
    if (status[0] || status[1] || status[2] || status[3])
        return log_failure("Fail to set threshold for element %d@%d@%d, type %d, value %s:%s:%s:%s (ret %d:%d:%d:%d)",
                           node.elem, node.pdu, node.port, node.type, text_or_empty(levels[0]),
                           text_or_empty(levels[1]), text_or_empty(levels[2]), text_or_empty(levels[3]), status[0],
                           status[1], status[2], status[3]);
    return 0;
}

int current_thres_set(int port, int pdu, int type, int row, char **out, int elem, va_list *rest)
{
    measure_node node = {port, pdu, type, elem};
    level_texts levels;
    element_name name;
    owned_text label;
    if (take_levels(node, peek_text(rest), levels))
        return 1;
    drop_missing_levels(node, levels);
    if (write_to_node(node, levels, &name) || make_label(node, name, label_plain, &label))
        return 1;
    if (append_levels(row, out, node, label, levels))
        return log_failure("Fail to printf elem %d, type %d, threshold %s:%s:%s:%s string", elem, type,
                           text_or_empty(levels[0]), text_or_empty(levels[1]), text_or_empty(levels[2]),
                           text_or_empty(levels[3]));
    return 0;
}

// --- Handlers -------------------------------------------------------------------------------------------------------

int cmd_current_thres_elem_set(int row, char **out, command_args args)
{
    measure_node node;
    int result;
    if (locate_element(row, out, args, decline, &node, &result))
        return result;
    return one_element(node.port, node.pdu, node.type, row, out, node.elem, current_thres_set, args.text(2));
}

int cmd_current_thres_pdu_set(int row, char **out, command_args args)
{
    unit at;
    if (locate_pdu(args.text(0), &at, out))
        return 1;
    return one_element(at.port, at.pdu, elem_pdu, row, out, 0, current_thres_set, args.text(1));
}

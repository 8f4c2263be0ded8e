// The four alarm levels of an environment monitor: shown in its unit, set as numbers with the unit beside them.

#include "cmd/sensor_thresholds.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "client/tree.h"
#include "core/identifiers.h"
#include "core/log.h"
#include "core/render.h"
#include "core/utils.h"
#include "core/walkers.h"
#include "shell/cli.h"

// The levels in the order in which they are typed, stored and shown.
enum { high_critical, high_warning, low_warning, low_critical, level_count };

static constexpr struct {
    const char *name; // of the leaf and of the capability
    const char *log_word;
    envmon_info info;
    envmon_admin admin;
} levels[level_count] = {
    {"high-thres", "high crit", vrn_tsapi_info_power_port_star0_pdu_star1_envmon_star2_highThres,
     vrn_tsapi_admin_power_port_star0_pdu_star1_envmon_star2_highThres},
    {"high-warn-thres", "high warn", vrn_tsapi_info_power_port_star0_pdu_star1_envmon_star2_highWarnThres,
     vrn_tsapi_admin_power_port_star0_pdu_star1_envmon_star2_highWarnThres},
    {"low-warn-thres", "low warn", vrn_tsapi_info_power_port_star0_pdu_star1_envmon_star2_lowWarnThres,
     vrn_tsapi_admin_power_port_star0_pdu_star1_envmon_star2_lowWarnThres},
    {"low-thres", "low crit", vrn_tsapi_info_power_port_star0_pdu_star1_envmon_star2_lowThres,
     vrn_tsapi_admin_power_port_star0_pdu_star1_envmon_star2_lowThres},
};

// Only the first level decides; the others show as empty where they can't be had.
static int read_levels(const sensor &at, owned_text &sys_name, owned_text *texts)
{
    int lost = read_sys_name(at, sys_name);
    lost |= read_leaf(at, levels[high_critical].info, texts[high_critical]);
    for (int i = high_warning; i < level_count; i++)
        read_leaf(at, levels[i].info, texts[i]);
    owned_text unit;
    read_unit(at, unit);
    if (lost)
        return log_failure("Fail to get sensors thresholds for element %d@%d@%d", at.envmon, at.pdu, at.port);
    for (int i = high_critical; i < level_count; i++)
        render_value(unit.get(), texts[i]);
    return 0;
}

int show_thresholds(int row, char **out, const sensor &at)
{
    int model = model_of(at);
    if (model < 0)
        return 1;
    if (!model_is_current(model))
        return log_failure("Sensor threshold not supported for legacy ZT %d@%d", at.pdu, at.port);
    if (!has_leaf(at, levels[high_critical].name))
        return 1;
    owned_text sys_name, text[level_count];
    if (read_levels(at, sys_name, text))
        return 1;
    const char *type = read_type_name(at);
    if (!type)
        return 1;
    const char *format = command_table[row].format;
    if (format && append_output(out, format, at.pdu, type, text_or_empty(sys_name), text_or_empty(text[high_critical]),
                                text_or_empty(text[high_warning]), text_or_empty(text[low_warning]),
                                text_or_empty(text[low_critical])))
        return log_failure("Fail to printf pdu %d threshold current string, type %s", at.pdu, type);
    return 0;
}

// --- Writing ---------------------------------------------------------------------------------------------------------

// Intended: a level typed as this very number counts as not given (the field may be empty or say so).
static constexpr double threshold_unset = 10000.0;

struct threshold_write {
    const char *typed[level_count] = {"", "", "", ""}; // parts of the split copy
    double number[level_count] = {threshold_unset, threshold_unset, threshold_unset, threshold_unset};
    owned_text normal[level_count]; // what is written
    bool present[level_count] = {}; // whether the sensor has the leaf
    int result[level_count] = {-1, -1, -1, -1};
};

static int parse_level(const char *field, double *number)
{
    char *end;
    errno = 0;
    double parsed = strtod(field, &end);
    if (errno == ERANGE || *end)
        return 1;
    *number = parsed;
    return 0;
}

// Cuts the text at its colons. 0 if there are three and each field is empty or a number.
static int split_thresholds(char *text, threshold_write *write)
{
    for (int i = high_critical; i < level_count; i++) {
        char *colon = i < low_critical ? strchr(text, ':') : nullptr;
        if (i < low_critical && !colon)
            return 1;
        if (colon)
            *colon = '\0';
        if (*text && parse_level(text, &write->number[i]))
            return 1;
        write->typed[i] = text;
        text = colon ? colon + 1 : text;
    }
    return 0;
}

static bool is_temperature_unit(const char *unit)
{
    // Intended: the first letter decides and the text goes out whole (the daemon converts, we only test).
    if (!*unit || !strchr("FCK", *unit))
        return false;
    log_notice("Unit %c", *unit);
    return true;
}

static bool is_air_flow_unit(const char *unit)
{
    return strcmp(unit, "afu") == 0;
}

// Intended: humidity takes any unit (the '%' of the usage text is only a custom).
static bool is_any_unit(const char *)
{
    return true;
}

using unit_test = bool (*)(const char *unit);

// Intended: the types outside this table have no level that could be set (their unit is written all the same).
static constexpr struct {
    const char *type_name;
    unit_test accepts;
} numeric_types[] = {
    {"internal temperature", is_temperature_unit},
    {"external temperature", is_temperature_unit},
    {"air-flow", is_air_flow_unit},
    {"humidity", is_any_unit},
};

static int normalise(unit_test accepts, const char *unit, threshold_write *write)
{
    for (int i = high_critical; i < level_count; i++) {
        if (write->number[i] == threshold_unset)
            continue;
        if (!accepts(unit)) {
            log_notice("Invalid unit %s", unit);
            return 1;
        }
        write->normal[i] = new_text("%.1f", write->number[i]);
        if (!write->normal[i])
            return log_failure("problem filling in levelk");
    }
    return 0;
}

static int normalise_for(const char *type_name, const char *unit, threshold_write *write)
{
    for (const auto &type : numeric_types) {
        if (strcmp(type_name, type.type_name) != 0)
            continue;
        if (type.accepts == is_temperature_unit)
            log_notice("setting temp threshold");
        return normalise(type.accepts, unit, write);
    }
    return 0;
}

static void probe_levels(const sensor &at, threshold_write *write)
{
    for (int i = high_critical; i < level_count; i++)
        write->present[i] = check_envmon_caps(at.port, at.pdu, at.envmon, levels[i].name) == 0;
    log_notice("caps: %d, %d, %d, %d", write->present[high_critical], write->present[high_warning],
               write->present[low_warning], write->present[low_critical]);
}

// Intended: a level that fails neither stops the others nor takes back what is written (there is no undoing).
// Intended: a leaf that the sensor lacks fails the whole, asked for or not (only sensors with all four succeed).
static bool write_levels(const sensor &at, threshold_write *write)
{
    bool all_written = true;
    for (int i = high_critical; i < level_count; i++) {
        const char *level = write->normal[i].get();
        if (write->present[i] && level) {
            log_notice("setting %s thres: %s ", levels[i].log_word, level);
            write->result[i] = write_leaf(at, levels[i].admin, level);
        } else if (write->present[i]) {
            write->result[i] = 0;
        }
        all_written = all_written && write->result[i] == 0;
    }
    return all_written;
}

static int log_unwritten(const sensor &at, const threshold_write &write)
{
    const auto &typed = write.typed;
    const auto &result = write.result;
    return log_failure("Fail to set threshold for envmon %d@%d@%d, value %s:%s:%s:%s (ret %d:%d:%d:%d)", at.envmon,
                       at.pdu, at.port, typed[high_critical], typed[high_warning], typed[low_warning],
                       typed[low_critical], result[high_critical], result[high_warning], result[low_warning],
                       result[low_critical]);
}

int set_thresholds(int row, char **out, const sensor &at, const char *thresholds, const char *unit)
{
    owned_text copy(thresholds && unit ? strdup(thresholds) : nullptr);
    if (!copy)
        return log_failure("Invalid threshold %d@%d@%d %s %s", at.envmon, at.pdu, at.port, thresholds ? thresholds : "",
                           unit ? unit : "");
    threshold_write write;
    if (split_thresholds(copy.get(), &write))
        return log_failure("Invalid threshold %d@%d@%d %s", at.envmon, at.pdu, at.port, thresholds);
    probe_levels(at, &write);
    owned_text sys_name;
    int name_lost = read_sys_name(at, sys_name);
    const char *type = read_type_name(at);
    if (!type)
        return 1;
    log_notice("s_type = %s", type);
    if (normalise_for(type, unit, &write))
        return 1;
    // Intended: the unit goes out before any level, also without one, and may fail (the daemon reads levels in it).
    write_leaf(at, vrn_tsapi_admin_power_port_star0_pdu_star1_envmon_star2_unit, unit);
    bool written = write_levels(at, &write);
    if (name_lost)
        return log_failure("Fail to get name for envmon %d@%d@%d", at.envmon, at.pdu, at.port);
    if (!written)
        return log_unwritten(at, write);
    // Intended: done whatever comes of the answer (a legacy unit takes the levels and can't show them).
    failure_tail(show_thresholds(row, out, at), row, out);
    return 0;
}

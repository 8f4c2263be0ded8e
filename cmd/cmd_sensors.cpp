// sensors: the environment monitors around the rack: readings, recorded extremes, thresholds and names.
// All of it comes from the control tree. A user addresses a sensor by its system name.

#include "cmd/cmd_sensors.h"

#include <cstring>

#include "client/tree.h"
#include "client/types.h"
#include "cmd/sensor.h"
#include "cmd/sensor_thresholds.h"
#include "core/identifiers.h"
#include "core/log.h"
#include "core/render.h"
#include "core/utils.h"
#include "core/walkers.h"

const char sensors_usage[] = "Usage: sensors [reset | summary | name] [<ipdu number or ID> [sys name [new name]]]\n"
                             "   sensors threshold [<ipdu number or ID> [name] [<thresholds> <unit>]]\n"
                             "Read sensors values on IPDU #<ipdu number>.\n"
                             "Read or set the threshold instead, when threshold keyword follows the command.\n"
                             "<thresholds> are 4 levels of thresholds, colon separated:\n"
                             "    High critical:High warning:Low warning:Low critical.\n"
                             "<unit> can be one of: C or F for temperature, % for humidity, afu for air flow.\n\n";

// --- Readings --------------------------------------------------------------------------------------------------------

// The value now and what is recorded of it.
enum { value, maximum, minimum, average, value_count };

static constexpr struct {
    const char *capability;
    envmon_info info;
} values[value_count] = {
    {"value", vrn_tsapi_info_power_port_star0_pdu_star1_envmon_star2_value},
    {"max-value", vrn_tsapi_info_power_port_star0_pdu_star1_envmon_star2_maxValue},
    {"min-value", vrn_tsapi_info_power_port_star0_pdu_star1_envmon_star2_minValue},
    {"avg-value", vrn_tsapi_info_power_port_star0_pdu_star1_envmon_star2_avgValue},
};

struct sensor_reading {
    bool has_statistics = true;
    bool has_unit = false;
    owned_text sys_name;
    owned_text name;
    owned_text type;
    owned_text unit;
    owned_text values[value_count];
    int raw_type = 0;
    const char *type_name = nullptr;
};

static constexpr int raw_type_undefined = 22; // what 0 stands for too

// Contacts, levels and the like: numbers without extremes or an average worth recording.
static bool raw_type_has_statistics(int raw_type)
{
    switch (raw_type) {
    case 5:
    case 6:
    case 7:
    case 8:
    case 12:
    case 13:
    case 14:
    case 18:
    case 19:
    case raw_type_undefined:
        return false;
    default:
        return true;
    }
}

static int probe_reading(const sensor &at, sensor_reading *reading)
{
    if (!has_leaf(at, values[value].capability))
        return 1;
    for (int i = maximum; i < value_count; i++)
        if (!has_leaf(at, values[i].capability))
            reading->has_statistics = false;
    reading->has_unit = has_leaf(at, "unit");
    if (reading->has_unit)
        log_remark("Node unit available for %d@%d@%d", at.envmon, at.pdu, at.port);
    return 0;
}

// All of them are asked for, whatever failed before. 0, or non-zero where system name or value could not be had.
static int read_basics(const sensor &at, sensor_reading *reading)
{
    int lost = read_sys_name(at, reading->sys_name);
    read_leaf(at, vrn_tsapi_info_power_port_star0_pdu_star1_envmon_star2_name, reading->name);
    lost |= read_leaf(at, values[value].info, reading->values[value]);
    read_type(at, reading->type);
    vrn_tsapi_info_power_port_star0_pdu_star1_envmon_star2_typeRaw(cli_tsapi, &reading->raw_type, nullptr, at.port,
                                                                   at.pdu, at.envmon);
    // Intended: 0 is shown as what it stands for (a summary never has a 0 in its third field).
    if (reading->raw_type == 0)
        reading->raw_type = raw_type_undefined;
    if (!raw_type_has_statistics(reading->raw_type))
        reading->has_statistics = false;
    return lost;
}

static void read_statistics(const sensor &at, sensor_reading *reading)
{
    for (int i = maximum; i < value_count; i++)
        read_leaf(at, values[i].info, reading->values[i]);
    read_unit(at, reading->unit);
}

static void render_values(sensor_reading *reading)
{
    // Intended: without the capability the unit is Fahrenheit (the oldest sensors tell none).
    const char *unit = reading->has_unit ? reading->unit.get() : "oF";
    for (owned_text &text : reading->values)
        render_value(unit, text);
}

static void replace_char(owned_text &text, char from, char to)
{
    for (char *at = text.get(); at && (at = strchr(at, from));)
        *at = to;
}

static int read_sensor(const sensor &at, sensor_reading *reading)
{
    if (model_of(at) < 0 || probe_reading(at, reading))
        return 1;
    int lost = read_basics(at, reading);
    reading->type_name = known_type(at, reading->type);
    if (!reading->type_name)
        return 1;
    if (lost)
        return log_failure("Fail to get info for element %d@%d@%d, type %d", at.envmon, at.pdu, at.port,
                           reading->raw_type);
    // Intended: without statistics the unit stays unread and the value as the tree has it (a contact has no unit).
    if (reading->has_statistics)
        read_statistics(at, reading);
    render_values(reading);
    // A summary has one blank between the names, for whoever takes it apart.
    replace_char(reading->sys_name, ' ', '#');
    replace_char(reading->name, ' ', '#');
    return 0;
}

static const char *value_alone(const sensor_reading &reading)
{
    return strstr(text_or_empty(reading.type), "UNDEFINED") ? "N/A" : text_or_empty(reading.values[value]);
}

static owned_text summary_detail(const sensor_reading &reading)
{
    const owned_text *text = reading.values;
    if (!reading.has_statistics)
        return new_text("%s", value_alone(reading));
    return new_text("%s,%s,%s,%s", text_or_empty(text[value]), text_or_empty(text[maximum]),
                    text_or_empty(text[minimum]), text_or_empty(text[average]));
}

static owned_text long_detail(const sensor_reading &reading)
{
    const owned_text *text = reading.values;
    const char *type = reading.type_name;
    const char *name = text_or_empty(reading.sys_name);
    if (!reading.has_statistics)
        return new_text("%s sensor %s is %s.", type, name, value_alone(reading));
    return new_text("%s on sensor %s: %s. Maximum %s on sensor %s: %s. "
                    "Minimum %s on sensor %s: %s. Average %s on sensor %s: %s.",
                    type, name, text_or_empty(text[value]), type, name, text_or_empty(text[maximum]), type, name,
                    text_or_empty(text[minimum]), type, name, text_or_empty(text[average]));
}

static int append_summary(int row, char **out, const sensor &at, const sensor_reading &reading)
{
    owned_text label = new_text("%s %s ", text_or_empty(reading.sys_name), text_or_empty(reading.name));
    owned_text detail = summary_detail(reading);
    if (!label || !detail ||
        append_output(out, command_table[row].format, at.pdu, at.envmon, reading.raw_type, label.get(), detail.get()))
        return log_failure("Fail to printf pdu %d summary sensor %s string, type %s", at.pdu,
                           text_or_empty(reading.values[value]), text_or_empty(reading.type));
    return 0;
}

static int append_reading(int row, char **out, const sensor &at, const sensor_reading &reading)
{
    owned_text detail = long_detail(reading);
    if (!detail || append_output(out, command_table[row].format, at.pdu, detail.get()))
        return log_failure("Fail to printf pdu %d value %s string, type %s", at.pdu,
                           text_or_empty(reading.values[value]), text_or_empty(reading.type));
    return 0;
}

static int show_sensor(int row, char **out, const sensor &at, bool summary)
{
    sensor_reading reading;
    if (read_sensor(at, &reading))
        return 1;
    if (!command_table[row].format)
        return 0;
    return summary ? append_summary(row, out, at, reading) : append_reading(row, out, at, reading);
}

// The variable argument: 1 for the summary form.
static int sensor_elem_get(int port, int pdu, int row, char **out, int envmon, va_list *rest)
{
    return failure_tail(show_sensor(row, out, {port, pdu, envmon}, peek_int(rest) == 1), row, out);
}

// Intended: a failure whatever happened, as in all workers of a unit here (the lines that stand in `out` count).
static int sensor_pdu_get(int row, char **out, int port, int pdu, va_list *rest)
{
    all_envmons(port, pdu, row, out, sensor_elem_get, peek_int(rest));
    return failure_tail(1, row, out);
}

// --- Reset -----------------------------------------------------------------------------------------------------------

static int reset_sensor(int row, char **out, const sensor &at)
{
    int model = model_of(at);
    if (model < 0)
        return 1;
    // Intended: misspelt (log readers look for this line).
    if (!model_is_current(model))
        return log_failure("Invalid command fot legacy ZTs %d@%d", at.pdu, at.port);
    if (!has_leaf(at, values[maximum].capability))
        return 1;
    owned_text sys_name;
    int lost = read_sys_name(at, sys_name);
    // The sensor is reset even then.
    lost |=
        vrn_tsapi_admin_power_port_star0_pdu_star1_envmon_star2_reset(cli_tsapi, nullptr, at.port, at.pdu, at.envmon);
    if (lost)
        return log_failure("Fail to reset envmon for element %d@%d@%d", at.envmon, at.pdu, at.port);
    const char *type = read_type_name(at);
    if (!type)
        return 1;
    const char *format = command_table[row].format;
    // Intended: the sensor by its number, not by its name as elsewhere (scripts read it so).
    if (format && append_output(out, format, at.pdu, type, at.envmon))
        return log_failure("Fail to printf pdu %d reset envmon string", at.pdu);
    return 0;
}

static int sensor_elem_reset(int port, int pdu, int row, char **out, int envmon, va_list *)
{
    return failure_tail(reset_sensor(row, out, {port, pdu, envmon}), row, out);
}

static int sensor_pdu_reset(int row, char **out, int port, int pdu, va_list *)
{
    all_envmons(port, pdu, row, out, sensor_elem_reset);
    return failure_tail(1, row, out);
}

// --- Thresholds and names --------------------------------------------------------------------------------------------

static int sensor_elem_thres(int port, int pdu, int row, char **out, int envmon, va_list *)
{
    return failure_tail(show_thresholds(row, out, {port, pdu, envmon}), row, out);
}

static int sensor_pdu_thres(int row, char **out, int port, int pdu, va_list *)
{
    all_envmons(port, pdu, row, out, sensor_elem_thres);
    return failure_tail(1, row, out);
}

// The variable arguments: thresholds and unit.
static int sensor_thres_set(int port, int pdu, int row, char **out, int envmon, va_list *rest)
{
    va_list texts;
    va_copy(texts, *rest);
    const char *thresholds = va_arg(texts, const char *);
    const char *unit = va_arg(texts, const char *);
    va_end(texts);
    return failure_tail(set_thresholds(row, out, {port, pdu, envmon}, thresholds, unit), row, out);
}

static int sensor_name_set(int port, int pdu, int row, char **out, int envmon, va_list *rest)
{
    const sensor at = {port, pdu, envmon};
    const char *name = peek_text(rest);
    if (!has_leaf(at, "name"))
        return 1;
    const char *format = command_table[row].format;
    if (write_leaf(at, vrn_tsapi_admin_power_port_star0_pdu_star1_envmon_star2_name, name))
        // Intended: the port where other lines have the unit (scripts know the line so).
        append_output(out, "IPDU #%d: Invalid sensor name for %d.\n", port, envmon);
    else if (format)
        append_output(out, format, pdu, envmon, name);
    return 0;
}

// --- Handlers --------------------------------------------------------------------------------------------------------

// The sensor that the first two arguments name. A system name that no sensor bears is declined without a word.
static int locate_sensor(command_args args, char **out, sensor *at)
{
    unit found;
    if (locate_pdu(args.text(0), &found, out))
        return 1;
    *at = {found.port, found.pdu, envmon2id(args.text(1), found.port, found.pdu)};
    return at->envmon < 1 ? 1 : 0;
}

static int for_sensor(int row, char **out, command_args args, envmon_callback worker, int summary = 0)
{
    sensor at;
    if (locate_sensor(args, out, &at))
        return 1;
    return one_envmon(at.port, at.pdu, row, out, at.envmon, worker, summary);
}

int cmd_sensor(int row, char **out, command_args)
{
    return all_pdus(row, out, sensor_pdu_get, 0);
}

int cmd_sensor_sum(int row, char **out, command_args)
{
    return all_pdus(row, out, sensor_pdu_get, 1);
}

int cmd_sensor_reset(int row, char **out, command_args)
{
    return all_pdus(row, out, sensor_pdu_reset);
}

int cmd_sensor_thres(int row, char **out, command_args)
{
    return all_pdus(row, out, sensor_pdu_thres);
}

int cmd_sensor_thres_elem_set(int row, char **out, command_args args)
{
    sensor at;
    if (locate_sensor(args, out, &at))
        return 1;
    return one_envmon(at.port, at.pdu, row, out, at.envmon, sensor_thres_set, args.text(2), args.text(3));
}

int cmd_sensor_sum_elem(int row, char **out, command_args args)
{
    return for_sensor(row, out, args, sensor_elem_get, 1);
}

int cmd_sensor_reset_elem(int row, char **out, command_args args)
{
    return for_sensor(row, out, args, sensor_elem_reset);
}

int cmd_sensor_thres_elem(int row, char **out, command_args args)
{
    return for_sensor(row, out, args, sensor_elem_thres);
}

int cmd_sensor_sum_pdu(int row, char **out, command_args args)
{
    return one_located_pdu(row, out, args.text(0), sensor_pdu_get, 1);
}

int cmd_sensor_reset_pdu(int row, char **out, command_args args)
{
    return one_located_pdu(row, out, args.text(0), sensor_pdu_reset);
}

int cmd_sensor_thres_pdu(int row, char **out, command_args args)
{
    return one_located_pdu(row, out, args.text(0), sensor_pdu_thres);
}

int cmd_sensor_elem(int row, char **out, command_args args)
{
    return for_sensor(row, out, args, sensor_elem_get, 0);
}

int cmd_sensor_pdu(int row, char **out, command_args args)
{
    return one_located_pdu(row, out, args.text(0), sensor_pdu_get, 0);
}

int cmd_sensor_name(int row, char **out, command_args args)
{
    sensor at;
    if (locate_sensor(args, out, &at))
        return 1;
    return one_envmon(at.port, at.pdu, row, out, at.envmon, sensor_name_set, args.text(2));
}

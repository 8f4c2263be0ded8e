// temperature: the temperature inside units, its recorded maximum, and the reset of that.
// Only the first environment monitor of a unit is looked at. Its values come rendered with their unit from the tree.

#include "cmd/cmd_temperature.h"

#include <cstring>

#include "client/tree.h"
#include "client/types.h"
#include "core/identifiers.h"
#include "core/log.h"
#include "core/render.h"
#include "core/utils.h"
#include "core/walkers.h"

const char temperature_usage[] =
    "Usage: temperature [reset] [<ipdu number or ID>]\n\n"
    "Displays the temperature in a unit if it is provided, or in all units if it is not provided. The reset option "
    "clears the maximum, minimum and average recorded temperature.\n";

// The values in the order in which they are probed and read; a legacy unit has the first two.
enum { value, maximum, minimum, average, value_count };

static constexpr int legacy_value_count = minimum;

static constexpr struct {
    const char *capability;
    const char *log_word;
    int (*info)(vrn_tsapi_handle *, char **, const char *const *args, int port, int pdu, int envmon);
} values[value_count] = {
    {"value", "temperature", vrn_tsapi_info_power_port_star0_pdu_star1_envmon_star2_valueUnits},
    {"max-value", "temperatureMax", vrn_tsapi_info_power_port_star0_pdu_star1_envmon_star2_maxValueUnits},
    {"min-value", "temperatureMin", vrn_tsapi_info_power_port_star0_pdu_star1_envmon_star2_minValueUnits},
    // Intended: the average is logged as the minimum (log readers know one line for both).
    {"avg-value", "temperatureMin", vrn_tsapi_info_power_port_star0_pdu_star1_envmon_star2_avgValueUnits},
};

static constexpr int first_envmon = 1;

// How many values the unit has, -1 where its model is unknown.
static int count_values(int port, int pdu)
{
    int model = pdu2model(port, pdu);
    if (model < 0)
        return -log_failure("Fail to get model from pdu %d@%d", pdu, port);
    return model_is_current(model) ? value_count : legacy_value_count;
}

static int probe(int port, int pdu, int which)
{
    if (check_envmon_caps(port, pdu, first_envmon, values[which].capability) == 0)
        return 0;
    return log_failure("Envmon node %s unavailable for %d@%d", values[which].capability, pdu, port);
}

// Intended: a unit without a value says so even where others have answered before it (a failed read does not).
static int probe_value(int row, char **out, int port, int pdu)
{
    if (probe(port, pdu, value) == 0)
        return 0;
    append_error_of_unit(row, out, pdu);
    return 1;
}

static int probe_type(int port, int pdu)
{
    owned_text type;
    if (vrn_tsapi_info_power_port_star0_pdu_star1_envmon_star2_type(cli_tsapi, into(type), nullptr, port, pdu,
                                                                    first_envmon))
        return log_failure("Fail to get sensor type for pdu %d@%d", pdu, port);
    return strstr(text_or_empty(type), "temperature") ? 0 : 1;
}

// All of them are asked for, whatever failed before: each that can't be had has its own line in the log.
static int read_values(int port, int pdu, int count, owned_text *read)
{
    for (int i = 0; i < count; i++)
        if (values[i].info(cli_tsapi, into(read[i]), nullptr, port, pdu, first_envmon))
            log_failure("Fail to get %s for pdu %d@%d", values[i].log_word, pdu, port);
    for (int i = 0; i < count; i++)
        if (is_empty(read[i]))
            return 1;
    log_debug("temperature of %d@%d: %s, %s, %s, %s", pdu, port, read[value].get(), read[maximum].get(),
              text_or_empty(read[minimum]), text_or_empty(read[average]));
    return 0;
}

// What the line ends with on a unit that has all four values; absent without memory.
static owned_text extremes(const owned_text *read)
{
    return joined_text({". Minimum: ", text_or_empty(read[minimum]), ". Average: ", text_or_empty(read[average])});
}

// A line that can't be added is only logged: the error format would deny the sensor. So it is behind a reset.
static void append_values(int row, char **out, int pdu, int count, const owned_text *read)
{
    const char *format = command_table[row].format;
    if (!format)
        return;
    owned_text suffix;
    if (count == value_count)
        suffix = extremes(read);
    if (append_output(out, format, pdu, read[value].get(), read[maximum].get(), text_or_empty(suffix)))
        log_failure("Fail to printf pdu %d temperature %s string", pdu, read[value].get());
}

static int get_temperature(int row, char **out, int port, int pdu)
{
    int count = count_values(port, pdu);
    if (count < 0 || probe_value(row, out, port, pdu))
        return 1;
    for (int which = maximum; which < count; which++)
        if (probe(port, pdu, which))
            return 1;
    owned_text read[value_count];
    if (probe_type(port, pdu) || read_values(port, pdu, count, read))
        return 1;
    append_values(row, out, pdu, count, read);
    return 0;
}

static int reset_temperature(int row, char **out, int port, int pdu)
{
    if (count_values(port, pdu) < 0 || probe_value(row, out, port, pdu) || probe_type(port, pdu))
        return 1;
    if (vrn_tsapi_admin_power_port_star0_pdu_star1_envmon_star2_reset(cli_tsapi, nullptr, port, pdu, first_envmon))
        return log_failure("Fail to reset temperature for pdu %d@%d", pdu, port);
    const char *format = command_table[row].format;
    // Intended: one text for both families (it tells of the maximum alone, though all that is recorded is cleared).
    if (format && append_output(out, format, pdu))
        log_failure("Fail to printf pdu %d reset temperature string", pdu);
    return 0;
}

static int temperature_pdu_get(int row, char **out, int port, int pdu, va_list *)
{
    return failure_tail_of_unit(get_temperature(row, out, port, pdu), row, out, pdu);
}

static int temperature_pdu_reset(int row, char **out, int port, int pdu, va_list *)
{
    return failure_tail_of_unit(reset_temperature(row, out, port, pdu), row, out, pdu);
}

int cmd_temp(int row, char **out, command_args)
{
    return all_pdus(row, out, temperature_pdu_get);
}

int cmd_temp_reset(int row, char **out, command_args)
{
    return all_pdus(row, out, temperature_pdu_reset);
}

int cmd_temp_reset_pdu(int row, char **out, command_args args)
{
    return one_located_pdu(row, out, args.text(0), temperature_pdu_reset);
}

int cmd_temp_pdu(int row, char **out, command_args args)
{
    return one_located_pdu(row, out, args.text(0), temperature_pdu_get);
}

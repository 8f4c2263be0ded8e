// display: what the display of a unit shows and which way up. What can be set depends on the kind of unit.

#include "cmd/cmd_display.h"

#include <cstdio>
#include <cstring>
#include <limits>

#include "client/tree.h"
#include "client/types.h"
#include "core/log.h"
#include "core/utils.h"
#include "core/walkers.h"

const char display_usage[] =
    "Usage: display [<ipdu number or ID> [<0|180> <I|V>[ <cycle time>]]]\n"
    "            (for three-phase models).\n"
    "       display [<ipdu number or ID> [<0|180>[ <cycle time>]]]\n"
    "            (for two-segment models).\n"
    "       display [<ipdu number or ID> [<0|180>]]\n"
    "            (for other models).\n\n"
    "Set Display mode. <0|180> sets up the display orientation. For three-phase models, it can show current (I) or "
    "voltage (V), and it can cycle each <cycle time> seconds. If <cycle time> is not defined, it will either cycle "
    "manually (three-phase models) or display only total current (two-segment models).\n";

static constexpr int cycle_not_given = -1;
static constexpr int any_number = std::numeric_limits<int>::min();
static constexpr size_t number_size = sizeof "-2147483648"; // room for any number

// --- Modes ----------------------------------------------------------------------------------------------------------

// What a mode as "180/V" and a cycle in seconds mean, in words: new text, or none for an orientation that there is not
// (or without memory).
static owned_text display_mode_string(const char *mode, int cycle, bool has_voltage)
{
    const int orientation = decimal_value(mode);
    if (orientation != 0 && orientation != 180)
        return nullptr;
    const char *slash = strchr(mode, '/');
    const char letter = slash ? slash[1] : '\0';
    // Intended: what a unit shows is told only where it has a choice (one without voltage never says current).
    const char *shown = "";
    if (has_voltage && letter == 'I')
        shown = ", show current";
    if (has_voltage && letter == 'V')
        shown = ", show voltage";
    char cycling[sizeof ", and cycle each  seconds" + number_size] = "";
    if (cycle >= 0)
        snprintf(cycling, sizeof cycling, ", and cycle each %d seconds", cycle);
    char *text;
    if (asprintf(&text, "%s%s%s", orientation == 180 ? "180 degrees rotated" : "normal", shown, cycling) < 0)
        return nullptr;
    return owned_text(text);
}

static int probe_mode(int port, int pdu)
{
    if (check_pdu_caps(port, pdu, "display-mode") == 0)
        return 0;
    return log_failure("Node display-mode unavailable for %d@%d", pdu, port);
}

// Whether the unit can show voltage: one of the modes that it offers does.
static int find_voltage(int port, int pdu, bool *has_voltage)
{
    owned_text_list modes;
    if (vrn_tsapi_mlist_power_port_star0_pdu_star1_displayMode(cli_tsapi, into(modes), port, pdu))
        return log_failure("List display-mode unavailable for %d@%d", pdu, port);
    *has_voltage = false;
    for (const auto *mode = modes.get(); mode; mode = mode->next)
        *has_voltage |= strstr(mode->value, "/V") != nullptr;
    return 0;
}

// Intended: a reading says "set to" as a writing does (one format serves both).
static int append_mode(int row, char **out, unit at, const char *mode, int cycle, bool has_voltage)
{
    owned_text description = display_mode_string(mode, cycle, has_voltage);
    if (!description)
        return log_failure("Fail to create display string %s,%d for pdu %d@%d", mode, cycle, at.pdu, at.port);
    const char *format = command_table[row].format;
    if (format && append_output(out, format, at.pdu, description.get()))
        return log_failure("Fail to printf pdu %d display %s string", at.pdu, description.get());
    return 0;
}

// --- One unit -------------------------------------------------------------------------------------------------------

static int get_mode(int row, char **out, int port, int pdu)
{
    if (probe_mode(port, pdu))
        return 1;
    owned_text mode;
    if (vrn_tsapi_info_power_port_star0_pdu_star1_displayMode(cli_tsapi, into(mode), nullptr, port, pdu))
        return log_failure("Fail to get display mode for pdu %d@%d", pdu, port);
    bool has_voltage;
    if (find_voltage(port, pdu, &has_voltage))
        return 1;
    int cycle = cycle_not_given;
    if (check_pdu_caps(port, pdu, "display-cycle") == 0 &&
        vrn_tsapi_info_power_port_star0_pdu_star1_displayCycle(cli_tsapi, &cycle, nullptr, port, pdu))
        return log_failure("Fail to get display cycle for pdu %d@%d", pdu, port);
    return append_mode(row, out, {port, pdu}, text_or_empty(mode), cycle, has_voltage);
}

static int write_mode(int port, int pdu, const char *mode)
{
    const char *args[] = {mode, nullptr};
    if (vrn_tsapi_admin_power_port_star0_pdu_star1_displayMode(cli_tsapi, args, port, pdu))
        return log_failure("Fail to set display mode for pdu %d@%d, value %s", pdu, port, mode);
    return 0;
}

static int write_cycle(int port, int pdu, int cycle)
{
    char value[number_size];
    snprintf(value, sizeof value, "%d", cycle);
    const char *args[] = {value, nullptr};
    if (vrn_tsapi_admin_power_port_star0_pdu_star1_displayCycle(cli_tsapi, args, port, pdu))
        return log_failure("Fail to set display cycle for pdu %d@%d, value %s", pdu, port, value);
    return 0;
}

static int set_mode(int row, char **out, unit at, int orientation, char letter, int cycle)
{
    if (orientation < 0 || probe_mode(at.port, at.pdu))
        return 1;
    if (cycle >= 0 && check_pdu_caps(at.port, at.pdu, "display-cycle"))
        return log_failure("Node display-cycle unavailable for %d@%d", at.pdu, at.port);
    bool has_voltage;
    if (find_voltage(at.port, at.pdu, &has_voltage))
        return 1;
    if (letter == 'V' && !has_voltage)
        return log_failure("No volt in display-mode for %d@%d", at.pdu, at.port);
    char mode[number_size + 2];
    snprintf(mode, sizeof mode, "%d%s%c", orientation, letter ? "/" : "", letter);
    if (write_mode(at.port, at.pdu, mode))
        return 1;
    // Intended: a cycle that is refused leaves the new mode in place (they are two values of the unit).
    if (cycle >= 0 && write_cycle(at.port, at.pdu, cycle))
        return 1;
    return append_mode(row, out, at, mode, cycle, has_voltage);
}

static int display_pdu_get(int row, char **out, int port, int pdu, va_list *)
{
    return failure_tail(get_mode(row, out, port, pdu), row, out);
}

int display_pdu_set(int row, char **out, int port, int pdu, int orientation, char letter, int cycle)
{
    return failure_tail(set_mode(row, out, {port, pdu}, orientation, letter, cycle), row, out);
}

// --- Which form a kind of unit takes --------------------------------------------------------------------------------

static bool is_orientation(int value)
{
    return value == 0 || value == 180;
}

// What the kind of a unit shows in. 0, or 1 with the cause in the log.
static int read_count(unit at, int (*info)(vrn_tsapi_handle *, int *, const char *const *, int, int), const char *word,
                      int *count)
{
    if (info(cli_tsapi, count, nullptr, at.port, at.pdu))
        return log_failure("Fail to get number of %s of pdu %d@%d", word, at.pdu, at.port);
    return 0;
}

static int read_phases(unit at, int *phases)
{
    return read_count(at, vrn_tsapi_info_power_port_star0_pdu_star1_numPhases, "phases", phases);
}

static int read_circuits(unit at, int *circuits)
{
    return read_count(at, vrn_tsapi_info_power_port_star0_pdu_star1_numCircuits, "circuits", circuits);
}

// The forms with a letter are those of three-phase units.
static int set_with_letter(int row, char **out, command_args args, int cycle)
{
    const int orientation = args.integer(1);
    const char letter = args.letter(2);
    // Intended: the first digit of a cycle arrives here as a letter and is declined (the rows without one come behind).
    if (!is_orientation(orientation) || (letter != 'I' && letter != 'V'))
        return 1;
    unit at;
    int phases;
    if (locate_pdu(args.text(0), &at, out) || read_phases(at, &phases) || phases < 2)
        return 1;
    return display_pdu_set(row, out, at.port, at.pdu, orientation, letter, cycle);
}

// The forms without one are those of all other units; a cycle is for units of two segments or more.
static int set_without_letter(int row, char **out, command_args args, int cycle, int circuits_min)
{
    const int orientation = args.integer(1);
    if (!is_orientation(orientation))
        return 1;
    unit at;
    int phases, circuits;
    if (locate_pdu(args.text(0), &at, out) || read_phases(at, &phases) || read_circuits(at, &circuits))
        return 1;
    if (circuits < circuits_min || phases > 1)
        return 1;
    return display_pdu_set(row, out, at.port, at.pdu, orientation, 'I', cycle);
}

int cmd_display(int row, char **out, command_args)
{
    return all_pdus(row, out, display_pdu_get);
}

int cmd_display_set4(int row, char **out, command_args args)
{
    return set_with_letter(row, out, args, args.integer(3));
}

int cmd_display_set3(int row, char **out, command_args args)
{
    return set_with_letter(row, out, args, cycle_not_given);
}

int cmd_display_set2(int row, char **out, command_args args)
{
    return set_without_letter(row, out, args, args.integer(2), 2);
}

int cmd_display_set1(int row, char **out, command_args args)
{
    return set_without_letter(row, out, args, cycle_not_given, any_number);
}

int cmd_display_get(int row, char **out, command_args args)
{
    return one_located_pdu(row, out, args.text(0), display_pdu_get);
}

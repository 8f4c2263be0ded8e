// The pauses around switching: each outlet's power-on and power-off interval, and the one delay of `cycle`. The daemon
// checks the limits; a value is passed on as it is and the answer says what came back.

#include "cmd/cmd_interval.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "client/tree.h"
#include "client/types.h"
#include "cmd/outlet_string_usage.h"
#include "core/log.h"
#include "core/outlet_string.h"
#include "core/utils.h"
#include "core/walkers.h"
#include "core/ztd_shm.h"

const char intervaloff_usage[] = "Usage: intervaloff <outletString> [<duration>]\n"
                                 "Sets power off interval of all outlets of <outletString>.\n"
                                 "<duration> should be between 0 and 2500 seconds. If <duration>\n"
                                 "is not provided, it prints the current interval.\n\n" OUTLET_STRING_USAGE;

const char interval_usage[] = "Usage: interval <outletString> [<duration>]\n"
                              "Sets power on interval of all outlets of <outletString>.\n"
                              "<duration> should be between 0 and 2500 seconds. If <duration>\n"
                              "is not provided, it prints the current interval.\n\n" OUTLET_STRING_USAGE;

const char outcycledelay_usage[] =
    "Usage: 'outcycledelay [<delay>]'\n\n"
    "Sets the outlet cycle delay to <delay> seconds. <delay> can be set between 1 and 60.\n";

struct interval_leaf {
    const char *name;
    int (*info)(vrn_tsapi_handle *, char **, const char *const *, int, int, int);
    int (*admin)(vrn_tsapi_handle *, const char *const *, int, int, int);
};

static constexpr interval_leaf power_on_interval = {
    "post-power-on", vrn_tsapi_info_power_port_star0_pdu_star1_outlet_star2_postPowerOn,
    vrn_tsapi_admin_power_port_star0_pdu_star1_outlet_star2_postPowerOn};
static constexpr interval_leaf power_off_interval = {
    "post-power-off", vrn_tsapi_info_power_port_star0_pdu_star1_outlet_star2_postPowerOff,
    vrn_tsapi_admin_power_port_star0_pdu_star1_outlet_star2_postPowerOff};

static bool has_leaf(const outstr_entry &at, const char *name)
{
    if (check_elem_caps(at.port, at.pdu, at.outlet, elem_outlet, name) == 0)
        return true;
    log_failure("Node %s unavailable for %d@%d@%d", name, at.outlet, at.pdu, at.port);
    return false;
}

static void append_refusal(int row, char **out, const outstr_entry &at, const char *why)
{
    if (command_table[row].error_format)
        append_output(out, command_table[row].error_format, at.outx, why);
}

static void append_interval(int row, char **out, const outstr_entry &at, const char *interval)
{
    if (command_table[row].format)
        append_output(out, command_table[row].format, at.outx, interval);
    else
        append_refusal(row, out, at, "outlet error");
}

static void interval_get(int row, char **out, const outstr_entry &at, const interval_leaf &leaf, const char *)
{
    if (!has_leaf(at, leaf.name))
        return;
    owned_text interval;
    leaf.info(cli_tsapi, into(interval), nullptr, at.port, at.pdu, at.outlet);
    if (is_empty(interval))
        append_refusal(row, out, at, "outlet error");
    else
        append_interval(row, out, at, interval.get());
}

// Intended: only a status that was read and says so refuses a locked outlet (a failed read lets it be set).
static bool is_locked(const outstr_entry &at)
{
    owned_text status;
    vrn_tsapi_info_power_port_star0_pdu_star1_outlet_star2_ctrlStatus(cli_tsapi, into(status), nullptr, at.port, at.pdu,
                                                                      at.outlet);
    return status && strstr(status.get(), "(locked)");
}

static void interval_set(int row, char **out, const outstr_entry &at, const interval_leaf &leaf, const char *interval)
{
    if (!has_leaf(at, "ctrl-status"))
        return;
    if (is_locked(at)) {
        append_refusal(row, out, at, "outlet locked");
        return;
    }
    if (!has_leaf(at, leaf.name))
        return;
    const char *args[] = {interval, nullptr};
    if (leaf.admin(cli_tsapi, args, at.port, at.pdu, at.outlet))
        append_refusal(row, out, at, "outlet error");
    else
        append_interval(row, out, at, interval);
}

using interval_worker = void (*)(int row, char **out, const outstr_entry &at, const interval_leaf &leaf,
                                 const char *interval);

// All the lines go out together at the end: these loops do not flush.
static int each_outlet(int row, char **out, const char *text, interval_worker worker, const interval_leaf &leaf,
                       const char *interval)
{
    owned_outstr block = outlets_of(text, out);
    if (!block)
        return 1;
    for (const outstr_entry &record : outstr_records(block)) {
        if (outstr_resolved(record))
            worker(row, out, record, leaf, interval);
        else
            append_output(out, "Invalid outlet [%s].\n", record.text);
    }
    return 0;
}

static int get_intervals(int row, char **out, command_args args, const interval_leaf &leaf)
{
    if (!*args.text(0))
        return 1;
    return each_outlet(row, out, args.text(0), interval_get, leaf, nullptr);
}

static int set_intervals(int row, char **out, command_args args, const interval_leaf &leaf)
{
    if (!*args.text(0))
        return 1;
    char *rendered;
    if (asprintf(&rendered, "%.1f", args.real(1)) < 0)
        return log_failure("Fail to convert interval %.1f", args.real(1));
    owned_text interval(rendered);
    return each_outlet(row, out, args.text(0), interval_set, leaf, interval.get());
}

int cmd_intvoff_set(int row, char **out, command_args args)
{
    return set_intervals(row, out, args, power_off_interval);
}

int cmd_intvoff_get(int row, char **out, command_args args)
{
    return get_intervals(row, out, args, power_off_interval);
}

int cmd_intv_set(int row, char **out, command_args args)
{
    return set_intervals(row, out, args, power_on_interval);
}

int cmd_intv_get(int row, char **out, command_args args)
{
    return get_intervals(row, out, args, power_on_interval);
}

// --- The delay of `cycle`, kept by unit 1 on port 1 for the whole chain ---------------------------------------------

static int cycle_delay_unavailable()
{
    if (check_pdu_caps(1, 1, "cycle-interval") == 0)
        return 0;
    return log_failure("Node cycle-interval unavailable for %d@%d", 1, 1);
}

static int cycledelay_get(int row, char **out)
{
    if (cycle_delay_unavailable())
        return 1;
    int delay = 0;
    if (vrn_tsapi_info_power_port_star0_pdu_star1_cycleInterval(cli_tsapi, &delay, nullptr, 1, 1))
        return log_failure("Fail to retrieve outlet cycle interval from %d@%d", 1, 1);
    if (append_output(out, command_table[row].format, delay))
        return log_failure("Fail to printf cycle delay %d", delay);
    return 0;
}

static int cycledelay_set(int row, char **out, const char *delay)
{
    if (cycle_delay_unavailable())
        return 1;
    const char *args[] = {delay, nullptr};
    if (vrn_tsapi_admin_power_port_star0_pdu_star1_cycleInterval(cli_tsapi, args, 1, 1))
        return log_failure("Fail to set outlet cycle interval of %d@%d, value %s", 1, 1, delay);
    if (append_output(out, command_table[row].format, decimal_value(delay)))
        return log_failure("Fail to printf cycle delay %s", delay);
    return 0;
}

int cmd_cycledelay_get(int row, char **out, command_args)
{
    return failure_tail(cycledelay_get(row, out), row, out);
}

int cmd_cycledelay_set(int row, char **out, command_args args)
{
    return failure_tail(cycledelay_set(row, out, args.text(0)), row, out);
}

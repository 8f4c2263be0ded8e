// The commands that act on outlets: on, off, cycle, lock, unlock and the listing status. An action is one request for
// all the outlets named, so that the daemon can switch them together; what is reported is the state they are in behind
// it.

#include "cmd/cmd_outlet_cmds.h"

#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

#include "client/tree.h"
#include "client/types.h"
#include "cmd/outlet_string_usage.h"
#include "core/log.h"
#include "core/outlet_string.h"
#include "core/render.h"
#include "core/walkers.h"
#include "core/ztd_shm.h"

const char on_usage[] = "Usage: on <outletString>\n"
                        "Turns on all outlets of <outletString>.\n\n" OUTLET_STRING_USAGE;

const char off_usage[] = "Usage: off <outletString>\n"
                         "Turns off all outlets of <outletString>.\n\n" OUTLET_STRING_USAGE;

const char cycle_usage[] = "Usage: cycle <outletString>\n"
                           "Power cycles all outlets of <outletString>.\n\n" OUTLET_STRING_USAGE;

const char lock_usage[] = "Usage: lock <outletString>\n"
                          "Locks the state of all outlets of <outletString>.\n\n" OUTLET_STRING_USAGE;

const char unlock_usage[] = "Usage: unlock <outletString>\n"
                            "Unlocks the state of all outlets of <outletString>.\n\n" OUTLET_STRING_USAGE;

const char status_usage[] = "Usage: status <outletString>\n"
                            "Prints status of all outlets of <outletString>.\n\n" OUTLET_STRING_USAGE;

// --- Acting and reporting -------------------------------------------------------------------------------------------

using outlet_action = int (*)(vrn_tsapi_handle *, const char *const *);

// How an outlet's status becomes its line, and the words for it.
struct report_rule {
    void (*report)(int row, char **out, int outx, const char *status, const report_rule &rule);
    const char *word;                                   // "on" or "off", "locked" or "unlocked"
    const char *reached = nullptr;                      // the status that means success
    bool (*over_current)(const char *status) = nullptr; // what tells that protection keeps an outlet off
};

static void append_error(int row, char **out, int outx, const report_rule &rule)
{
    if (command_table[row].error_format)
        append_output(out, command_table[row].error_format, outx, rule.word);
}

static void append_success(int row, char **out, int outx, const report_rule &rule)
{
    if (command_table[row].format)
        append_output(out, command_table[row].format, outx, rule.word);
    else
        append_error(row, out, outx, rule);
}

// `on` asks the appliance's own unit; behind the pause of a `cycle` the status itself has to say so.
static bool local_over_current(const char *status)
{
    int tripped = 0;
    return strcmp(status, "OFF") == 0 && vrn_tsapi_get_power_pdu_pduLocal_overcurrent(cli_tsapi, &tripped) == 0 &&
           tripped != 0;
}

static bool status_says_over_current(const char *status)
{
    return strstr(status, "over-current");
}

static void report_switched(int row, char **out, int outx, const char *status, const report_rule &rule)
{
    char state[65], remark[65];
    if (strchr(status, '(') && sscanf(status, "%64[^(](%64[^)])", state, remark) == 2)
        append_output(out, "%d: Cannot be turned %s, outlet %s.\n", outx, rule.word, remark);
    else if (strcmp(status, rule.reached) == 0)
        append_success(row, out, outx, rule);
    else if (rule.over_current && rule.over_current(status))
        append_output(out, "%d: Outlet disabled (over-current protection).\n", outx);
    else
        append_error(row, out, outx, rule);
}

static void report_locked(int row, char **out, int outx, const char *status, const report_rule &rule)
{
    bool locked = strstr(status, "(locked)");
    if (strstr(status, "fixed") && command_table[row].error_format)
        append_output(out, "%d: Cannot be %s, outlet fixed.\n", outx, rule.word);
    else if (locked == (strcmp(rule.word, "locked") == 0))
        append_success(row, out, outx, rule);
    else
        append_error(row, out, outx, rule);
}

static constexpr report_rule turned_on = {report_switched, "on", "ON", local_over_current};
static constexpr report_rule turned_off = {report_switched, "off", "OFF"};
static constexpr report_rule cycled_on = {report_switched, "on", "ON", status_says_over_current};
static constexpr report_rule made_locked = {report_locked, "locked"};
static constexpr report_rule made_unlocked = {report_locked, "unlocked"};

// One line a record, shown as it is found. The status comes from the tree and never from the segment: it has to be the
// one behind the action.
static void report_outlets(int row, char **out, const owned_outstr &block, const report_rule &rule)
{
    for (const outstr_entry &record : outstr_records(block)) {
        cli_output_flush(out);
        if (!outstr_resolved(record)) {
            append_output(out, "Invalid outlet [%s].\n", record.text);
            continue;
        }
        owned_text status;
        vrn_tsapi_info_power_port_star0_pdu_star1_outlet_star2_ctrlStatus(cli_tsapi, into(status), nullptr, record.port,
                                                                          record.pdu, record.outlet);
        if (status)
            rule.report(row, out, record.outx, status.get(), rule);
        else
            append_error(row, out, record.outx, rule);
    }
}

static constexpr size_t number_size = sizeof "-2147483648"; // with room for what divides it from the next

// An outlet as "port.pdu.outlet"; its end.
static char *put_address(char *at, const outstr_entry &record)
{
    for (int number : {record.port, record.pdu, record.outlet}) {
        at = std::to_chars(at, at + number_size, number).ptr;
        *at++ = '.';
    }
    return at - 1;
}

// The resolved outlets as "port.pdu.outlet,...", the form in which one action takes them all. Empty where none
// resolved; null without memory.
static owned_text join_outlets(const owned_outstr &block)
{
    constexpr size_t size = outstr_max * 3 * number_size;
    owned_text joined(static_cast<char *>(malloc(size)));
    if (!joined)
        return joined;
    char *end = joined.get();
    for (const outstr_entry &record : outstr_records(block)) {
        if (!outstr_resolved(record))
            continue;
        if (end != joined.get())
            *end++ = ',';
        end = put_address(end, record);
    }
    *end = '\0';
    return joined;
}

// Intended: nobody looks at the action's result (the statuses read behind it show what became of each outlet).
static void act_on(outlet_action action, const owned_text &joined)
{
    const char *args[] = {joined.get(), nullptr};
    action(cli_tsapi, args);
}

static int act_and_report(int row, char **out, const char *text, outlet_action action, const report_rule &rule)
{
    if (!*text)
        return 1;
    owned_outstr block = outlets_of(text, out);
    if (!block)
        return 1;
    owned_text joined = join_outlets(block);
    if (!joined)
        return 1;
    act_on(action, joined);
    report_outlets(row, out, block, rule);
    return 0;
}

static bool row_begins_with(int row, const char *word)
{
    return strncmp(command_table[row].pattern, word, strlen(word)) == 0;
}

int cmd_on(int row, char **out, command_args args)
{
    outlet_action action =
        row_begins_with(row, "ion") ? vrn_tsapi_admin_power_command_ion : vrn_tsapi_admin_power_command_on;
    return act_and_report(row, out, args.text(0), action, turned_on);
}

int cmd_off(int row, char **out, command_args args)
{
    outlet_action action =
        row_begins_with(row, "ioff") ? vrn_tsapi_admin_power_command_ioff : vrn_tsapi_admin_power_command_off;
    return act_and_report(row, out, args.text(0), action, turned_off);
}

// Intended: the pause is always that of unit 1 on port 1, whatever outlets are named (`outcycledelay` sets only that
// one).
static int cycle_delay()
{
    int delay = -1;
    int seconds = 0;
    if (vrn_tsapi_info_power_port_star0_pdu_star1_cycleInterval(cli_tsapi, &seconds, nullptr, 1, 1) == 0 &&
        seconds > delay)
        delay = seconds;
    return delay;
}

int cmd_cycle(int row, char **out, command_args args)
{
    const char *text = args.text(0);
    if (!*text)
        return 1;
    owned_outstr block = outlets_of(text, out);
    if (!block)
        return 1;
    owned_text joined = join_outlets(block);
    if (!joined)
        return 1;
    int delay = cycle_delay();
    act_on(vrn_tsapi_admin_power_command_off, joined);
    report_outlets(row, out, block, turned_off);
    cli_output_flush(out);
    if (delay > 0)
        sleep(static_cast<unsigned>(delay));
    // Intended: outlets that failed to go off are named again (the same set goes on as went off).
    act_on(vrn_tsapi_admin_power_command_on, joined);
    report_outlets(row, out, block, cycled_on);
    return 0;
}

int cmd_lock(int row, char **out, command_args args)
{
    return act_and_report(row, out, args.text(0), vrn_tsapi_admin_power_command_lock, made_locked);
}

int cmd_unlock(int row, char **out, command_args args)
{
    return act_and_report(row, out, args.text(0), vrn_tsapi_admin_power_command_unlock, made_unlocked);
}

// --- The listing ----------------------------------------------------------------------------------------------------

// A value of an outlet: its capability bit, which is also its attribute code in the segment, and its leaf in the tree.
struct outlet_leaf {
    int code;
    const char *name;
    int (*info)(vrn_tsapi_handle *, char **, const char *const *, int, int, int);
    const char *log_word;
};

static constexpr outlet_leaf ctrl_status = {info_outlet_ctrl_status, "ctrl-status",
                                            vrn_tsapi_info_power_port_star0_pdu_star1_outlet_star2_ctrlStatus,
                                            "status"};
static constexpr outlet_leaf mod_status = {info_outlet_mod_status, "mod-status",
                                           vrn_tsapi_info_power_port_star0_pdu_star1_outlet_star2_modStatus,
                                           "mod status"};
static constexpr outlet_leaf post_power_on = {
    info_outlet_post_on, "post-power-on", vrn_tsapi_info_power_port_star0_pdu_star1_outlet_star2_postPowerOn, "poston"};
static constexpr outlet_leaf post_power_off = {info_outlet_post_off, "post-power-off",
                                               vrn_tsapi_info_power_port_star0_pdu_star1_outlet_star2_postPowerOff,
                                               "postoff"};

static int leaf_from_shm(const outstr_entry &at, int code, owned_text &text)
{
    return node_info_shm(at.port, at.pdu, at.outlet, elem_outlet, code, into(text), nullptr);
}

static int leaf_from_tree(const outstr_entry &at, const outlet_leaf &leaf, owned_text &text)
{
    return leaf.info(cli_tsapi, into(text), nullptr, at.port, at.pdu, at.outlet);
}

static bool bit_in_shm(const outstr_entry &at, const outlet_leaf &leaf)
{
    return node_caps_shm(at.port, at.pdu, at.outlet, elem_outlet, static_cast<uint32_t>(leaf.code)) == 0;
}

static bool leaf_in_tree(const outstr_entry &at, const outlet_leaf &leaf)
{
    return check_elem_caps(at.port, at.pdu, at.outlet, elem_outlet, leaf.name) == 0;
}

static owned_text outlet_name(const outstr_entry &at)
{
    owned_text name;
    if (shm_usable() < 0)
        vrn_tsapi_info_power_port_star0_pdu_star1_outlet_star2_name(cli_tsapi, into(name), nullptr, at.port, at.pdu,
                                                                    at.outlet);
    else if (leaf_from_shm(at, info_outlet_name, name) == 0)
        log_remark("shm name %s", name.get());
    return name;
}

static bool has_status(const outstr_entry &at, const outlet_leaf &leaf)
{
    if (bit_in_shm(at, leaf)) {
        log_remark("shm cap %s", leaf.log_word);
        return true;
    }
    if (leaf_in_tree(at, leaf))
        return true;
    log_failure("Node %s unavailable for %d@%d@%d", leaf.name, at.outlet, at.pdu, at.port);
    return false;
}

static owned_text outlet_interval(const outstr_entry &at, const outlet_leaf &leaf)
{
    owned_text interval;
    if (bit_in_shm(at, leaf)) {
        if (leaf_from_shm(at, leaf.code, interval) == 0)
            log_remark("shm cap %s %s", leaf.log_word, interval.get());
    } else if (leaf_in_tree(at, leaf))
        leaf_from_tree(at, leaf, interval);
    return interval;
}

static int status_texts(const outstr_entry &at, owned_text &ctrl, owned_text &mod)
{
    if (shm_usable() < 0)
        return leaf_from_tree(at, ctrl_status, ctrl) || leaf_from_tree(at, mod_status, mod);
    log_remark("using shm");
    if (leaf_from_shm(at, ctrl_status.code, ctrl))
        return log_failure("unable to get ctrl-status from shm");
    if (leaf_from_shm(at, mod_status.code, mod))
        return log_failure("unable to get mod-status from shm");
    return 0;
}

static owned_text status_column(const char *ctrl, const char *mod)
{
    const char *flag = strstr(mod, "(ocp)") ? "+" : strstr(mod, "Comm error") ? "?" : strstr(mod, "(error)") ? "!" : "";
    if (strstr(ctrl, "(fixed)"))
        return joined_text({"Fixed ON", flag});
    // Intended: the letters count anywhere ("OFF(pend_ON)" is listed as ON).
    return joined_text({strstr(ctrl, "(locked)") ? "Locked " : "Unlocked ", strstr(ctrl, "ON") ? "ON" : "OFF", flag});
}

static owned_text interval_column(const owned_text &on, const owned_text &off)
{
    return joined_text({on ? on.get() : "0.0", off ? "/" : "", off ? off.get() : ""});
}

static int append_status(int row, char **out, const outstr_entry &at)
{
    owned_text name = outlet_name(at);
    if (!has_status(at, ctrl_status) || !has_status(at, mod_status))
        return 1;
    owned_text on = outlet_interval(at, post_power_on);
    owned_text off = outlet_interval(at, post_power_off);
    owned_text ctrl, mod;
    if (status_texts(at, ctrl, mod) || is_empty(ctrl) || is_empty(mod))
        return 1;
    log_remark("mod=%s, ctrl=%s", mod.get(), ctrl.get());
    owned_text status = status_column(ctrl.get(), mod.get());
    owned_text interval = interval_column(on, off);
    if (!status || !interval || !command_table[row].format)
        return 1;
    return append_output(out, command_table[row].format, at.outx, text_or_empty(name), status.get(), interval.get());
}

int cmd_status(int row, char **out, command_args args)
{
    const char *text = args.text(0);
    if (!*text)
        return 1;
    owned_outstr block = outlets_of(text, out);
    if (!block)
        return 1;
    append_output(out, " Outlet Name                    Status          Interval (s)    Users\n");
    for (const outstr_entry &record : outstr_records(block)) {
        cli_output_flush(out);
        if (outstr_resolved(record))
            append_status(row, out, record);
    }
    return 0;
}

// save, restore, factory_defaults: the configuration that units keep in flash.

#include "cmd/cmd_flash.h"

#include <unistd.h>

#include "client/tree.h"
#include "core/log.h"
#include "core/utils.h"
#include "core/walkers.h"

const char save_usage[] = "Usage: save\n\n"
                          "Saves the current running configuration to flash.\n"
                          "The save command saves the username/password database and the specific information "
                          "pertaining to each outlet such as outlet name, outlet owners, state (on/off) of the outlet, "
                          "whether the outlet is locked or unlocked, etc. Upon next reboot the ZT retrieves the saved "
                          "configuration and initializes the outlets according to the saved configuration.\n";

const char restore_usage[] = "Usage: restore\n\n"
                             "Reads the configuration from flash and put it on the system.\n";

const char factory_defaults_usage[] =
    "Usage: 'factory_defaults [<ipdu number or ID>]'\n\n"
    "Resets configuration to factory defaults. When IPDU number or ID is not specified, the command applies to all "
    "units in the chain. When IPDU number or ID is specified, the user database is kept in the IPDU configuration.\n";

// The unit works on its flash by itself; while it does, the node that set it off is gone from its list.
struct flash_action {
    const char *node;
    const char *log_word;
    int (*start)(vrn_tsapi_handle *, const char *const *args, int port, int pdu);
};

static constexpr flash_action save_action = {"save", "Save", vrn_tsapi_admin_power_port_star0_pdu_star1_save};
static constexpr flash_action restore_action = {"restore", "Restore",
                                                vrn_tsapi_admin_power_port_star0_pdu_star1_restore};
static constexpr flash_action factory_action = {"factory-default", "Factory defaults",
                                                vrn_tsapi_admin_power_port_star0_pdu_star1_factoryDefault};

static constexpr int polls_max = 5;

static int probe(const flash_action &action, int port, int pdu)
{
    if (check_pdu_caps(port, pdu, action.node) == 0)
        return 0;
    return log_failure("Node %s unavailable for %d@%d", action.node, pdu, port);
}

static int start(const flash_action &action, int port, int pdu)
{
    if (action.start(cli_tsapi, nullptr, port, pdu) == 0)
        return 0;
    return log_failure("%s command failed on pdu %d@%d", action.log_word, pdu, port);
}

// Waits for the unit; how many polls found it at work.
// Intended: one that is still at work after the last is taken for done (nothing tells a slow unit from a lost one).
static int wait_until_done(const flash_action &action, int port, int pdu)
{
    int fruitless = 0;
    while (fruitless < polls_max) {
        sleep(1);
        if (check_pdu_caps(port, pdu, action.node) == 0)
            break;
        fruitless++;
    }
    return fruitless;
}

static void wait_and_log(const flash_action &action, int port, int pdu)
{
    int loops = wait_until_done(action, port, pdu);
    log_remark("%s command success on pdu %d@%d, after %d loops", action.log_word, pdu, port, loops);
}

// What stands behind the opening words of a save.
static int close_line(int row, char **out, const char *word)
{
    if (command_table[row].format)
        append_output(out, "%s", word);
    return 0;
}

// Intended: only the first two units of the first port are asked to save (the others report a save without a request).
static bool takes_save(int port, int pdu)
{
    return port == 1 && (pdu == 1 || pdu == 2);
}

static int save(int row, char **out, int port, int pdu)
{
    if (probe(save_action, port, pdu))
        return 1;
    const char *format = command_table[row].format;
    if (format && append_output(out, format, pdu))
        return log_failure("Fail to printf pdu %d save string", pdu);
    cli_output_flush(out);
    if (takes_save(port, pdu) && start(save_action, port, pdu))
        return close_line(row, out, "Failed.\n");
    wait_and_log(save_action, port, pdu);
    return close_line(row, out, "Done.\n");
}

// Intended: a restore that succeeds says nothing (only its failure has words).
static int restore(int port, int pdu)
{
    if (probe(restore_action, port, pdu) || start(restore_action, port, pdu))
        return 1;
    wait_and_log(restore_action, port, pdu);
    return 0;
}

// Intended: no words for a failure behind a unit that is done (that unit's last word still waits to be shown).
static int save_pdu(int row, char **out, int port, int pdu, va_list *)
{
    return failure_tail_of_unit(save(row, out, port, pdu), row, out, pdu);
}

static int restore_pdu(int row, char **out, int port, int pdu, va_list *)
{
    return failure_tail_of_unit(restore(port, pdu), row, out, pdu);
}

// The defaults outlast a restart only because they are saved.
static int reset_and_save(int row, char **out, int port, int pdu)
{
    if (probe(factory_action, port, pdu))
        return 1;
    if (append_output(out, command_table[row].format, pdu))
        return log_failure("Fail to printf pdu %d factory string", pdu);
    cli_output_flush(out);
    if (start(factory_action, port, pdu))
        return 1;
    wait_until_done(factory_action, port, pdu);
    const int save_row = find_command_row(cmd_save);
    if (save_row < 0)
        return log_failure("Cannot find cmd_save in the table");
    return one_pdu(save_row, out, port, pdu, save_pdu);
}

static int factory_pdu(int row, char **out, int port, int pdu, va_list *)
{
    return failure_tail_of_unit(reset_and_save(row, out, port, pdu), row, out, pdu);
}

int cmd_save(int row, char **out, command_args)
{
    return all_pdus(row, out, save_pdu);
}

int cmd_restore(int row, char **out, command_args)
{
    return all_pdus(row, out, restore_pdu);
}

int cmd_factory(int row, char **out, command_args)
{
    return all_pdus(row, out, factory_pdu);
}

int cmd_factory_pdu(int row, char **out, command_args args)
{
    return one_located_pdu(row, out, args.text(0), factory_pdu);
}

// buzzer: whether units sound an alarm when the current reaches its threshold.

#include "cmd/cmd_buzzer.h"

#include "client/tree.h"
#include "cmd/unit_switch.h"
#include "core/walkers.h"

const char buzzer_usage[] = "Usage: buzzer <on|off|status>\n"
                            "Turns the buzzer on or off. If the buzzer is turned on an alarm will be heard when "
                            "current reaches the threshold.\n";

static constexpr unit_switch buzzer_switch = {"buzzer", vrn_tsapi_info_power_port_star0_pdu_star1_buzzer,
                                              vrn_tsapi_admin_power_port_star0_pdu_star1_buzzer};

static int buzzer_get(int row, char **out, int port, int pdu, va_list *)
{
    return switch_get(buzzer_switch, row, out, port, pdu);
}

static int buzzer_set(int row, char **out, int port, int pdu, va_list *rest)
{
    return switch_set(buzzer_switch, row, out, port, pdu, peek_text(rest));
}

int cmd_buzzer_status(int row, char **out, command_args)
{
    return all_pdus(row, out, buzzer_get);
}

int cmd_buzzer_on(int row, char **out, command_args)
{
    return all_pdus(row, out, buzzer_set, "on");
}

int cmd_buzzer_off(int row, char **out, command_args)
{
    return all_pdus(row, out, buzzer_set, "off");
}

// The command table: the whole command language, one row a form. Its order is part of the language.

#include "shell/command_table.h"

#include "cmd/cmd_alarm.h"
#include "cmd/cmd_buzzer.h"
#include "cmd/cmd_ci.h"
#include "cmd/cmd_coldstart.h"
#include "cmd/cmd_current.h"
#include "cmd/cmd_display.h"
#include "cmd/cmd_energy.h"
#include "cmd/cmd_flash.h"
#include "cmd/cmd_fuses.h"
#include "cmd/cmd_hwocp.h"
#include "cmd/cmd_id.h"
#include "cmd/cmd_interval.h"
#include "cmd/cmd_name.h"
#include "cmd/cmd_network.h"
#include "cmd/cmd_outlet_cmds.h"
#include "cmd/cmd_overcurrent.h"
#include "cmd/cmd_power.h"
#include "cmd/cmd_pwfactor.h"
#include "cmd/cmd_reboot.h"
#include "cmd/cmd_sensors.h"
#include "cmd/cmd_serial.h"
#include "cmd/cmd_syslog.h"
#include "cmd/cmd_temperature.h"
#include "cmd/cmd_upgrade.h"
#include "cmd/cmd_ver.h"
#include "cmd/cmd_voltage.h"
#include "shell/cmd_help.h"
#include "shell/commands.h"
#include "shell/table_rules.h"

// --- Formats: what is shown, then how a failure is worded -----------------------------------------------------------

static constexpr char alarm_line[] = "Alarm threshold on IPDU #%d %sis %.1fA\n";
static constexpr char alarm_set_line[] = "Setting alarm threshold on IPDU #%d %sto %.1fA\n";
static constexpr char alarm_error[] = "Invalid current threshold value.\n";

static constexpr char buzzer_status_line[] = "Buzzer is %s on IPDU #%d\n";
static constexpr char buzzer_turned_line[] = "Buzzer turned %s on IPDU #%d\n";

static constexpr char currentprotection_status_line[] = "IPDU #%d: Overcurrent protection is %s.\n";
static constexpr char currentprotection_turned_line[] = "IPDU #%d: Overcurrent protection turned %s.\n";

static constexpr char current_line[] = "IPDU #%d: True RMS current%s: %.1fA. Maximum current%s: %.1fA%s\n";
static constexpr char current_summary_line[] = "%d%s:%.1fA,%.1fA%s\n";
static constexpr char current_reset_line[] = "IPDU #%d: Clearing maximum%s recorded current %sto zero.\n";
static constexpr char current_threshold_line[] = "IPDU #%d: Threshold %s(A): %s:%s:%s:%s\n";

static constexpr char voltage_line[] = "IPDU #%d: RMS voltage%s: %.1fV%s\n";
static constexpr char voltage_summary_line[] = "%d%s:%.1fV%s\n";
static constexpr char voltage_reset_line[] =
    "IPDU #%d: Clearing maximum, minimum and average recorded voltage %sto zero.\n";

static constexpr char power_line[] =
    "IPDU #%d: Power%s: %.1fW. Maximum power%s: %.1fW. Minimum power%s: %.1fW. Average power%s: %.1fW\n";
static constexpr char power_summary_line[] = "%d%s:%.1fW,%.1fW,%.1fW,%.1fW\n";
static constexpr char power_reset_line[] =
    "IPDU #%d: Clearing maximum, minimum and average recorded power %sto zero.\n";

static constexpr char powerfactor_line[] =
    "IPDU #%d: Power factor%s: %.2f. Maximum power factor%s: %.2f. Minimum power factor%s: %.2f. "
    "Average power factor%s: %.2f\n";
static constexpr char powerfactor_summary_line[] = "%d%s:%.2f,%.2f,%.2f,%.2f\n";
static constexpr char powerfactor_reset_line[] =
    "IPDU #%d: Clearing maximum, minimum and average recorded power factor %sto zero.\n";

static constexpr char energy_line[] = "IPDU #%d: Energy%s: %.3fkWh since %s.\n";
static constexpr char energy_summary_line[] = "%d%s:%.3fkWh,%s\n";
static constexpr char energy_reset_line[] = "IPDU #%d: Clearing start time for energy %s.\n";

static constexpr char on_line[] = "%d: Outlet turned on.\n";
static constexpr char on_error[] = "%d: Outlet could not be turned on.\n";

static constexpr char off_line[] = "%d: Outlet turned off.\n";
static constexpr char off_error[] = "%d: Outlet could not be turned off.\n";

static constexpr char cycle_line[] = "%d: Outlet turned %s.\n";
static constexpr char cycle_error[] = "%d: Outlet could not be turned %s.\n";

static constexpr char lock_line[] = "%d: Outlet locked.\n";
static constexpr char lock_error[] = "%d: Outlet could not be locked.\n";

static constexpr char unlock_line[] = "%d: Outlet unlocked.\n";
static constexpr char unlock_error[] = "%d: Outlet could not be unlocked.\n";

static constexpr char status_line[] = " %-6d %-23s %-15s %-15s\n";

static constexpr char intervaloff_set_line[] = "%d: Outlet power off interval set to %s sec.\n";
static constexpr char intervaloff_line[] = "%d: Outlet power off interval is %s sec.\n";
static constexpr char intervaloff_error[] = "%d: Not possible, %s.\n";

static constexpr char interval_set_line[] = "%d: Outlet power on interval set to %s sec.\n";
static constexpr char interval_line[] = "%d: Outlet power on interval is %s sec.\n";
static constexpr char interval_error[] = "%d: Not possible, %s.\n";

static constexpr char outcycledelay_line[] = "Outlet cycle delay set to %d sec.\n";
static constexpr char outcycledelay_error[] = "Invalid delay value.\n";

static constexpr char ver_line[] = "IPDU #%d: Hw with %d outlets %s AMPs max Sw V %s id %s model %s%s%s.\n";

static constexpr char hwocp_line[] = "IPDU #%d: HW overcurrent protection %sis %stripped.\n";
static constexpr char hwocp_reset_line[] = "IPDU #%d: HW overcurrent protection was reset.\n";
static constexpr char hwocp_error[] = "IPDU #%d does not support HW overcurrent protection.\n";

static constexpr char id_line[] = "IPDU #%d ID = %s\n";
static constexpr char id_set_line[] = "IPDU #%d ID is set to %s.\n";

static constexpr char name_set_line[] = "%d: Outlet now named %s\n";
static constexpr char name_cleared_line[] = "%d: Outlet no longer has a name.\n";
static constexpr char name_error[] = "Invalid outlet number.\n";

static constexpr char temperature_line[] = "IPDU #%d: Temperature: %s. Maximum: %s%s\n";
static constexpr char temperature_reset_line[] = "IPDU #%d: Clearing maximum recorded temperature to zero.\n";
static constexpr char temperature_error[] = "IPDU #%d does not have temperature sensor.\n";

static constexpr char syslog_status_line[] = "Syslog is %s on IPDU #%d\n";
static constexpr char syslog_turned_line[] = "Syslog turned %s on IPDU #%d\n";

static constexpr char display_line[] = "IPDU #%d: Display mode set to %s.\n";

static constexpr char coldstart_line[] = "IPDU #%d: Cold start delay set to %d.\n";

static constexpr char passwd_line[] = "Username/password set for user %s.\n";

static constexpr char save_line[] = "Saving configuration to flash on IPDU #%d ... ";
static constexpr char save_error[] = "Saving configuration to flash on IPDU #%d ... Failed\n";

static constexpr char restore_error[] = "Restoring configuration to flash on IPDU #%d ... Failed\n";

static constexpr char factory_defaults_line[] = "Setting configuration to defaults on IPDU #%d.\n";
static constexpr char factory_defaults_error[] = "Setting configuration to defaults on IPDU #%d ... Failed\n";

static constexpr char network_line[] = "%s\n";
static constexpr char network_error[] = "Command failed.\n";

static constexpr char upgrade_error[] = "Command failed.\n";

static constexpr char serial_line[] = "IPDU #%d: Serial set to %d, %s flow control.\n";

static constexpr char sensors_line[] = "IPDU #%d: %s\n";
static constexpr char sensors_summary_line[] = "%d,%d,%d,%s:%s\n";
static constexpr char sensors_reset_line[] =
    "IPDU #%d: Clearing maximum, minimum and average recorded %s on sensor %d to zero.\n";
static constexpr char sensors_threshold_line[] = "IPDU #%d: %s thresholds on sensor %s: %s:%s:%s:%s\n";
static constexpr char sensors_name_line[] = "IPDU #%d: Sensor %d now named %s\n";

static constexpr char fuses_line[] = "IPDU #%d: Fuse status %sis %s\n";

static constexpr char help_line[] = "Available commands:\n\n"
                                    "%s \n\n"
                                    "NOTE: To get detailed help on the commands listed above type\n"
                                    "\t'<command> help'\n\n";

// --- Rows -----------------------------------------------------------------------------------------------------------

// clang-format off
constexpr command_row command_table[command_row_count + 1] = {
    {cmd_usage, 0, "alarm help", alarm_usage, alarm_error},
    {cmd_alarm, 0, "alarm", alarm_line, alarm_error},
    {cmd_alarm_elem_set, 3, "alarm %64s %lf %64s%n", alarm_set_line, alarm_error},
    {cmd_alarm_pdu_set, 2, "alarm %64s %lf%n", alarm_set_line, alarm_error},
    {cmd_alarm_pdu, 1, "alarm %64s%n", alarm_line, alarm_error},

    {cmd_usage, 0, "buzzer help", buzzer_usage, nullptr},
    {cmd_buzzer_status, 0, "buzzer", buzzer_status_line, nullptr},
    {cmd_buzzer_status, 0, "buzzer status", buzzer_status_line, nullptr},
    {cmd_buzzer_on, 0, "buzzer on", buzzer_turned_line, nullptr},
    {cmd_buzzer_off, 0, "buzzer off", buzzer_turned_line, nullptr},

    {cmd_usage, 0, "currentprotection help", currentprotection_usage, nullptr},
    {cmd_usage, 0, "currentprotection", currentprotection_usage, nullptr},
    {cmd_overc_get, 0, "currentprotection status", currentprotection_status_line, nullptr},
    {cmd_overc_on, 0, "currentprotection on", currentprotection_turned_line, nullptr},
    {cmd_overc_off, 0, "currentprotection off", currentprotection_turned_line, nullptr},

    {cmd_usage, 0, "current help", current_usage, nullptr},
    {cmd_current, 0, "current", current_line, nullptr},
    {cmd_current_sum, 0, "current summary", current_summary_line, nullptr},
    {cmd_current_reset, 0, "current reset", current_reset_line, nullptr},
    {cmd_current_thres, 0, "current threshold", current_threshold_line, nullptr},
    {cmd_current_thres_elem_set, 3, "current threshold %64s %64s %64s%n", current_threshold_line, nullptr},
    {cmd_current_sum_elem, 2, "current summary %64s %64s%n", current_summary_line, nullptr},
    {cmd_current_reset_elem, 2, "current reset %64s %64s%n", current_reset_line, nullptr},
    {cmd_current_thres_elem, 2, "current threshold %64s %64[^:]%n", current_threshold_line, nullptr},
    {cmd_current_thres_pdu_set, 2, "current threshold %64s %64[0-9.:]%n", current_threshold_line, nullptr},
    {cmd_current_sum_pdu, 1, "current summary %64s%n", current_summary_line, nullptr},
    {cmd_current_reset_pdu, 1, "current reset %64s%n", current_reset_line, nullptr},
    {cmd_current_thres_pdu, 1, "current threshold %64s%n", current_threshold_line, nullptr},
    {cmd_current_elem, 2, "current %64s %64s%n", current_line, nullptr},
    {cmd_current_pdu, 1, "current %64s%n", current_line, nullptr},

    {cmd_usage, 0, "voltage help", voltage_usage, nullptr},
    {cmd_voltage, 0, "voltage", voltage_line, nullptr},
    {cmd_voltage_sum, 0, "voltage summary", voltage_summary_line, nullptr},
    {cmd_voltage_reset, 0, "voltage reset", voltage_reset_line, nullptr},
    {cmd_voltage_sum_elem, 2, "voltage summary %64s %64s%n", voltage_summary_line, nullptr},
    {cmd_voltage_reset_elem, 2, "voltage reset %64s %64s%n", voltage_reset_line, nullptr},
    {cmd_voltage_sum_pdu, 1, "voltage summary %64s%n", voltage_summary_line, nullptr},
    {cmd_voltage_reset_pdu, 1, "voltage reset %64s%n", voltage_reset_line, nullptr},
    {cmd_voltage_elem, 2, "voltage %64s %64s%n", voltage_line, nullptr},
    {cmd_voltage_pdu, 1, "voltage %64s%n", voltage_line, nullptr},

    {cmd_usage, 0, "power help", power_usage, nullptr},
    {cmd_power, 0, "power", power_line, nullptr},
    {cmd_power_sum, 0, "power summary", power_summary_line, nullptr},
    {cmd_power_reset, 0, "power reset", power_reset_line, nullptr},
    {cmd_power_sum_elem, 2, "power summary %64s %64s%n", power_summary_line, nullptr},
    {cmd_power_reset_elem, 2, "power reset %64s %64s%n", power_reset_line, nullptr},
    {cmd_power_sum_pdu, 1, "power summary %64s%n", power_summary_line, nullptr},
    {cmd_power_reset_pdu, 1, "power reset %64s%n", power_reset_line, nullptr},
    {cmd_power_elem, 2, "power %64s %64s%n", power_line, nullptr},
    {cmd_power_pdu, 1, "power %64s%n", power_line, nullptr},

    {cmd_usage, 0, "powerfactor help", powerfactor_usage, nullptr},
    {cmd_pwfact, 0, "powerfactor", powerfactor_line, nullptr},
    {cmd_pwfact_sum, 0, "powerfactor summary", powerfactor_summary_line, nullptr},
    {cmd_pwfact_reset, 0, "powerfactor reset", powerfactor_reset_line, nullptr},
    {cmd_pwfact_sum_elem, 2, "powerfactor summary %64s %64s%n", powerfactor_summary_line, nullptr},
    {cmd_pwfact_reset_elem, 2, "powerfactor reset %64s %64s%n", powerfactor_reset_line, nullptr},
    {cmd_pwfact_sum_pdu, 1, "powerfactor summary %64s%n", powerfactor_summary_line, nullptr},
    {cmd_pwfact_reset_pdu, 1, "powerfactor reset %64s%n", powerfactor_reset_line, nullptr},
    {cmd_pwfact_elem, 2, "powerfactor %64s %64s%n", powerfactor_line, nullptr},
    {cmd_pwfact_pdu, 1, "powerfactor %64s%n", powerfactor_line, nullptr},

    {cmd_usage, 0, "energy help", energy_usage, nullptr},
    {cmd_energy, 0, "energy", energy_line, nullptr},
    {cmd_energy_sum, 0, "energy summary", energy_summary_line, nullptr},
    {cmd_energy_reset, 0, "energy reset", energy_reset_line, nullptr},
    {cmd_energy_sum_elem, 2, "energy summary %64s %64s%n", energy_summary_line, nullptr},
    {cmd_energy_reset_elem, 2, "energy reset %64s %64s%n", energy_reset_line, nullptr},
    {cmd_energy_sum_pdu, 1, "energy summary %64s%n", energy_summary_line, nullptr},
    {cmd_energy_reset_pdu, 1, "energy reset %64s%n", energy_reset_line, nullptr},
    {cmd_energy_elem, 2, "energy %64s %64s%n", energy_line, nullptr},
    {cmd_energy_pdu, 1, "energy %64s%n", energy_line, nullptr},

    {cmd_usage, 0, "on help", on_usage, on_error},
    {cmd_usage, 0, "on", on_usage, on_error},
    {cmd_on, 1, "on %64s%n", on_line, on_error},
    {cmd_on, 1, "ion %64s%n", on_line, on_error},

    {cmd_usage, 0, "off help", off_usage, off_error},
    {cmd_usage, 0, "off", off_usage, off_error},
    {cmd_off, 1, "off %64s%n", off_line, off_error},
    {cmd_off, 1, "ioff %64s%n", off_line, off_error},

    {cmd_usage, 0, "cycle help", cycle_usage, cycle_error},
    {cmd_usage, 0, "cycle", cycle_usage, cycle_error},
    {cmd_cycle, 1, "cycle %64s%n", cycle_line, cycle_error},

    {cmd_usage, 0, "lock help", lock_usage, lock_error},
    {cmd_usage, 0, "lock", lock_usage, lock_error},
    {cmd_lock, 1, "lock %64s%n", lock_line, lock_error},

    {cmd_usage, 0, "unlock help", unlock_usage, unlock_error},
    {cmd_usage, 0, "unlock", unlock_usage, unlock_error},
    {cmd_unlock, 1, "unlock %64s%n", unlock_line, unlock_error},

    {cmd_usage, 0, "status help", status_usage, nullptr},
    {cmd_usage, 0, "status", status_usage, nullptr},
    {cmd_status, 1, "status %64s%n", status_line, nullptr},

    {cmd_usage, 0, "intervaloff help", intervaloff_usage, intervaloff_error},
    {cmd_usage, 0, "intervaloff", intervaloff_usage, intervaloff_error},
    {cmd_intvoff_set, 2, "intervaloff %64s %lf%n", intervaloff_set_line, intervaloff_error},
    {cmd_intvoff_get, 1, "intervaloff %64s%n", intervaloff_line, intervaloff_error},

    {cmd_usage, 0, "interval help", interval_usage, interval_error},
    {cmd_usage, 0, "interval", interval_usage, interval_error},
    {cmd_intv_set, 2, "interval %64s %lf%n", interval_set_line, interval_error},
    {cmd_intv_get, 1, "interval %64s%n", interval_line, interval_error},

    {cmd_usage, 0, "outcycledelay help", outcycledelay_usage, outcycledelay_error},
    {cmd_cycledelay_get, 0, "outcycledelay", outcycledelay_line, outcycledelay_error},
    {cmd_cycledelay_set, 1, "outcycledelay %64s%n", outcycledelay_line, outcycledelay_error},

    {cmd_usage, 0, "ver help", ver_usage, nullptr},
    {cmd_ver, 0, "ver", ver_line, nullptr},
    {cmd_ver_pdu, 1, "ver %64s%n", ver_line, nullptr},

    {cmd_usage, 0, "hwocp help", hwocp_usage, hwocp_error},
    {cmd_hwocp, 0, "hwocp", hwocp_line, hwocp_error},
    {cmd_hwocp_pdu_reset, 1, "hwocp %64s reset%n", hwocp_reset_line, hwocp_error},
    {cmd_hwocp_pdu, 1, "hwocp %64s%n", hwocp_line, hwocp_error},

    {cmd_usage, 0, "id help", id_usage, nullptr},
    {cmd_id, 0, "id", id_line, nullptr},
    {cmd_id_pdu_set, 2, "id %64s %64s%n", id_set_line, nullptr},
    {cmd_id_pdu, 1, "id %64s%n", id_line, nullptr},

    {cmd_usage, 0, "name help", name_usage, name_error},
    {cmd_usage, 0, "name", name_usage, name_error},
    {cmd_name_set, 2, "name %64s %64s%n", name_set_line, name_error},
    {cmd_name_clear, 1, "name %64s%n", name_cleared_line, name_error},

    {cmd_usage, 0, "temperature help", temperature_usage, temperature_error},
    {cmd_temp, 0, "temperature", temperature_line, temperature_error},
    {cmd_temp_reset, 0, "temperature reset", temperature_reset_line, temperature_error},
    {cmd_temp_reset_pdu, 1, "temperature reset %64s%n", temperature_reset_line, temperature_error},
    {cmd_temp_pdu, 1, "temperature %64s%n", temperature_line, temperature_error},

    {cmd_usage, 0, "syslog help", syslog_usage, nullptr},
    {cmd_syslog_status, 0, "syslog", syslog_status_line, nullptr},
    {cmd_syslog_status, 0, "syslog status", syslog_status_line, nullptr},
    {cmd_syslog_on, 0, "syslog on", syslog_turned_line, nullptr},
    {cmd_syslog_off, 0, "syslog off", syslog_turned_line, nullptr},

    {cmd_usage, 0, "display help", display_usage, nullptr},
    {cmd_display, 0, "display", display_line, nullptr},
    {cmd_display_set4, 4, "display %64s %d %c %d%n", display_line, nullptr},
    {cmd_display_set3, 3, "display %64s %d %c%n", display_line, nullptr},
    {cmd_display_set2, 3, "display %64s %d %d%n", display_line, nullptr},
    {cmd_display_set1, 2, "display %64s %d%n", display_line, nullptr},
    {cmd_display_get, 1, "display %64s%n", display_line, nullptr},

    {cmd_usage, 0, "coldstart help", coldstart_usage, nullptr},
    {cmd_coldstart, 0, "coldstart", coldstart_line, nullptr},
    {cmd_coldstart_set, 2, "coldstart %64s %d%n", coldstart_line, nullptr},
    {cmd_coldstart_get, 1, "coldstart %64s%n", coldstart_line, nullptr},

    {cmd_passwd_help, 0, "passwd help", passwd_usage, nullptr},
    {cmd_passwd, 0, "passwd", passwd_line, nullptr},

    {cmd_usage, 0, "reboot help", reboot_usage, nullptr},
    {cmd_reboot, 0, "reboot", nullptr, nullptr},
    {cmd_reboot_pdu, 1, "reboot %64s%n", nullptr, nullptr},

    {cmd_usage, 0, "save help", save_usage, save_error},
    {cmd_save, 0, "save", save_line, save_error},

    {cmd_usage, 0, "restore help", restore_usage, restore_error},
    {cmd_restore, 0, "restore", nullptr, restore_error},

    {cmd_usage, 0, "factory_defaults help", factory_defaults_usage, factory_defaults_error},
    {cmd_factory, 0, "factory_defaults", factory_defaults_line, factory_defaults_error},
    {cmd_factory_pdu, 1, "factory_defaults %64s", factory_defaults_line, factory_defaults_error},

    {cmd_usage, 0, "shell help", shell_usage, nullptr},
    {cmd_shell, 0, "shell", nullptr, nullptr},
    {cmd_shell_arg, 1, "shell %255c%n", nullptr, nullptr},

    {cmd_usage, 0, "scp help", scp_usage, nullptr},
    {cmd_usage, 0, "scp", scp_usage, nullptr},
    {cmd_scp, 1, "scp %255c%n", nullptr, nullptr},

    {cmd_usage, 0, "network help", network_usage, network_error},
    {ifconfig_network, 0, "network", network_line, network_error},
    {cmd_net4_down, 0, "network ipv4 down", network_line, network_error},
    {cmd_net4_dhcp, 0, "network ipv4 dhcp", network_line, network_error},
    {cmd_net6_down, 0, "network ipv6 down", network_line, network_error},
    {cmd_net6_dhcp, 0, "network ipv6 dhcp", network_line, network_error},
    {cmd_net6_stless, 0, "network ipv6 stateless", network_line, network_error},
    {cmd_net4_static, 2, "network ipv4 address %64s mask %64s", network_line, network_error},
    {cmd_net6_static, 2, "network ipv6 address %64s prefix %d", network_line, network_error},

    {cmd_usage, 0, "upgrade help", upgrade_usage, upgrade_error},
    {cmd_usage, 0, "upgrade", upgrade_usage, upgrade_error},
    {cmd_upgrade, 1, "upgrade %64s%n", nullptr, upgrade_error},
    {cmd_upgrade_file, 2, "upgrade %64s %64s%n", nullptr, upgrade_error},

    {cmd_usage, 0, "serial help", serial_usage, nullptr},
    {cmd_serial, 0, "serial", serial_line, nullptr},
    {cmd_serial_set, 2, "serial %d %64s%n", serial_line, nullptr},

    {cmd_usage, 0, "sensors help", sensors_usage, nullptr},
    {cmd_sensor, 0, "sensors", sensors_line, nullptr},
    {cmd_sensor_sum, 0, "sensors summary", sensors_summary_line, nullptr},
    {cmd_sensor_reset, 0, "sensors reset", sensors_reset_line, nullptr},
    {cmd_sensor_thres, 0, "sensors threshold", sensors_threshold_line, nullptr},
    {cmd_sensor_thres_elem_set, 4, "sensors threshold %64s %64s %64s %64s%n", sensors_threshold_line, nullptr},
    {cmd_sensor_sum_elem, 2, "sensors summary %64s %64s%n", sensors_summary_line, nullptr},
    {cmd_sensor_reset_elem, 2, "sensors reset %64s %64s%n", sensors_reset_line, nullptr},
    {cmd_sensor_thres_elem, 2, "sensors threshold %64s %64[^:]%n", sensors_threshold_line, nullptr},
    {cmd_sensor_sum_pdu, 1, "sensors summary %64s%n", sensors_summary_line, nullptr},
    {cmd_sensor_reset_pdu, 1, "sensors reset %64s%n", sensors_reset_line, nullptr},
    {cmd_sensor_thres_pdu, 1, "sensors threshold %64s%n", sensors_threshold_line, nullptr},
    {cmd_sensor_elem, 2, "sensors %64s %64s%n", sensors_line, nullptr},
    {cmd_sensor_pdu, 1, "sensors %64s%n", sensors_line, nullptr},
    {cmd_sensor_name, 3, "sensors name %64s %64s %64s%n", sensors_name_line, nullptr},

    {cmd_usage, 0, "fuses help", fuses_usage, nullptr},
    {cmd_fuses, 0, "fuses", fuses_line, nullptr},
    {cmd_fuses_pdu, 1, "fuses %64s%n", fuses_line, nullptr},

    {cmd_help, 0, "help", help_line, nullptr},

    {cmd_exit, 0, "exit", nullptr, nullptr},

    {nullptr, 0, nullptr, nullptr, nullptr},
};

// What the handlers give to the formats.
[[maybe_unused]] static constexpr handler_statement handler_values[] = {
    {cmd_alarm, "dsf", ""},
    {cmd_alarm_elem_set, "dsf", ""},
    {cmd_alarm_pdu_set, "dsf", ""},
    {cmd_alarm_pdu, "dsf", ""},
    {cmd_current, "dsfsfs", nullptr},
    {cmd_current_sum, "dsffs", nullptr},
    {cmd_current_reset, "dss", nullptr},
    {cmd_current_sum_elem, "dsffs", nullptr},
    {cmd_current_reset_elem, "dss", nullptr},
    {cmd_current_sum_pdu, "dsffs", nullptr},
    {cmd_current_reset_pdu, "dss", nullptr},
    {cmd_current_elem, "dsfsfs", nullptr},
    {cmd_current_pdu, "dsfsfs", nullptr},
    {cmd_current_thres, "dsssss", nullptr},
    {cmd_current_thres_elem_set, "dsssss", nullptr},
    {cmd_current_thres_elem, "dsssss", nullptr},
    {cmd_current_thres_pdu_set, "dsssss", nullptr},
    {cmd_current_thres_pdu, "dsssss", nullptr},
    {cmd_voltage, "dsfs", nullptr},
    {cmd_voltage_sum, "dsfs", nullptr},
    {cmd_voltage_reset, "ds", nullptr},
    {cmd_voltage_sum_elem, "dsfs", nullptr},
    {cmd_voltage_reset_elem, "ds", nullptr},
    {cmd_voltage_sum_pdu, "dsfs", nullptr},
    {cmd_voltage_reset_pdu, "ds", nullptr},
    {cmd_voltage_elem, "dsfs", nullptr},
    {cmd_voltage_pdu, "dsfs", nullptr},
    {cmd_power, "dsfsfsfsf", nullptr},
    {cmd_power_sum, "dsffff", nullptr},
    {cmd_power_reset, "ds", nullptr},
    {cmd_power_sum_elem, "dsffff", nullptr},
    {cmd_power_reset_elem, "ds", nullptr},
    {cmd_power_sum_pdu, "dsffff", nullptr},
    {cmd_power_reset_pdu, "ds", nullptr},
    {cmd_power_elem, "dsfsfsfsf", nullptr},
    {cmd_power_pdu, "dsfsfsfsf", nullptr},
    {cmd_pwfact, "dsfsfsfsf", nullptr},
    {cmd_pwfact_sum, "dsffff", nullptr},
    {cmd_pwfact_reset, "ds", nullptr},
    {cmd_pwfact_sum_elem, "dsffff", nullptr},
    {cmd_pwfact_reset_elem, "ds", nullptr},
    {cmd_pwfact_sum_pdu, "dsffff", nullptr},
    {cmd_pwfact_reset_pdu, "ds", nullptr},
    {cmd_pwfact_elem, "dsfsfsfsf", nullptr},
    {cmd_pwfact_pdu, "dsfsfsfsf", nullptr},
    {cmd_energy, "dsfs", nullptr},
    {cmd_energy_sum, "dsfs", nullptr},
    {cmd_energy_reset, "ds", nullptr},
    {cmd_energy_sum_elem, "dsfs", nullptr},
    {cmd_energy_reset_elem, "ds", nullptr},
    {cmd_energy_sum_pdu, "dsfs", nullptr},
    {cmd_energy_reset_pdu, "ds", nullptr},
    {cmd_energy_elem, "dsfs", nullptr},
    {cmd_energy_pdu, "dsfs", nullptr},
    {cmd_on, "ds", "ds"},
    {cmd_off, "ds", "ds"},
    {cmd_cycle, "ds", "ds"},
    {cmd_lock, "ds", "ds"},
    {cmd_unlock, "ds", "ds"},
    {cmd_status, "dsss", nullptr},
    {cmd_intvoff_set, "ds", "ds"},
    {cmd_intvoff_get, "ds", "ds"},
    {cmd_intv_set, "ds", "ds"},
    {cmd_intv_get, "ds", "ds"},
    {cmd_cycledelay_get, "d", ""},
    {cmd_cycledelay_set, "d", ""},
    {cmd_ver, "ddssssss", nullptr},
    {cmd_ver_pdu, "ddssssss", nullptr},
    {cmd_id, "ds", nullptr},
    {cmd_id_pdu_set, "ds", nullptr},
    {cmd_id_pdu, "ds", nullptr},
    {cmd_name_set, "ds", ""},
    {cmd_name_clear, "ds", ""},
    {cmd_overc_get, "ds", nullptr},
    {cmd_overc_on, "ds", nullptr},
    {cmd_overc_off, "ds", nullptr},
    {cmd_hwocp, "dss", "d"},
    {cmd_hwocp_pdu_reset, "d", "d"},
    {cmd_hwocp_pdu, "dss", "d"},
    {cmd_temp, "dsss", "d"},
    {cmd_temp_reset, "d", "d"},
    {cmd_temp_reset_pdu, "d", "d"},
    {cmd_temp_pdu, "dsss", "d"},
    {cmd_sensor, "ds", nullptr},
    {cmd_sensor_sum, "dddss", nullptr},
    {cmd_sensor_reset, "dsd", nullptr},
    {cmd_sensor_thres, "dssssss", nullptr},
    {cmd_sensor_thres_elem_set, "dssssss", nullptr},
    {cmd_sensor_sum_elem, "dddss", nullptr},
    {cmd_sensor_reset_elem, "dsd", nullptr},
    {cmd_sensor_thres_elem, "dssssss", nullptr},
    {cmd_sensor_sum_pdu, "dddss", nullptr},
    {cmd_sensor_reset_pdu, "dsd", nullptr},
    {cmd_sensor_thres_pdu, "dssssss", nullptr},
    {cmd_sensor_elem, "ds", nullptr},
    {cmd_sensor_pdu, "ds", nullptr},
    {cmd_sensor_name, "dds", nullptr},
    {cmd_fuses, "dss", nullptr},
    {cmd_fuses_pdu, "dss", nullptr},
    {cmd_buzzer_status, "sd", nullptr},
    {cmd_buzzer_on, "sd", nullptr},
    {cmd_buzzer_off, "sd", nullptr},
    {cmd_syslog_status, "sd", nullptr},
    {cmd_syslog_on, "sd", nullptr},
    {cmd_syslog_off, "sd", nullptr},
    {cmd_display, "ds", nullptr},
    {cmd_display_set4, "ds", nullptr},
    {cmd_display_set3, "ds", nullptr},
    {cmd_display_set2, "ds", nullptr},
    {cmd_display_set1, "ds", nullptr},
    {cmd_display_get, "ds", nullptr},
    {cmd_coldstart, "dd", nullptr},
    {cmd_coldstart_set, "dd", nullptr},
    {cmd_coldstart_get, "dd", nullptr},
    {cmd_reboot, nullptr, nullptr},
    {cmd_reboot_pdu, nullptr, nullptr},
    {cmd_save, "d", "d"},
    {cmd_restore, nullptr, "d"},
    {cmd_factory, "d", "d"},
    {cmd_factory_pdu, "d", "d"},
    {cmd_passwd, "s", nullptr},
    {cmd_shell, nullptr, nullptr},
    {cmd_shell_arg, nullptr, nullptr},
    {cmd_scp, nullptr, nullptr},
    {ifconfig_network, "s", ""},
    {cmd_net4_down, "s", ""},
    {cmd_net4_dhcp, "s", ""},
    {cmd_net6_down, "s", ""},
    {cmd_net6_dhcp, "s", ""},
    {cmd_net6_stless, "s", ""},
    {cmd_net4_static, "s", ""},
    {cmd_net6_static, "s", ""},
    {cmd_upgrade, nullptr, ""},
    {cmd_upgrade_file, nullptr, ""},
    {cmd_serial, "dds", nullptr},
    {cmd_serial_set, "dds", nullptr},
    {cmd_help, "s", nullptr},
    {cmd_exit, nullptr, nullptr},
};
// clang-format on

// Usage texts are copied, not printed through.
[[maybe_unused]] static constexpr command_handler without_values[] = {cmd_usage, cmd_passwd_help};

static_assert(table_rules::first_unsound_pattern(command_table) == -1);
#ifndef __SANITIZE_ADDRESS__ // with sanitizers g++ can't compare two functions while it compiles
static_assert(table_rules::first_disagreeing_row(command_table, handler_values, without_values) == -1);
#endif

int find_command_row(command_handler handler)
{
    for (int row = 0; command_table[row].handler; row++)
        if (command_table[row].handler == handler)
            return row;
    return -1;
}

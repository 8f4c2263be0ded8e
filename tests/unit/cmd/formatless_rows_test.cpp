// Handlers called for a row that has neither a format nor an error format: what they do is done, and only the words are
// missing.

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "cmd/cmd_alarm.h"
#include "cmd/cmd_ci.h"
#include "cmd/cmd_coldstart.h"
#include "cmd/cmd_display.h"
#include "cmd/cmd_flash.h"
#include "cmd/cmd_fuses.h"
#include "cmd/cmd_hwocp.h"
#include "cmd/cmd_interval.h"
#include "cmd/cmd_network.h"
#include "cmd/cmd_outlet_cmds.h"
#include "cmd/cmd_overcurrent.h"
#include "cmd/cmd_sensors.h"
#include "cmd/cmd_temperature.h"
#include "shell/commands.h"
#include "tests/fakes/fakes.h"
#include "tests/fakes/terminal.h"
#include "tests/unit/cmd/sensor_desk.h"

namespace {

struct formatless : testing::Test {
    fake_chain chain;
    fake_node unit = chain.unit({.outlets = 1, .phases = 1, .circuits = 1, .envmons = 1});
    fake_node sensor = serve_thresholds(serve_sensor(unit.envmon(1), "internal-temperature"));
    fake_node outlet = unit.outlet(1);

    formatless()
    {
        unit.serve("cold-start-delay", "5").serve("display-mode", "0/I").serve("display-cycle", "9");
        tree.list(unit.path("display-mode"), {"0/I", "180/I"});
        unit.serve("overcurrent", "off").serve("save", "").publish("hwocp", "tripped");
        unit.circuit(1).publish("blown-fuse", "OK");
        outlet.publish("ctrl-status", "ON").publish("mod-status", "ON").publish("hwocp", "tripped");
        outlet.publish("post-power-on", "2.5").publish("post-power-off", "1.0");
        for (const char *value : {"value-units", "max-value-units", "min-value-units", "avg-value-units"})
            sensor.serve(value, "25.0\xF8"
                                "C");
        answer("help"); // the segment is attached behind this
    }
};

called call_formatless(command_handler handler, const std::vector<argument> &arguments)
{
    const int row = find_command_row(cmd_exit);
    EXPECT_EQ(command_table[row].format, nullptr);
    EXPECT_EQ(command_table[row].error_format, nullptr);
    forget();
    char content[cli_arg_count_max][cli_arg_buffer_size] = {};
    char *buffers[cli_arg_count_max];
    for (size_t at = 0; at < cli_arg_count_max; at++) {
        buffers[at] = content[at];
        if (at < arguments.size())
            memcpy(content[at], arguments[at].text.data(), arguments[at].text.size());
    }
    char *out = nullptr;
    called done = {.result = handler(row, &out, {buffers}), .text = {}};
    if (out)
        done.text = out;
    free(out);
    return done;
}

// What was asked last, where nothing is said; all that was said otherwise.
std::string last_exchange(command_handler handler, const std::vector<argument> &arguments, int result = 0)
{
    const called done = call_formatless(handler, arguments);
    EXPECT_EQ(done.result, result);
    const std::string said = printed() + done.text.value_or("");
    return said.empty() ? exchanges().back() : said;
}

const std::string path = "power.port.1.pdu.1";

TEST_F(formatless, cold_start_delay_is_read_and_set)
{
    EXPECT_EQ(last_exchange(cmd_coldstart_get, {"1"}), "info " + path + ".cold-start-delay");
    EXPECT_EQ(last_exchange(cmd_coldstart_set, {"1", 7}), "admin " + path + ".cold-start-delay 7");
}

TEST_F(formatless, display_mode_is_read)
{
    EXPECT_EQ(last_exchange(cmd_display_get, {"1"}), "info " + path + ".display-cycle");
}

TEST_F(formatless, configuration_is_saved)
{
    tree.when("admin", unit.path("save"), [this](const texts &) { unit.without("save"); });
    EXPECT_EQ(last_exchange(cmd_save, {}), "mlist " + path);
    EXPECT_EQ(exchanges()[1], "admin " + path + ".save");
}

TEST_F(formatless, fuses_are_read)
{
    cli_own_name = 0;
    EXPECT_EQ(last_exchange(cmd_fuses_pdu, {"1"}), "info " + path + ".circuit.1.blown-fuse");
}

TEST_F(formatless, protection_is_read_and_reset)
{
    cli_own_name = 0;
    EXPECT_EQ(last_exchange(cmd_hwocp_pdu, {"1"}), "info " + path + ".outlet.1.hwocp");
    EXPECT_EQ(last_exchange(cmd_hwocp_pdu_reset, {"1"}), "admin " + path + ".hwocp.reset");
}

TEST_F(formatless, protection_in_software_is_read)
{
    EXPECT_EQ(last_exchange(cmd_overc_get, {}), "info " + path + ".overcurrent");
}

TEST_F(formatless, temperature_is_read_and_reset)
{
    EXPECT_EQ(last_exchange(cmd_temp_pdu, {"1"}), "info " + path + ".envmon.1.avg-value-units");
    EXPECT_EQ(last_exchange(cmd_temp_reset_pdu, {"1"}), "admin " + path + ".envmon.1.reset");
}

TEST_F(formatless, sensor_is_read_reset_and_named)
{
    EXPECT_EQ(last_exchange(cmd_sensor_elem, {"1", "E1"}), "info " + path + ".envmon.1.unit");
    EXPECT_EQ(last_exchange(cmd_sensor_thres_elem, {"1", "E1"}), "info " + path + ".envmon.1.type");
    call_formatless(cmd_sensor_reset_elem, {"1", "E1"});
    EXPECT_NE(std::find(exchanges().begin(), exchanges().end(), "admin " + path + ".envmon.1.reset"),
              exchanges().end());
    EXPECT_EQ(last_exchange(cmd_sensor_name, {"1", "E1", "gate"}), "admin " + path + ".envmon.1.name gate");
}

TEST_F(formatless, interval_is_read)
{
    EXPECT_EQ(last_exchange(cmd_intv_get, {"1"}), "info " + path + ".outlet.1.post-power-on");
}

TEST_F(formatless, outlet_is_switched)
{
    EXPECT_EQ(last_exchange(cmd_on, {"1"}), "info " + path + ".outlet.1.ctrl-status");
}

// Intended: a fixed outlet is told from others only where the row has words for a refusal.
TEST_F(formatless, fixed_outlet_is_asked_to_lock)
{
    outlet.publish("ctrl-status", "ON(fixed)");
    EXPECT_EQ(last_exchange(cmd_lock, {"1"}), "info " + path + ".outlet.1.ctrl-status");
}

TEST_F(formatless, listing_of_outlets_has_its_heading)
{
    EXPECT_EQ(last_exchange(cmd_status, {"1"}),
              " Outlet Name                    Status          Interval (s)    Users\n");
}

TEST_F(formatless, negative_alarm_is_refused)
{
    const called done = call_formatless(cmd_alarm_pdu_set, {"1", -1.0});
    EXPECT_EQ(done.result, 1);
    EXPECT_EQ(done.text, std::nullopt);
    EXPECT_EQ(exchanges().back(), "info power.port.1.num-pdus");
}

TEST_F(formatless, configuration_of_the_network_fails_behind_its_reading)
{
    tree.text("network.interface.eth0.ifconfig", "eth0");
    EXPECT_EQ(last_exchange(ifconfig_network, {}, 1), "info network.interface.eth0.ifconfig");
}

TEST_F(formatless, password_is_set)
{
    tree.text("power.global.tarnel.username", "admin");
    terminal.take_over("secret\nsecret\n");
    EXPECT_EQ(last_exchange(cmd_passwd, {}), "Password: Re-enter password: ");
    EXPECT_EXCHANGES({"get power.global.tarnel.username", "admin power.passwd secret"});
}

} // namespace

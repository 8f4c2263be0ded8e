// A line for each row of the command table, and what it takes to run it while one thing after the other fails under it:
// the chain that it meets, what it may say then that it does not say otherwise, and which failures change nothing.
#pragma once

#include <algorithm>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include <readline/readline.h>

#include "core/shm_layout.h"
#include "shell/commands.h"
#include "tests/fakes/fakes.h"
#include "tests/fakes/processes.h"
#include "tests/fakes/terminal.h"
#include "tests/unit/cmd/each_failure.h"

namespace every {

// --- Chains ----------------------------------------------------------------------------------------------------------

// Two units with three outlets, or for the lines that ask all nodes for their values with a little less. Each kind of
// line meets the leaves that it asks for and hardly any other: a probe lists all the names of a node, and each of them
// is an allocation to fail.
struct small_chain {
    fake_chain chain;
    fake_node first, second;

    explicit small_chain(bool measured = false)
        : first(chain.unit({.outlets = measured ? 1 : 2, .phases = 2})),
          second(chain.unit({.outlets = measured ? 0 : 1, .phases = 0, .circuits = 2}))
    {
        second.circuit(1).publish("sys-name", "XY1"); // with the one behind it the bank XY
        second.circuit(2).publish("sys-name", "XY2");
    }

    std::vector<fake_node> units() const { return {first, second}; }
    std::vector<fake_node> outlets() const { return {first.outlet(1), first.outlet(2), second.outlet(1)}; }
    std::vector<fake_node> nodes() const // all of those that are measured
    {
        return {first, first.outlet(1), first.phase(1), first.phase(2), second, second.circuit(1), second.circuit(2)};
    }
};

// No number comes twice, so that a value shown in another's place is none of the whole answer's lines.
inline std::string unlike_all_others(shm_rendering rendering, int order)
{
    const std::string number = std::to_string(100 + order);
    switch (rendering) {
    case shm_as_tenths:
        return number + ".5";
    case shm_as_hundredths:
        return "0." + number.substr(1);
    case shm_as_kind:
        return "MEASURED";
    case shm_as_energy:
        return number + ".250";
    case shm_as_time:
        return "2011-07-22 13:17:" + number.substr(1);
    case shm_as_tripped:
        return order % 2 ? "tripped" : "not tripped";
    case shm_as_fuse:
        return order % 2 ? "BLOWN" : "OK";
    }
    return "";
}

// In all nodes, the values whose leaf begins with the word, but those of the longer word that has a family of its own.
inline void publish_family(const small_chain &at, const std::string &word, const std::string &longer = "-----")
{
    int order = 0;
    for (const fake_node &node : at.nodes())
        for (const shm_value &value : shm_values)
            if (std::string(value.leaf).starts_with(word) && !std::string(value.leaf).starts_with(longer))
                node.publish(value.leaf, unlike_all_others(value.rendering, order++));
}

inline void publish_levels(const small_chain &at)
{
    int order = 0;
    for (const fake_node &node : at.nodes())
        for (const char *leaf : {"current-alarm", "current-warning", "current-low", "current-lowcrit"})
            node.publish(leaf, unlike_all_others(shm_as_tenths, order++));
}

inline void publish_alarm(const small_chain &at)
{
    int order = 0;
    for (const fake_node &node : at.nodes())
        node.serve("current-alarm", unlike_all_others(shm_as_tenths, order++));
}

// The same without one on the unit, whose elements take the value then.
inline void publish_alarm_of_elements(const small_chain &at)
{
    publish_alarm(at);
    for (const fake_node &unit : at.units())
        unit.without("current-alarm");
}

inline void publish_current(const small_chain &at)
{
    int order = 0;
    for (const fake_node &node : at.nodes())
        for (const char *leaf : {"current", "current-max", "current-min", "current-avg"})
            node.publish(leaf, unlike_all_others(shm_as_tenths, order++));
}

inline void publish_voltage(const small_chain &at)
{
    publish_family(at, "voltage");
}

inline void publish_power(const small_chain &at)
{
    publish_family(at, "power", "power-factor");
}

inline void publish_power_factor(const small_chain &at)
{
    publish_family(at, "power-factor");
}

inline void publish_energy(const small_chain &at)
{
    publish_family(at, "cumulative");
}

inline void publish_hwocp(const small_chain &at)
{
    publish_family(at, "hwocp");
}

inline void publish_fuses(const small_chain &at)
{
    publish_family(at, "blown-fuse");
}

// The appliance switches what it is told to.
inline void obey(const char *command, const char *status)
{
    tree.when("admin", std::string("power.command.") + command, [=](const texts &args) {
        std::string outlets = args.empty() ? "" : args[0];
        for (size_t from = 0; from < outlets.size();) {
            const size_t end = std::min(outlets.find(',', from), outlets.size());
            int port = 0, pdu = 0, outlet = 0;
            sscanf(outlets.substr(from, end - from).c_str(), "%d.%d.%d", &port, &pdu, &outlet);
            tree.text("power.port." + std::to_string(port) + ".pdu." + std::to_string(pdu) + ".outlet." +
                          std::to_string(outlet) + ".ctrl-status",
                      status);
            from = end + 1;
        }
    });
}

inline void publish_outlets(const small_chain &at)
{
    int order = 0;
    for (const fake_node &outlet : at.outlets()) {
        const std::string number = std::to_string(++order);
        outlet.publish("ctrl-status", order == 2 ? "ON" : "OFF")
            .publish("mod-status", order == 2 ? "ON" : "OFF")
            .publish("name", "web" + number)
            .publish("post-power-on", "2.5")
            .publish("post-power-off", "2.5");
        for (const char *leaf : {"outlet", "pdu", "port"})
            tree.text("power.outlet.web" + number + "." + leaf, std::to_string(*leaf == 'o'     ? order == 3 ? 1 : order
                                                                               : leaf[1] == 'd' ? outlet.pdu()
                                                                                                : outlet.port()));
    }
    tree.text("power.pdu.pdu-local.overcurrent", "0");
    at.first.serve("cycle-interval", "3");
    obey("on", "ON");
    obey("ion", "ON");
    obey("off", "OFF");
    obey("ioff", "OFF");
    obey("lock", "OFF(locked)");
    obey("unlock", "OFF");
}

// What protection keeps off stays off.
inline void publish_tripped_outlets(const small_chain &at)
{
    publish_outlets(at);
    tree.text("power.pdu.pdu-local.overcurrent", "1");
    obey("on", "OFF");
}

inline void publish_locked_outlets(const small_chain &at)
{
    publish_outlets(at);
    obey("on", "OFF(locked)");
    for (const fake_node &outlet : at.outlets())
        outlet.publish("ctrl-status", "OFF(locked)");
}

inline void serve_sensors(const small_chain &at)
{
    tree.list(at.first.path("envmon"), {1, 2});
    for (int number : {1, 2}) {
        const std::string n = std::to_string(number);
        at.first.envmon(number)
            .serve("sys-name", "E" + n)
            .serve("name", "door " + n)
            .serve("value", n + "5.5")
            .serve("max-value", n + "6.5")
            .serve("min-value", n + "7.5")
            .serve("avg-value", n + "8.5")
            .serve("value-units", n + "5.5C")
            .serve("max-value-units", n + "6.5C")
            .serve("min-value-units", n + "7.5C")
            .serve("avg-value-units", n + "8.5C")
            .serve("type", number == 1 ? "internal-temperature" : "dry-contact")
            .serve("type-raw", number == 1 ? "1" : "5")
            .serve("unit", "oC");
    }
}

inline void serve_sensor_thresholds(const small_chain &at)
{
    tree.list(at.first.path("envmon"), {1});
    at.first.envmon(1)
        .serve("sys-name", "E1")
        .serve("type", "internal-temperature")
        .serve("unit", "oC")
        .serve("high-thres", "40.5")
        .serve("high-warn-thres", "35.5")
        .serve("low-warn-thres", "5.5")
        .serve("low-thres", "-1.5");
    const std::string unit = at.first.envmon(1).path("unit");
    tree.when("admin", unit, [=](const texts &) { tree.text(unit, "oC"); }); // it is told "C"
}

inline void serve_switches(const small_chain &at)
{
    for (const fake_node &unit : at.units())
        unit.serve("buzzer", "on").serve("syslog", "off").serve("overcurrent", "on").serve("cold-start-delay", "30");
}

inline void serve_display(const small_chain &at)
{
    for (const fake_node &unit : at.units()) {
        unit.serve("display-mode", "180/V").serve("display-cycle", "9");
        tree.list(unit.path("display-mode"), {"0/I", "180/V"});
    }
}

inline void serve_actions(const small_chain &at)
{
    for (const fake_node &unit : at.units())
        for (const char *leaf : {"save", "restore", "factory-default", "reboot", "upgrade"})
            unit.serve(leaf, "");
}

inline void serve_topology(const small_chain &at)
{
    at.first.serve("topology", "WYE");
}

inline void serve_appliance(const small_chain &)
{
    const std::string run = "ci_module=system;ci_function=run;ci_args=x";
    tree.text("appliance.shell", run).text("appliance.scp", run);
    tree.text("power.global.tarnel.username", "admin");
    tree.text("network.interface.eth0.ifconfig", "eth0      inet addr:10.0.0.2");
}

// --- The world of a single run --------------------------------------------------------------------------------------

inline void someone_types()
{
    terminal.take_over("secret\nsecret\n");
}

inline void parent_of_upgrade()
{
    processes.take_over({500});
}

inline void child_of_upgrade()
{
    processes.take_over({0, 500});
}

inline void module_fails()
{
    session.exec_result = 1;
}

// --- Lines -----------------------------------------------------------------------------------------------------------

struct line_case {
    std::string line;
    void (*dress)(const small_chain &) = nullptr; // the chain, once
    void (*prepare)() = nullptr;                  // the rest of the world, before each run
    texts others = {};                            // lines that it prints only where something failed
    texts passed = {};                            // exchanges, by how they begin, whose failure changes nothing
    texts done = {};                              // what it changes, by how it begins, only where something failed
    bool measured = false;                        // all nodes are asked for their values
};

// The sentences in which a command says that it failed, by the first word of the line.
inline texts failure_sentences(const std::string &line)
{
    const std::string command = line.substr(0, line.find(' '));
    const size_t behind = std::min(command.size() + 1, line.size());
    const std::string outlets = line.substr(behind, line.find(' ', behind) - behind);
    const auto each = [](const std::string &before, std::initializer_list<const char *> sentences) {
        texts all;
        for (const char *sentence : sentences)
            for (int number = 1; number <= 3; number++) {
                std::string made = before + sentence;
                all.push_back(made.replace(made.find('@'), 1, std::to_string(number)));
            }
        return all;
    };
    const auto of_outlets = [&](std::initializer_list<const char *> sentences) {
        texts all = each("", sentences);
        all.push_back("Invalid outlet [" + outlets + "].\n");
        for (size_t from = 0, end = 0; end < outlets.size(); from = end + 1) {
            end = std::min(outlets.find(',', from), outlets.size());
            all.push_back("Invalid outlet [" + outlets.substr(from, end - from) + "].\n");
        }
        return all;
    };
    const auto of_units = [&](std::initializer_list<const char *> sentences) { return each("IPDU #", sentences); };
    const std::map<std::string, texts> all = {
        {"alarm", {"Invalid current threshold value.\n"}},
        {"on", of_outlets({"@: Outlet could not be turned on.\n"})},
        {"ion", of_outlets({"@: Outlet could not be turned on.\n"})},
        {"off", of_outlets({"@: Outlet could not be turned off.\n"})},
        {"ioff", of_outlets({"@: Outlet could not be turned off.\n"})},
        {"cycle", of_outlets({"@: Outlet could not be turned on.\n", "@: Outlet could not be turned off.\n"})},
        {"lock", of_outlets({"@: Outlet could not be locked.\n"})},
        {"unlock", of_outlets({"@: Outlet could not be unlocked.\n"})},
        {"status", of_outlets({})},
        {"interval", of_outlets({"@: Not possible, outlet error.\n"})},
        {"intervaloff", of_outlets({"@: Not possible, outlet error.\n"})},
        {"outcycledelay", {"Invalid delay value.\n"}},
        {"name", {"Invalid outlet number.\n", "3: Invalid outlet name.\n"}},
        {"hwocp", of_units({"@ does not support HW overcurrent protection.\n"})},
        {"temperature", of_units({"@ does not have temperature sensor.\n"})},
        {"save", each("Saving configuration to flash on IPDU #", {"@ ... Failed\n", "@ ... Failed.\n"})},
        {"restore", each("Restoring configuration to flash on IPDU #", {"@ ... Failed\n"})},
        {"factory_defaults", each("", {"Setting configuration to defaults on IPDU #@ ... Failed\n",
                                       "Saving configuration to flash on IPDU #@ ... Failed\n",
                                       "Saving configuration to flash on IPDU #@ ... Failed.\n"})},
        {"network", {"Command failed.\n"}},
        {"upgrade",
         {"Command failed.\n", "IPDU 2: Unsupported command.\n", "IPDU #2: Upgrading firmware... Failed.\n"}},
        {"passwd",
         {std::string("Password: ") + failure_text, std::string("Password: Re-enter password: ") + failure_text}},
    };
    const auto found = all.find(command);
    return found == all.end() ? texts{} : found->second;
}

inline std::vector<line_case> usage_lines()
{
    std::vector<line_case> lines;
    for (const command_row *row = command_table; row->handler; row++)
        if (row->nargs == 0 && (row->handler == cmd_usage || std::string_view(row->pattern).ends_with("help")))
            lines.push_back({row->pattern});
    return lines;
}

// The forms that the five measurement commands share. A bank whose circuits can't be found reads 0.
inline void add_family(std::vector<line_case> &lines, const std::string &word, void (*dress)(const small_chain &),
                       const texts &empty_banks = {}, const texts &no_banks = {})
{
    const auto add = [&](const std::string &form, const texts &others, const texts &passed) {
        lines.push_back({.line = word + form, .dress = dress, .others = others, .passed = passed, .measured = true});
    };
    for (const char *form : {"", " summary", " reset"})
        for (const char *node : {"", " 1", " unit2", " 1 O1", " 1 P1", " 2 XY2"})
            add(std::string(form) + node, {}, {});
    for (const char *form : {" 2 XY", " summary 2 XY"})
        add(form, empty_banks, no_banks);
    add(" 9", {}, {"info power."});
}

// An interval that is there and can't be had reads like one that is not there.
inline const texts intervals_unknown = {" 1      web1                    Unlocked OFF    0.0/2.5        \n",
                                        " 2      web2                    Unlocked ON     0.0/2.5        \n",
                                        " 3      web3                    Unlocked OFF    0.0/2.5        \n"};

// An outlet counts as locked only where its status says so.
inline const texts lock_unknown = {"info power.port.1.pdu.1.outlet.1.ctrl-status",
                                   "info power.port.1.pdu.2.outlet.1.ctrl-status"};

inline const texts models_unknown = {
    "IPDU #1: Hw with 2 outlets 32.0 AMPs max Sw V 2.1 id unit1 model -1 (2 phases). 0 banks.\n",
    "IPDU #2: Hw with 1 outlets 32.0 AMPs max Sw V 2.1 id unit2 model -1. 2 banks.\n"};

// A sensor whose extremes can't be asked for has none, one whose unit can't counts as one of Fahrenheit, and one
// without its raw type is of an undefined one.
inline const texts sensors_half_known = {"IPDU #1: internal temperature sensor E1 is 15.5.\n",
                                         "IPDU #1: internal temperature on sensor E1: 15.5\xF8"
                                         "F. Maximum internal temperature on sensor E1: 16.5\xF8"
                                         "F. Minimum internal temperature on sensor E1: 17.5\xF8"
                                         "F. Average internal temperature on sensor E1: 18.5\xF8"
                                         "F.\n",
                                         "IPDU #1: dry-contact sensor E2 is 25.5\xF8"
                                         "F.\n",
                                         "1,1,1,E1 door#1 :15.5\xF8"
                                         "F,16.5\xF8"
                                         "F,17.5\xF8"
                                         "F,18.5\xF8"
                                         "F\n",
                                         "1,2,5,E2 door#2 :25.5\xF8"
                                         "F\n",
                                         "1,1,22,E1 door#1 :15.5\n",
                                         "1,2,22,E2 door#2 :25.5\n"};
inline const texts not_shown_of_sensors = {
    "info power.port.1.pdu.1.envmon.1.name", "info power.port.1.pdu.1.envmon.2.name",
    "info power.port.1.pdu.1.envmon.2.type-raw", "info power.port.1.pdu.1.envmon.2.unit"};

inline const std::vector<line_case> &all_lines()
{
    static const std::vector<line_case> lines = [] {
        std::vector<line_case> all = usage_lines();
        add_family(all, "current", publish_current,
                   {"IPDU #2: True RMS current for segment XY: 0.0A. Maximum current for segment XY: 0.0A. "
                    "Minimum current for segment XY: 0.0A. Average current for segment XY: 0.0A\n",
                    "2,XY:0.0A,0.0A,0.0A,0.0A\n"});
        add_family(all, "voltage", publish_voltage,
                   {"IPDU #2: RMS voltage between X and Y: 0.0V. Maximum voltage between X and Y: 0.0V. "
                    "Minimum voltage between X and Y: 0.0V. Average voltage between X and Y: 0.0V\n",
                    "2,XY:0.0V,0.0V,0.0V,0.0V\n"});
        add_family(all, "power", publish_power,
                   {"IPDU #2: Power for segment XY: 0.0W. Maximum power for segment XY: 0.0W. "
                    "Minimum power for segment XY: 0.0W. Average power for segment XY: 0.0W\n",
                    "2,XY:0.0W,0.0W,0.0W,0.0W\n"});
        add_family(all, "powerfactor", publish_power_factor,
                   {"IPDU #2: Power factor for segment XY: 0.00. Maximum power factor for segment XY: 0.00. "
                    "Minimum power factor for segment XY: 0.00. Average power factor for segment XY: 0.00\n",
                    "2,XY:0.00,0.00,0.00,0.00\n"});
        add_family(all, "energy", publish_energy, {},
                   {"info power.port.1.pdu.2.model_nr", "info power.port.1.pdu.2.num-outlets"}); // it has no banks
        const std::vector<line_case> others = {
            {.line = "current threshold", .dress = publish_levels, .measured = true},
            {.line = "current threshold 1", .dress = publish_levels, .measured = true},
            {.line = "current threshold 1 P1", .dress = publish_levels, .measured = true},
            {.line = "current threshold 2 XY", .dress = publish_levels, .measured = true},
            {.line = "current threshold 1 40:30:2:1", .dress = publish_levels, .measured = true},
            {.line = "current threshold 1 O1 40:30:2:1", .dress = publish_levels, .measured = true},
            {.line = "alarm", .dress = publish_alarm, .measured = true},
            {.line = "alarm 1", .dress = publish_alarm, .measured = true},
            // A unit that can't be asked counts as one without an alarm, and its elements take the value.
            {.line = "alarm 1 5.5",
             .dress = publish_alarm,
             .others = {"Setting alarm threshold on IPDU #1 phase P1 to 5.5A\n",
                        "Setting alarm threshold on IPDU #1 phase P2 to 5.5A\n",
                        "Setting alarm threshold on IPDU #1 outlet 1 to 5.5A\n"},
             .done = {"admin power.port.1.pdu.1.phase.", "admin power.port.1.pdu.1.outlet."},
             .measured = true},
            {.line = "alarm 1 5.5", .dress = publish_alarm_of_elements, .measured = true},
            {.line = "alarm 1 5.5 P1", .dress = publish_alarm, .measured = true},

            {"on 1-3", publish_outlets},
            {"on all", publish_outlets},
            {"on 1.1-2", publish_outlets},
            {"on unit2.1", publish_outlets},
            {"on web3", publish_outlets},
            {"on 1", publish_tripped_outlets, nullptr, {}, {"admin power.command.on"}},
            {"on 1", publish_locked_outlets, nullptr, {}, {"admin power.command.on"}},
            {"ion 1", publish_outlets},
            {"off 2,3", publish_outlets},
            {"ioff 2", publish_outlets},
            {"cycle 1,2", publish_outlets, nullptr, {}, {"info power.port.1.pdu.1.cycle-interval"}},
            {"lock 1,3", publish_outlets},
            {"unlock 1,3", publish_locked_outlets},
            {"status all", publish_outlets, nullptr, intervals_unknown},
            {"status web1", publish_outlets, nullptr, intervals_unknown},
            {"intervaloff 1,3", publish_outlets},
            {"intervaloff 1,3 3.5", publish_outlets, nullptr, {}, lock_unknown},
            {"interval 1,3", publish_outlets},
            {"interval 1,3 3.5", publish_outlets, nullptr, {}, lock_unknown},
            {"interval 1 3.5",
             publish_locked_outlets,
             nullptr,
             {"1: Outlet power on interval set to 3.5 sec.\n"},
             {},
             {"admin power.port.1.pdu.1.outlet.1.post-power-on 3.5"}},
            {"outcycledelay", publish_outlets},
            {"outcycledelay 7", publish_outlets},
            {"name 3 rack7", publish_outlets},
            {"name 3", publish_outlets},

            {"ver", serve_topology, nullptr, models_unknown},
            {"ver 1", serve_topology, nullptr, models_unknown},
            {"ver unit2", serve_topology, nullptr, models_unknown},
            {"id"},
            {"id 2"},
            {"id 2 rack7"},
            {.line = "hwocp", .dress = publish_hwocp, .measured = true},
            {.line = "hwocp 1", .dress = publish_hwocp, .measured = true},
            {.line = "hwocp 2 reset", .dress = publish_hwocp, .measured = true},
            {.line = "fuses", .dress = publish_fuses, .measured = true},
            {.line = "fuses 2", .dress = publish_fuses, .measured = true},
            {"temperature", serve_sensors},
            {"temperature 1", serve_sensors},
            {"temperature reset", serve_sensors},
            {"temperature reset 1", serve_sensors},
            {"buzzer", serve_switches},
            {"buzzer status", serve_switches},
            {"buzzer on", serve_switches},
            {"buzzer off", serve_switches},
            {"syslog", serve_switches},
            {"syslog status", serve_switches},
            {"syslog on", serve_switches},
            {"syslog off", serve_switches},
            {"currentprotection status", serve_switches},
            {"currentprotection on", serve_switches},
            {"currentprotection off", serve_switches},
            {"coldstart", serve_switches},
            {"coldstart 2", serve_switches},
            {"coldstart 2 45", serve_switches},
            {"display", serve_display},
            {"display 1", serve_display},
            {"display 1 0 I 5", serve_display},
            {"display 1 180 V", serve_display},
            {"display 2 0 30", serve_display},
            {"display 2 180", serve_display},
            {"reboot", serve_actions},
            {"reboot 2", serve_actions},
            {"save", serve_actions},
            {"restore", serve_actions},
            {"factory_defaults", serve_actions},
            {"factory_defaults 2", serve_actions},

            {"shell", serve_appliance, nullptr, {}, {"info appliance."}},
            {"shell ls -l", serve_appliance, nullptr, {}, {"info appliance."}},
            {"shell ls -l", serve_appliance, module_fails},
            {"scp a b", serve_appliance, nullptr, {}, {"info appliance."}},
            {"scp a b", serve_appliance, module_fails},
            {"passwd", serve_appliance, someone_types},
            {"network", serve_appliance},
            {"network ipv4 down", serve_appliance},
            {"network ipv4 dhcp", serve_appliance},
            {"network ipv6 down", serve_appliance},
            {"network ipv6 dhcp", serve_appliance},
            {"network ipv6 stateless", serve_appliance},
            {"network ipv4 address 10.0.0.2 mask 255.0.0.0", serve_appliance},
            {"network ipv6 address fe80::1 prefix 64", serve_appliance},
            {"upgrade 1", serve_actions, parent_of_upgrade},
            {"upgrade unit2", serve_actions, parent_of_upgrade},
            {"upgrade 1,2", serve_actions, parent_of_upgrade},
            {"upgrade 1", serve_actions, child_of_upgrade},
            {"upgrade 2 image", serve_actions},
            {"serial", nullptr, someone_types},
            {"serial 19200 hw", nullptr, someone_types},

            {"sensors", serve_sensors, nullptr, sensors_half_known, not_shown_of_sensors},
            {"sensors summary", serve_sensors, nullptr, sensors_half_known, not_shown_of_sensors},
            {"sensors reset", serve_sensors},
            {"sensors 1", serve_sensors, nullptr, sensors_half_known, not_shown_of_sensors},
            {"sensors summary 1", serve_sensors, nullptr, sensors_half_known, not_shown_of_sensors},
            {"sensors reset 1", serve_sensors},
            {"sensors 1 E1", serve_sensors, nullptr, sensors_half_known, not_shown_of_sensors},
            {"sensors summary 1 E2", serve_sensors, nullptr, sensors_half_known, not_shown_of_sensors},
            {"sensors reset 1 E1", serve_sensors},
            {"sensors name 1 E2 rack7", serve_sensors, nullptr, {"IPDU #1: Invalid sensor name for 2.\n"}},
            {"sensors threshold", serve_sensor_thresholds},
            {"sensors threshold 1", serve_sensor_thresholds},
            {"sensors threshold 1 E1", serve_sensor_thresholds},
            {"sensors threshold 1 E1 40.5:30.5:2.5:1.5 C",
             serve_sensor_thresholds,
             nullptr,
             {},
             {"admin power.port.1.pdu.1.envmon.1.unit C"}}, // which it is already
        };
        all.insert(all.end(), others.begin(), others.end());
        return all;
    }();
    return lines;
}

} // namespace every

// The fake appliance of the fuzz targets: a unit with all that a unit can have, a legacy one, and a third.

#include "tests/fuzz/fuzz_chain.h"

#include <algorithm>

#include "shell/commands.h"
#include "tests/fakes/processes.h"
#include "tests/fakes/terminal.h"

static bool changed = true;

// A failed assertion of the fakes is a finding like any other.
extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    setenv("TZ", "UTC", 1); // dates are shown in local time
    GTEST_FLAG_SET(break_on_failure, true);
    return 0;
}

// --- Furniture ------------------------------------------------------------------------------------------------------

static const char *sample_text(shm_rendering rendering)
{
    switch (rendering) {
    case shm_as_tenths:
        return "1.5";
    case shm_as_hundredths:
        return "0.95";
    case shm_as_kind:
        return "MEASURED";
    case shm_as_energy:
        return "1.250";
    case shm_as_time:
        return "2011-07-22 13:17:00";
    case shm_as_tripped:
        return "not tripped";
    case shm_as_fuse:
        return "OK";
    }
    return "";
}

static void furnish_meter(const fake_node &node)
{
    for (const shm_value &value : shm_values)
        node.publish(value.leaf, sample_text(value.rendering));
    for (const char *leaf : {"reset-current", "reset-power", "reset-power-factor", "reset-voltage"})
        node.serve(leaf, "");
    node.serve("cumulative-watthour.reset", "");
}

static void furnish_outlet(const fake_node &outlet, const std::string &name)
{
    furnish_meter(outlet);
    outlet.publish("ctrl-status", "ON").publish("mod-status", "ON").publish("name", name);
    outlet.publish("post-power-on", "2.5").publish("post-power-off", "0.0");
    tree.text("power.outlet." + name + ".outlet", "1")
        .text("power.outlet." + name + ".pdu", std::to_string(outlet.pdu()))
        .text("power.outlet." + name + ".port", std::to_string(outlet.port()));
}

static void furnish_envmon(const fake_node &envmon)
{
    envmon.serve("type", "Temperature").serve("type-raw", "1").serve("name", "rack").serve("reset", "");
    envmon.serve("unit", "oC").serve("value", "21.5").serve("value-units", "21.5 oC");
    for (const char *leaf : {"avg-value", "max-value", "min-value"})
        envmon.serve(leaf, "22.5").serve(std::string(leaf) + "-units", "22.5 oC");
    for (const char *leaf : {"high-thres", "high-warn-thres", "low-thres", "low-warn-thres"})
        envmon.serve(leaf, "30.0");
}

static void furnish_unit(const fake_node &unit)
{
    furnish_meter(unit);
    for (const char *leaf : {"buzzer", "syslog", "overcurrent"})
        unit.serve(leaf, "on");
    for (const char *leaf : {"save", "restore", "factory-default", "reboot", "upgrade", "hwocp.reset"})
        unit.serve(leaf, "");
    unit.serve("display-mode", "0 current").serve("display-cycle", "5").serve("cold-start-delay", "3");
    unit.serve("cycle-interval", "10").serve("model", "M1").serve("topology", "wye");
}

static void furnish_appliance()
{
    tree.text("appliance.shell", "ci_module=access;ci_function=shell;ci_args=");
    tree.text("appliance.scp", "ci_module=access;ci_function=scp;ci_args=x");
    tree.text("power.global.tarnel.username", "admin").text("power.pdu.pdu-local.overcurrent", "1");
    tree.text("network.interface.eth0.ifconfig", "eth0 up");
    tree.list("authorization.group.name.admin.member", texts{"operator"});
}

static void make_world(int outlets)
{
    reset();
    furnish_appliance();
    fake_chain chain;
    const fake_node first = chain.unit({.outlets = 8, .phases = 3, .circuits = 6, .envmons = 2, .id = "rack1"});
    furnish_unit(first);
    furnish_meter(first.phase(1));
    furnish_meter(first.circuit(1));
    first.circuit(2).publish("current", "0.5").publish("current-max", "0.7");
    furnish_outlet(first.outlet(1), "web1");
    first.outlet(2).publish("ctrl-status", "OFF").publish("name", "db-2");
    furnish_envmon(first.envmon(1));

    const fake_node legacy = chain.unit({.outlets = 4, .phases = 1, .envmons = 1, .model = 3, .id = "2nd"});
    legacy.publish("current", "1.5").publish("current-max", "2.5").publish("current-alarm", "16.0");
    legacy.outlet(1).publish("ctrl-status", "ON").publish("name", "fan");
    furnish_envmon(legacy.envmon(1));
    chain.unit({.outlets = outlets, .phases = 1, .id = "3"});
}

// --- Between inputs -------------------------------------------------------------------------------------------------

void world_changed()
{
    changed = true;
}

void note_changes()
{
    changed |= std::ranges::any_of(exchanges(), [](const std::string &exchange) {
        return exchange.starts_with("admin ") || exchange.starts_with("set ");
    });
}

void fresh_world(int outlets)
{
    if (changed)
        make_world(outlets);
    changed = false;
    cli_free_args();
    cli_debug = 0;
    cli_own_name = 1;
    heap.fail_at(0);
    tree.fail_exchange(0, refused);
    wall_clock.set(1311340620); // 2011-07-22 13:17:00 UTC
    treat_command(nullptr);     // the buffers anew, before an input makes allocations fail
    session.root = "/nonexistent";
    processes.take_over({});
    terminal.take_over("secret\nsecret\n");
}

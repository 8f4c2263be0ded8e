// A desk with a chain of outlets on a clock that the test drives, and what a client is told of them.
#pragma once

#include "tests/unit/appliance/morvd_desk.h"

// Two units, each pause of its own length, so that it shows whose pause it is. Outlet 1.1.5 is locked, 1.1.6 fixed.
inline constexpr char paused_chain[] = R"(
[[port]]
name = "local"
[[port.unit]]
cycle_interval = 5
overcurrent = true
circuits = 2
outlets = 8
[[port.unit.outlet]]
post_power_on = 1
post_power_off = 0.5
[[port.unit.outlet]]
post_power_on = 2.5
post_power_off = 1
[[port.unit.outlet]]
post_power_on = 0.1
post_power_off = 4
[[port.unit.outlet]]
[[port.unit.outlet]]
locked = true
post_power_on = 60
post_power_off = 60
[[port.unit.outlet]]
fixed = true
post_power_on = 60
post_power_off = 60
[[port.unit]]
cycle_interval = 7
outlets = 3
[[port.unit]]
switched = false
outlets = 1
[[port]]
name = "far"
[[port.unit]]
outlets = 1
)";

inline constexpr char done[] = "+OK\r\n";
inline constexpr char bad_arguments[] = "-ERR 6 bad arguments\r\n";
inline constexpr char no_such_path[] = "-ERR 8 no such path\r\n";
inline constexpr char no_such_verb[] = "-ERR 9 no such verb on that path\r\n";
inline constexpr char bad_value[] = "-ERR 10 bad value\r\n";
inline constexpr char no_such_part[] = "-ERR 15 no such part of a unit\r\n";

struct switching_desk : test_desk {
    explicit switching_desk(std::string_view text = paused_chain) : test_desk(text) { simulated.clock.driven = 0; }

    std::string command(const std::string &action, const std::string &outlets)
    {
        return ask({"admin", "power.command." + action, outlets});
    }

    std::string leaf(const std::string &outlet, const std::string &name)
    {
        size_t first = outlet.find('.'), last = outlet.rfind('.');
        return ask({"info", "power.port." + outlet.substr(0, first) + ".pdu." +
                                outlet.substr(first + 1, last - first - 1) + ".outlet." + outlet.substr(last + 1) +
                                "." + name});
    }
    std::string ctrl(const std::string &outlet) { return text_of(leaf(outlet, "ctrl-status")); }
    std::string mod(const std::string &outlet) { return text_of(leaf(outlet, "mod-status")); }

    // The control states of several outlets, with blanks between them.
    std::string states(const std::vector<std::string> &outlets)
    {
        std::string all;
        for (const std::string &outlet : outlets)
            all += (all.empty() ? "" : " ") + ctrl(outlet);
        return all;
    }

    void at(int64_t milliseconds) { simulated.clock.driven = milliseconds; }

    static std::string text_of(const std::string &bulk_string)
    {
        size_t start = bulk_string.find("\r\n") + 2;
        return bulk_string[0] == '$' ? bulk_string.substr(start, bulk_string.size() - start - 2) : bulk_string;
    }
};

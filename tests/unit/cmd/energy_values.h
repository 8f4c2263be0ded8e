// An energy reading as the tests of `energy` know it.
#pragma once

#include "cmd/cmd_energy.h"
#include "tests/unit/cmd/measure_values.h"

namespace energy_values {

inline constexpr char legacy[] = "Legacy ZT don't support energy command.";
inline constexpr char start[] = "2024-01-31 10:00:00";
inline constexpr char no_start[] = "1970-01-01 00:00:00";

inline const fake_node &give(const fake_node &node, const char *count = "12.345")
{
    return node.publish("cumulative-watthour", count).publish("cumulative-starttime", start);
}

inline std::string line(const std::string &label, const std::string &count = "12.345", const std::string &since = start)
{
    return filled("IPDU #2: Energy@: $kWh since $.\n", label, {count, since});
}

inline std::string short_line(const std::string &label, const std::string &count = "12.345",
                              const std::string &since = start)
{
    return filled("2@:$kWh,$\n", label, {count, since});
}

struct energy : measured_chain {
    static called show(const measured_level &level, int summary = 0)
    {
        return call_node(energy_pdu_get, energy_elem_get, summary ? "energy summary" : "energy", level, summary);
    }
    static called show_on_tree(const measured_level &level, int summary = 0)
    {
        cli_own_name = 0;
        return show(level, summary);
    }
    static bool is_unit(const measured_level &level) { return level.type == elem_pdu; }
    static std::string command(const measured_level &level, const char *form = "")
    {
        return std::string("energy") + form + " 2" + level.word;
    }
};

} // namespace energy_values

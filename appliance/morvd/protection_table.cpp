// Which parts of a unit have protection.

#include "appliance/morvd/protection_table.h"

void read_hwocp(unit &made, const toml::table &unit_table)
{
    const toml::array *words = unit_table["hwocp"].as_array();
    if (!words)
        return;
    for (const toml::node &item : *words) {
        const std::string &word = **item.as_string();
        if (word == "unit")
            made.tripped = false;
        else if (word == "phase")
            for (phase &one : made.phases)
                one.tripped = false;
        else
            for (outlet &one : made.outlets)
                one.tripped = false;
    }
}

void read_fuse(circuit &made, const toml::table &table)
{
    if (std::optional<double> amperes = real_of(table, "fuse"))
        made.fuse = {*amperes};
}

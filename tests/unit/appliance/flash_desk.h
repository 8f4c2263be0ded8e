// A desk whose units have a flash, on a clock that the test drives.
#pragma once

#include <span>

#include "appliance/model/flash.h"
#include "tests/unit/appliance/outlet_desk.h"

// A desk with its flash in a file; a second one on the same file stands for the daemon's next start.
struct flash_desk : switching_desk {
    explicit flash_desk(const std::string &folder, std::string_view text) : switching_desk(text)
    {
        std::string fault;
        EXPECT_TRUE(flash.open(folder + "/flash", &fault)) << fault;
        simulated.flash = &flash;
        start_units(simulated.units, flash);
        at(0);
    }

    static std::string path(int pdu, const std::string &leaf)
    {
        return "power.port.1.pdu." + std::to_string(pdu) + (leaf.empty() ? "" : ".") + leaf;
    }
    std::string begin(const std::string &task, int pdu = 1) { return ask({"admin", path(pdu, task)}); }
    std::string set(const std::string &leaf, const std::string &value, int pdu = 1)
    {
        return ask({"admin", path(pdu, leaf), value});
    }
    std::string shown(const std::string &leaf, int pdu = 1) { return text_of(ask({"info", path(pdu, leaf)})); }
    bool lists(const std::string &leaf, int pdu = 1)
    {
        return ask({"mlist", path(pdu, "")}).find(bulk(leaf)) != std::string::npos;
    }

    flash_store flash;
};

struct flash_tasks : testing::Test {
    test_folder folder;
};

// A leaf of the first unit, and what it reads before and after a test has set it.
struct changed_setting {
    const char *leaf, *before, *after;
};

inline void set_all(flash_desk &desk, std::span<const changed_setting> changes)
{
    for (const changed_setting &one : changes)
        EXPECT_EQ(desk.set(one.leaf, one.after), done) << one.leaf;
}

inline void expect_all(flash_desk &desk, std::span<const changed_setting> changes, const char *changed_setting::*state)
{
    for (const changed_setting &one : changes)
        EXPECT_EQ(desk.shown(one.leaf), one.*state) << one.leaf;
}

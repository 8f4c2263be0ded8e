// A desk for tests: a chain from a text, the service in front of it, and a folder of the test's own.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "appliance/model/simulation.h"
#include "appliance/morvd/chain_file.h"
#include "appliance/morvd/service.h"

// Two units on the line of the appliance's own, one on a second line, and a group.
inline constexpr char small_chain[] = R"(
[authorization]
admin = ["root", "ann"]
night = []

[[port]]
name = "local"
device = "/dev/ttyS7"
polling_rate = 9
pdu_type = "strip"

[[port.unit]]
id = "rack1"
default_id = "own"
model = "M-3"
model_nr = 130
vendor = "V"
version = "1.2"
max_current = 32
topology = "delta"
cold_start_delay = 4
cycle_interval = 10
phases = 3
circuits = 6
outlets = 8
post_power_on = 0.5
[[port.unit.outlet]]
number = 2
name = "web.1"
state = "off"
locked = true
post_power_off = 2.25
[[port.unit.sensor]]
type = "humidity"
sys_name = "HUM1"
name = "cold aisle"

[[port.unit]]
outlets = 2
switched = false

[[port]]
name = "remote"
[[port.unit]]
id = "far"
outlets = 1
)";

inline chain_file chain_from(std::string_view text)
{
    chain_file read;
    std::string fault;
    EXPECT_TRUE(parse_chain(text, &read, &fault)) << fault;
    return read;
}

struct test_desk {
    explicit test_desk(std::string_view text = small_chain) : test_desk(chain_from(text)) {}
    test_desk(const test_desk &) = delete;

    // What a logged-in client is answered, as it stands on the wire.
    std::string ask(const std::vector<std::string> &words)
    {
        return on_the_wire(treat_request(served, logged_in, words));
    }

    simulation simulated;
    service served;
    session logged_in = {.peer = 0, .logged_in = true};

private:
    explicit test_desk(chain_file &&file)
        : simulated{.units = std::move(file.units)}, served{simulated_device(simulated),
                                                            &simulated,
                                                            {{1, 2}},
                                                            /* own user */ 4242,
                                                            std::move(file.faults)}
    {
    }
};

struct test_folder {
    test_folder()
    {
        std::string name = std::filesystem::temp_directory_path() / "morvd_test_XXXXXX";
        path = mkdtemp(name.data());
    }
    ~test_folder() { std::filesystem::remove_all(path); }
    test_folder(const test_folder &) = delete;

    std::string path;
};

inline std::string bulk(const std::string &text)
{
    return "$" + std::to_string(text.size()) + "\r\n" + text + "\r\n";
}

inline std::string array(const std::vector<std::string> &items)
{
    std::string wire = "*" + std::to_string(items.size()) + "\r\n";
    for (const std::string &item : items)
        wire += bulk(item);
    return wire;
}

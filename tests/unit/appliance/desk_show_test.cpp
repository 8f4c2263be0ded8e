// What the desk tells of itself.

#include <gmock/gmock.h>

#include "tests/unit/appliance/outlet_desk.h"

using testing::Contains;
using testing::ElementsAre;

static constexpr char shown_chain[] = R"(
noise = false
[[port]]
name = "local"
[[port.unit]]
id = "own"
model = "M"
max_current = 16
hwocp = ["unit", "phase", "outlet"]
circuits = 1
outlets = 2
fuse = 20
voltage = 100
[[port.unit.outlet]]
name = "web 1"
load = 250
power_factor = 0.5
[[port.unit.sensor]]
type = "humidity"
sys_name = "HUM"
name = "aisle"
[[port.unit.sensor]]
type = "smoke"
[[port.unit]]
id = "far"
reboot_time = 1000
flash_time = 1000
)";

struct desk_show : testing::Test {
    std::vector<std::string> records() const
    {
        return treat_request(desk.served, desk.logged_in, {"desk", "show"}).items;
    }
    void say(const std::vector<std::string> &words)
    {
        std::vector<std::string> all = {"desk"};
        all.insert(all.end(), words.begin(), words.end());
        ASSERT_EQ(desk.ask(all), done);
    }

    mutable switching_desk desk{shown_chain};
};

TEST_F(desk_show, tells_everything_in_the_order_of_the_chain)
{
    EXPECT_THAT(records(),
                ElementsAre("clock\tdriven\t2024-01-01 00:00:00", "noise\toff",
                            "unit\t1\t1\t0\town\tM\t5.0 A\tprotection\t", "phase\t1\t1\t1\tX\t\t5.0 A\tprotection\t",
                            "circuit\t1\t1\t1\tA1\t\t5.0 A\tfuse 20 A\t",
                            "outlet\t1\t1\t1\t1\tweb 1\tON 250 W at 0.5\tprotection\t",
                            "outlet\t1\t1\t2\t2\t\tON 0 W at 1\tprotection\t",
                            "sensor\t1\t1\t1\tHUM\taisle\t45.0 %\t0 to 100 %\t",
                            "sensor\t1\t1\t2\tsensor2\t\tclear\tclear or smoke\t",
                            "unit\t1\t2\t0\tfar\t\t0.0 A\tlink\t", "phase\t1\t2\t1\tX\t\t0.0 A\t\t"));
}

TEST_F(desk_show, tells_what_was_done_to_the_parts)
{
    say({"phase", "1.1.1", "overload"});
    say({"circuit", "1.1.1", "overload"});
    say({"fuse", "blow", "1", "1", "1"});
    say({"outlet", "1.1.1", "fail"});
    say({"hwocp", "trip", "1", "1", "outlet", "1"});
    say({"sensor", "set", "1", "1", "1", "50"});
    say({"sensor", "pull", "1", "1", "2"});
    say({"link", "break", "1", "2"});
    std::vector<std::string> all = records();
    EXPECT_THAT(all, Contains("phase\t1\t1\t1\tX\t\t0.0 A\tprotection\toverloaded"));
    EXPECT_THAT(all, Contains("circuit\t1\t1\t1\tA1\t\t0.0 A\tfuse 20 A\toverloaded,blown"));
    EXPECT_THAT(all, Contains(testing::HasSubstr("protection\tfailed,tripped")));
    EXPECT_THAT(all, Contains("sensor\t1\t1\t1\tHUM\taisle\t50.0 %\t0 to 100 %\theld"));
    EXPECT_THAT(all, Contains("sensor\t1\t1\t2\tsensor2\t\t\tclear or smoke\tpulled"));
    EXPECT_THAT(all, Contains("unit\t1\t2\t0\tfar\t\t0.0 A\tlink\tadrift"));
}

TEST_F(desk_show, tells_what_a_unit_is_busy_with)
{
    desk.ask({"admin", "power.port.1.pdu.2.reboot"});
    EXPECT_THAT(records(), Contains("unit\t1\t2\t0\tfar\t\t0.0 A\tlink\trestarting"));
}

TEST_F(desk_show, tells_faults_by_the_words_that_they_were_asked_for_with)
{
    say({"fault", "refuse", "info", "power.port.*.name"});
    EXPECT_EQ(records().back(), "fault\trefuse info power.port.*.name 99 0 0");
}

TEST_F(desk_show, tells_the_date)
{
    say({"clock", "advance", "86399"});
    EXPECT_EQ(records()[0], "clock\tdriven\t2024-01-01 23:59:59");
    desk.simulated.clock.driven.reset();
    EXPECT_THAT(records()[0], testing::StartsWith("clock\tmachine\t20"));
}

TEST_F(desk_show, stands_alone)
{
    EXPECT_EQ(desk.ask({"desk", "show", "1"}), bad_arguments);
}

// --- Loads in amperes -----------------------------------------------------------------------------------------------

TEST_F(desk_show, load_in_amperes_is_what_draws_so_many_there)
{
    say({"load", "1", "1", "2", "2.5A"});
    say({"load", "1", "1", "1", "3A", "0.8"});
    std::vector<std::string> all = records();
    EXPECT_THAT(all, Contains("outlet\t1\t1\t1\t1\tweb 1\tON 240 W at 0.8\tprotection\t"));
    EXPECT_THAT(all, Contains("outlet\t1\t1\t2\t2\t\tON 250 W at 1\tprotection\t"));
}

TEST_F(desk_show, load_in_amperes_takes_the_power_factor_that_stands)
{
    say({"load", "1", "1", "1", "4A"});
    EXPECT_THAT(records(), Contains("outlet\t1\t1\t1\t1\tweb 1\tON 200 W at 0.5\tprotection\t"));
}

TEST_F(desk_show, load_between_two_phases_has_their_voltage)
{
    switching_desk delta("noise = false\n[[port]]\nname = 'local'\n[[port.unit]]\nvoltage = 100\nphases = 3\n"
                         "topology = 'delta'\ncircuits = 3\noutlets = 3\n");
    EXPECT_EQ(delta.ask({"desk", "load", "1", "1", "1", "1A"}), done);
    EXPECT_NEAR(delta.simulated.units.ports[0].units[0].outlets[0].load.watts, 173.205, 0.001);
}

TEST_F(desk_show, load_may_say_that_it_is_in_watts)
{
    say({"load", "1", "1", "2", "75W"});
    EXPECT_THAT(records(), Contains("outlet\t1\t1\t2\t2\t\tON 75 W at 1\tprotection\t"));
}

TEST_F(desk_show, load_that_is_none_is_refused)
{
    for (const char *text : {"A", "W", "1AA", "1000.1A", "-1A", "1kW", "nanA"})
        EXPECT_EQ(desk.ask({"desk", "load", "1", "1", "2", text}), bad_value) << text;
}

// From the simulated chain over the control tree to the segment: what is published of meters is what there is, and says
// so in its words of bits.

#include <cstdlib>
#include <memory>
#include <sys/eventfd.h>
#include <thread>
#include <unistd.h>

#include "appliance/morvd/endpoint.h"
#include "appliance/morvd/server.h"
#include "appliance/ztd_ng/image.h"
#include "appliance/ztd_ng/poll.h"
#include "ci.h"
#include "tests/unit/appliance/morvd_desk.h"
#include "vrn_tsapi.h"

// A current-family unit whose outlet 2 doesn't measure, a legacy unit, and one that measures nothing.
static constexpr char metered_chain[] = R"(
noise = false
[[port]]
name = "local"
[[port.unit]]
model_nr = 128
max_current = 16
metering = ["unit", "phase", "circuit", "outlet"]
circuits = 1
outlets = 2
load = 460
power_factor = 0.8
power_type = "ESTIMATED"
[[port.unit.outlet]]
number = 2
metered = false
[[port.unit]]
model_nr = 17
max_current = 10
metering = ["unit", "phase"]
outlets = 1
load = 230
[[port.unit]]
model_nr = 143
outlets = 1
load = 100
)";

static constexpr uint32_t everything = 0x01ffffff; // neither protection in hardware nor fuses
static constexpr uint32_t legacy_values =
    shm_mask_current | shm_mask_current_max | shm_mask_current_alarm | shm_mask_voltage | shm_mask_voltage_type;

// The control daemon in a thread of its own, and a monitor's way to it.
struct ztd_meter : testing::Test {
    ztd_meter()
    {
        std::string fault;
        EXPECT_TRUE(open_endpoint(folder.path + "/run", &place, &fault)) << fault;
        desk.simulated.clock.driven = 0;
        daemon = std::make_unique<server>(place.listener, desk.served, desk.simulated.clock, [](int, uid_t *user) {
            *user = 0;
            return true;
        });
        setenv("ZT_ROOT", folder.path.c_str(), 1);
        setenv("ZT_CI_USER", "monitor", 1);
        setenv("ZT_CI_SID", "1", 1);
        run();
        EXPECT_EQ(vrn_tsapi_init_with_vrnaaa_session(&handle, ci_init(nullptr)), 0);
    }
    ~ztd_meter() override
    {
        vrn_tsapi_destroy(handle);
        pause();
        for (const char *name : {"ZT_ROOT", "ZT_CI_USER", "ZT_CI_SID"})
            unsetenv(name);
        close(wake);
        close_endpoint(place);
    }

    void run()
    {
        thread = std::thread([this] {
            while (!daemon->turn(-1, wake)) {
            }
        });
    }
    // The daemon keeps its connections and does nothing, so that its desk may be touched.
    void pause()
    {
        EXPECT_EQ(eventfd_write(wake, 1), 0);
        thread.join();
        eventfd_t woken;
        EXPECT_EQ(eventfd_read(wake, &woken), 0);
    }
    void at(int64_t milliseconds)
    {
        pause();
        desk.simulated.clock.driven = milliseconds;
        run();
    }

    // The units of the only line, as the tree has them now.
    const std::vector<unit_status> &polled()
    {
        EXPECT_TRUE(poll_chain(handle, chain));
        return chain.at(0).units;
    }

    test_folder folder;
    test_desk desk{metered_chain};
    endpoint place;
    int wake = eventfd(0, EFD_CLOEXEC);
    std::unique_ptr<server> daemon;
    std::thread thread;
    vrn_tsapi_handle *handle = nullptr;
    chain_status chain;
};

static int64_t value_of(const elecmon_status &status, uint32_t mask)
{
    for (size_t i = 0; i < value_count; i++)
        if (shm_values[i].mask == mask)
            return status.values[i];
    return -1;
}

TEST_F(ztd_meter, current_family_supplies_every_value_where_it_measures)
{
    const unit_status &unit = polled().at(0);
    EXPECT_EQ(unit.values.available, everything);
    EXPECT_EQ(unit.phases.at(0).values.available, everything);
    EXPECT_EQ(unit.circuits.at(0).values.available, everything);
    EXPECT_EQ(unit.outlets.at(0).values.available, everything);
    EXPECT_EQ(unit.outlets.at(1).values.available, 0u);
}

TEST_F(ztd_meter, legacy_unit_supplies_what_it_knows)
{
    const unit_status &unit = polled().at(1);
    EXPECT_EQ(unit.values.available, legacy_values);
    EXPECT_EQ(unit.phases.at(0).values.available, legacy_values);
    EXPECT_EQ(unit.outlets.at(0).values.available, 0u);
}

TEST_F(ztd_meter, unit_without_meters_supplies_nothing)
{
    const unit_status &unit = polled().at(2);
    EXPECT_EQ(unit.values.available, 0u);
    EXPECT_EQ(unit.phases.at(0).values.available, 0u);
    EXPECT_EQ(unit.outlets.at(0).values.available, 0u);
}

TEST_F(ztd_meter, values_are_stored_as_the_tree_reads)
{
    const elecmon_status &values = polled().at(0).values;
    const std::pair<uint32_t, int64_t> stored[] = {
        {shm_mask_current, 50},          {shm_mask_current_max, 50},      {shm_mask_current_alarm, 160},
        {shm_mask_current_warning, 128}, {shm_mask_current_lowcrit, 0},   {shm_mask_voltage, 2300},
        {shm_mask_voltage_type, 2},      {shm_mask_power, 9200},          {shm_mask_power_type, 1},
        {shm_mask_power_factor, 80},     {shm_mask_power_factor_min, 80}, {shm_mask_cumulative_watthour, 0},
    };
    for (auto [mask, value] : stored)
        EXPECT_EQ(value_of(values, mask), value) << std::hex << mask;

    const time_t start = value_of(values, shm_mask_cumulative_starttime);
    tm local{};
    char text[32];
    strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", localtime_r(&start, &local));
    EXPECT_STREQ(text, "2024-01-01 00:00:00");
}

TEST_F(ztd_meter, energy_of_an_hour_is_stored_in_the_segments_scale)
{
    polled(); // the meters start with the first request
    at(3'600'000);
    EXPECT_EQ(value_of(polled().at(0).values, shm_mask_cumulative_watthour), int64_t{33'120'000}); // 0.920 kWh
}

TEST_F(ztd_meter, image_says_of_each_record_whether_its_block_is_valid)
{
    alignas(8) static std::byte memory[0x8000];
    std::fill(std::begin(memory), std::end(memory), std::byte{});
    auto at = [&](uint32_t address) { return memory + (address - shm_base_address); };
    polled();
    status_image image(memory);
    image.publish(chain);

    // The appliance's own unit on one record, those behind it on the next.
    const auto *root = reinterpret_cast<const shm_root *>(memory);
    const auto *own_line = reinterpret_cast<const shm_port *>(at(root->ports));
    const auto *own = reinterpret_cast<const shm_pdu *>(at(own_line->pdus));
    const auto *outlets = reinterpret_cast<const shm_outlet *>(at(own->outlets));
    EXPECT_TRUE(own->capabilities & shm_pdu_block_valid);
    EXPECT_EQ(own->block.available, everything);
    EXPECT_TRUE(own->phases[0].capabilities & shm_elem_block_valid);
    EXPECT_TRUE(own->circuits[0].capabilities & shm_elem_block_valid);
    EXPECT_EQ(own->circuits[0].block.current, 50);
    EXPECT_TRUE(outlets[0].capabilities & shm_outlet_block_valid);
    EXPECT_FALSE(outlets[1].capabilities & shm_outlet_block_valid);
    EXPECT_EQ(outlets[1].block.available, 0u);

    const auto *line = reinterpret_cast<const shm_port *>(at(own_line->next));
    const auto *legacy = reinterpret_cast<const shm_pdu *>(at(line->pdus));
    EXPECT_TRUE(legacy->capabilities & shm_pdu_block_valid);
    EXPECT_EQ(legacy->block.available, legacy_values);
    EXPECT_EQ(legacy->block.current, 10);
    const auto *silent = reinterpret_cast<const shm_pdu *>(at(legacy->next));
    EXPECT_FALSE(silent->capabilities & shm_pdu_block_valid);
    EXPECT_FALSE(silent->phases[0].capabilities & shm_elem_block_valid);
}

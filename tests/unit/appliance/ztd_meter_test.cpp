// From the simulated chain over the control tree to the segment: what is published of meters is what there is, and says
// so in its words of bits.

#include "appliance/ztd_ng/image.h"
#include "tests/unit/appliance/ztd_desk.h"

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

struct ztd_meter : polled_desk {
    ztd_meter() : polled_desk(metered_chain) {}
};

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

    const auto start = static_cast<time_t>(value_of(values, shm_mask_cumulative_starttime));
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

// The status segment, byte for byte: a linked tree of records that the power monitor daemon ztd_ng publishes and ztcli
// reads. The offsets and sizes are a format between two programs and never change; the asserts at the end hold them.
// The byte order is the machine's, a pointer is a 32-bit absolute address for a segment that lies at
// `shm_base_address`, 0 is null. Records lie on 4-byte boundaries. Regions named `opaque_...` belong to the daemon and
// are not read by ztcli. A text ends with NUL inside its field; one in the middle of an update may lack it.
#pragma once

#include <cstddef>
#include <cstdint>

// --- Where the segment is ------------------------------------------------------------------------------------------

inline constexpr uint32_t shm_base_address = 0x3f000000;
inline constexpr char shm_key_file[] = "/bin/ztd_ng"; // for ftok, below the root
inline constexpr int shm_project_id = 42;
inline constexpr uint8_t shm_ready_bit = 0x80; // in shm_root::ready: the daemon's data can be read

// --- Capability words ----------------------------------------------------------------------------------------------

inline constexpr uint32_t shm_pdu_block_valid = 0x00080000;
inline constexpr uint32_t shm_elem_block_valid = 0x00000008;
inline constexpr uint32_t shm_outlet_ctrl_status = 0x00000002;
inline constexpr uint32_t shm_outlet_post_on = 0x00000010;
inline constexpr uint32_t shm_outlet_post_off = 0x00000020;
inline constexpr uint32_t shm_outlet_mod_status = 0x00000080;
inline constexpr uint32_t shm_outlet_block_valid = 0x00000400;

// --- Records -------------------------------------------------------------------------------------------------------

inline constexpr char shm_local_port_name[] = "local"; // the port of the appliance's own unit
inline constexpr int shm_phases_max = 3;
inline constexpr int shm_circuits_max = 6;

// 64 bits that lie where 32 do: read and write them through this type or memcpy.
using shm_int64 __attribute__((aligned(4))) = int64_t;

// The electrical values of one node. Currents, voltages and powers are tenths, power factors hundredths.
struct elecmon_block {
    uint8_t opaque_000[0x008];
    uint32_t available; // by the mask bits of shm_values: what the daemon supplies for this node
    int32_t current;
    int32_t current_min;
    int32_t current_max;
    int32_t current_avg;
    uint8_t opaque_01c[0x004];
    int32_t current_alarm;
    int32_t current_warning;
    int32_t current_low;
    int32_t current_lowcrit;
    uint8_t opaque_030[0x004];
    int32_t voltage;
    int32_t voltage_min;
    int32_t voltage_max;
    int32_t voltage_avg;
    uint8_t opaque_044[0x004];
    int32_t voltage_type; // as power_type and power_factor_type: 0 undefined, 1 estimated, 2 measured
    int32_t power;
    int32_t power_min;
    int32_t power_max;
    int32_t power_avg;
    uint8_t opaque_05c[0x004];
    int32_t power_type;
    int32_t power_factor;
    int32_t power_factor_min;
    int32_t power_factor_max;
    int32_t power_factor_avg;
    uint8_t opaque_074[0x004];
    int32_t power_factor_type;
    uint8_t opaque_07c[0x004];
    shm_int64 cumulative_watthour; // 36000000 make one kWh
    int32_t cumulative_starttime;  // seconds since 1970, 0 for none
    uint8_t hwocp;                 // non-zero: tripped
    uint8_t opaque_08d[0x001];
    uint8_t blown_fuse; // 0 not applicable, 1 ok, 2 blown
    uint8_t opaque_08f[0x009];
};

struct shm_outlet {
    uint8_t opaque_000[0x008];
    uint32_t capabilities;
    uint8_t id;
    uint8_t opaque_00d[0x001];
    char name[0x021]; // given by the user
    char sys_name[0x009];
    uint8_t ctrl_status;
    uint8_t mod_status;
    uint8_t opaque_03a[0x00a];
    int32_t post_on; // tenths of a second, as post_off
    int32_t post_off;
    uint8_t opaque_04c[0x00c];
    elecmon_block block;
};

// A phase or a circuit.
struct shm_elem {
    uint8_t opaque_000[0x008];
    uint32_t capabilities;
    uint8_t id;
    uint8_t opaque_00d[0x028];
    char sys_name[0x00b];
    elecmon_block block;
};

struct shm_pdu {
    uint8_t opaque_000[0x004];
    uint8_t id;
    uint8_t opaque_005[0x020];
    char model_text[0x010];
    uint8_t model;
    uint8_t opaque_036[0x00e];
    uint32_t capabilities;
    char name[0x02f]; // the unit's ID
    uint8_t num_phases;
    shm_elem phases[shm_phases_max];
    uint8_t num_circuits;
    uint8_t opaque_301[0x007];
    shm_elem circuits[shm_circuits_max];
    uint8_t num_outlets;
    uint8_t opaque_819[0x003];
    uint32_t outlets; // address of an array of num_outlets shm_outlet
    elecmon_block block;
    uint8_t opaque_8b8[0x018];
    uint32_t next; // address of a shm_pdu
};

struct shm_port {
    uint8_t opaque_000[0x018];
    uint8_t id;
    uint8_t opaque_019[0x001];
    char name[0x032];
    uint32_t pdus; // address of the first shm_pdu
    uint8_t opaque_050[0x128];
    uint32_t next; // address of a shm_port
};

struct shm_root {
    uint8_t opaque_000[0x0aa];
    uint8_t ready;
    uint8_t opaque_0ab[0x115];
    uint32_t ports; // address of the first shm_port
};

// --- The values of a block -----------------------------------------------------------------------------------------

inline constexpr uint32_t shm_mask_current = 0x00000010;
inline constexpr uint32_t shm_mask_current_min = 0x00000020;
inline constexpr uint32_t shm_mask_current_max = 0x00000040;
inline constexpr uint32_t shm_mask_current_avg = 0x00000080;
inline constexpr uint32_t shm_mask_current_alarm = 0x00000001;
inline constexpr uint32_t shm_mask_current_warning = 0x00000002;
inline constexpr uint32_t shm_mask_current_low = 0x00000004;
inline constexpr uint32_t shm_mask_current_lowcrit = 0x00000008;
inline constexpr uint32_t shm_mask_voltage = 0x00000100;
inline constexpr uint32_t shm_mask_voltage_min = 0x00000200;
inline constexpr uint32_t shm_mask_voltage_max = 0x00000400;
inline constexpr uint32_t shm_mask_voltage_avg = 0x00000800;
inline constexpr uint32_t shm_mask_voltage_type = 0x00001000;
inline constexpr uint32_t shm_mask_power = 0x00002000;
inline constexpr uint32_t shm_mask_power_min = 0x00004000;
inline constexpr uint32_t shm_mask_power_max = 0x00008000;
inline constexpr uint32_t shm_mask_power_avg = 0x00010000;
inline constexpr uint32_t shm_mask_power_type = 0x00020000;
inline constexpr uint32_t shm_mask_power_factor = 0x00040000;
inline constexpr uint32_t shm_mask_power_factor_min = 0x00080000;
inline constexpr uint32_t shm_mask_power_factor_max = 0x00100000;
inline constexpr uint32_t shm_mask_power_factor_avg = 0x00200000;
inline constexpr uint32_t shm_mask_power_factor_type = 0x00400000;
inline constexpr uint32_t shm_mask_cumulative_watthour = 0x00800000;
inline constexpr uint32_t shm_mask_cumulative_starttime = 0x01000000; // 0x02000000 names no value
inline constexpr uint32_t shm_mask_hwocp = 0x04000000;
inline constexpr uint32_t shm_mask_blown_fuse = 0x08000000;

// How a stored value becomes the text of its leaf.
enum shm_rendering {
    shm_as_tenths,     // int32_t / 10, "%.1f"
    shm_as_hundredths, // int32_t / 100, "%.2f"
    shm_as_kind,       // int32_t: UNDEFINED, ESTIMATED, MEASURED
    shm_as_energy,     // shm_int64 / 36000000, "%.3f"
    shm_as_time,       // int32_t as local time
    shm_as_tripped,    // uint8_t: "not tripped", "tripped"
    shm_as_fuse,       // uint8_t: N/A, OK, BLOWN
};

// One value of a block: the bit that requests it, where it lies, and the leaf of the tree that holds the same.
struct shm_value {
    uint32_t mask;
    uint32_t offset; // from the start of the block
    const char *leaf;
    shm_rendering rendering;
};

inline constexpr shm_value shm_values[] = {
    {shm_mask_current, offsetof(elecmon_block, current), "current", shm_as_tenths},
    {shm_mask_current_min, offsetof(elecmon_block, current_min), "current-min", shm_as_tenths},
    {shm_mask_current_max, offsetof(elecmon_block, current_max), "current-max", shm_as_tenths},
    {shm_mask_current_avg, offsetof(elecmon_block, current_avg), "current-avg", shm_as_tenths},
    {shm_mask_current_alarm, offsetof(elecmon_block, current_alarm), "current-alarm", shm_as_tenths},
    {shm_mask_current_warning, offsetof(elecmon_block, current_warning), "current-warning", shm_as_tenths},
    {shm_mask_current_low, offsetof(elecmon_block, current_low), "current-low", shm_as_tenths},
    {shm_mask_current_lowcrit, offsetof(elecmon_block, current_lowcrit), "current-lowcrit", shm_as_tenths},
    {shm_mask_voltage, offsetof(elecmon_block, voltage), "voltage", shm_as_tenths},
    {shm_mask_voltage_min, offsetof(elecmon_block, voltage_min), "voltage-min", shm_as_tenths},
    {shm_mask_voltage_max, offsetof(elecmon_block, voltage_max), "voltage-max", shm_as_tenths},
    {shm_mask_voltage_avg, offsetof(elecmon_block, voltage_avg), "voltage-avg", shm_as_tenths},
    {shm_mask_voltage_type, offsetof(elecmon_block, voltage_type), "voltage-type", shm_as_kind},
    {shm_mask_power, offsetof(elecmon_block, power), "power", shm_as_tenths},
    {shm_mask_power_min, offsetof(elecmon_block, power_min), "power-min", shm_as_tenths},
    {shm_mask_power_max, offsetof(elecmon_block, power_max), "power-max", shm_as_tenths},
    {shm_mask_power_avg, offsetof(elecmon_block, power_avg), "power-avg", shm_as_tenths},
    {shm_mask_power_type, offsetof(elecmon_block, power_type), "power-type", shm_as_kind},
    {shm_mask_power_factor, offsetof(elecmon_block, power_factor), "power-factor", shm_as_hundredths},
    {shm_mask_power_factor_min, offsetof(elecmon_block, power_factor_min), "power-factor-min", shm_as_hundredths},
    {shm_mask_power_factor_max, offsetof(elecmon_block, power_factor_max), "power-factor-max", shm_as_hundredths},
    {shm_mask_power_factor_avg, offsetof(elecmon_block, power_factor_avg), "power-factor-avg", shm_as_hundredths},
    {shm_mask_power_factor_type, offsetof(elecmon_block, power_factor_type), "power-factor-type", shm_as_kind},
    {shm_mask_cumulative_watthour, offsetof(elecmon_block, cumulative_watthour), "cumulative-watthour", shm_as_energy},
    {shm_mask_cumulative_starttime, offsetof(elecmon_block, cumulative_starttime), "cumulative-starttime", shm_as_time},
    {shm_mask_hwocp, offsetof(elecmon_block, hwocp), "hwocp", shm_as_tripped},
    {shm_mask_blown_fuse, offsetof(elecmon_block, blown_fuse), "blown-fuse", shm_as_fuse},
};

// --- The format holds ----------------------------------------------------------------------------------------------

static_assert(sizeof(elecmon_block) == 0x98 && alignof(elecmon_block) == 4);
static_assert(sizeof(shm_outlet) == 0xf0 && alignof(shm_outlet) == 4);
static_assert(sizeof(shm_elem) == 0xd8 && alignof(shm_elem) == 4);
static_assert(sizeof(shm_pdu) == 0x8d4 && alignof(shm_pdu) == 4);
static_assert(sizeof(shm_port) == 0x17c && alignof(shm_port) == 4);
static_assert(sizeof(shm_root) == 0x1c4 && alignof(shm_root) == 4);

static_assert(offsetof(shm_root, ready) == 0x0aa);
static_assert(offsetof(shm_root, ports) == 0x1c0);

static_assert(offsetof(shm_port, id) == 0x018);
static_assert(offsetof(shm_port, name) == 0x01a);
static_assert(offsetof(shm_port, pdus) == 0x04c);
static_assert(offsetof(shm_port, next) == 0x178);

static_assert(offsetof(shm_pdu, id) == 0x004);
static_assert(offsetof(shm_pdu, model_text) == 0x025 && sizeof(shm_pdu::model_text) == 16);
static_assert(offsetof(shm_pdu, model) == 0x035);
static_assert(offsetof(shm_pdu, capabilities) == 0x044);
static_assert(offsetof(shm_pdu, name) == 0x048);
static_assert(offsetof(shm_pdu, num_phases) == 0x077);
static_assert(offsetof(shm_pdu, phases) == 0x078);
static_assert(offsetof(shm_pdu, num_circuits) == 0x300);
static_assert(offsetof(shm_pdu, circuits) == 0x308);
static_assert(offsetof(shm_pdu, num_outlets) == 0x818);
static_assert(offsetof(shm_pdu, outlets) == 0x81c);
static_assert(offsetof(shm_pdu, block) == 0x820);
static_assert(offsetof(shm_pdu, next) == 0x8d0);

static_assert(offsetof(shm_elem, capabilities) == 0x008);
static_assert(offsetof(shm_elem, id) == 0x00c);
static_assert(offsetof(shm_elem, sys_name) == 0x035);
static_assert(offsetof(shm_elem, block) == 0x040);

static_assert(offsetof(shm_outlet, capabilities) == 0x008);
static_assert(offsetof(shm_outlet, id) == 0x00c);
static_assert(offsetof(shm_outlet, name) == 0x00e);
static_assert(offsetof(shm_outlet, sys_name) == 0x02f);
static_assert(offsetof(shm_outlet, ctrl_status) == 0x038);
static_assert(offsetof(shm_outlet, mod_status) == 0x039);
static_assert(offsetof(shm_outlet, post_on) == 0x044);
static_assert(offsetof(shm_outlet, post_off) == 0x048);
static_assert(offsetof(shm_outlet, block) == 0x058);

static_assert(offsetof(elecmon_block, available) == 0x08);
static_assert(offsetof(elecmon_block, current) == 0x0c);
static_assert(offsetof(elecmon_block, current_min) == 0x10);
static_assert(offsetof(elecmon_block, current_max) == 0x14);
static_assert(offsetof(elecmon_block, current_avg) == 0x18);
static_assert(offsetof(elecmon_block, current_alarm) == 0x20);
static_assert(offsetof(elecmon_block, current_warning) == 0x24);
static_assert(offsetof(elecmon_block, current_low) == 0x28);
static_assert(offsetof(elecmon_block, current_lowcrit) == 0x2c);
static_assert(offsetof(elecmon_block, voltage) == 0x34);
static_assert(offsetof(elecmon_block, voltage_min) == 0x38);
static_assert(offsetof(elecmon_block, voltage_max) == 0x3c);
static_assert(offsetof(elecmon_block, voltage_avg) == 0x40);
static_assert(offsetof(elecmon_block, voltage_type) == 0x48);
static_assert(offsetof(elecmon_block, power) == 0x4c);
static_assert(offsetof(elecmon_block, power_min) == 0x50);
static_assert(offsetof(elecmon_block, power_max) == 0x54);
static_assert(offsetof(elecmon_block, power_avg) == 0x58);
static_assert(offsetof(elecmon_block, power_type) == 0x60);
static_assert(offsetof(elecmon_block, power_factor) == 0x64);
static_assert(offsetof(elecmon_block, power_factor_min) == 0x68);
static_assert(offsetof(elecmon_block, power_factor_max) == 0x6c);
static_assert(offsetof(elecmon_block, power_factor_avg) == 0x70);
static_assert(offsetof(elecmon_block, power_factor_type) == 0x78);
static_assert(offsetof(elecmon_block, cumulative_watthour) == 0x80);
static_assert(offsetof(elecmon_block, cumulative_starttime) == 0x88);
static_assert(offsetof(elecmon_block, hwocp) == 0x8c);
static_assert(offsetof(elecmon_block, blown_fuse) == 0x8e);

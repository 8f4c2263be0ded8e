// The one device there is: a chain that lives in memory and does what it is told, when its clock says so.
#pragma once

#include <optional>

#include "appliance/model/clock.h"
#include "appliance/model/device.h"
#include "appliance/model/flash_store.h"

struct simulation {
    chain units;
    desk_clock clock = {};
    flash_store *flash = nullptr;           // of the units; must outlive the simulation
    std::optional<int64_t> next_due = {};   // kept by the device's operations, as what follows
    std::optional<int64_t> metered_to = {}; // how far the meters have run
    network_interface network = {};
    chain_account account = {};
    std::string image_file = {};     // the firmware image for units of the chain; empty: none
    std::string own_image_file = {}; // the one that was written for the appliance's own unit, likewise
};

// The appliance's own unit starts with the firmware that was written for it; without any it keeps what it has.
void start_own_unit(simulation &simulation);

// To be called around whatever changes what flows: before, so that the meters have counted what flowed so far, and
// after, so that they read what flows now.
void close_readings(simulation &simulation);
void open_readings(simulation &simulation);

// The device that stands for the simulation, which must outlive it.
device simulated_device(simulation &simulation);

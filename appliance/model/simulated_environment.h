// What the simulated units do when something around them is told or happens: the device's operations for environment
// monitors and protection, and those of the desk.
#pragma once

#include "appliance/model/protection.h"
#include "appliance/model/simulation.h"

// As the operations of the same names in struct device.
result_code set_envmon_name(void *self, const place &at, std::string_view name);
result_code set_envmon_unit(void *self, const place &at, std::string_view word);
result_code set_envmon_level(void *self, const place &at, level which, double shown);
result_code reset_envmon(void *self, const place &at);
result_code reset_hwocp(void *self, int port, int pdu);

// The monitor has that value from now on, in its unit, or that state by its word. result_no_such_part where there is no
// monitor or nothing is plugged in, result_bad_value for what its kind can't measure.
result_code hold_value(simulation &desk, const place &at, std::string_view value);

// Pulls the probe out of the monitor or plugs it in; a probe that comes in has its own value, and what is kept of it
// begins anew. result_no_such_part where there is no monitor.
result_code plug_probe(simulation &desk, const place &at, bool plugged);

// Trips the protection of the unit, or of one of its phases or outlets. result_no_such_part where there is none.
result_code trip_hwocp(simulation &desk, guarded where, const place &at);

// Blows or mends the fuse of the circuit. result_no_such_part where there is none.
result_code set_fuse(simulation &desk, const place &at, bool blown);

// Breaks or mends the link of the unit, and of those behind it on its line if these are meant too. A unit whose link is
// broken is gone from all lists but keeps its place; it runs on with its settings. result_no_such_part where there is
// no unit, or it is the appliance's own, which hangs on no link.
result_code set_link(simulation &desk, const place &at, bool broken, bool with_those_behind);

// What units do with their flash, and how they restart. Each task takes effect when it is begun; the unit is then busy
// with it for its time, in which it begins no other.
//
// A unit comes back from a restart with what it saved last, or as it was made where it saved nothing. Its relays have
// dropped; those that were saved as on come on in their order once the cold start delay has passed, each when the
// power-on interval of the one before is over. Until then nothing flows through them. Extremes and averages begin anew
// when the unit is back, at its meters and environment monitors; energy counts go on.
#pragma once

#include <cstdint>
#include <optional>

#include "appliance/model/chain.h"
#include "appliance/model/flash_store.h"

// Begins the task at `now_ms` on a unit that can carry it out. result_busy where another one is under way,
// result_nothing_saved for a restore without a save, result_flash_fault where flash can't be written or is not there
// (null); nothing has changed then.
result_code begin_task(chain &units, flash_store *flash, const place &at, unit_task task, int64_t now_ms);

// Ends what has run its time by `now_ms`. When the next task ends, or nothing.
std::optional<int64_t> end_tasks(chain &units, const flash_store *flash, int64_t now_ms);

// Brings the whole chain up with what its units saved, relays included.
void start_units(chain &units, const flash_store &flash);

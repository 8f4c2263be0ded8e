// How outlets carry out what they are told: one after another with pauses, at once, or off and on again.
//
// The outlets of one action switch in the order in which it names them, whichever units they are in: the first at
// once, each further one when the interval of the one before has passed, post-power-on where that came on and
// post-power-off where it went off. An outlet that has nothing to switch (it is in that state, is locked or fixed, has
// no relay, or is held off by over-current protection) costs no pause. Until its turn comes an outlet is pending. `ion`
// and `ioff` know no pauses. A cycle takes its outlets off like `off`; each rests for its unit's cycle interval, if the
// unit has one, and comes on like `on`, also one that was off before.
//
// An action replaces whatever is still pending for its outlets. A lock fixes an outlet as it is and so ends what is
// pending; an unlock leaves what is pending alone.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "appliance/model/chain.h"

enum class outlet_action { on, off, ion, ioff, lock, unlock, cycle };

// Starts the action at `now_ms`; what it does at once is due from then on. All the outlets exist; one that is named
// more than once counts where it is named first.
void begin_action(chain &units, outlet_action action, std::span<const place> outlets, int64_t now_ms);

// Does what is due at `now_ms`, however long it has been so. The time of what is due next, or nothing.
std::optional<int64_t> do_what_is_due(chain &units, int64_t now_ms);

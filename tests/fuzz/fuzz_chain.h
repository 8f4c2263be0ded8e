// The fake appliance that the product's targets run on: made once, and again where an input has changed it, since to
// make it takes longer than to run most inputs.
#pragma once

#include <string>

#include "tests/fakes/fakes.h"

// Whatever an input left behind is gone: settings of the world, faults that were asked for, leftovers in the
// dispatcher's buffers. `outlets` are those of the last of three units.
void fresh_world(int outlets = 6);

// To be called behind whatever may have written to the tree.
void note_changes();

// The world is to be made anew before the next input.
void world_changed();

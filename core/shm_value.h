// The text of one electrical value of the segment.
#pragma once

#include <cstdint>

#include "core/shm_layout.h"

// Renders the one value that `mask` names, as the table of values says. New heap text that the caller frees; null for a
// mask without a value, a stored code outside its words, or no memory. Logs what it makes of a voltage type.
char *shm_value_text(const elecmon_block &block, uint32_t mask);

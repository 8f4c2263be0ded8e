// The text of one electrical value of the segment.
#pragma once

#include <cstdint>

#include "core/shm_layout.h"

// Renders the one value that `mask` names, as the table of values says: a text in the buffer of render_buffer_size
// bytes, or a constant one; null for a mask without a value or a stored code outside its words. Logs what it makes of
// a voltage type.
const char *shm_value_text(const elecmon_block &block, uint32_t mask, char *buffer);

// The folder that stands for the appliance's root: ZT_ROOT off the appliance, the root itself on it. Unset, empty or in
// a set-user-ID start, ZT_ROOT is the root itself too.
#pragma once

#include <cstddef>

inline constexpr size_t root_path_size = 4096; // what a buffer for root_path must hold

// Writes `absolute`, a path that begins with '/', as it lies below the root into `buffer` (root_path_size bytes) and
// answers the buffer. Null, with errno ENAMETOOLONG, where it does not fit.
const char *root_path(const char *absolute, char *buffer);

// From the texts of the control tree to what the segment stores. No answer means that the text is none of the kind: the
// value is then not there, which its bit says.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "core/shm_layout.h"

// One value of a block, in the scale of its rendering. A time is a decimal number of seconds since 1970 or local time
// as "2024-01-31 12:00:00"; an empty one is 0, no time.
std::optional<int64_t> stored_value(shm_rendering rendering, const std::string &text);

// An outlet interval in seconds, as tenths.
std::optional<int32_t> stored_interval(const std::string &text);

// The lowest code with that text: several codes of the control status share theirs.
std::optional<int32_t> ctrl_status_code(const std::string &text);
std::optional<int32_t> mod_status_code(const std::string &text);

// A model code, 0 to 255.
std::optional<int32_t> stored_model(const std::string &text);

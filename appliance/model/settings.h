// What a user can set at a unit and its parts, as texts: the form in which flash keeps it, and in which the tree shows
// what is the unit's own. A setting whose value is absent is a capability that the unit lacks; it is neither shown nor
// kept.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "appliance/model/result.h"

struct chain;
struct place;
struct unit;

// One value of a unit, whose part is "", or of one of its parts: "phase.1", "circuit.1", "outlet.1", "envmon.1".
struct setting {
    std::string part;
    std::string name;
    std::string value;

    bool operator==(const setting &) const = default;
};
using configuration = std::vector<setting>;

// The settings of the unit itself, but for its ID. All but the display's mode are numbers of seconds, "on" or "off".
enum class unit_setting {
    cold_start_delay,
    cycle_interval,
    overcurrent,
    buzzer,
    syslog,
    display_mode,
    display_cycle,
};

// Seconds.
inline constexpr int longest_cold_start_delay = 3600;
inline constexpr int longest_display_cycle = 3600;

// The value as text; nothing where the unit has no such setting.
std::optional<std::string> setting_text(const unit &unit, unit_setting which);

// Gives the unit a new value for a setting that it has; result_bad_value, with the old one in place, for any other text
// than the setting takes.
result_code change_setting(unit &unit, unit_setting which, std::string_view value);

// All that is set at the unit and its parts, the locks of outlets and the states of their relays among it.
configuration settings_of(const unit &unit);

// Puts these settings, all of the unit's, on the unit at that place, but for the states of relays. What it lacks, or a
// value that it does not take, is passed over. An ID that another unit has by now gives way to the unit's own default,
// a name that another unit's outlet has to none.
void apply_settings(chain &units, const place &at, const configuration &saved);

// What was saved, and for what is not among it, as another version knew less, what stands in `as_made`.
configuration filled_up(configuration saved, const configuration &as_made);

// Whether the outlet with that number was saved as on; nothing where its state was not saved.
std::optional<bool> saved_state(const configuration &saved, int outlet);

// The settings of units, outlets, meters and environment monitors: how each reads as a text, and how a text changes it.

#include "appliance/model/setting_rows.h"

#include <algorithm>
#include <charconv>
#include <cstdio>

#include "appliance/model/chain.h"

// --- Values ---------------------------------------------------------------------------------------------------------

using text = std::optional<std::string>;

static text number_text(const std::optional<int> &number)
{
    return number ? text(std::to_string(*number)) : std::nullopt;
}

static text truth_text(const std::optional<bool> &truth)
{
    return truth ? text(*truth ? "on" : "off") : std::nullopt;
}

// The whole text as a number.
template <class Number> static bool read_whole_text(std::string_view value, Number *number)
{
    auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), *number);
    return error == std::errc() && end == value.data() + value.size();
}

static result_code take_number(std::optional<int> &number, std::string_view value, int low, int high)
{
    int read = 0;
    if (!number || !read_whole_text(value, &read) || read < low || read > high)
        return result_bad_value;
    number = read;
    return result_done;
}

static result_code take_truth(std::optional<bool> &truth, std::string_view value)
{
    if (!truth || (value != "on" && value != "off"))
        return result_bad_value;
    truth = value == "on";
    return result_done;
}

// --- The unit -------------------------------------------------------------------------------------------------------

template <std::optional<int> unit::*number, int low, int high>
static constexpr setting_row<unit> number_row(std::string_view name)
{
    return {name, [](const unit &of) { return number_text(of.*number); },
            [](unit &of, std::string_view value) { return take_number(of.*number, value, low, high); }};
}

template <std::optional<bool> unit::*truth> static constexpr setting_row<unit> truth_row(std::string_view name)
{
    return {name, [](const unit &of) { return truth_text(of.*truth); },
            [](unit &of, std::string_view value) { return take_truth(of.*truth, value); }};
}

static result_code take_display_mode(unit &of, std::string_view value)
{
    if (!of.display_mode || std::ranges::find(of.display_modes, value) == of.display_modes.end())
        return result_bad_value;
    of.display_mode = value;
    return result_done;
}

static constexpr setting_row<unit> unit_table[] = {
    number_row<&unit::cold_start_delay, 0, longest_cold_start_delay>("cold-start-delay"),
    number_row<&unit::cycle_interval, shortest_cycle_interval, longest_cycle_interval>("cycle-interval"),
    truth_row<&unit::overcurrent>("overcurrent"),
    truth_row<&unit::buzzer>("buzzer"),
    truth_row<&unit::syslog>("syslog"),
    {"display-mode", [](const unit &of) { return of.display_mode; }, take_display_mode},
    number_row<&unit::display_cycle, 0, longest_display_cycle>("display-cycle"),
};

// --- Outlets --------------------------------------------------------------------------------------------------------

static result_code take_lock(outlet &one, std::string_view value)
{
    std::optional<bool> locked = one.locked;
    result_code code = one.fixed ? result_bad_value : take_truth(locked, value);
    one.locked = *locked;
    if (one.locked)
        one.pending = {}; // a locked outlet waits for nothing
    return code;
}

static constexpr setting_row<outlet> outlet_table[] = {
    {"post-power-on", [](const outlet &one) { return number_text(one.post_power_on); },
     [](outlet &one, std::string_view value) { return take_number(one.post_power_on, value, 0, longest_post_power); }},
    {"post-power-off", [](const outlet &one) { return number_text(one.post_power_off); },
     [](outlet &one, std::string_view value) { return take_number(one.post_power_off, value, 0, longest_post_power); }},
    {"locked", [](const outlet &one) { return truth_text(one.locked); }, take_lock},
};

// --- Meters ---------------------------------------------------------------------------------------------------------

template <level which> static text amperes_text(const meter &its)
{
    if (!its.present)
        return std::nullopt;
    char buffer[32];
    snprintf(buffer, sizeof buffer, "%.1f", its.limits.at(which) / 10.0);
    return buffer;
}

template <level which> static result_code take_amperes(meter &its, std::string_view value)
{
    double amperes = 0;
    return its.present && read_whole_text(value, &amperes) ? set_threshold(its.limits, which, amperes)
                                                           : result_bad_value;
}

template <level which> static constexpr setting_row<meter> threshold_row(std::string_view name)
{
    return {name, amperes_text<which>, take_amperes<which>};
}

static constexpr setting_row<meter> meter_table[] = {
    threshold_row<level::high_critical>("current-alarm"),
    threshold_row<level::high_warning>("current-warning"),
    threshold_row<level::low_warning>("current-low"),
    threshold_row<level::low_critical>("current-lowcrit"),
};

// --- Environment monitors -------------------------------------------------------------------------------------------

static result_code take_envmon_name(envmon &one, std::string_view value)
{
    if (result_code refused = check_envmon_name(value))
        return refused;
    one.name = value;
    return result_done;
}

static text unit_word(const envmon &one)
{
    return one.tells_unit ? text(one.unit->word) : std::nullopt;
}

static result_code take_unit_word(envmon &one, std::string_view value)
{
    const envmon_unit *unit = one.tells_unit ? find_envmon_unit(*one.kind, value) : nullptr;
    if (!unit)
        return result_bad_value;
    one.unit = unit;
    return result_done;
}

// On the scale, so that it is the same level whichever unit the monitor works in by the time that it is read. Every
// digit of it, since levels that a user sees in Fahrenheit have many.
template <level which> static text level_text(const envmon &one)
{
    if (!one.levels)
        return std::nullopt;
    char buffer[64];
    auto [end, error] = std::to_chars(buffer, buffer + sizeof buffer, (*one.levels)[static_cast<size_t>(which)]);
    return std::string(buffer, end);
}

template <level which> static result_code take_level(envmon &one, std::string_view value)
{
    double on_scale = 0;
    return one.levels && read_whole_text(value, &on_scale) ? set_envmon_level(one, which, shown_value(one, on_scale))
                                                           : result_bad_value;
}

template <level which> static constexpr setting_row<envmon> level_row(std::string_view name)
{
    return {name, level_text<which>, take_level<which>};
}

static constexpr setting_row<envmon> envmon_table[] = {
    {"name", [](const envmon &one) { return text(one.name); }, take_envmon_name},
    {"unit", unit_word, take_unit_word},
    level_row<level::high_critical>("high-thres"),
    level_row<level::high_warning>("high-warn-thres"),
    level_row<level::low_warning>("low-warn-thres"),
    level_row<level::low_critical>("low-thres"),
};

constinit const std::span<const setting_row<unit>> unit_rows = unit_table;
constinit const std::span<const setting_row<outlet>> outlet_rows = outlet_table;
constinit const std::span<const setting_row<meter>> meter_rows = meter_table;
constinit const std::span<const setting_row<envmon>> envmon_rows = envmon_table;

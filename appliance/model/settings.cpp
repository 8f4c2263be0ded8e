// The settings of units and outlets, one row each: how it reads as a text, and how a text changes it.

#include "appliance/model/settings.h"

#include <algorithm>
#include <charconv>
#include <span>

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

static result_code take_number(std::optional<int> &number, std::string_view value, int low, int high)
{
    int read;
    auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), read);
    if (!number || error != std::errc() || end != value.data() + value.size() || read < low || read > high)
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

struct unit_row {
    std::string_view name;
    text (*read)(const unit &);
    result_code (*write)(unit &, std::string_view value);
};

template <std::optional<int> unit::*number, int low, int high>
static constexpr unit_row number_row(std::string_view name)
{
    return {name, [](const unit &of) { return number_text(of.*number); },
            [](unit &of, std::string_view value) { return take_number(of.*number, value, low, high); }};
}

template <std::optional<bool> unit::*truth> static constexpr unit_row truth_row(std::string_view name)
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

// In the order of unit_setting.
static constexpr unit_row unit_rows[] = {
    number_row<&unit::cold_start_delay, 0, longest_cold_start_delay>("cold-start-delay"),
    number_row<&unit::cycle_interval, shortest_cycle_interval, longest_cycle_interval>("cycle-interval"),
    truth_row<&unit::overcurrent>("overcurrent"),
    truth_row<&unit::buzzer>("buzzer"),
    truth_row<&unit::syslog>("syslog"),
    {"display-mode", [](const unit &of) { return of.display_mode; }, take_display_mode},
    number_row<&unit::display_cycle, 0, longest_display_cycle>("display-cycle"),
};

static const unit_row &row_of(unit_setting which)
{
    return unit_rows[static_cast<size_t>(which)];
}

text setting_text(const unit &unit, unit_setting which)
{
    return row_of(which).read(unit);
}

result_code change_setting(unit &unit, unit_setting which, std::string_view value)
{
    return row_of(which).write(unit, value);
}

// --- Its outlets ----------------------------------------------------------------------------------------------------

static constexpr char id_name[] = "id";
static constexpr char outlet_name_name[] = "name";
static constexpr char state_name[] = "state";

struct outlet_row {
    std::string_view name;
    text (*read)(const outlet &);
    result_code (*write)(outlet &, std::string_view value);
};

static result_code take_lock(outlet &one, std::string_view value)
{
    std::optional<bool> locked = one.locked;
    result_code code = one.fixed ? result_bad_value : take_truth(locked, value);
    one.locked = *locked;
    if (one.locked)
        one.pending = {}; // a locked outlet waits for nothing
    return code;
}

static constexpr outlet_row outlet_rows[] = {
    {"post-power-on", [](const outlet &one) { return number_text(one.post_power_on); },
     [](outlet &one, std::string_view value) { return take_number(one.post_power_on, value, 0, longest_post_power); }},
    {"post-power-off", [](const outlet &one) { return number_text(one.post_power_off); },
     [](outlet &one, std::string_view value) { return take_number(one.post_power_off, value, 0, longest_post_power); }},
    {"locked", [](const outlet &one) { return truth_text(one.locked); }, take_lock},
};

// --- All of them ----------------------------------------------------------------------------------------------------

static void add_outlet(configuration &made, int number, const outlet &one)
{
    made.push_back({number, outlet_name_name, one.name});
    made.push_back({number, state_name, one.on ? "on" : "off"});
    for (const outlet_row &row : outlet_rows)
        if (text value = row.read(one))
            made.push_back({number, std::string(row.name), std::move(*value)});
}

configuration settings_of(const unit &unit)
{
    configuration made = {{0, id_name, unit.id}};
    for (const unit_row &row : unit_rows)
        if (text value = row.read(unit))
            made.push_back({0, std::string(row.name), std::move(*value)});
    int number = 0;
    for (const outlet &one : unit.outlets)
        add_outlet(made, ++number, one);
    return made;
}

static void apply_id(chain &units, const place &at, const std::string &id)
{
    unit &of = *unit_at(units, at);
    place holder = find_unit(units, id);
    bool is_free = !holder.port || (holder.port == at.port && holder.pdu == at.pdu);
    of.id = is_free && check_unit_id(id) == result_done ? id : of.default_id;
}

static void apply_name(chain &units, const place &at, const std::string &name)
{
    place holder = find_outlet(units, name);
    bool is_free = !holder.port || holder == at;
    outlet_at(units, at)->name = is_free && check_outlet_name(name) == result_done ? name : "";
}

// What no row takes was saved by another version, and is passed over.
template <class Row, class Item> static void apply_row(std::span<const Row> rows, Item &item, const setting &one)
{
    for (const Row &row : rows)
        if (row.name == one.name)
            row.write(item, one.value);
}

void apply_settings(chain &units, const place &at, const configuration &saved)
{
    for (const setting &one : saved) {
        place part = {at.port, at.pdu, one.part};
        outlet *outlet = outlet_at(units, part);
        if (one.part == 0 && one.name == id_name)
            apply_id(units, at, one.value);
        else if (one.part == 0)
            apply_row(std::span<const unit_row>(unit_rows), *unit_at(units, at), one);
        else if (outlet && one.name == outlet_name_name)
            apply_name(units, part, one.value);
        else if (outlet)
            apply_row(std::span<const outlet_row>(outlet_rows), *outlet, one);
    }
}

std::optional<bool> saved_state(const configuration &saved, int outlet)
{
    for (const setting &one : saved)
        if (one.part == outlet && one.name == state_name)
            return one.value == "on";
    return std::nullopt;
}

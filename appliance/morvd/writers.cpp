// From the words behind a path to the operations of the device.

#include "appliance/morvd/writers.h"

#include "appliance/morvd/values.h"

// --- Units ----------------------------------------------------------------------------------------------------------

result_code write_unit_id(const target &to, word_span words)
{
    if (words.size() != 1)
        return result_bad_arguments;
    return to.device->set_unit_id(to.device->self, to.at.port, to.at.pdu, words[0]);
}

result_code write_cycle_interval(const target &to, word_span words)
{
    if (words.size() != 1)
        return result_bad_arguments;
    std::optional<int> seconds = read_whole(words[0]);
    if (!seconds)
        return result_bad_value;
    return to.device->set_cycle_interval(to.device->self, to.at.port, to.at.pdu, *seconds);
}

result_code write_overcurrent(const target &to, word_span words)
{
    if (words.size() != 1)
        return result_bad_arguments;
    if (words[0] != "on" && words[0] != "off")
        return result_bad_value;
    return to.device->set_overcurrent(to.device->self, to.at.port, to.at.pdu, words[0] == "on");
}

result_code write_upgrade(const target &to, word_span words)
{
    place at = {to.at.port, to.at.pdu};
    return words.empty() ? to.device->upgrade(to.device->self, {&at, 1}) : result_bad_arguments;
}

// Every unit of the chain, in the order of their numbers.
static std::vector<place> all_units(const chain &units)
{
    std::vector<place> places;
    for (size_t port = 1; port <= units.ports.size(); port++)
        for (size_t pdu = 1; pdu <= units.ports[port - 1].units.size(); pdu++)
            places.push_back({static_cast<int>(port), static_cast<int>(pdu)});
    return places;
}

// Adds the units of "4" or "4-6" to `found`.
static result_code add_range(std::string_view range, const std::vector<place> &all, std::vector<place> *found)
{
    size_t dash = range.find('-');
    std::optional<int> first = read_whole(range.substr(0, dash));
    std::optional<int> last = dash == range.npos ? first : read_whole(range.substr(dash + 1));
    if (!first || !last || *first < 1 || *last < *first)
        return result_bad_value;
    if (static_cast<size_t>(*last) > all.size())
        return result_no_such_part;
    found->insert(found->end(), all.begin() + (*first - 1), all.begin() + *last);
    return result_done;
}

result_code write_upgrade_of_list(const target &to, word_span words)
{
    if (words.size() != 1)
        return result_bad_arguments;
    std::vector<place> found;
    if (place holder = find_unit(*to.device->units, words[0]); holder.port)
        return to.device->upgrade(to.device->self, {&holder, 1});
    std::vector<place> all = all_units(*to.device->units);
    std::string_view rest = words[0];
    for (size_t comma = 0; comma != rest.npos;) {
        comma = rest.find(',');
        if (result_code refused = add_range(rest.substr(0, comma), all, &found))
            return refused;
        rest.remove_prefix(comma == rest.npos ? rest.size() : comma + 1);
    }
    return to.device->upgrade(to.device->self, found);
}

// --- Outlets --------------------------------------------------------------------------------------------------------

result_code write_outlet_name(const target &to, word_span words)
{
    if (words.size() != 1)
        return result_bad_arguments;
    return to.device->set_outlet_name(to.device->self, to.at, words[0]);
}

static result_code write_interval(const target &to, word_span words,
                                  result_code (*set)(void *self, const place &at, int tenths))
{
    if (words.size() != 1)
        return result_bad_arguments;
    std::optional<int> tenths = read_seconds(words[0], 1);
    return tenths ? set(to.device->self, to.at, *tenths) : result_bad_value;
}

result_code write_post_power_on(const target &to, word_span words)
{
    return write_interval(to, words, to.device->set_post_power_on);
}

result_code write_post_power_off(const target &to, word_span words)
{
    return write_interval(to, words, to.device->set_post_power_off);
}

// --- Meters ---------------------------------------------------------------------------------------------------------

result_code write_level(const target &to, level which, word_span words)
{
    if (words.size() != 1)
        return result_bad_arguments;
    std::optional<double> amperes = read_real(words[0]);
    return amperes ? to.device->set_threshold(to.device->self, to.kind, to.at, which, *amperes) : result_bad_value;
}

result_code write_reset(const target &to, quantity which, word_span words)
{
    if (!words.empty())
        return result_bad_arguments;
    return to.device->reset_statistic(to.device->self, to.kind, to.at, which);
}

result_code write_energy_reset(const target &to, word_span words)
{
    if (!words.empty())
        return result_bad_arguments;
    return to.device->reset_energy(to.device->self, to.kind, to.at);
}

// --- Actions --------------------------------------------------------------------------------------------------------

static std::vector<place> outlets_of(const target &to)
{
    if (to.outlet)
        return {to.at};
    std::vector<place> outlets;
    for (int number = 1; number <= static_cast<int>(to.unit->outlets.size()); number++)
        outlets.push_back({to.at.port, to.at.pdu, number});
    return outlets;
}

result_code carry_out(const target &to, outlet_action action, word_span words)
{
    if (words.size() != (to.unit ? 0 : 1))
        return result_bad_arguments;
    std::optional<std::vector<place>> outlets = to.unit ? outlets_of(to) : read_places(words[0]);
    return outlets ? to.device->act(to.device->self, action, *outlets) : result_bad_value;
}

// The words of the desk. To add one, add a row to `desk_words`.

#include "appliance/morvd/desk.h"

#include <charconv>
#include <span>

#include "appliance/model/electricity.h"
#include "appliance/morvd/desk_environment.h"
#include "appliance/morvd/desk_show.h"
#include "appliance/morvd/service.h"
#include "appliance/morvd/values.h"

using word_list = std::span<const std::string>;

// A decimal number between the bounds and nothing else; an absent word leaves `number` as it is.
static bool read_number(word_list words, size_t index, int64_t low, int64_t high, int64_t *number)
{
    if (index >= words.size())
        return true;
    const std::string &text = words[index];
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), *number);
    return error == std::errc() && end == text.data() + text.size() && *number >= low && *number <= high;
}

// --- fault ----------------------------------------------------------------------------------------------------------

// What stands behind the kind: VERB PATH, the kind's own number if it has one, COUNT, SKIP.
static answer add_fault(std::vector<fault> &faults, fault_kind kind, word_list rest)
{
    size_t own_numbers = kind == fault_kind::drop ? 0 : 1;
    size_t needed = kind == fault_kind::delay ? 3 : 2;
    if (rest.size() < needed || rest.size() > 4 + own_numbers)
        return refuse(result_bad_arguments);
    if (faults.size() >= most_faults)
        return refuse(result_too_many);

    fault made;
    made.kind = kind;
    made.verb = rest[0];
    made.path = rest[1];
    int64_t code = made.code;
    bool sound = is_fault_sound(made) && read_number(rest, 2 + own_numbers, 0, INT32_MAX, &made.count) &&
                 read_number(rest, 3 + own_numbers, 0, INT32_MAX, &made.skip);
    if (kind == fault_kind::refuse)
        sound = sound && read_number(rest, 2, 1, INT32_MAX, &code);
    if (kind == fault_kind::delay)
        sound = sound && read_number(rest, 2, 0, longest_delay_ms, &made.delay_ms);
    if (!sound)
        return refuse(result_bad_value);
    made.code = static_cast<int>(code);
    faults.push_back(std::move(made));
    return {};
}

static answer list_faults(const std::vector<fault> &faults)
{
    std::vector<std::string> texts;
    texts.reserve(faults.size());
    for (const fault &one : faults)
        texts.push_back(fault_text(one));
    return list_answer(std::move(texts));
}

static answer treat_fault(service &service, word_list rest)
{
    fault_kind kind;
    if (!rest.empty() && find_fault_kind(rest[0], &kind))
        return add_fault(service.faults, kind, rest.subspan(1));
    if (rest.size() == 1 && rest[0] == "list")
        return list_faults(service.faults);
    if (rest.size() != 1 || rest[0] != "clear")
        return refuse(result_bad_arguments);
    service.faults.clear();
    return {};
}

// --- clock, outlet, phase, circuit ----------------------------------------------------------------------------------

static constexpr int longest_advance_ms = 100'000'000;

static answer treat_clock(service &service, word_list rest)
{
    if (rest.size() != 2 || rest[0] != "advance")
        return refuse(result_bad_arguments);
    std::optional<int> milliseconds = read_seconds(rest[1], 3);
    if (!milliseconds || *milliseconds > longest_advance_ms)
        return refuse(result_bad_value);
    service.desk->clock.advance(*milliseconds);
    service.line.settle(service.line.self);
    return {};
}

// A word that stands for true or false at a part of a unit, whose place stands before it. `switch_of` finds what it
// sets, or null.
static answer set_switch(service &service, word_list rest, std::string_view word_for_true,
                         std::string_view word_for_false, bool *(*switch_of)(chain &, const place &))
{
    if (rest.size() != 2 || (rest[1] != word_for_true && rest[1] != word_for_false))
        return refuse(result_bad_arguments);
    std::optional<place> at = read_place(rest[0]);
    if (!at)
        return refuse(result_bad_value);
    bool *found = switch_of(service.desk->units, *at);
    if (!found)
        return refuse(result_no_such_part);
    *found = rest[1] == word_for_true;
    return {};
}

static answer treat_outlet(service &service, word_list rest)
{
    return set_switch(service, rest, "fail", "mend", [](chain &units, const place &at) {
        outlet *found = outlet_at(units, at);
        return found ? &found->stuck : nullptr;
    });
}

static answer treat_phase(service &service, word_list rest)
{
    return set_switch(service, rest, "overload", "relieve", [](chain &units, const place &at) {
        phase *found = phase_at(units, at);
        return found ? &found->overloaded : nullptr;
    });
}

static answer treat_circuit(service &service, word_list rest)
{
    return set_switch(service, rest, "overload", "relieve", [](chain &units, const place &at) {
        circuit *found = circuit_at(units, at);
        return found ? &found->overloaded : nullptr;
    });
}

// --- load, noise ----------------------------------------------------------------------------------------------------

// Watts, a 'W' behind them or not, or, with an 'A' behind it, what draws so many amperes there. `factor` is the load's
// power factor.
static std::optional<double> read_load(chain &units, const place &at, std::string_view text, double factor)
{
    bool in_amperes = text.ends_with('A');
    if (in_amperes || text.ends_with('W'))
        text.remove_suffix(1);
    std::optional<double> size = read_real(text);
    const outlet *found = outlet_at(units, at);
    if (size && found && in_amperes)
        *size *= nominal_volts(*unit_at(units, at), *found) * factor;
    return size && *size >= 0 && *size <= most_watts ? size : std::nullopt;
}

static answer treat_load(service &service, word_list rest)
{
    if (rest.size() < 4 || rest.size() > 5)
        return refuse(result_bad_arguments);
    chain &units = service.desk->units;
    std::optional<place> at = read_place(rest[0] + "." + rest[1] + "." + rest[2]);
    outlet *found = at ? outlet_at(units, *at) : nullptr;
    std::optional<double> factor = rest.size() == 5 ? read_real(rest[4]) : found ? found->load.power_factor : 1;
    if (!at || !factor || !(*factor >= least_power_factor && *factor <= 1))
        return refuse(result_bad_value);
    std::optional<double> watts = read_load(units, *at, rest[3], *factor);
    if (!watts)
        return refuse(result_bad_value);
    if (!found)
        return refuse(result_no_such_part);
    close_readings(*service.desk);
    found->load = {.watts = *watts, .power_factor = *factor};
    open_readings(*service.desk);
    return {};
}

static answer treat_noise(service &service, word_list rest)
{
    if (rest.size() != 1 || (rest[0] != "on" && rest[0] != "off"))
        return refuse(result_bad_arguments);
    close_readings(*service.desk);
    service.desk->units.noise = rest[0] == "on";
    open_readings(*service.desk);
    return {};
}

// --- The words ------------------------------------------------------------------------------------------------------

static constexpr std::string_view fault_usage[] = {
    "fault refuse VERB PATH [CODE [COUNT [SKIP]]]",
    "fault drop VERB PATH [COUNT [SKIP]]",
    "fault delay VERB PATH MILLISECONDS [COUNT [SKIP]]",
    "fault clear",
    "fault list",
};
static constexpr std::string_view clock_usage[] = {"clock advance SECONDS"};
static constexpr std::string_view outlet_usage[] = {"outlet PORT.PDU.OUTLET fail|mend"};
static constexpr std::string_view phase_usage[] = {"phase PORT.PDU.PHASE overload|relieve"};
static constexpr std::string_view circuit_usage[] = {"circuit PORT.PDU.CIRCUIT overload|relieve"};
static constexpr std::string_view load_usage[] = {"load PORT PDU OUTLET WATTS|AMPERESA [POWER_FACTOR]"};
static constexpr std::string_view noise_usage[] = {"noise on|off"};
static constexpr std::string_view sensor_usage[] = {
    "sensor set PORT PDU SENSOR VALUE",
    "sensor pull|plug PORT PDU SENSOR",
};
static constexpr std::string_view fuse_usage[] = {"fuse blow|mend PORT PDU CIRCUIT"};
static constexpr std::string_view hwocp_usage[] = {"hwocp trip PORT PDU [phase|outlet NUMBER]"};
static constexpr std::string_view link_usage[] = {"link break|cut|mend PORT PDU"};
static constexpr std::string_view show_usage[] = {"show"};

struct desk_word {
    std::string_view word;
    answer (*treat)(service &, word_list rest); // `rest` is what stands behind the word
    std::span<const std::string_view> usage;
};

static constexpr desk_word desk_words[] = {
    {"fault", treat_fault, fault_usage},       {"clock", treat_clock, clock_usage},
    {"outlet", treat_outlet, outlet_usage},    {"phase", treat_phase, phase_usage},
    {"circuit", treat_circuit, circuit_usage}, {"load", treat_load, load_usage},
    {"noise", treat_noise, noise_usage},       {"sensor", treat_sensor, sensor_usage},
    {"fuse", treat_fuse, fuse_usage},          {"hwocp", treat_hwocp, hwocp_usage},
    {"link", treat_link, link_usage},          {"show", treat_show, show_usage},
};

static answer list_words()
{
    std::vector<std::string> texts;
    for (const desk_word &row : desk_words)
        texts.insert(texts.end(), row.usage.begin(), row.usage.end());
    return list_answer(std::move(texts));
}

answer treat_desk(service &service, const std::vector<std::string> &words)
{
    if (words.size() == 1)
        return list_words();
    for (const desk_word &row : desk_words)
        if (row.word == words[1])
            return row.treat(service, std::span(words).subspan(2));
    return refuse(result_bad_arguments);
}

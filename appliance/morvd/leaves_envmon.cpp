// What an environment monitor has: who it is, what it measures and what it is held against. Which of it there is
// depends on the monitor and on its unit: one outside the current family keeps a maximum only and knows no levels.
// A monitor without a probe is still there, and says that it does not know what it measures.

#include <cmath>
#include <cstdio>

#include "appliance/morvd/leaves.h"
#include "appliance/morvd/values.h"
#include "appliance/morvd/writers.h"

using text = std::optional<std::string>;

// --- What there is --------------------------------------------------------------------------------------------------

static bool has_probe(const target &to)
{
    return !to.envmon->pulled;
}

static bool keeps_maximum(const target &to)
{
    return has_probe(to) && to.envmon->keeps_statistic;
}

static bool keeps_all(const target &to)
{
    return keeps_maximum(to) && is_current_family(*to.unit);
}

static bool has_levels(const target &to)
{
    return has_probe(to) && to.envmon->levels && is_current_family(*to.unit);
}

static bool tells_unit(const target &to)
{
    return to.envmon->tells_unit;
}

// --- What it is -----------------------------------------------------------------------------------------------------

static const envmon_kind &unknown_kind()
{
    return *find_envmon_kind("UNDEFINED");
}

static const envmon_kind &kind_of(const target &to)
{
    return has_probe(to) ? *to.envmon->kind : unknown_kind();
}

static text unit_word(const target &to)
{
    return text(has_probe(to) ? to.envmon->unit->word : units_of(unknown_kind())[0].word);
}

static std::vector<std::string> unit_words(const target &to)
{
    std::vector<std::string> words;
    for (const envmon_unit &unit : units_of(kind_of(to)))
        words.emplace_back(unit.word);
    return words;
}

// Nothing plugged in has a number of its own.
static text type_number(const target &to)
{
    return std::to_string(has_probe(to) ? to.envmon->type_raw : 0);
}

// --- Values ---------------------------------------------------------------------------------------------------------

// A number with one decimal; what rounds to nothing has no sign.
static std::string figure(double value)
{
    char buffer[64];
    snprintf(buffer, sizeof buffer, "%.1f", std::round(value * 10) / 10 + 0.0);
    return buffer;
}

// A value or a level in the monitor's unit. Readers take something off kelvins and round then, so these have a decimal
// more: 10 degrees would come out as 10.1 otherwise.
static std::string figure_in_unit(const envmon &one, double on_scale)
{
    double shown = shown_value(one, on_scale);
    if (one.unit->taken_off == 0)
        return figure(shown);
    char buffer[64];
    snprintf(buffer, sizeof buffer, "%.2f", shown);
    return buffer;
}

// The word of a state; else nothing, and the value is a number.
static text state_word(const target &to, double on_scale)
{
    const envmon_kind &kind = kind_of(to);
    return kind.scale == scale::state ? text(kind.states[on_scale >= 0.5]) : std::nullopt;
}

// The values of a monitor, on the scale.
static double present(const envmon &one)
{
    return one.now;
}
static double greatest(const envmon &one)
{
    return one.kept.greatest;
}
static double least(const envmon &one)
{
    return one.kept.least;
}
static double average(const envmon &one)
{
    return average_of(one.kept, one.now);
}

template <double (*value)(const envmon &)> static text plain(const target &to)
{
    double on_scale = value(*to.envmon);
    text word = state_word(to, on_scale);
    return word ? word : figure_in_unit(*to.envmon, on_scale);
}

template <double (*value)(const envmon &)> static text with_mark(const target &to)
{
    const envmon_unit &unit = *to.envmon->unit;
    double on_scale = value(*to.envmon);
    text word = state_word(to, on_scale);
    return word ? word : figure(shown_value(*to.envmon, on_scale) - unit.taken_off).append(unit.mark);
}

// --- Levels ---------------------------------------------------------------------------------------------------------

// A level is a number also where the value is a state.
template <level which> static text level_text(const target &to)
{
    return figure_in_unit(*to.envmon, (*to.envmon->levels)[static_cast<size_t>(which)]);
}

static text level_standing(const target &to)
{
    return text(standing_word(standing_of(*to.envmon)));
}

// --- Writing --------------------------------------------------------------------------------------------------------

static result_code write_name(const target &to, word_span words)
{
    if (words.size() != 1)
        return result_bad_arguments;
    return to.device->set_envmon_name(to.device->self, to.at, words[0]);
}

static result_code write_unit(const target &to, word_span words)
{
    if (words.size() != 1)
        return result_bad_arguments;
    return has_probe(to) ? to.device->set_envmon_unit(to.device->self, to.at, words[0]) : result_bad_value;
}

template <level which> static result_code write_level(const target &to, word_span words)
{
    if (words.size() != 1)
        return result_bad_arguments;
    std::optional<double> value = read_real(words[0]);
    return value ? to.device->set_envmon_level(to.device->self, to.at, which, *value) : result_bad_value;
}

static result_code write_reset(const target &to, word_span words)
{
    return words.empty() ? to.device->reset_envmon(to.device->self, to.at) : result_bad_arguments;
}

// --- The leaves -----------------------------------------------------------------------------------------------------

template <level which> static constexpr leaf level_leaf(std::string_view name)
{
    return {.name = name, .info = level_text<which>, .admin = write_level<which>, .present = has_levels};
}

static constexpr leaf envmon_table[] = {
    {.name = "", .mlist = names_of_node},
    {.name = "sys-name", .info = [](const target &to) { return text(to.envmon->sys_name); }},
    {.name = "name", .info = [](const target &to) { return text(to.envmon->name); }, .admin = write_name},
    {.name = "type", .info = [](const target &to) { return text(kind_of(to).type); }},
    {.name = "type-raw", .info = type_number},
    {.name = "unit", .info = unit_word, .mlist = unit_words, .admin = write_unit, .present = tells_unit},

    {.name = "value", .info = plain<present>},
    {.name = "max-value", .info = plain<greatest>, .present = keeps_maximum},
    {.name = "min-value", .info = plain<least>, .present = keeps_all},
    {.name = "avg-value", .info = plain<average>, .present = keeps_all},
    {.name = "value-units", .info = with_mark<present>},
    {.name = "max-value-units", .info = with_mark<greatest>, .present = keeps_maximum},
    {.name = "min-value-units", .info = with_mark<least>, .present = keeps_all},
    {.name = "avg-value-units", .info = with_mark<average>, .present = keeps_all},
    {.name = "num-samples",
     .info = [](const target &to) { return text(std::to_string(to.envmon->samples)); },
     .present = keeps_all},
    {.name = "reset", .admin = write_reset, .present = keeps_maximum},

    level_leaf<level::high_critical>("high-thres"),
    level_leaf<level::high_warning>("high-warn-thres"),
    level_leaf<level::low_warning>("low-warn-thres"),
    level_leaf<level::low_critical>("low-thres"),
    {.name = "thres-status", .info = level_standing, .present = has_levels},
};

constinit const std::span<const leaf> envmon_leaves = envmon_table;

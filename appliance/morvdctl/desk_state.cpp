// Records taken apart, searched and shown.

#include "appliance/morvdctl/desk_state.h"

#include <algorithm>
#include <charconv>
#include <cstdarg>
#include <cstdio>

#include "appliance/morvd/words.h"

// --- Records --------------------------------------------------------------------------------------------------------

static std::vector<std::string> fields_of(std::string_view record)
{
    std::vector<std::string> fields;
    for (;;) {
        size_t end = record.find('\t');
        fields.emplace_back(record.substr(0, end));
        if (end == record.npos)
            return fields;
        record.remove_prefix(end + 1);
    }
}

static bool read_number(std::string_view text, int *number)
{
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), *number);
    return error == std::errc() && end == text.data() + text.size();
}

static bool read_part(const std::vector<std::string> &fields, desk_part *part)
{
    if (fields.size() != 9 || !read_number(fields[1], &part->port) || !read_number(fields[2], &part->pdu) ||
        !read_number(fields[3], &part->number))
        return false;
    part->kind = fields[0];
    part->sys_name = fields[4];
    part->name = fields[5];
    part->value = fields[6];
    part->takes = fields[7];
    part->marks = fields[8];
    return true;
}

static bool read_record(const std::vector<std::string> &fields, desk_state *state)
{
    if (fields[0] == "clock" && fields.size() == 3) {
        state->clock = fields[1];
        state->date = fields[2];
        return true;
    }
    if (fields.size() == 2 && (fields[0] == "noise" || fields[0] == "fault")) {
        if (fields[0] == "noise")
            state->noise = fields[1];
        else
            state->faults.push_back(fields[1]);
        return true;
    }
    return read_part(fields, &state->parts.emplace_back());
}

bool read_state(const std::vector<std::string> &records, desk_state *state)
{
    return std::all_of(records.begin(), records.end(),
                       [&](const std::string &record) { return read_record(fields_of(record), state); });
}

// --- Who is meant ---------------------------------------------------------------------------------------------------

static std::string place_text(const desk_part &unit)
{
    return std::to_string(unit.port) + "." + std::to_string(unit.pdu);
}

const desk_part *find_unit(const desk_state &state, std::string_view text, std::string *fault)
{
    std::vector<const desk_part *> units;
    std::vector<std::string_view> ids;
    for (const desk_part &part : state.parts)
        if (part.kind == "unit") {
            units.push_back(&part);
            ids.push_back(part.sys_name);
        }
    int number = 0;
    if (read_number(text, &number) && number > 0 && static_cast<size_t>(number) <= units.size())
        return units[static_cast<size_t>(number - 1)];
    for (const desk_part *unit : units)
        if (unit->sys_name == text || place_text(*unit) == text)
            return unit;
    *fault =
        "no unit " + quoted(text) + "; there are 1 to " + std::to_string(units.size()) + ", " + quoted_list(ids, "and");
    return nullptr;
}

static bool belongs_to(const desk_part &part, const desk_part &unit)
{
    return part.port == unit.port && part.pdu == unit.pdu && part.number > 0;
}

const desk_part *find_part(const desk_state &state, const desk_part &unit, std::string_view kind, std::string_view text,
                           std::string *fault)
{
    std::vector<std::string_view> names;
    for (const desk_part &part : state.parts) {
        if (part.kind != kind || !belongs_to(part, unit))
            continue;
        if (part.sys_name == text || part.name == text || std::to_string(part.number) == text)
            return &part;
        names.push_back(part.sys_name);
    }
    *fault = "unit " + quoted(unit.sys_name) + " has no " + std::string(kind) + " " + quoted(text) + "; it has " +
             (names.empty()       ? "none"
              : names.size() > 12 ? "1 to " + std::to_string(names.size())
                                  : quoted_list(names, "and"));
    return nullptr;
}

// --- What is shown --------------------------------------------------------------------------------------------------

// A line without the blanks at its end.
[[gnu::format(printf, 1, 2)]] static std::string line(const char *format, ...)
{
    char buffer[512];
    va_list values;
    va_start(values, format);
    vsnprintf(buffer, sizeof buffer, format, values);
    va_end(values);
    std::string text(buffer);
    text.resize(text.find_last_not_of(' ') + 1);
    return text + "\n";
}

static std::string marks_text(const desk_part &part)
{
    return part.marks.empty() ? "" : "  [" + part.marks + "]";
}

std::string state_text(const desk_state &state, const desk_part *only_unit)
{
    std::string text;
    if (!only_unit)
        text = line("clock %s (%s)", state.date.c_str(), state.clock.c_str()) + line("noise %s", state.noise.c_str());
    int number = 0;
    for (const desk_part &part : state.parts) {
        bool is_unit = part.kind == "unit";
        number += is_unit;
        if (only_unit && &part != only_unit && !belongs_to(part, *only_unit))
            continue;
        if (is_unit)
            text += line("unit %d  %s%s%s  at %s  %s%s", number, part.sys_name.c_str(), part.name.empty() ? "" : "  ",
                         part.name.c_str(), place_text(part).c_str(), part.value.c_str(), marks_text(part).c_str());
        else
            text += line("  %-8s%-9s%-16s  %s%s", part.kind.c_str(), part.sys_name.c_str(), part.name.c_str(),
                         part.value.c_str(), marks_text(part).c_str());
    }
    if (!only_unit)
        for (const std::string &fault : state.faults)
            text += line("fault %s", fault.c_str());
    return text;
}

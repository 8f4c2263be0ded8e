// One record after the other, from the clock to the last fault.

#include "appliance/morvd/desk_show.h"

#include <cstdio>
#include <ctime>

#include "appliance/model/status.h"
#include "appliance/morvd/service.h"
#include "appliance/morvd/words.h"

// A word that stands in a record while it is true.
struct mark {
    bool stands;
    std::string_view word;
};

static std::string marks_text(std::initializer_list<mark> marks)
{
    std::string text;
    for (const mark &one : marks)
        if (one.stands)
            text.append(text.empty() ? "" : ",").append(one.word);
    return text;
}

static std::string record(std::initializer_list<std::string_view> fields)
{
    std::string text;
    for (std::string_view field : fields)
        text.append(text.empty() ? "" : "\t").append(field);
    return text;
}

// What all of a unit's parts have in front.
template <class Part> static std::string part_record(std::string_view kind, const place &at, const Part &part,
                                                     const std::string &value, const std::string &takes,
                                                     const std::string &marks)
{
    return record({kind, std::to_string(at.port), std::to_string(at.pdu), std::to_string(at.part), part.sys_name,
                   part.name, value, takes, marks});
}

// --- Parts of a unit ------------------------------------------------------------------------------------------------

static std::string value_text(double value)
{
    char buffer[32];
    snprintf(buffer, sizeof buffer, "%.1f", value);
    return buffer;
}

static std::string amperes_text(const meter &measured)
{
    return value_text(measured.now[quantity::current]) + " A";
}

static std::string record_of(const place &at, const phase &one)
{
    return part_record("phase", at, one, amperes_text(one.measured), one.tripped ? "protection" : "",
                       marks_text({{one.overloaded, "overloaded"}, {one.tripped.value_or(false), "tripped"}}));
}

static std::string record_of(const place &at, const circuit &one)
{
    bool blown = one.fuse && one.fuse->blown;
    return part_record("circuit", at, one, amperes_text(one.measured),
                       one.fuse ? "fuse " + number_text(one.fuse->amperes) + " A" : "",
                       marks_text({{one.overloaded, "overloaded"}, {blown, "blown"}}));
}

static std::string record_of(const place &at, const outlet &one)
{
    std::string value = std::string(ctrl_status_word(ctrl_status_of(one))) + " " + number_text(one.load.watts) +
                        " W at " + number_text(one.load.power_factor);
    return part_record("outlet", at, one, value, one.tripped ? "protection" : "",
                       marks_text({{one.stuck, "failed"}, {one.tripped.value_or(false), "tripped"}}));
}

static std::string record_of(const place &at, const envmon &one)
{
    const envmon_kind &kind = *one.kind;
    bool is_state = kind.scale == scale::state;
    std::string unit(is_state ? "" : " " + std::string(one.unit->word));
    std::string value = is_state ? std::string(kind.states[one.now > 0]) : value_text(shown_value(one, one.now)) + unit;
    std::string takes =
        is_state ? std::string(kind.states[0]) + " or " + std::string(kind.states[1])
                 : number_text(shown_value(one, kind.low)) + " to " + number_text(shown_value(one, kind.high)) + unit;
    return part_record("sensor", at, one, one.pulled ? "" : value, takes,
                       marks_text({{one.pulled, "pulled"}, {one.held.has_value() && !one.pulled, "held"}}));
}

template <class Part> static void add_parts(std::vector<std::string> &records, place at, const std::vector<Part> &parts)
{
    for (const Part &one : parts) {
        at.part++;
        records.push_back(record_of(at, one));
    }
}

// --- The desk -------------------------------------------------------------------------------------------------------

static void add_unit(std::vector<std::string> &records, const place &at, const unit &one, bool is_own)
{
    bool restarts = one.task == unit_task::reboot, works = one.task != unit_task::none && !restarts;
    std::string marks = marks_text(
        {{one.adrift, "adrift"}, {restarts, "restarting"}, {works, "busy"}, {one.tripped.value_or(false), "tripped"}});
    records.push_back(record({"unit", std::to_string(at.port), std::to_string(at.pdu), "0", one.id,
                              one.model.value_or(""), amperes_text(one.measured),
                              marks_text({{one.tripped.has_value(), "protection"}, {!is_own, "link"}}), marks}));
    add_parts(records, at, one.phases);
    add_parts(records, at, one.circuits);
    add_parts(records, at, one.outlets);
    add_parts(records, at, one.envmons);
}

static std::string date_text(const desk_clock &clock)
{
    const auto date = static_cast<time_t>(clock.date());
    tm parts{};
    char buffer[32];
    gmtime_r(&date, &parts);
    return {buffer, strftime(buffer, sizeof buffer, "%Y-%m-%d %H:%M:%S", &parts)};
}

answer treat_show(service &service, std::span<const std::string> rest)
{
    if (!rest.empty())
        return refuse(result_bad_arguments);
    const simulation &desk = *service.desk;
    std::vector<std::string> records = {
        record({"clock", desk.clock.driven ? "driven" : "machine", date_text(desk.clock)}),
        record({"noise", desk.units.noise ? "on" : "off"}),
    };
    place at;
    for (const port_line &port : desk.units.ports) {
        at = {at.port + 1, 0, 0};
        for (const unit &one : port.units) {
            at.pdu++;
            add_unit(records, at, one, is_local(port, at.pdu));
        }
    }
    for (const fault &one : service.faults)
        records.push_back(record({"fault", fault_text(one)}));
    return list_answer(std::move(records));
}

// What stands on the desk, as the daemon shows it, and which part of it a person means.
#pragma once

#include <string>
#include <string_view>
#include <vector>

// A unit, or a phase, circuit, outlet or sensor of one, by the fields of its record.
struct desk_part {
    std::string kind;
    int port = 0, pdu = 0;
    int number = 0; // 0 of a unit
    std::string sys_name, name, value, takes, marks;
};

struct desk_state {
    std::string clock, date, noise;
    std::vector<desk_part> parts; // in the order of the chain, each unit before its own
    std::vector<std::string> faults;
};

// Reads the records of the desk's word `show`. False where one of them is none.
bool read_state(const std::vector<std::string> &records, desk_state *state);

// The unit that the text means: its number along the chain, as at the prompt; "PORT.PDU"; or its ID. Null, with the
// units that there are in `fault`.
const desk_part *find_unit(const desk_state &state, std::string_view text, std::string *fault);

// The part of that kind of the unit: by its number, its system name or its name. Null likewise.
const desk_part *find_part(const desk_state &state, const desk_part &unit, std::string_view kind, std::string_view text,
                           std::string *fault);

// What `morvdctl show` prints of all, or of one unit.
std::string state_text(const desk_state &state, const desk_part *only_unit);

// Chain files. One that is read holds no more than a chain can; one that is not has its fault told in one printable
// line with a line of the file.

#include <algorithm>

#include "appliance/morvd/chain_file.h"
#include "tests/fuzz/fuzz.h"

static void check_unit(const unit &made)
{
    must(!made.id.empty() && made.id.size() <= unit_id_size, "a unit has an ID, of a size that there is room for");
    must(made.phases.size() <= most_phases && made.circuits.size() <= most_circuits &&
             made.outlets.size() <= most_outlets,
         "a unit has no more parts than a record has room for");
    for (const outlet &one : made.outlets) {
        must(one.name.size() <= outlet_name_size && one.sys_name.size() <= outlet_sys_name_size,
             "an outlet's names have room");
        must(one.circuit >= 0 && static_cast<size_t>(one.circuit) <= made.circuits.size(), "its circuit is there");
    }
    for (const circuit &one : made.circuits)
        must(one.from_phase >= 1 && static_cast<size_t>(one.from_phase) <= made.phases.size() && one.to_phase >= 0 &&
                 static_cast<size_t>(one.to_phase) <= made.phases.size(),
             "a circuit's phases are there");
}

static void check_chain(const chain_file &made)
{
    for (const port_line &port : made.units.ports) {
        must(!port.name.empty() && port.polling_rate >= 1, "a port has a name and a rate");
        std::ranges::for_each(port.units, check_unit);
    }
    must(made.faults.size() <= most_faults, "there are not too many faults");
    must(std::ranges::all_of(made.faults, is_fault_sound), "a fault can happen");
}

static void check_words(const std::string &fault, const std::string &text)
{
    unsigned line = 0;
    int end = 0;
    sscanf(fault.c_str(), "line %u: %n", &line, &end);
    must(end > 0 && fault[static_cast<size_t>(end)] != '\0', "a fault names its line and says what it is", fault);
    const auto lines = static_cast<size_t>(std::ranges::count(text, '\n')) + 1;
    must(line >= 1 && line <= lines, "the line is one of the file", fault);
    must(!has_control_characters(fault), "the words are one printable line", fault);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string text(input_text(data, size));
    chain_file made;
    std::string fault;
    if (parse_chain(text, &made, &fault)) {
        must(fault.empty(), "a file that is read has no fault", fault);
        check_chain(made);
    } else {
        check_words(fault, text);
    }
    return 0;
}

// What the tests of the measurement commands share: a chain whose second unit is measured, its nodes by level, and
// workers called directly, past the dispatcher.
#pragma once

#include <cerrno>
#include <string>

#include "core/walkers.h"
#include "core/ztd_shm.h"
#include "tests/fakes/fakes.h"

// Where a node is: the numbers of port, unit and element differ, so that no two can be taken for one another.
struct measured_level {
    const char *name; // of the level, in the names of tests
    int type;
    int elem;
    const char *word;    // what a command calls it, behind the unit; empty for the unit itself
    const char *label;   // in a line
    const char *summary; // in a summary line
    const char *cleared; // in the line of a reset
    const char *at;      // in the log
};

inline constexpr measured_level unit_level = {"unit", 3, 0, "", "", "", "", "2@1"};
inline constexpr measured_level phase_level = {"phase", 0, 2, " P2", " for phase P2", ",P2", "for phase P2 ", "2@2@1"};
inline constexpr measured_level circuit_level = {"circuit",         1,      3, " S3", " for segment S3", ",S3",
                                                 "for segment S3 ", "3@2@1"};
inline constexpr measured_level outlet_level = {"outlet", 2, 4, " O4", " for outlet 4", ",4", "for outlet 4 ", "4@2@1"};
inline constexpr measured_level all_levels[] = {unit_level, phase_level, circuit_level, outlet_level};
inline constexpr measured_level element_levels[] = {phase_level, circuit_level, outlet_level};

inline std::ostream &operator<<(std::ostream &out, const measured_level &level)
{
    return out << level.name;
}

// How a log line about an element ends.
inline std::string typed(const measured_level &level)
{
    return ", type " + std::to_string(level.type);
}

// The second unit of a chain of two. For the level of units it has no elements, so that nothing but its own reading is
// seen.
struct measured_chain : testing::Test {
    fake_chain chain;

    void SetUp() override
    {
        errno = 0; // a range error left over fails every conversion
    }
    fake_node unit_for(const measured_level &level, int model = 128, int phases = 3)
    {
        bool bare = level.type == elem_pdu;
        chain.unit({.outlets = 0, .phases = 0});
        return chain.unit(
            {.outlets = bare ? 0 : 4, .phases = bare ? 0 : phases, .circuits = bare ? 0 : 3, .model = model});
    }
    fake_node node_at(const measured_level &level)
    {
        fake_node unit = chain.at(2);
        return level.type == elem_phase     ? unit.phase(level.elem)
               : level.type == elem_circuit ? unit.circuit(level.elem)
               : level.type == elem_outlet  ? unit.outlet(level.elem)
                                            : unit;
    }
    fake_node make(const measured_level &level, int model = 128)
    {
        unit_for(level, model);
        return node_at(level);
    }
    // Everything from its beginning, for another case in the same test.
    void renew()
    {
        fakes::reset();
        chain = fake_chain();
    }
    // The unit is gone from the segment and stays in the tree.
    void hide_from_segment() { chain.at(2).pdu_record().id = 99; }
};

// Takes each "$" of the template for the next value, each "@" for the label.
inline std::string filled(const std::string &pattern, const std::string &label, const texts &values = {})
{
    std::string made;
    size_t next = 0;
    for (char c : pattern)
        made += c == '$' ? values.at(next++) : c == '@' ? label : std::string(1, c);
    return made;
}

inline int row_of(const std::string &pattern)
{
    for (int row = 0; command_table[row].handler; row++)
        if (pattern == command_table[row].pattern)
            return row;
    throw std::out_of_range("no row '" + pattern + "'");
}

template <class Call> called call_worker(Call work)
{
    forget();
    size_t before = heap.live();
    char *out = nullptr;
    called done;
    done.result = work(&out);
    if (out)
        done.text = out;
    free(out);
    EXPECT_EQ(heap.live(), before) << "heap memory not given back by a worker";
    return done;
}

inline called call_unit(pdu_callback worker, int row, int summary = 0)
{
    return call_worker([=](char **out) { return one_pdu(row, out, 1, 2, worker, summary); });
}

inline called call_element(elem_callback worker, int row, int type, int elem, int summary = 0)
{
    return call_worker([=](char **out) { return one_element(1, 2, type, row, out, elem, worker, summary); });
}

inline called call_node(pdu_callback of_unit, elem_callback of_element, const std::string &pattern,
                        const measured_level &level, int summary = 0)
{
    return level.type == elem_pdu ? call_unit(of_unit, row_of(pattern), summary)
                                  : call_element(of_element, row_of(pattern), level.type, level.elem, summary);
}

inline texts exchanges_of(const std::string &verb)
{
    texts found;
    for (const std::string &exchange : exchanges())
        if (exchange.rfind(verb, 0) == 0)
            found.push_back(exchange);
    return found;
}

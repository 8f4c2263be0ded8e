// What the tests of `current`, its thresholds and `alarm` share: one node under test at each level of a unit, read from
// each place that it can be read from.
#pragma once

#include <algorithm>
#include <cerrno>
#include <string>

#include "cmd/measure.h"
#include "shell/commands.h"
#include "tests/fakes/fakes.h"

namespace measure_support {

enum source {
    segment_up,
    segment_away,  // the tree alone answers; handlers are called past the gate then
    segment_blind, // up, without a record of the unit
};

struct place {
    int type; // 0 to 2, or 3 for the unit itself
    source from;
};

inline std::string title(const testing::TestParamInfo<place> &info)
{
    static constexpr const char *levels[] = {"phase", "segment", "outlet", "unit"};
    static constexpr const char *sources[] = {"_by_segment", "_by_tree", "_by_tree_for_a_blind_segment"};
    return std::string(levels[info.param.type]) + sources[info.param.from];
}

inline const auto everywhere = testing::Values(place{3, segment_up}, place{3, segment_away}, place{3, segment_blind},
                                               place{0, segment_up}, place{0, segment_away}, place{1, segment_up},
                                               place{1, segment_away}, place{2, segment_up}, place{2, segment_away});
inline const auto read_from_the_tree =
    testing::Values(place{3, segment_away}, place{3, segment_blind}, place{0, segment_away}, place{1, segment_away},
                    place{2, segment_away});
inline const auto elements_by_tree =
    testing::Values(place{0, segment_away}, place{1, segment_away}, place{2, segment_away});

inline const auto named_elements_by_tree = testing::Values(place{0, segment_away}, place{1, segment_away});

inline fake_node element(const fake_node &unit, int type, int elem)
{
    return type == elem_phase ? unit.phase(elem) : type == elem_circuit ? unit.circuit(elem) : unit.outlet(elem);
}

// The node is a unit without elements, or the second phase, circuit or outlet of a unit that has no value itself.
struct node_test : testing::TestWithParam<place> {
    int type = GetParam().type;
    fake_chain chain;
    fake_node unit = chain.unit(type == elem_pdu ? unit_layout{.outlets = 0, .phases = 0}
                                                 : unit_layout{.outlets = 2, .phases = 2, .circuits = 2});
    fake_node node = type == elem_pdu ? unit : element(unit, type, 2);

    node_test()
    {
        errno = 0;
        if (GetParam().from == segment_away)
            cli_own_name = 0;
        if (GetParam().from == segment_blind)
            segment.root().ports = 0;
    }

    bool is_unit() const { return type == elem_pdu; }
    void be_model(int model) const { unit.publish("model_nr", std::to_string(model)); }

    // In log lines.
    std::string address() const { return is_unit() ? "1@1" : "2@1@1"; }
    std::string typed_address() const { return address() + ", type " + std::to_string(type); }

    // What the user types, and what a line calls the node.
    std::string word() const { return std::vector<std::string>{"P2", "S2", "O2", ""}[static_cast<size_t>(type)]; }
    std::string what() const
    {
        return std::vector<std::string>{"phase P2", "segment S2", "outlet 2", ""}[static_cast<size_t>(type)];
    }
    std::string reading_label() const { return is_unit() ? "" : " for " + what(); }
    std::string cleared_label() const { return is_unit() ? "" : "for " + what() + " "; }
    std::string plain_label() const { return is_unit() ? "" : what() + " "; }
    std::string summary_label() const { return is_unit() ? "" : "," + what().substr(what().find(' ') + 1); }

    // The handler of the row for units, or of the one for elements.
    called run(int unit_row, int element_row) const
    {
        return is_unit() ? call(unit_row, {"unit1"}) : call(element_row, {"unit1", word().c_str()});
    }
};

// The exchanges behind the last one of that text.
inline texts behind(const std::string &exchange)
{
    texts rest;
    for (const std::string &at : exchanges()) {
        rest.push_back(at);
        if (at == exchange)
            rest.clear();
    }
    return rest;
}

inline bool asked(const std::string &exchange)
{
    return std::count(exchanges().begin(), exchanges().end(), exchange) > 0;
}

// Workers, called on unit 1 of port 1 as a walk calls them.
template <class Run> called call_worker(Run run)
{
    forget();
    size_t before = heap.live();
    char *out = nullptr;
    called done;
    done.result = run(&out);
    if (out)
        done.text = out;
    free(out);
    EXPECT_EQ(heap.live(), before);
    return done;
}

template <class... Arguments> called call_unit(pdu_callback worker, int row, Arguments... arguments)
{
    return call_worker([&](char **out) { return one_pdu(row, out, 1, 1, worker, arguments...); });
}

template <class... Arguments>
called call_element(elem_callback worker, int row, int type, int elem, Arguments... arguments)
{
    return call_worker([&](char **out) { return one_element(1, 1, type, row, out, elem, worker, arguments...); });
}

inline std::vector<std::string> lines(const std::string &text)
{
    std::vector<std::string> all;
    for (size_t at = 0; at < text.size();) {
        size_t end = text.find('\n', at);
        end = end == text.npos ? text.size() : end + 1;
        all.push_back(text.substr(at, end - at));
        at = end;
    }
    return all;
}

} // namespace measure_support

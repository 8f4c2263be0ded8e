// Every form of voltage, power, powerfactor and energy with one exchange or one allocation failing: each line that is
// shown is one of those that the command shows otherwise.

#include <set>
#include <sstream>

#include "tests/unit/cmd/measure_values.h"

namespace {

struct published {
    const char *leaf;
    const char *text;
};

struct form_words {
    const char *command;
    std::vector<published> values;
};

const form_words voltage_words = {"voltage",
                                  {{"voltage", "230.1"},
                                   {"voltage-max", "240.2"},
                                   {"voltage-min", "220.3"},
                                   {"voltage-avg", "229.4"},
                                   {"voltage-type", "MEASURED"}}};
const form_words power_words = {"power",
                                {{"power", "10.0"},
                                 {"power-max", "20.0"},
                                 {"power-min", "5.0"},
                                 {"power-avg", "12.5"},
                                 {"power-type", "MEASURED"}}};
const form_words pwfact_words = {"powerfactor",
                                 {{"power-factor", "0.95"},
                                  {"power-factor-max", "0.99"},
                                  {"power-factor-min", "0.80"},
                                  {"power-factor-avg", "0.91"},
                                  {"power-factor-type", "MEASURED"}}};
const form_words energy_words = {"energy",
                                 {{"cumulative-watthour", "12.345"}, {"cumulative-starttime", "2024-01-31 10:00:00"}}};

struct forms : measured_chain, testing::WithParamInterface<std::tuple<form_words, const char *>> {
    const form_words &m = std::get<0>(GetParam());
    const std::string command = m.command + std::string(std::get<1>(GetParam()));
    std::set<std::string> allowed;

    void give(const fake_node &node)
    {
        for (const published &value : m.values)
            node.publish(value.leaf, value.text);
    }
    static texts lines_of(const std::string &text)
    {
        texts lines;
        std::istringstream in(text);
        for (std::string line; std::getline(in, line);)
            lines.push_back(line + "\n");
        return lines;
    }
    // A chain of two units with values at every level, and the answer of the command when nothing fails.
    std::string whole()
    {
        for (int pdu : {1, 2}) {
            fake_node unit = chain.unit({.outlets = 1, .phases = 2, .circuits = 1});
            for (const fake_node &node : {unit, unit.phase(1), unit.phase(2), unit.circuit(1), unit.outlet(1)})
                give(node);
            allowed.insert("IPDU #" + std::to_string(pdu) + " does not have voltage sensor.\n");
        }
        std::string text = answer(command);
        EXPECT_NE(text, failure_text);
        for (const std::string &line : lines_of(text)) {
            allowed.insert(line);
            // A voltage whose tail cannot be built stands without it.
            for (const char *tail : {". Maximum voltage", "V,"})
                if (size_t at = line.find(tail); at != std::string::npos)
                    allowed.insert(line.substr(0, *tail == 'V' ? at + 1 : at) + "\n");
        }
        allowed.insert({failure_text, no_such_ipdu});
        return text;
    }
    void check(const std::string &made, const std::string &text, int n)
    {
        texts lines = lines_of(made);
        EXPECT_LE(lines.size(), lines_of(text).size()) << n;
        for (const std::string &line : lines)
            EXPECT_TRUE(allowed.contains(line)) << command << ", " << n << ": " << line;
    }
};

INSTANTIATE_TEST_SUITE_P(all, forms,
                         testing::Combine(testing::Values(voltage_words, power_words, pwfact_words, energy_words),
                                          testing::Values("", " summary", " reset", " 2", " summary 2", " reset 2",
                                                          " unit2 P2", " summary 2 S1", " reset 2 O1", " reset 2 P1",
                                                          " reset 2 S1")),
                         [](const auto &where) {
                             std::string name = std::get<0>(where.param).command;
                             for (char c : std::string(std::get<1>(where.param)))
                                 name += c == ' ' ? '_' : c;
                             return name;
                         });

TEST_P(forms, each_failing_exchange_leaves_whole_lines)
{
    std::string text = whole();
    // The reading walks go by the segment alone.
    bool asks = !exchanges().empty();
    for (how way : {refused, dropped}) {
        int failed = each_failing_exchange(way, [&](int n) {
            errno = 0;
            check(answer(command), text, n);
        });
        EXPECT_EQ(failed > 0, asks);
    }
    EXPECT_EQ(answer(command), text);
}

TEST_P(forms, each_failing_allocation_leaves_whole_lines)
{
    std::string text = whole();
    EXPECT_GT(each_failing_allocation([&](int n) {
                  errno = 0;
                  check(answer(command), text, n);
              }),
              5);
    EXPECT_EQ(answer(command), text);
}

TEST_F(measured_chain, missing_unit_that_cannot_be_told_is_logged)
{
    chain.unit();
    for (const char *line : {"voltage 7", "power summary 7", "powerfactor reset 7", "energy 7 P1"}) {
        int logs = 0;
        each_failing_allocation([&](int) {
            answer(line);
            logs += logged("Fail to printf pdu 7 display invalid PDU");
        });
        EXPECT_EQ(logs, 2) << line << ": one allocation is the text and one the text in its place";
    }
}

} // namespace

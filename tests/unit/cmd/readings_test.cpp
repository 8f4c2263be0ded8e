// The readings of four values, in what voltage, power and powerfactor have in common: which node is read from where,
// and what each value that is missing or no number does to a line and to the log.

#include <set>

#include "cmd/cmd_power.h"
#include "cmd/cmd_pwfactor.h"
#include "cmd/cmd_voltage.h"
#include "tests/unit/cmd/measure_values.h"

namespace {

struct reading_words {
    const char *command;
    const char *log_word; // of the measure in log lines
    const char *leaves[4];
    const char *reads[4]; // what a read of a unit is called where it fails
    const char *kind;
    const char *line;
    const char *summary;
    texts polled;                                // in the segment; now, maximum, minimum, average
    texts served;                                // in the tree
    texts segment_path, first_read, second_read; // level 4 lines of an element's reading that say how far it is
    texts tree_path;
    pdu_callback pdu_get;
    elem_callback elem_get;
};

const reading_words voltage_words = {
    "voltage",
    "voltage",
    {"voltage", "voltage-max", "voltage-min", "voltage-avg"},
    {"voltage", "voltageMax", "voltageMin", "voltageMin"},
    "voltage-type",
    "IPDU #2: RMS voltage@: $V. Maximum voltage@: $V. Minimum voltage@: $V. Average voltage@: $V\n",
    "2@:$V,$V,$V,$V\n",
    {"230.1", "240.2", "220.3", "229.4"},
    {"110.5", "120.6", "100.7", "109.8"},
    {"measured voltage type. returning MEASURED"},
    {"getting max volt"},
    {"getting min and avg"},
    {},
    voltage_pdu_get,
    voltage_elem_get};

const reading_words power_words = {"power",
                                   "power",
                                   {"power", "power-max", "power-min", "power-avg"},
                                   {"power", "powerMax", "powerMin", "powerMin"},
                                   "power-type",
                                   "IPDU #2: Power@: $W. Maximum power@: $W. Minimum power@: $W. Average power@: $W\n",
                                   "2@:$W,$W,$W,$W\n",
                                   {"10.0", "20.0", "5.0", "12.5"},
                                   {"11.1", "21.1", "6.1", "13.6"},
                                   {},
                                   {},
                                   {},
                                   {},
                                   power_pdu_get,
                                   power_elem_get};

const reading_words pwfact_words = {
    "powerfactor",
    "pwfact",
    {"power-factor", "power-factor-max", "power-factor-min", "power-factor-avg"},
    {"pwfact", "pwfactMax", "pwfactMin", "pwfactMin"},
    "power-factor-type",
    "IPDU #2: Power factor@: $. Maximum power factor@: $. Minimum power factor@: $. Average power factor@: $\n",
    "2@:$,$,$,$\n",
    {"0.95", "0.99", "0.80", "0.91"},
    {"0.85", "0.89", "0.70", "0.81"},
    {"using shm"},
    {"getting max power-factory"},
    {"getting min and avg power-factor"},
    {"using tsapi"},
    pwfact_pdu_get,
    pwfact_elem_get};

std::ostream &operator<<(std::ostream &out, const reading_words &words)
{
    return out << words.command;
}

using where = std::tuple<reading_words, measured_level>;

struct readings : measured_chain, testing::WithParamInterface<where> {
    const reading_words &m = std::get<0>(GetParam());
    const measured_level &level = std::get<1>(GetParam());

    bool is_unit() const { return level.type == elem_pdu; }
    fake_node measured(int model = 128)
    {
        fake_node node = make(level, model);
        for (size_t i = 0; i < 4; i++)
            node.poll(m.leaves[i], m.polled[i]).serve(m.leaves[i], m.served[i]);
        node.publish(m.kind, "MEASURED");
        return node;
    }
    std::string label() const
    {
        return level.type == elem_circuit && m.pdu_get == voltage_pdu_get ? " between S and 3" : level.label;
    }
    std::string line(const texts &values) const { return filled(m.line, label(), values); }
    std::string short_line(const texts &values) const { return filled(m.summary, level.summary, values); }
    std::string command(const std::string &form = "") const { return m.command + form + " 2" + level.word; }
    // What the user reads where no line could be made.
    std::string nothing() const
    {
        return is_unit() && m.pdu_get == voltage_pdu_get ? "IPDU #2 does not have voltage sensor.\n" : failure_text;
    }
    // The worker alone.
    called work(int summary = 0) const
    {
        return call_node(m.pdu_get, m.elem_get, std::string(m.command) + (summary ? " summary" : ""), level, summary);
    }
    // The same with the whole segment out of reach.
    called call_on_tree(int summary = 0)
    {
        cli_own_name = 0;
        return work(summary);
    }
    std::optional<std::string> unread() const
    {
        return is_unit() && m.pdu_get == voltage_pdu_get ? std::optional<std::string>(nothing()) : std::nullopt;
    }
    // The tree's reads of values so far, without the kind.
    texts value_reads(fake_node node) const
    {
        texts found;
        for (const std::string &exchange : exchanges())
            for (const char *leaf : m.leaves)
                if (exchange == "info " + node.path(leaf))
                    found.push_back(leaf);
        return found;
    }
    std::string unreadable(size_t i) const
    {
        return is_unit() ? std::string("Fail to get ") + m.reads[i] + " for pdu 2@1"
                         : std::string("Fail to get info for element ") + level.at + typed(level);
    }
    texts expected_log(texts before, const std::string &last) const
    {
        if (is_unit())
            before.clear();
        before.push_back(last);
        return before;
    }
};

std::string named(const testing::TestParamInfo<where> &info)
{
    return std::string(std::get<0>(info.param).command) + "_" + std::get<1>(info.param).name;
}

INSTANTIATE_TEST_SUITE_P(all, readings,
                         testing::Combine(testing::Values(voltage_words, power_words, pwfact_words),
                                          testing::ValuesIn(all_levels)),
                         named);

// --- Sources --------------------------------------------------------------------------------------------------------

TEST_P(readings, shows_what_the_segment_holds)
{
    fake_node node = measured();
    EXPECT_EQ(answer(command()), line(m.polled));
    EXPECT_EQ(last_result(), 0);
    EXPECT_EQ(exchanges_of("mlist " + node.path()), texts{});
    EXPECT_EQ(exchanges_of("info " + node.path() + "."), texts{});
    EXPECT_EQ(answer(command(" summary")), short_line(m.polled));
    EXPECT_EQ(value_reads(node), texts{});
}

TEST_P(readings, segment_path_tells_its_steps)
{
    measured();
    answer(command());
    texts steps = m.segment_path;
    steps.insert(steps.end(), m.first_read.begin(), m.first_read.end());
    steps.insert(steps.end(), m.second_read.begin(), m.second_read.end());
    if (is_unit())
        steps = m.pdu_get == voltage_pdu_get ? m.segment_path : texts{};
    texts found = failures();
    std::erase_if(found, [](const std::string &text) { return text.starts_with("Fail to get pdu from pdu name"); });
    EXPECT_EQ(found, steps);
}

TEST_P(readings, tree_serves_where_the_segment_is_out_of_reach)
{
    fake_node node = measured();
    called done = call_on_tree();
    EXPECT_EQ(done.result, 0);
    EXPECT_EQ(done.text, line(m.served));
    EXPECT_EQ(value_reads(node), (texts{m.leaves[0], m.leaves[1], m.leaves[2], m.leaves[3]}));
    EXPECT_EQ(failures(), is_unit() ? texts{} : m.tree_path);
    EXPECT_EQ(call_on_tree(1).text, short_line(m.served));
}

TEST_P(readings, bounds_of_the_current_family)
{
    measured(143);
    EXPECT_EQ(answer(command()), line(m.polled));
}

TEST_P(readings, value_that_the_tree_alone_confirms_is_still_read_from_the_segment)
{
    fake_node node = measured();
    node.block().available = 0;
    EXPECT_EQ(answer(command()), line(m.polled));
    EXPECT_EQ(exchanges_of("mlist " + node.path()).size(), 4U);
    EXPECT_EQ(value_reads(node), texts{});
}

// --- Absent values --------------------------------------------------------------------------------------------------

TEST_P(readings, each_absent_value_is_named_and_leaves_the_line_out)
{
    fake_node node = measured();
    for (size_t i = 0; i < 4; i++) {
        node.without(m.leaves[i]);
        called done = work();
        EXPECT_EQ(done.result, 1);
        EXPECT_EQ(done.text, unread()) << m.leaves[i];
        EXPECT_EQ(failures(), (texts{std::string("Node ") + m.leaves[i] + " unavailable for " + level.at}));
        EXPECT_EQ(answer(command()), nothing()) << m.leaves[i];
        node.poll(m.leaves[i], m.polled[i]).serve(m.leaves[i], m.served[i]);
    }
}

TEST_P(readings, absent_values_are_missed_in_order)
{
    fake_node node = measured();
    for (size_t i = 4; i-- > 0;) {
        node.without(m.leaves[i]);
        answer(command());
        EXPECT_LOGGED(std::string("Node ") + m.leaves[i] + " unavailable for " + level.at);
        for (size_t later = i + 1; later < 4; later++)
            EXPECT_NOT_LOGGED(std::string("Node ") + m.leaves[later] + " unavailable for " + level.at);
    }
}

TEST_P(readings, capabilities_that_cannot_be_listed_are_absent)
{
    fake_node node = measured();
    tree.refuse("mlist", node.path());
    called done = call_on_tree();
    EXPECT_EQ(done.result, 1);
    EXPECT_EQ(done.text, unread());
    std::string list = is_unit()
                           ? "Fail to retrieve list of pdu capabilities in 2@1"
                           : std::string("Fail to retrieve list of element capabilities in ") + level.at + typed(level);
    EXPECT_FAILURES({list, std::string("Node ") + m.leaves[0] + " unavailable for " + level.at});
}

// --- Reads and conversions ------------------------------------------------------------------------------------------

TEST_P(readings, each_value_that_cannot_be_read_is_logged)
{
    fake_node node = measured();
    for (how way : {refused, dropped})
        for (size_t i = 0; i < 4; i++) {
            way == refused ? node.refuse("info", m.leaves[i]) : node.drop("info", m.leaves[i]);
            called done = call_on_tree();
            EXPECT_EQ(done.result, 1);
            EXPECT_EQ(done.text, unread());
            EXPECT_EQ(failures(), expected_log(m.tree_path, unreadable(i))) << m.leaves[i];
            // An element's minimum does not keep its average from being read.
            texts reads(m.leaves, m.leaves + (!is_unit() && i == 2 ? 4 : i + 1));
            EXPECT_EQ(value_reads(node), reads);
            tree.allow("info", node.path(m.leaves[i]));
        }
}

TEST_P(readings, each_empty_value_leaves_the_line_out_in_silence)
{
    fake_node node = measured();
    for (size_t i = 0; i < 4; i++) {
        for (bool absent : {false, true}) {
            absent ? tree.absent(node.path(m.leaves[i])) : tree.text(node.path(m.leaves[i]), "");
            called done = call_on_tree();
            EXPECT_EQ(done.result, 1);
            EXPECT_EQ(done.text, unread());
            EXPECT_EQ(failures(), is_unit() ? texts{} : m.tree_path) << m.leaves[i];
            EXPECT_EQ(value_reads(node).size(), 4U);
        }
        node.serve(m.leaves[i], m.served[i]);
    }
}

TEST_P(readings, each_value_that_is_no_number_is_logged_as_it_came)
{
    fake_node node = measured();
    for (size_t i = 0; i < 4; i++) {
        for (const char *text : {"12.5A", "x", "1 2", "1e999", "1e-999"}) {
            errno = 0;
            node.serve(m.leaves[i], text);
            called done = call_on_tree();
            EXPECT_EQ(done.result, 1);
            EXPECT_EQ(done.text, unread());
            std::string last = std::string("Fail to convert ") + m.leaves[i] + " " + text + " to double";
            EXPECT_EQ(failures(), expected_log(m.tree_path, last));
            EXPECT_EQ(value_reads(node).size(), 4U) << "all reads come before all conversions";
        }
        errno = 0;
        node.serve(m.leaves[i], m.served[i]);
    }
    EXPECT_EQ(call_on_tree().text, line(m.served));
}

TEST_P(readings, range_error_left_over_fails_the_first_conversion)
{
    measured();
    int row = row_of(m.command);
    ASSERT_EQ(shm_usable(), 1); // attaching leaves an error number of its own
    called done = call_worker([&](char **out) {
        errno = ERANGE;
        return is_unit() ? one_pdu(row, out, 1, 2, m.pdu_get, 0)
                         : one_element(1, 2, level.type, row, out, level.elem, m.elem_get, 0);
    });
    EXPECT_EQ(done.result, 1);
    EXPECT_EQ(done.text, unread());
    texts messages = failures();
    ASSERT_FALSE(messages.empty());
    EXPECT_EQ(messages.back(), std::string("Fail to convert ") + m.leaves[0] + " " + m.polled[0] + " to double");
}

TEST_P(readings, model_that_cannot_be_read_ends_the_node)
{
    fake_node node = measured();
    cli_own_name = 0;
    node.unit().refuse("info", "model_nr");
    called done = call_on_tree();
    EXPECT_EQ(done.result, 1);
    EXPECT_EQ(done.text, unread());
    EXPECT_FAILURES({"Fail to get model for pdu 2@1", "Fail to get model from pdu 2@1"});
    tree.allow("info", node.unit().path("model_nr")).absent(node.unit().path("model_nr"));
    EXPECT_EQ(call_on_tree().result, 1);
    EXPECT_FAILURES({"Fail to get model from pdu 2@1"});
}

// --- Kinds ----------------------------------------------------------------------------------------------------------

TEST_P(readings, kind_is_compared_without_case)
{
    fake_node node = measured();
    for (const char *kind : {"MEASURED", "measured", "Measured"}) {
        node.serve(m.kind, kind);
        EXPECT_EQ(call_on_tree().text, line(m.served)) << kind;
    }
}

// --- Failing exchanges and memory -----------------------------------------------------------------------------------

TEST_P(readings, line_that_cannot_be_added_is_logged)
{
    measured();
    for (int summary : {0, 1}) {
        std::string wanted = std::string("Fail to printf pdu 2 ") + (summary ? "summary " : "") + m.log_word + " " +
                             m.polled[0] + " string" + (is_unit() ? "" : typed(level));
        std::set<std::string> seen;
        each_failing_allocation([&](int) {
            errno = 0;
            called done = work(summary);
            EXPECT_EQ(done.result == 0, done.text && done.text != unread());
            for (const std::string &message : failures())
                seen.insert(message);
        });
        EXPECT_TRUE(seen.contains(wanted)) << wanted << "\n" << testing::PrintToString(seen);
    }
}

TEST_P(readings, failing_exchanges_leave_a_whole_line_or_none)
{
    measured();
    for (bool on_tree : {false, true})
        for (how way : {refused, dropped})
            for (const char *form : {"", " summary"}) {
                int failed = each_failing_exchange(way, [&](int n) {
                    errno = 0;
                    cli_own_name = !on_tree;
                    std::string made;
                    if (on_tree)
                        made = call_on_tree(*form != '\0').text.value_or("");
                    else
                        made = answer(command(form));
                    texts values = on_tree ? m.served : m.polled;
                    std::string whole = *form ? short_line(values) : line(values);
                    EXPECT_TRUE(made == whole || made == no_such_ipdu || made == nothing() || made.empty())
                        << n << ": " << made;
                });
                EXPECT_GT(failed, on_tree ? 5 : 2);
            }
}

// A unit's value that the segment cannot give comes from the tree, one by one; the tail of a voltage is left out where
// it cannot be built.
TEST_P(readings, failing_allocations_leave_a_line_or_none)
{
    measured();
    for (bool summary : {false, true}) {
        std::set<std::string> seen, wanted;
        auto shown = [&](const texts &values) { return summary ? short_line(values) : line(values); };
        wanted = {shown(m.polled), no_such_ipdu};
        // A summary of a unit that fails in silence is tried as a unit called "summary".
        if (!is_unit() || !summary || m.pdu_get == voltage_pdu_get)
            wanted.insert(nothing());
        for (size_t i = 0; is_unit() && i < 4; i++) {
            texts mixed = m.polled;
            mixed[i] = m.served[i];
            wanted.insert(shown(mixed));
        }
        if (m.pdu_get == voltage_pdu_get)
            wanted.insert(filled(summary ? "2@:$V\n" : "IPDU #2: RMS voltage@: $V\n", summary ? level.summary : label(),
                                 {m.polled[0]}));
        each_failing_allocation([&](int) {
            errno = 0;
            seen.insert(answer(command(summary ? " summary" : "")));
        });
        EXPECT_EQ(seen, wanted);
    }
}

// --- Rows -----------------------------------------------------------------------------------------------------------

TEST_P(readings, row_without_a_format_is_done_without_a_line)
{
    measured();
    int row = row_of("shell");
    ASSERT_EQ(command_table[row].format, nullptr);
    called done = call_node(m.pdu_get, m.elem_get, command_table[row].pattern, level);
    EXPECT_EQ(done.result, 0);
    EXPECT_EQ(done.text, unread());
}

TEST_P(readings, failure_of_a_row_with_an_error_format_is_told_in_its_words)
{
    measured().without(m.leaves[0]);
    int row = row_of("alarm");
    ASSERT_STREQ(command_table[row].error_format, "Invalid current threshold value.\n");
    called done = call_node(m.pdu_get, m.elem_get, command_table[row].pattern, level);
    EXPECT_EQ(done.result, 1);
    EXPECT_EQ(done.text, unread().value_or("Invalid current threshold value.\n"));
}

} // namespace

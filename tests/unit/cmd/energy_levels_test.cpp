// energy, in what it does alike for a unit and for each kind of element.

#include <set>

#include "tests/unit/cmd/energy_values.h"

namespace {

using namespace energy_values;

// The same at every level.
struct energy_levels : energy, testing::WithParamInterface<measured_level> {
    const measured_level &level = GetParam();
    std::string unavailable() const { return std::string("Node energy unavailable for ") + level.at; }
    std::string unreadable() const
    {
        return is_unit(level) ? "Fail to get energy for pdu 2@1"
                              : std::string("Fail to get info for element ") + level.at + typed(level);
    }
    // What the tree's line says of the start: an element's is not read.
    std::string tree_line(const std::string &count) const
    {
        return line(level.label, count, is_unit(level) ? start : "(null)");
    }
};

std::string named(const testing::TestParamInfo<measured_level> &info)
{
    return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(all, energy_levels, testing::ValuesIn(all_levels), named);

// --- All levels -----------------------------------------------------------------------------------------------------

TEST_P(energy_levels, shows_what_the_segment_holds)
{
    fake_node node = give(make(level));
    node.serve("cumulative-watthour", "1").serve("cumulative-starttime", "never");
    EXPECT_EQ(answer(command(level)), line(level.label));
    EXPECT_EQ(exchanges_of("mlist " + node.path()), texts{});
    EXPECT_EQ(exchanges_of("info " + node.path() + "."), texts{});
    EXPECT_EQ(answer(command(level, " summary")), short_line(level.summary));
}

TEST_P(energy_levels, tree_serves_where_the_segment_is_out_of_reach)
{
    fake_node node = make(level);
    node.serve("cumulative-watthour", "7.5").serve("cumulative-starttime", start);
    EXPECT_EQ(show_on_tree(level).text, tree_line("7.500"));
    EXPECT_FAILURES({});
    EXPECT_EQ(show_on_tree(level, 1).text, short_line(level.summary, "7.500", is_unit(level) ? start : "(null)"));
}

TEST_P(energy_levels, legacy_unit_is_refused)
{
    for (int model : {127, 144}) {
        renew();
        give(make(level, model));
        called done = show(level);
        EXPECT_EQ(done.result, 1);
        EXPECT_FALSE(done.text);
        EXPECT_FAILURES({legacy});
        EXPECT_EQ(answer(command(level)), failure_text);
    }
    renew();
    give(make(level, 143));
    EXPECT_EQ(answer(command(level)), line(level.label));
}

TEST_P(energy_levels, model_that_cannot_be_read_ends_the_node)
{
    fake_node node = give(make(level));
    node.unit().refuse("info", "model_nr");
    EXPECT_EQ(show_on_tree(level).result, 1);
    EXPECT_FAILURES({"Fail to get model for pdu 2@1", "Fail to get model from pdu 2@1"});
    tree.allow("info", node.unit().path("model_nr")).absent(node.unit().path("model_nr"));
    EXPECT_EQ(show_on_tree(level).result, 1);
    EXPECT_FAILURES({"Fail to get model from pdu 2@1"});
}

TEST_P(energy_levels, both_values_are_missed_in_the_same_words)
{
    fake_node node = make(level);
    for (const char *leaf : {"cumulative-watthour", "cumulative-starttime"}) {
        give(node).without(leaf);
        called done = show(level);
        EXPECT_EQ(done.result, 1);
        EXPECT_FALSE(done.text);
        EXPECT_FAILURES({unavailable()});
        EXPECT_EQ(answer(command(level)), failure_text);
    }
}

TEST_P(energy_levels, values_that_the_tree_alone_confirms_are_still_read_from_the_segment)
{
    fake_node node = give(make(level));
    node.serve("cumulative-watthour", "1").serve("cumulative-starttime", "never");
    node.block().available = 0;
    EXPECT_EQ(show(level).text, line(level.label));
    EXPECT_EXCHANGES({"mlist " + node.path(), "mlist " + node.path()});
}

TEST_P(energy_levels, energy_that_cannot_be_read_is_logged)
{
    fake_node node = give(make(level));
    for (how way : {refused, dropped}) {
        way == refused ? node.refuse("info", "cumulative-watthour") : node.drop("info", "cumulative-watthour");
        called done = show_on_tree(level);
        EXPECT_EQ(done.result, 1);
        EXPECT_FALSE(done.text);
        EXPECT_EQ(failures(), texts{unreadable()});
        EXPECT_EQ(exchanges_of("info " + node.path("cumulative")), texts{"info " + node.path("cumulative-watthour")});
    }
}

TEST_P(energy_levels, empty_energy_leaves_the_line_out_in_silence)
{
    fake_node node = give(make(level));
    for (bool absent : {false, true}) {
        absent ? tree.absent(node.path("cumulative-watthour")) : tree.text(node.path("cumulative-watthour"), "");
        called done = show_on_tree(level);
        EXPECT_EQ(done.result, 1);
        EXPECT_FALSE(done.text);
        EXPECT_FAILURES({});
    }
}

TEST_P(energy_levels, energy_that_is_no_number_is_logged_as_it_came)
{
    fake_node node = give(make(level));
    for (const char *text : {"12.5A", "x", "1 2", "1e999", "1e-999"}) {
        errno = 0;
        node.serve("cumulative-watthour", text);
        called done = show_on_tree(level);
        EXPECT_EQ(done.result, 1);
        EXPECT_FALSE(done.text);
        EXPECT_FAILURES({std::string("Fail to convert energy ") + text + " to double"});
    }
}

TEST_P(energy_levels, range_error_left_over_fails_the_conversion)
{
    give(make(level));
    ASSERT_EQ(shm_usable(), 1); // attaching leaves an error number of its own
    called done = call_worker([&](char **out) {
        errno = ERANGE;
        int row = row_of("energy");
        return is_unit(level) ? one_pdu(row, out, 1, 2, energy_pdu_get, 0)
                              : one_element(1, 2, level.type, row, out, level.elem, energy_elem_get, 0);
    });
    EXPECT_EQ(done.result, 1);
    EXPECT_FALSE(done.text);
    EXPECT_FAILURES({"Fail to convert energy 12.345 to double"});
}

TEST_P(energy_levels, count_without_a_start_in_the_segment_began_with_time)
{
    give(make(level)).publish("cumulative-starttime", "");
    EXPECT_EQ(answer(command(level)), line(level.label, "12.345", no_start));
    EXPECT_EQ(answer(command(level, " summary")), short_line(level.summary, "12.345", no_start));
}

TEST_P(energy_levels, line_that_cannot_be_added_is_logged)
{
    give(make(level));
    for (int summary : {0, 1}) {
        std::string wanted = std::string("Fail to printf pdu 2 ") + (summary ? "summary " : "") +
                             "energy 12.345 since " + start + " string" + (is_unit(level) ? "" : typed(level));
        std::set<std::string> seen;
        each_failing_allocation([&](int) {
            errno = 0;
            called done = show(level, summary);
            EXPECT_EQ(done.result == 0, done.text.has_value());
            for (const std::string &message : failures())
                seen.insert(message);
        });
        EXPECT_TRUE(seen.contains(wanted)) << wanted << "\n" << testing::PrintToString(seen);
    }
}

TEST_P(energy_levels, failing_exchanges_leave_a_whole_line_or_none)
{
    give(make(level));
    for (how way : {refused, dropped})
        for (const char *form : {"", " summary"}) {
            std::string whole = *form ? short_line(level.summary) : line(level.label);
            EXPECT_GT(
                each_failing_exchange(way,
                                      [&](int n) {
                                          std::string made = answer(command(level, form));
                                          EXPECT_TRUE(made == whole || made == no_such_ipdu || made == failure_text)
                                              << n << ": " << made;
                                      }),
                2);
            EXPECT_GT(each_failing_exchange(way,
                                            [&](int n) {
                                                called done = show_on_tree(level, *form != '\0');
                                                EXPECT_EQ(done.result == 0, done.text.has_value()) << n;
                                                EXPECT_TRUE(!done.text || done.text == tree_line("12.345") || *form)
                                                    << n;
                                            }),
                      3);
            cli_own_name = 1;
        }
}

TEST_P(energy_levels, failing_allocations_leave_a_whole_line_or_none)
{
    give(make(level));
    for (const char *form : {"", " summary"}) {
        std::set<std::string> seen, wanted = {*form ? short_line(level.summary) : line(level.label), no_such_ipdu};
        if (!is_unit(level) || !*form)
            wanted.insert(failure_text);
        each_failing_allocation([&](int) {
            errno = 0;
            seen.insert(answer(command(level, form)));
        });
        EXPECT_EQ(seen, wanted);
    }
}

TEST_P(energy_levels, row_without_a_format_is_done_without_a_line)
{
    give(make(level));
    int row = row_of("shell");
    called done =
        is_unit(level) ? call_unit(energy_pdu_get, row) : call_element(energy_elem_get, row, level.type, level.elem);
    EXPECT_EQ(done.result, 0);
    EXPECT_FALSE(done.text);
}

} // namespace

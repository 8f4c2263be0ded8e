#include "cmd/cmd_id.h"
#include "tests/fakes/fakes.h"

// A unit is looked for by its ID first: a number is none.
static const char no_id[] = "Fail to get pdu from pdu name 1";

// --- Reading --------------------------------------------------------------------------------------------------------

TEST(id, shows_the_id_of_a_unit)
{
    fake_chain chain;
    chain.unit({.id = "rack-7"});

    EXPECT_EQ(answer("id 1"), "IPDU #1 ID = rack-7\n");
    EXPECT_EQ(last_result(), 0);
    EXPECT_FAILURES({no_id});
    EXPECT_EXCHANGES({"info power.pdu.1.pdu", "info power.num-devices", "info power.port.1.num-pdus",
                      "mlist power.port.1.pdu.1", "info power.port.1.pdu.1.id"});
}

TEST(id, finds_a_unit_by_its_id)
{
    fake_chain chain;
    chain.unit();
    chain.unit({.id = "cellar"});
    EXPECT_EQ(answer("id cellar"), "IPDU #2 ID = cellar\n");
}

TEST(id, shows_all_units_in_chain_order)
{
    fake_chain chain;
    chain.unit({.id = "a"});
    chain.unit({.id = "b"});
    chain.unit({.id = "c"});
    EXPECT_EQ(answer("id"), "IPDU #1 ID = a\nIPDU #2 ID = b\nIPDU #3 ID = c\n");
}

TEST(id, empty_id_is_shown_empty)
{
    fake_chain chain;
    chain.unit().serve("id", "");
    EXPECT_EQ(answer("id 1"), "IPDU #1 ID = \n");
}

TEST(id, unit_without_the_capability_is_logged_and_declined)
{
    fake_chain chain;
    chain.unit().without("id");
    EXPECT_EQ(answer("id 1"), failure_text);
    EXPECT_FAILURES({no_id, "Node id unavailable for 1@1"});
}

TEST(id, refused_read_is_logged_and_declined)
{
    fake_chain chain;
    chain.unit().refuse("info", "id");
    EXPECT_EQ(answer("id 1"), failure_text);
    EXPECT_FAILURES({no_id, "Fail to get id for pdu 1@1"});
}

TEST(id, value_absent_from_its_answer_shows_as_empty)
{
    fake_chain chain;
    tree.absent(chain.unit().path("id"));
    EXPECT_EQ(answer("id 1"), "IPDU #1 ID = \n");
}

TEST(id, walk_shows_the_units_that_answered)
{
    fake_chain chain;
    chain.unit().without("id");
    chain.unit().refuse("info", "id");
    chain.unit({.id = "c"});

    EXPECT_EQ(answer("id"), "IPDU #3 ID = c\n");
    EXPECT_FAILURES({"Node id unavailable for 1@1", "Fail to execute for PDU 1", "Fail to get id for pdu 2@1",
                     "Fail to execute for PDU 2"});
}

TEST(id, chain_where_no_unit_answers_prints_nothing)
{
    fake_chain chain;
    chain.unit().without("id");
    EXPECT_EQ(answer("id"), "");
    EXPECT_EQ(last_result(), 0);
}

TEST(id, lists_that_cannot_be_had_decline_the_line)
{
    cli_own_name = 0;
    called done = call(cmd_id);
    EXPECT_EQ(done.result, 1);
    EXPECT_EQ(done.text, std::nullopt);
    EXPECT_FAILURES({"Fail to retrieve list of Ports"});
}

TEST(id, argument_that_is_no_unit_is_told)
{
    fake_chain chain;
    chain.unit();
    for (const char *line : {"id nobody", "id 0", "id 2", "id nobody new", "id 0 new", "id 2 new"})
        EXPECT_EQ(answer(line), no_such_ipdu) << line;
    EXPECT_EQ(chain.at(1).value("id"), "unit1");
}

TEST(id, number_is_taken_from_the_digits_that_the_argument_begins_with)
{
    fake_chain chain;
    chain.unit();
    EXPECT_EQ(answer("id 1st"), "IPDU #1 ID = unit1\n");
}

TEST(id, row_without_a_format_prints_nothing_and_succeeds)
{
    fake_chain chain;
    chain.unit();
    char number[cli_arg_buffer_size] = "1";
    char *const buffers[cli_arg_count_max] = {number};
    char *out = nullptr;
    ASSERT_EQ(command_table[command_row_count - 1].format, nullptr);
    EXPECT_EQ(cmd_id_pdu(command_row_count - 1, &out, {buffers}), 0);
    EXPECT_EQ(out, nullptr);
}

// --- Setting --------------------------------------------------------------------------------------------------------

TEST(id, sets_the_id_of_a_unit)
{
    fake_chain chain;
    chain.unit();

    EXPECT_EQ(answer("id 1 rack-7"), "IPDU #1 ID is set to rack-7.\n");
    EXPECT_EQ(last_result(), 0);
    EXPECT_EQ(chain.at(1).value("id"), "rack-7");
    EXPECT_FAILURES({no_id});
    EXPECT_EXCHANGES({"info power.pdu.1.pdu", "info power.num-devices", "info power.port.1.num-pdus",
                      "mlist power.port.1.pdu.1", "admin power.port.1.pdu.1.id rack-7"});
}

TEST(id, invalid_character_is_named_and_the_id_stays)
{
    fake_chain chain;
    chain.unit();

    EXPECT_EQ(answer("id 1 a.b,c"), "Invalid character found in ID [.].\n");
    EXPECT_EQ(chain.at(1).value("id"), "unit1");
    EXPECT_EXCHANGES(
        {"info power.pdu.1.pdu", "info power.num-devices", "info power.port.1.num-pdus", "mlist power.port.1.pdu.1"});
}

TEST(id, first_invalid_character_of_the_id_is_the_one_named)
{
    fake_chain chain;
    chain.unit();
    EXPECT_EQ(answer("id 1 a,b.c"), "Invalid character found in ID [,].\n");
}

TEST(id, blank_within_an_id_is_invalid)
{
    fake_chain chain;
    chain.unit();
    called done = call(cmd_id_pdu_set, {"1", "a b"}); // no line can bring it there
    EXPECT_EQ(done.result, 1);
    EXPECT_EQ(done.text, "Invalid character found in ID [ ].\n");
    EXPECT_EQ(chain.at(1).value("id"), "unit1");
}

TEST(id, seventeen_characters_reach_the_tree_unchanged)
{
    fake_chain chain;
    chain.unit();
    EXPECT_EQ(answer("id 1 abcdefghijklmnopq"), "IPDU #1 ID is set to abcdefghijklmnopq.\n");
    EXPECT_EQ(chain.at(1).value("id"), "abcdefghijklmnopq");
}

TEST(id, length_that_the_daemon_refuses_is_a_failed_write)
{
    fake_chain chain;
    chain.unit().refuse("admin", "id");

    EXPECT_EQ(answer("id 1 abcdefghijklmnopq"), failure_text);
    EXPECT_FAILURES({no_id, "Fail to set id for pdu 1@1, value abcdefghijklmnopq"});
    EXPECT_EQ(chain.at(1).value("id"), "unit1");
}

TEST(id, setting_without_the_capability_is_logged_and_declined)
{
    fake_chain chain;
    chain.unit().without("id");

    EXPECT_EQ(answer("id 1 new"), failure_text);
    EXPECT_FAILURES({no_id, "Node id unavailable for 1@1"});
    EXPECT_EQ(tree.value("power.port.1.pdu.1.id"), std::nullopt);
}

TEST(id, absent_new_id_fails_before_the_unit_is_asked)
{
    fake_chain chain;
    chain.unit();
    char number[cli_arg_buffer_size] = "1";
    char *const buffers[cli_arg_count_max] = {number};
    char *out = nullptr;
    EXPECT_EQ(cmd_id_pdu_set(find_command_row(cmd_id_pdu_set), &out, {buffers}), 1);
    EXPECT_EQ(out, nullptr);
    EXPECT_EXCHANGES({"info power.pdu.1.pdu", "info power.num-devices", "info power.port.1.num-pdus"});
}

// --- Failures -------------------------------------------------------------------------------------------------------

TEST(id, any_exchange_of_a_read_may_fail)
{
    fake_chain chain;
    chain.unit();
    // The first asks for a unit of the ID "1", which there is not in any case.
    const texts expected = {"IPDU #1 ID = unit1\n", no_such_ipdu, no_such_ipdu, failure_text, failure_text};
    for (how way : {refused, dropped}) {
        int failed = each_failing_exchange(way, [&](int n) {
            size_t at = static_cast<size_t>(n - 1) % expected.size();
            EXPECT_EQ(answer("id 1"), expected[at]) << n;
        });
        EXPECT_EQ(failed, 5);
    }
}

TEST(id, any_exchange_of_a_write_may_fail)
{
    fake_chain chain;
    chain.unit();
    const texts expected = {"IPDU #1 ID is set to new.\n", no_such_ipdu, no_such_ipdu, failure_text, failure_text};
    for (how way : {refused, dropped}) {
        int failed = each_failing_exchange(way, [&](int n) {
            chain.at(1).serve("id", "old");
            size_t at = static_cast<size_t>(n - 1) % expected.size();
            EXPECT_EQ(answer("id 1 new"), expected[at]) << n;
            EXPECT_EQ(chain.at(1).value("id"), at == 0 ? "new" : "old") << n;
        });
        EXPECT_EQ(failed, 5);
    }
}

TEST(id, any_allocation_may_fail)
{
    fake_chain chain;
    chain.unit();
    for (const char *line : {"id", "id 1", "id 1 new", "id 1 a.b", "id nobody"}) {
        const std::string whole = answer(line);
        int failed = each_failing_allocation([&](int n) {
            std::string text = answer(line);
            EXPECT_TRUE(text == whole || text == no_such_ipdu || text == failure_text || text.empty())
                << line << ", " << n << ": " << text;
        });
        EXPECT_GT(failed, 2) << line;
    }
}

// Runs the line with its last but one allocation failing: append_output takes two, the fragment and the joined text.
static std::string answer_without_line(const char *line)
{
    heap.fail_at(0);
    answer(line);
    heap.fail_at(heap.count() - 1);
    return answer(line);
}

TEST(id, line_that_cannot_be_built_is_logged)
{
    fake_chain chain;
    chain.unit();
    EXPECT_EQ(answer_without_line("id 1"), failure_text);
    EXPECT_LOGGED("Fail to printf pdu 1 id unit1 string");
    EXPECT_EQ(answer_without_line("id 1 new"), failure_text);
    EXPECT_LOGGED("Fail to printf pdu 1 id new string");
}

TEST(id, refusal_that_cannot_be_built_is_logged)
{
    fake_chain chain;
    chain.unit();
    EXPECT_EQ(answer_without_line("id 1 a.b"), failure_text);
    EXPECT_LOGGED("Invalid char found in the id a.b");
}

TEST(id, absent_unit_that_cannot_be_told_is_logged)
{
    fake_chain chain;
    chain.unit();
    EXPECT_EQ(answer_without_line("id 5"), failure_text);
    EXPECT_LOGGED("Fail to printf pdu 5 display invalid PDU");
}

// The owners of texts and lists, and `into`, which lets an operation fill one.

#include <cstring>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "client/tree.h"
#include "client/types.h"
#include "tests/fakes/fakes.h"

TEST(types, into_hands_what_was_written_to_the_owner)
{
    tree.text("power.port.1.pdu.1.id", "rack");
    owned_text id;
    EXPECT_EQ(vrn_tsapi_info_power_port_star0_pdu_star1_id(cli_tsapi, into(id), nullptr, 1, 1), 0);
    EXPECT_STREQ(id.get(), "rack");
}

TEST(types, into_empties_an_owner_that_is_filled_already)
{
    owned_text id(strdup("old"));
    tree.refuse("info", "power.port.1.pdu.1.id");
    EXPECT_NE(vrn_tsapi_info_power_port_star0_pdu_star1_id(cli_tsapi, into(id), nullptr, 1, 1), 0);
    EXPECT_FALSE(id);
}

TEST(types, into_fills_lists_in_their_order)
{
    tree.list("power.port", {4, 1}).list("power.port.4.pdu.1", texts{"id", "current"});
    owned_int_list ports;
    owned_text_list children;
    ASSERT_EQ(vrn_tsapi_mlist_power_port(cli_tsapi, into(ports)), 0);
    ASSERT_EQ(vrn_tsapi_mlist_power_port_star0_pdu_star1(cli_tsapi, into(children), 4, 1), 0);
    ASSERT_TRUE(ports && ports->next && !ports->next->next);
    EXPECT_EQ(ports->value, 4);
    EXPECT_EQ(ports->next->value, 1);
    ASSERT_TRUE(children && children->next && !children->next->next);
    EXPECT_STREQ(children->value, "id");
    EXPECT_STREQ(children->next->value, "current");
}

TEST(types, result_is_in_the_owner_within_the_condition_that_reads_it)
{
    tree.text("power.port.1.pdu.1.id", "rack");
    owned_text id;
    EXPECT_TRUE(vrn_tsapi_info_power_port_star0_pdu_star1_id(cli_tsapi, into(id), nullptr, 1, 1) == 0 &&
                std::string(id.get()) == "rack");
}

TEST(types, owner_hands_its_text_on_and_frees_what_it_replaces)
{
    owned_text first(strdup("one"));
    owned_text second(strdup("two"));
    second = std::move(first);
    EXPECT_FALSE(first);
    EXPECT_STREQ(second.get(), "one");
    EXPECT_FALSE(is_empty(second));
    second.reset(strdup(""));
    EXPECT_TRUE(is_empty(second));
    EXPECT_TRUE(is_empty(first));
}

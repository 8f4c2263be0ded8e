// The group check.

#include "shell/admin.h"

#include "tests/fakes/fakes.h"

static constexpr char members[] = "authorization.group.name.admin.member";

TEST(cli_check_admin, member_passes)
{
    tree.list(members, texts{"root", "operator", "guest"});
    EXPECT_EQ(cli_check_admin("operator"), 0);
    EXPECT_EXCHANGES({"list authorization.group.name.admin.member"});
}

TEST(cli_check_admin, stranger_fails)
{
    tree.list(members, texts{"root", "guest"});
    EXPECT_EQ(cli_check_admin("operator"), 1);
}

TEST(cli_check_admin, null_user_name_fails_without_tree_operation)
{
    tree.list(members, texts{"root"});
    EXPECT_EQ(cli_check_admin(nullptr), 1);
    EXPECT_EXCHANGES({});
}

TEST(cli_check_admin, failed_list_fails)
{
    tree.list(members, texts{"operator"}).refuse("list", members);
    EXPECT_EQ(cli_check_admin("operator"), 1);
}

TEST(cli_check_admin, dropped_list_fails)
{
    tree.list(members, texts{"operator"}).drop("list", members);
    EXPECT_EQ(cli_check_admin("operator"), 1);
}

TEST(cli_check_admin, prefix_of_a_member_fails)
{
    tree.list(members, texts{"operators"});
    EXPECT_EQ(cli_check_admin("operator"), 1);
}

TEST(cli_check_admin, name_behind_a_members_name_fails)
{
    tree.list(members, texts{"oper"});
    EXPECT_EQ(cli_check_admin("operator"), 1);
}

TEST(cli_check_admin, empty_group_fails)
{
    tree.list(members, texts{});
    EXPECT_EQ(cli_check_admin("operator"), 1);
}

TEST(cli_check_admin, list_is_given_back)
{
    tree.list(members, texts{"root", "operator"});
    const size_t before = heap.live();
    EXPECT_EQ(cli_check_admin("operator"), 0);
    EXPECT_EQ(heap.live(), before);
}

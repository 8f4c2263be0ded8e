#include "vrn_auth.h"

#include <optional>
#include <pwd.h>

#include "support.h"

class authentication : public platform_test {
protected:
    static std::optional<std::string> user()
    {
        char *name = vrn_auth_session_get_username(nullptr);
        if (!name)
            return {};
        std::string copy = name;
        free(name);
        return copy;
    }
};

TEST_F(authentication, named_user_is_the_user)
{
    set("ZT_CI_USER", "frieda");
    EXPECT_EQ(user(), "frieda");
}

TEST_F(authentication, empty_name_means_no_user)
{
    set("ZT_CI_USER", "");
    EXPECT_EQ(user(), std::nullopt);
}

TEST_F(authentication, without_a_name_the_real_user_is_the_user)
{
    const passwd *entry = getpwuid(getuid());
    if (!entry)
        GTEST_SKIP() << "the real user has no name";
    EXPECT_EQ(user(), std::string(entry->pw_name));
}

TEST_F(authentication, given_session_id_is_decimal)
{
    set("ZT_CI_SID", "4711");
    EXPECT_EQ(vrn_auth_session_get_sid(nullptr), 4711);
}

TEST_F(authentication, session_id_zero_means_none)
{
    set("ZT_CI_SID", "0");
    EXPECT_EQ(vrn_auth_session_get_sid(nullptr), 0);
}

TEST_F(authentication, session_id_that_is_no_number_means_none)
{
    for (const char *text : {"", "seven", "7x", " 7", "0x7", "99999999999"}) {
        set("ZT_CI_SID", text);
        EXPECT_EQ(vrn_auth_session_get_sid(nullptr), 0) << text;
    }
}

TEST_F(authentication, without_a_session_id_the_system_session_counts)
{
    EXPECT_EQ(vrn_auth_session_get_sid(nullptr), getsid(0));
}

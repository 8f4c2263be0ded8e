#include "platform/root.h"

#include <cerrno>

#include "support.h"

class root_folder : public platform_test {
protected:
    char buffer[root_path_size];
};

TEST_F(root_folder, path_lies_below_the_named_folder)
{
    set("ZT_ROOT", "/some/desk");
    EXPECT_STREQ(root_path("/bin/ztd_ng", buffer), "/some/desk/bin/ztd_ng");
}

TEST_F(root_folder, answer_is_the_buffer)
{
    EXPECT_EQ(root_path("/bin/ztd_ng", buffer), buffer);
}

TEST_F(root_folder, unset_variable_means_the_real_root)
{
    unsetenv("ZT_ROOT");
    EXPECT_STREQ(root_path("/bin/ztd_ng", buffer), "/bin/ztd_ng");
}

TEST_F(root_folder, empty_variable_means_the_real_root)
{
    set("ZT_ROOT", "");
    EXPECT_STREQ(root_path("/bin/ztd_ng", buffer), "/bin/ztd_ng");
}

TEST_F(root_folder, longest_path_fits)
{
    set("ZT_ROOT", std::string(root_path_size - 1 - 2, 'r'));
    EXPECT_STREQ(root_path("/x", buffer), (std::string(root_path_size - 3, 'r') + "/x").c_str());
}

TEST_F(root_folder, path_that_does_not_fit_is_refused)
{
    set("ZT_ROOT", std::string(root_path_size - 2, 'r'));
    errno = 0;
    EXPECT_EQ(root_path("/x", buffer), nullptr);
    EXPECT_EQ(errno, ENAMETOOLONG);
}

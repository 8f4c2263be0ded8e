// The appliance's root, under another name beside the stand-alone one.
#define root_path appliance_root_path
#include "platform/appliance/root.cpp"

#include "support.h"

class appliance_root : public platform_test {
protected:
    char buffer[root_path_size];
};

TEST_F(appliance_root, is_the_root_itself_whatever_the_environment_says)
{
    EXPECT_EQ(appliance_root_path("/bin/ztd_ng", buffer), buffer);
    EXPECT_STREQ(buffer, "/bin/ztd_ng");
}

TEST_F(appliance_root, path_that_does_not_fit_is_refused)
{
    errno = 0;
    EXPECT_EQ(appliance_root_path(std::string(root_path_size, '/').c_str(), buffer), nullptr);
    EXPECT_EQ(errno, ENAMETOOLONG);
}

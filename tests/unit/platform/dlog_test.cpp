#include "dlog.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <syslog.h>
#include <unistd.h>

#include "support.h"

static texts syslog_records;

// Stands before the system's own.
extern "C" void syslog(int level, const char *format, ...)
{
    char text[1024];
    va_list values;
    va_start(values, format);
    vsnprintf(text, sizeof text, format, values);
    va_end(values);
    syslog_records.push_back(std::to_string(level) + " " + text);
    errno = EIO;
}

static bool syslog_daemon_listens = true;

extern "C" int access(const char *path, int mode) noexcept
{
    if (strcmp(path, _PATH_LOG) == 0)
        return syslog_daemon_listens ? 0 : -1;
    return faccessat(AT_FDCWD, path, mode, 0);
}

// The library looks for its file once a process, so each test logs in a child.
class log_file : public platform_test {
protected:
    void SetUp() override
    {
        platform_test::SetUp();
        file = root / "log";
        set("ZT_DLOG", file);
    }

    std::filesystem::path file;
};

TEST_F(log_file, record_is_level_tag_and_message_divided_by_tabs)
{
    ASSERT_EQ(in_child([] {
                  __dlog_printf(4, "ZTCLI", "Fail to get %s for %d@%d", "lamp", 1, 2);
                  __dlog_printf(7, "PSAPI", "trace");
              }),
              0);
    EXPECT_EQ(content(file), "4\tZTCLI\tFail to get lamp for 1@2\n7\tPSAPI\ttrace\n");
}

TEST_F(log_file, newline_in_a_message_is_two_characters)
{
    ASSERT_EQ(in_child([] { __dlog_printf(6, "CLITXRX", "%s", "\none\n\ntwo\n"); }), 0);
    EXPECT_EQ(content(file), "6\tCLITXRX\t\\none\\n\\ntwo\\n\n");
}

TEST_F(log_file, other_bytes_stand_as_they_are)
{
    ASSERT_EQ(in_child([] { __dlog_printf(6, "ZTCLI", "%s", "a\tb\\n\r\x01\xff%s"); }), 0);
    EXPECT_EQ(content(file), "6\tZTCLI\ta\tb\\n\r\x01\xff%s\n");
}

TEST_F(log_file, empty_message_is_a_record)
{
    ASSERT_EQ(in_child([] { __dlog_printf(6, "ZTCLI", "%s", ""); }), 0);
    EXPECT_EQ(content(file), "6\tZTCLI\t\n");
}

TEST_F(log_file, missing_tag_is_a_dash)
{
    ASSERT_EQ(in_child([] { __dlog_printf(7, nullptr, "Failed to get the username"); }), 0);
    EXPECT_EQ(content(file), "7\t-\tFailed to get the username\n");
}

TEST_F(log_file, long_message_is_whole)
{
    for (size_t length : {2030u, 2040u, 2050u, 4080u, 4096u, 5000u, 100'000u}) {
        std::filesystem::remove(file);
        const std::string message(length, 'm');
        ASSERT_EQ(in_child([&] { __dlog_printf(4, "ZTCLI", "%s", message.c_str()); }), 0);
        EXPECT_EQ(content(file), "4\tZTCLI\t" + message + "\n") << length;
    }
}

TEST_F(log_file, long_message_of_newlines_is_whole)
{
    for (size_t length : {2040u, 2044u, 2045u, 3000u, 10'000u}) {
        std::filesystem::remove(file);
        std::string escaped;
        for (size_t i = 0; i < length; ++i)
            escaped += "\\n";
        ASSERT_EQ(in_child([&] { __dlog_printf(4, "ZTCLI", "%s", std::string(length, '\n').c_str()); }), 0);
        EXPECT_EQ(content(file), "4\tZTCLI\t" + escaped + "\n") << length;
    }
}

TEST_F(log_file, long_tag_is_whole)
{
    const std::string tag(5000, 't');
    ASSERT_EQ(in_child([&] { __dlog_printf(4, tag.c_str(), "message"); }), 0);
    EXPECT_EQ(content(file), "4\t" + tag + "\tmessage\n");
}

TEST_F(log_file, records_are_added_behind_what_stands)
{
    for (int i = 0; i < 2; ++i)
        ASSERT_EQ(in_child([i] { __dlog_printf(4, "ZTCLI", "process %d", i); }), 0);
    EXPECT_EQ(content(file), "4\tZTCLI\tprocess 0\n4\tZTCLI\tprocess 1\n");
}

TEST_F(log_file, records_of_several_processes_do_not_tear)
{
    const std::string message(700, 'm');
    std::vector<std::thread> writers;
    for (int i = 0; i < 4; ++i)
        writers.emplace_back([&] {
            in_child([&] {
                for (int record = 0; record < 50; ++record)
                    __dlog_printf(4, "ZTCLI", "%s", message.c_str());
            });
        });
    for (std::thread &writer : writers)
        writer.join();

    std::string expected;
    for (int i = 0; i < 200; ++i)
        expected += "4\tZTCLI\t" + message + "\n";
    EXPECT_EQ(content(file), expected);
}

TEST_F(log_file, errno_survives)
{
    EXPECT_EQ(in_child([] {
                  for (int i = 0; i < 2; ++i) { // the first opens the file
                      errno = ENOTTY;
                      __dlog_printf(4, "ZTCLI", "message");
                      EXPECT_EQ(errno, ENOTTY);
                  }
              }),
              0);
}

TEST_F(log_file, is_not_inherited_by_programs)
{
    ASSERT_EQ(in_child([] {
                  __dlog_printf(4, "ZTCLI", "message");
                  EXPECT_EQ(system("ls -l /proc/self/fd | grep -q 'zt-platform-.*/log'") >> 8, 1);
              }),
              0);
    EXPECT_EQ(content(file), "4\tZTCLI\tmessage\n");
}

TEST_F(log_file, that_cannot_be_opened_leaves_the_records_to_syslog)
{
    set("ZT_DLOG", root / "missing" / "log");
    EXPECT_EQ(in_child([] {
                  __dlog_printf(4, "ZTCLI", "message");
                  EXPECT_EQ(syslog_records, texts{"4 ZTCLI: message"});
              }),
              0);
}

class log_without_a_file : public platform_test {};

TEST_F(log_without_a_file, goes_to_syslog_with_the_same_levels)
{
    EXPECT_EQ(in_child([] {
                  __dlog_printf(4, "ZTCLI", "failure %d", 1);
                  __dlog_printf(5, "PSAPI", "refusal");
                  __dlog_printf(6, nullptr, "notice");
                  EXPECT_EQ(syslog_records, (texts{"4 ZTCLI: failure 1", "5 PSAPI: refusal", "6 -: notice"}));
              }),
              0);
}

TEST_F(log_without_a_file, is_not_looked_for_under_an_empty_name)
{
    set("ZT_DLOG", "");
    EXPECT_EQ(in_child([] {
                  __dlog_printf(4, "ZTCLI", "message");
                  EXPECT_EQ(syslog_records, texts{"4 ZTCLI: message"});
              }),
              0);
}

TEST_F(log_without_a_file, drops_debug_records)
{
    EXPECT_EQ(in_child([] {
                  __dlog_printf(7, "PSAPI", "first");
                  __dlog_printf(7, "PSAPI", "second");
                  EXPECT_EQ(syslog_records, texts{});
              }),
              0);
}

TEST_F(log_without_a_file, is_not_sent_where_no_syslog_daemon_listens)
{
    EXPECT_EQ(in_child([] {
                  syslog_daemon_listens = false;
                  __dlog_printf(4, "ZTCLI", "failure");
                  __dlog_printf(4, "ZTCLI", "another");
                  EXPECT_EQ(syslog_records, texts{});
              }),
              0);
}

TEST_F(log_without_a_file, keeps_errno)
{
    EXPECT_EQ(in_child([] {
                  for (int level : {4, 7}) {
                      errno = ENOTTY;
                      __dlog_printf(level, "ZTCLI", "message");
                      EXPECT_EQ(errno, ENOTTY);
                  }
              }),
              0);
}

TEST_F(log_without_a_file, pays_no_system_call_for_a_debug_record)
{
    EXPECT_EQ(in_child_without_system_calls([] { __dlog_printf(7, "PSAPI", "looks for the file"); },
                                            [] {
                                                __dlog_printf(7, "PSAPI", "message");
                                                if (!syslog_records.empty())
                                                    syscall(SYS_exit, 3);
                                            }),
              0);
}

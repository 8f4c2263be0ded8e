// Who is let in, which requests are understood, and the faults that can be asked for.

#include "tests/unit/appliance/morvd_desk.h"

#include <fstream>
#include <pwd.h>
#include <sys/stat.h>

static constexpr uid_t own_user = 4242; // as the test desk has it
static constexpr uid_t stranger = 4711;

static std::string ask_as(test_desk &desk, session &who, const std::vector<std::string> &words)
{
    return on_the_wire(treat_request(desk.served, who, words));
}

// The text of a bulk string.
static std::string text_of_bulk(const std::string &wire)
{
    size_t start = wire.find("\r\n") + 2;
    return wire.substr(start, wire.size() - start - 2);
}

static std::string token_for(test_desk &desk, const std::string &user)
{
    session who = {.peer = 0};
    return text_of_bulk(ask_as(desk, who, {"login", user, "12"}));
}

// --- Logging in -----------------------------------------------------------------------------------------------------

TEST(morvd_service, superuser_and_own_user_may_log_in)
{
    test_desk desk;
    for (uid_t peer : {uid_t{0}, own_user}) {
        session who = {.peer = peer};
        EXPECT_EQ(ask_as(desk, who, {"login", "ann", "12"})[0], '$');
        EXPECT_EQ(ask_as(desk, who, {"info", "power.num-devices"}), bulk("2"));
    }
}

TEST(morvd_service, anybody_else_is_refused_and_stays_out)
{
    test_desk desk;
    session who = {.peer = stranger};
    EXPECT_EQ(ask_as(desk, who, {"login", "ann", "12"}), "-ERR 2 login refused\r\n");
    EXPECT_EQ(ask_as(desk, who, {"info", "power.num-devices"}), "-ERR 1 not logged in\r\n");
}

TEST(morvd_service, every_verb_before_login_is_refused)
{
    test_desk desk;
    for (const char *word :
         {"get", "set", "info", "admin", "list", "mlist", "add", "del", "move", "commit", "desk", "x"}) {
        session who = {.peer = 0};
        EXPECT_EQ(ask_as(desk, who, {word}), "-ERR 1 not logged in\r\n") << word;
    }
}

TEST(morvd_service, login_wants_a_user_and_a_session)
{
    test_desk desk;
    for (const std::vector<std::string> &words :
         std::vector<std::vector<std::string>>{{"login"},
                                               {"login", "ann"},
                                               {"login", "ann", "1", "2"},
                                               {"login", "", "1"},
                                               {"login", "a\nb", "1"},
                                               {"login", std::string(65, 'a'), "1"},
                                               {"login", "ann", "0"},
                                               {"login", "ann", "-1"},
                                               {"login", "ann", "12x"},
                                               {"login", "ann", "99999999999"}}) {
        session who = {.peer = 0};
        EXPECT_EQ(ask_as(desk, who, words), "-ERR 6 bad arguments\r\n");
        EXPECT_FALSE(who.logged_in);
    }
}

TEST(morvd_service, second_login_on_a_connection_is_refused)
{
    test_desk desk;
    EXPECT_EQ(desk.ask({"login", "ann", "1"}), "-ERR 4 already logged in\r\n");
    EXPECT_EQ(desk.ask({"resume", "x"}), "-ERR 4 already logged in\r\n");
}

TEST(morvd_service, token_resumes_the_session)
{
    test_desk desk;
    session again = {.peer = own_user};
    EXPECT_EQ(ask_as(desk, again, {"resume", token_for(desk, "ann")}), "+OK\r\n");
    EXPECT_EQ(ask_as(desk, again, {"info", "power.num-devices"}), bulk("2"));
}

TEST(morvd_service, user_comes_back_with_the_token_of_his_own_login_alone)
{
    const passwd *nobody = getpwnam("nobody");
    if (!nobody || nobody->pw_uid == 0)
        GTEST_SKIP() << "no user 'nobody'";
    test_desk desk;
    session own = {.peer = nobody->pw_uid}, foreign = {.peer = nobody->pw_uid}, unknown = {.peer = nobody->pw_uid};
    EXPECT_EQ(ask_as(desk, own, {"resume", token_for(desk, "nobody")}), "+OK\r\n");
    EXPECT_EQ(ask_as(desk, foreign, {"resume", token_for(desk, "root")}), "-ERR 3 token refused\r\n");
    EXPECT_EQ(ask_as(desk, unknown, {"resume", token_for(desk, "no such user")}), "-ERR 3 token refused\r\n");
}

TEST(morvd_service, token_that_was_not_given_out_is_refused)
{
    test_desk desk;
    std::string token = token_for(desk, "ann");
    std::string other_user = token.substr(0, token.size() - 3) + "eve";
    std::string other_tag = (token[0] == 'f' ? "0" : "f") + token.substr(1);
    for (const std::string &forged :
         {other_user, other_tag, token + "x", token.substr(1), std::string(), std::string("."), std::string("..")}) {
        session who = {.peer = 0};
        EXPECT_EQ(ask_as(desk, who, {"resume", forged}), "-ERR 3 token refused\r\n") << forged;
        EXPECT_FALSE(who.logged_in);
    }
    session who = {.peer = 0};
    EXPECT_EQ(ask_as(desk, who, {"resume"}), "-ERR 6 bad arguments\r\n");
}

// --- Tokens ---------------------------------------------------------------------------------------------------------

TEST(morvd_token, tag_is_the_published_one)
{
    std::string text;
    for (char c = 0; c < 15; c++)
        text += c;
    EXPECT_EQ(tag_of({{0x0706050403020100, 0x0f0e0d0c0b0a0908}}, text), 0xa129ca6149be45e5);
    EXPECT_EQ(tag_of({{0x0706050403020100, 0x0f0e0d0c0b0a0908}}, ""), 0x726fdb47dd0e0e31);
}

TEST(morvd_token, token_carries_its_user_dots_and_all)
{
    token_key key = {{1, 2}};
    std::string user;
    EXPECT_TRUE(read_token(key, make_token(key, "ann.lee", "7"), &user));
    EXPECT_EQ(user, "ann.lee");
    EXPECT_FALSE(read_token({{1, 3}}, make_token(key, "ann.lee", "7"), &user));
}

TEST(morvd_token, key_outlives_the_daemon)
{
    test_folder folder;
    token_key first, second;
    std::string fault, path = folder.path + "/key";
    ASSERT_TRUE(load_token_key(path, &first, &fault));
    ASSERT_TRUE(load_token_key(path, &second, &fault));
    EXPECT_EQ(first.half[0], second.half[0]);
    EXPECT_EQ(first.half[1], second.half[1]);
    struct stat about;
    ASSERT_EQ(stat(path.c_str(), &about), 0);
    EXPECT_EQ(about.st_mode & 0777, 0600u);
}

TEST(morvd_token, key_that_others_could_read_or_that_is_cut_is_replaced)
{
    test_folder folder;
    token_key first, second, third;
    std::string fault, path = folder.path + "/key";
    ASSERT_TRUE(load_token_key(path, &first, &fault));
    ASSERT_EQ(chmod(path.c_str(), 0644), 0);
    ASSERT_TRUE(load_token_key(path, &second, &fault));
    EXPECT_NE(first.half[0], second.half[0]);
    std::filesystem::resize_file(path, 5);
    ASSERT_TRUE(load_token_key(path, &third, &fault));
    EXPECT_NE(second.half[0], third.half[0]);
}

TEST(morvd_token, key_that_cannot_be_kept_is_told)
{
    token_key key;
    std::string fault;
    EXPECT_FALSE(load_token_key("/nosuch/key", &key, &fault));
    EXPECT_EQ(fault, "cannot write '/nosuch/key': No such file or directory");
}

// --- Requests -------------------------------------------------------------------------------------------------------

TEST(morvd_service, unknown_verb_is_refused)
{
    test_desk desk;
    EXPECT_EQ(desk.ask({"put", "power.port"}), "-ERR 5 unknown verb\r\n");
    EXPECT_EQ(desk.ask({"INFO", "power.num-devices"}), "-ERR 5 unknown verb\r\n");
    EXPECT_EQ(desk.ask({""}), "-ERR 5 unknown verb\r\n");
}

TEST(morvd_service, wrong_number_of_arguments_is_refused)
{
    test_desk desk;
    for (const std::vector<std::string> &words : std::vector<std::vector<std::string>>{{"get"},
                                                                                       {"get", "a", "b"},
                                                                                       {"set", "a"},
                                                                                       {"set", "a", "b", "c"},
                                                                                       {"info"},
                                                                                       {"admin"},
                                                                                       {"list"},
                                                                                       {"list", "a", "b"},
                                                                                       {"mlist"},
                                                                                       {"mlist", "a", "b"},
                                                                                       {"add", "a"},
                                                                                       {"add", "a", "b", "c"},
                                                                                       {"del", "a"},
                                                                                       {"del", "a", "b", "c"},
                                                                                       {"move", "a", "b"},
                                                                                       {"move", "a", "b", "c", "d"},
                                                                                       {"commit", "a"}})
        EXPECT_EQ(desk.ask(words), "-ERR 6 bad arguments\r\n") << words[0] << " " << words.size();
}

TEST(morvd_service, info_takes_arguments_behind_the_path)
{
    EXPECT_EQ(test_desk().ask({"info", "power.num-devices", "x", "y"}), bulk("2"));
}

TEST(morvd_service, commit_is_done)
{
    EXPECT_EQ(test_desk().ask({"commit"}), "+OK\r\n");
}

TEST(morvd_answer, absent_value_is_the_null_bulk_string)
{
    answer none;
    none.kind = answer::absent;
    EXPECT_EQ(on_the_wire(none), "$-1\r\n");
}

// --- Faults ---------------------------------------------------------------------------------------------------------

TEST(morvd_fault, refusal_hits_verb_and_path_alone)
{
    test_desk desk;
    EXPECT_EQ(desk.ask({"desk", "fault", "refuse", "info", "power.port.1.name", "77"}), "+OK\r\n");
    EXPECT_EQ(desk.ask({"info", "power.port.1.name"}), "-ERR 77 asked-for fault\r\n");
    EXPECT_EQ(desk.ask({"info", "power.port.1.name"}), "-ERR 77 asked-for fault\r\n");
    EXPECT_EQ(desk.ask({"info", "power.port.2.name"}), bulk("remote"));
    EXPECT_EQ(desk.ask({"mlist", "power.port.1.name"}), "-ERR 9 no such verb on that path\r\n");
}

TEST(morvd_fault, refusal_without_a_code_is_the_asked_for_one)
{
    test_desk desk;
    desk.ask({"desk", "fault", "refuse", "info", "power.num-devices"});
    EXPECT_EQ(desk.ask({"info", "power.num-devices"}), "-ERR 99 asked-for fault\r\n");
}

TEST(morvd_fault, star_stands_for_one_component)
{
    test_desk desk;
    desk.ask({"desk", "fault", "refuse", "*", "power.port.*.name"});
    EXPECT_EQ(desk.ask({"info", "power.port.2.name"}), "-ERR 99 asked-for fault\r\n");
    EXPECT_EQ(desk.ask({"info", "power.port.2.device"}), bulk("/dev/ttyS2"));
    EXPECT_EQ(desk.ask({"mlist", "power.port"}), array({"1", "2"}));
}

TEST(morvd_fault, path_is_compared_decoded)
{
    test_desk desk;
    desk.ask({"desk", "fault", "refuse", "info", "power.outlet.web%2e1.port"});
    EXPECT_EQ(desk.ask({"info", "power.outlet.web%2E1.port"}), "-ERR 99 asked-for fault\r\n");
}

TEST(morvd_fault, star_alone_hits_requests_without_a_path)
{
    test_desk desk;
    desk.ask({"desk", "fault", "refuse", "commit", "*", "5", "1"});
    EXPECT_EQ(desk.ask({"commit"}), "-ERR 5 unknown verb\r\n");
    EXPECT_EQ(desk.ask({"commit"}), "+OK\r\n");
}

TEST(morvd_fault, login_and_resume_can_fail)
{
    test_desk desk;
    desk.ask({"desk", "fault", "refuse", "login", "*", "31", "1"});
    desk.ask({"desk", "fault", "drop", "resume", "*", "1"});
    session who = {.peer = 0};
    EXPECT_EQ(ask_as(desk, who, {"login", "ann", "1"}), "-ERR 31 asked-for fault\r\n");
    EXPECT_FALSE(who.logged_in);
    EXPECT_TRUE(treat_request(desk.served, who, {"resume", "x"}).drop);
}

TEST(morvd_fault, count_and_skip_choose_which_requests_it_hits)
{
    test_desk desk;
    desk.ask({"desk", "fault", "refuse", "info", "power.num-devices", "7", "2", "1"});
    std::string codes;
    for (int i = 0; i < 5; i++)
        codes += desk.ask({"info", "power.num-devices"}) == bulk("2") ? "." : "x";
    EXPECT_EQ(codes, ".xx..");
    EXPECT_EQ(desk.ask({"desk", "fault", "list"}), "*0\r\n");
}

TEST(morvd_fault, faults_are_met_in_the_order_in_which_they_were_asked_for)
{
    test_desk desk;
    desk.ask({"desk", "fault", "refuse", "info", "*", "7", "1", "1"});
    desk.ask({"desk", "fault", "refuse", "info", "*", "8", "1"});
    EXPECT_EQ(desk.ask({"info", "power.num-devices"}), "-ERR 8 no such path\r\n");
    EXPECT_EQ(desk.ask({"info", "power.num-devices"}), "-ERR 7 malformed path\r\n");
    EXPECT_EQ(desk.ask({"info", "power.num-devices"}), bulk("2"));
}

TEST(morvd_fault, drop_hangs_up_and_does_nothing)
{
    test_desk desk;
    desk.ask({"desk", "fault", "drop", "admin", "power.port.1.pdu.1.id"});
    EXPECT_TRUE(treat_request(desk.served, desk.logged_in, {"admin", "power.port.1.pdu.1.id", "new"}).drop);
    EXPECT_EQ(desk.ask({"info", "power.port.1.pdu.1.id"}), bulk("rack1"));
}

TEST(morvd_fault, delay_answers_rightly_but_late)
{
    test_desk desk;
    desk.ask({"desk", "fault", "delay", "info", "power.num-devices", "250"});
    answer late = treat_request(desk.served, desk.logged_in, {"info", "power.num-devices"});
    EXPECT_EQ(late.delay_ms, 250);
    EXPECT_EQ(on_the_wire(late), bulk("2"));
}

TEST(morvd_fault, faults_of_the_chain_file_are_in_force_from_the_start)
{
    test_desk desk("[[fault]]\nkind = 'refuse'\nverb = 'info'\npath = 'power.num-devices'\ncode = 44\ncount = 1\n");
    EXPECT_EQ(desk.ask({"info", "power.num-devices"}), "-ERR 44 asked-for fault\r\n");
    EXPECT_EQ(desk.ask({"info", "power.num-devices"}), bulk("0"));
}

TEST(morvd_fault, list_says_what_is_in_force_and_clear_ends_it)
{
    test_desk desk;
    desk.ask({"desk", "fault", "refuse", "info", "power.port.*.name", "7", "2", "1"});
    desk.ask({"desk", "fault", "drop", "*", "*", "3"});
    desk.ask({"desk", "fault", "delay", "commit", "*", "10"});
    EXPECT_EQ(desk.ask({"desk", "fault", "list"}),
              array({"refuse info power.port.*.name 7 2 1", "drop * * 3 0", "delay commit * 10 0 0"}));
    EXPECT_EQ(desk.ask({"desk", "fault", "clear"}), "+OK\r\n");
    EXPECT_EQ(desk.ask({"desk", "fault", "list"}), "*0\r\n");
}

TEST(morvd_fault, desk_itself_never_fails)
{
    test_desk desk;
    desk.ask({"desk", "fault", "drop", "*", "*"});
    EXPECT_EQ(desk.ask({"desk", "fault", "clear"}), "+OK\r\n");
    EXPECT_EQ(desk.ask({"info", "power.num-devices"}), bulk("2"));
}

TEST(morvd_fault, request_for_a_fault_that_makes_no_sense_is_refused)
{
    test_desk desk;
    for (const std::vector<std::string> &words :
         std::vector<std::vector<std::string>>{{"desk", "fault", "refuse", "put", "*"},
                                               {"desk", "fault", "refuse", "desk", "*"},
                                               {"desk", "fault", "refuse", "info", "a..b"},
                                               {"desk", "fault", "refuse", "info", "*", "0"},
                                               {"desk", "fault", "refuse", "info", "*", "x"},
                                               {"desk", "fault", "refuse", "info", "*", "1", "-1"},
                                               {"desk", "fault", "refuse", "info", "*", "1", "1", "99999999999"},
                                               {"desk", "fault", "delay", "info", "*", "600001"}})
        EXPECT_EQ(desk.ask(words), "-ERR 10 bad value\r\n") << words.back();
    EXPECT_EQ(desk.ask({"desk", "fault", "list"}), "*0\r\n");
}

TEST(morvd_fault, words_that_the_desk_does_not_know_are_refused)
{
    test_desk desk;
    for (const std::vector<std::string> &words :
         std::vector<std::vector<std::string>>{{"desk", "dance"},
                                               {"desk", "fault"},
                                               {"desk", "fault", "explode"},
                                               {"desk", "fault", "list", "x"},
                                               {"desk", "fault", "clear", "x"},
                                               {"desk", "fault", "refuse", "info"},
                                               {"desk", "fault", "refuse", "info", "*", "1", "1", "1", "1"},
                                               {"desk", "fault", "drop", "info", "*", "1", "1", "1"},
                                               {"desk", "fault", "delay", "info", "*"}})
        EXPECT_EQ(desk.ask(words), "-ERR 6 bad arguments\r\n") << words.back();
}

TEST(morvd_fault, number_of_faults_is_bounded)
{
    test_desk desk;
    for (size_t i = 0; i < most_faults; i++)
        ASSERT_EQ(desk.ask({"desk", "fault", "drop", "info", "power.x"}), "+OK\r\n");
    EXPECT_EQ(desk.ask({"desk", "fault", "drop", "info", "power.x"}), "-ERR 13 too many\r\n");
}

TEST(morvd_desk, alone_it_says_what_can_be_said)
{
    EXPECT_EQ(
        test_desk().ask({"desk"}),
        array({"fault refuse VERB PATH [CODE [COUNT [SKIP]]]", "fault drop VERB PATH [COUNT [SKIP]]",
               "fault delay VERB PATH MILLISECONDS [COUNT [SKIP]]", "fault clear", "fault list",
               "clock advance SECONDS", "outlet PORT.PDU.OUTLET fail|mend", "phase PORT.PDU.PHASE overload|relieve",
               "circuit PORT.PDU.CIRCUIT overload|relieve", "load PORT PDU OUTLET WATTS|AMPERESA [POWER_FACTOR]",
               "noise on|off", "sensor set PORT PDU SENSOR VALUE", "sensor pull|plug PORT PDU SENSOR",
               "fuse blow|mend PORT PDU CIRCUIT", "hwocp trip PORT PDU [phase|outlet NUMBER]",
               "link break|cut|mend PORT PDU", "show"}));
}

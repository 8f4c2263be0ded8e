#include "vrn_tsapi.h"

#include <set>

#include "morvdclient.h"
#include "support.h"

static constexpr char login_answer[] = "$5\r\ntok 1\r\n";

class control_tree : public platform_test {
protected:
    void SetUp() override
    {
        platform_test::SetUp();
        set("ZT_CI_USER", "frieda");
        set("ZT_CI_SID", "-7");
    }

    void TearDown() override
    {
        vrn_tsapi_destroy(handle);
        daemon.reset();
        platform_test::TearDown();
    }

    void serve(std::vector<std::vector<scripted>> connections)
    {
        daemon.reset();
        daemon = std::make_unique<scripted_daemon>(root, std::move(connections));
    }

    int log_in() { return vrn_tsapi_init_with_vrnaaa_session(&handle, nullptr); }

    // One `get` that finds the connection lost.
    void lose_connection() { EXPECT_EQ(morvdclient_send_get(vrn_tsapi_get_connection(handle), "lost"), nullptr); }

    vrn_tsapi_handle *handle = nullptr;
    std::unique_ptr<scripted_daemon> daemon;
};

// A result of this library must not be mistaken for one of the client layer's own.
static bool is_own_failure(int result)
{
    return result < 0 && !std::set{-2, -15, -16}.contains(result);
}

// --- Login ----------------------------------------------------------------------------------------------------------

TEST_F(control_tree, login_is_the_first_request)
{
    serve({{login_answer}});
    ASSERT_EQ(log_in(), 0);
    ASSERT_TRUE(handle);
    EXPECT_EQ(daemon->requests(), texts{"login|frieda|-7"});
}

TEST_F(control_tree, login_without_a_user_sends_an_empty_name)
{
    set("ZT_CI_USER", "");
    serve({{login_answer}});
    ASSERT_EQ(log_in(), 0);
    EXPECT_EQ(daemon->requests(), texts{"login||-7"});
}

TEST_F(control_tree, login_without_a_daemon_fails)
{
    EXPECT_TRUE(is_own_failure(log_in()));
    EXPECT_EQ(handle, nullptr);
}

TEST_F(control_tree, login_at_an_overlong_socket_path_fails)
{
    set("ZT_ROOT", root / std::string(200, 'r'));
    EXPECT_TRUE(is_own_failure(log_in()));
}

TEST_F(control_tree, login_that_is_refused_leaves_the_handle)
{
    serve({{"-ERR 13 not you\r\n"}});
    EXPECT_TRUE(is_own_failure(log_in()));
    EXPECT_EQ(handle, nullptr);
}

TEST_F(control_tree, login_that_is_not_answered_with_a_token_fails)
{
    for (const char *answer : {"+OK\r\n", "$-1\r\n", "*0\r\n", ":1\r\n", "what\r\n"}) {
        serve({{silence_after(answer)}});
        EXPECT_TRUE(is_own_failure(log_in())) << answer;
        EXPECT_EQ(handle, nullptr);
    }
}

TEST_F(control_tree, login_that_is_not_answered_fails)
{
    serve({{close_after("")}});
    EXPECT_TRUE(is_own_failure(log_in()));
}

TEST_F(control_tree, login_that_nobody_answers_in_time_fails)
{
    resp_limit_ms = 20;
    serve({{silence_after("")}});
    EXPECT_TRUE(is_own_failure(log_in()));
}

TEST_F(control_tree, no_handle_can_be_destroyed)
{
    vrn_tsapi_destroy(nullptr);
}

TEST_F(control_tree, destroying_closes_the_connection)
{
    serve({{login_answer}});
    ASSERT_EQ(log_in(), 0);
    vrn_tsapi_destroy(handle);
    handle = nullptr;
    daemon->wait_for_closed(1);
    EXPECT_EQ(daemon->requests(), texts{"login|frieda|-7"});
}

TEST_F(control_tree, connection_is_not_inherited_by_programs)
{
    serve({{login_answer}});
    ASSERT_EQ(log_in(), 0);
    EXPECT_TRUE(fcntl(vrn_tsapi_get_connection(handle)->socket, F_GETFD) & FD_CLOEXEC);
}

// --- Ready and idle -------------------------------------------------------------------------------------------------

TEST_F(control_tree, connected_session_is_ready_without_a_system_call)
{
    serve({{login_answer}});
    const auto be_ready = [this] {
        if (tsapi_make_session_ready(handle) || tsapi_make_session_idle(handle))
            syscall(SYS_exit, 3);
    };
    EXPECT_EQ(in_child_without_system_calls([this] { ASSERT_EQ(log_in(), 0); }, be_ready), 0);
}

TEST_F(control_tree, idle_is_always_done)
{
    serve({{login_answer, close_after("")}});
    ASSERT_EQ(log_in(), 0);
    EXPECT_EQ(tsapi_make_session_idle(handle), 0);
    lose_connection();
    EXPECT_EQ(tsapi_make_session_idle(handle), 0);
}

TEST_F(control_tree, prompt_outlives_a_restart_of_the_daemon)
{
    serve({{login_answer}});
    ASSERT_EQ(log_in(), 0);
    morvdclient_connection *connection = vrn_tsapi_get_connection(handle);
    shutdown(connection->socket, SHUT_WR); // lets the first daemon end

    serve({{"+OK\r\n", "$1\r\n1\r\n"}});
    lose_connection();
    ASSERT_EQ(tsapi_make_session_ready(handle), 0);
    EXPECT_EQ(vrn_tsapi_get_connection(handle), connection);
    morvdclient_transaction *answer = morvdclient_send_get(connection, "a");
    ASSERT_TRUE(answer);
    EXPECT_STREQ(morvdclient_transaction_get_value(answer), "1");
    morvdclient_destroy_transaction(answer);
    EXPECT_EQ(daemon->requests(), (texts{"resume|tok 1", "get|a"}));
}

TEST_F(control_tree, refused_resume_fails_and_is_tried_again)
{
    serve({{login_answer, close_after("")}, {"-ERR 13 unknown token\r\n"}, {"+OK\r\n"}});
    ASSERT_EQ(log_in(), 0);
    lose_connection();
    EXPECT_TRUE(is_own_failure(tsapi_make_session_ready(handle)));
    EXPECT_EQ(morvdclient_send_get(vrn_tsapi_get_connection(handle), "a"), nullptr);
    EXPECT_EQ(tsapi_make_session_ready(handle), 0);
    EXPECT_EQ(daemon->requests(), (texts{"login|frieda|-7", "get|lost", "resume|tok 1", "resume|tok 1"}));
}

TEST_F(control_tree, resume_without_a_daemon_fails)
{
    serve({{login_answer, close_after("")}});
    ASSERT_EQ(log_in(), 0);
    lose_connection();
    std::filesystem::remove(root / "run/morvd.sock");
    EXPECT_TRUE(is_own_failure(tsapi_make_session_ready(handle)));
}

TEST_F(control_tree, resume_that_is_not_answered_with_ok_fails)
{
    serve({{login_answer, close_after("")}, {silence_after("$3\r\ntok\r\n")}, {close_after("")}});
    ASSERT_EQ(log_in(), 0);
    lose_connection();
    EXPECT_TRUE(is_own_failure(tsapi_make_session_ready(handle)));
    EXPECT_TRUE(is_own_failure(tsapi_make_session_ready(handle)));
}

TEST_F(control_tree, failures_to_be_ready_are_told_apart)
{
    serve({{login_answer, close_after("")}, {"-ERR 13 unknown token\r\n"}, {close_after("")}});
    ASSERT_EQ(log_in(), 0);
    lose_connection();
    const int refused = tsapi_make_session_ready(handle);
    const int unanswered = tsapi_make_session_ready(handle);
    std::filesystem::remove(root / "run/morvd.sock");
    const int unreached = tsapi_make_session_ready(handle);
    EXPECT_EQ((std::set{refused, unanswered, unreached}.size()), 3u);
}

// --- Commit ---------------------------------------------------------------------------------------------------------

TEST_F(control_tree, commit_is_a_request_of_its_own)
{
    serve({{login_answer, "+OK\r\n"}});
    ASSERT_EQ(log_in(), 0);
    EXPECT_EQ(vrn_tsapi_commit(handle), 0);
    EXPECT_EQ(daemon->requests(), (texts{"login|frieda|-7", "commit"}));
}

TEST_F(control_tree, commit_that_is_refused_fails)
{
    serve({{login_answer, "-ERR 9 not now\r\n", "+OK\r\n"}});
    ASSERT_EQ(log_in(), 0);
    EXPECT_TRUE(is_own_failure(vrn_tsapi_commit(handle)));
    EXPECT_EQ(vrn_tsapi_commit(handle), 0);
}

TEST_F(control_tree, commit_on_a_lost_connection_fails)
{
    serve({{login_answer, close_after("")}});
    ASSERT_EQ(log_in(), 0);
    lose_connection();
    EXPECT_TRUE(is_own_failure(vrn_tsapi_commit(handle)));
}

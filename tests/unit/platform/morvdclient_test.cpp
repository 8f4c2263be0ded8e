#include "morvdclient.h"

#include <csignal>
#include <functional>
#include <optional>
#include <string_view>

#include "support.h"
#include "vrn_tsapi.h"

static constexpr char login_answer[] = "$3\r\nt-1\r\n";

// A session with a scripted daemon, logged in: the script is what comes behind the login.
class exchange : public platform_test {
protected:
    void SetUp() override
    {
        platform_test::SetUp();
        set("ZT_CI_USER", "frieda");
        set("ZT_CI_SID", "7");
    }

    void TearDown() override
    {
        vrn_tsapi_destroy(handle);
        daemon.reset();
        platform_test::TearDown();
    }

    void serve(std::vector<scripted> answers, std::vector<scripted> after_loss = {})
    {
        answers.insert(answers.begin(), login_answer);
        std::vector<std::vector<scripted>> connections = {std::move(answers)};
        if (!after_loss.empty())
            connections.push_back(std::move(after_loss));
        daemon = std::make_unique<scripted_daemon>(root, std::move(connections));
        ASSERT_EQ(vrn_tsapi_init_with_vrnaaa_session(&handle, nullptr), 0);
        connection = vrn_tsapi_get_connection(handle);
    }

    // The requests behind the login.
    texts requests()
    {
        texts all = daemon->requests();
        all.erase(all.begin());
        return all;
    }

    bool connected() const { return connection->socket >= 0; }

    vrn_tsapi_handle *handle = nullptr;
    morvdclient_connection *connection = nullptr;
    std::unique_ptr<scripted_daemon> daemon;
};

using owned = std::unique_ptr<morvdclient_transaction, decltype(&morvdclient_destroy_transaction)>;

static owned own(morvdclient_transaction *transaction)
{
    return {transaction, morvdclient_destroy_transaction};
}

// What came back, in one word: "gone", "refused N", "text T", "absent" or "done".
static std::string outcome(morvdclient_transaction *transaction)
{
    const owned answer = own(transaction);
    if (!answer)
        return "gone";
    if (const int code = morvdclient_transaction_get_result_code(answer.get()))
        return "refused " + std::to_string(code);
    const char *value = morvdclient_transaction_get_value(answer.get());
    return value ? std::string("text ") + value : "no text";
}

static std::optional<texts> list_of(morvdclient_transaction *transaction)
{
    const owned answer = own(transaction);
    morvdclient_list *list = answer ? morvdclient_transaction_get_list(answer.get()) : nullptr;
    if (!list)
        return {};
    paramtype_UTF8String_list *made = morvdclient_list_to_UTF8String_list(list);
    texts values;
    for (const paramtype_UTF8String_list *node = made; node; node = node->next)
        values.push_back(node->value);
    paramtype_UTF8String_list_free(made);
    return values;
}

// --- Requests and answers, row by row -------------------------------------------------------------------------------

TEST_F(exchange, get_is_answered_with_a_text)
{
    serve({"$5\r\n230.1\r\n"});
    EXPECT_EQ(outcome(morvdclient_send_get(connection, "power.port.1.pdu.1.voltage")), "text 230.1");
    EXPECT_EQ(requests(), texts{"get|power.port.1.pdu.1.voltage"});
}

TEST_F(exchange, get_is_answered_without_a_value)
{
    serve({"$-1\r\n"});
    EXPECT_EQ(outcome(morvdclient_send_get(connection, "a.b")), "no text");
}

TEST_F(exchange, empty_text_is_a_value)
{
    serve({"$0\r\n\r\n"});
    EXPECT_EQ(outcome(morvdclient_send_get(connection, "a.b")), "text ");
}

TEST_F(exchange, text_may_hold_line_ends)
{
    serve({"$8\r\na\r\nb\n\r\nc\r\n"});
    EXPECT_EQ(outcome(morvdclient_send_get(connection, "a.b")), "text a\r\nb\n\r\nc");
}

TEST_F(exchange, info_without_arguments_sends_none)
{
    serve({"$1\r\n1\r\n", "$1\r\n2\r\n"});
    const char *const none[] = {nullptr};
    EXPECT_EQ(outcome(morvdclient_send_info(connection, "a.b", nullptr)), "text 1");
    EXPECT_EQ(outcome(morvdclient_send_info(connection, "a.b", none)), "text 2");
    EXPECT_EQ(requests(), (texts{"info|a.b", "info|a.b"}));
}

TEST_F(exchange, info_is_answered_without_a_value)
{
    serve({"$-1\r\n"});
    EXPECT_EQ(outcome(morvdclient_send_info(connection, "a.b", nullptr)), "no text");
}

TEST_F(exchange, info_sends_each_argument_as_a_word)
{
    serve({"$1\r\n1\r\n"});
    const char *const args[] = {"ls -l /tmp", "", "\r\n", nullptr};
    EXPECT_EQ(outcome(morvdclient_send_info(connection, "appliance.shell", args)), "text 1");
    EXPECT_EQ(requests(), texts{"info|appliance.shell|ls -l /tmp||\r\n"});
}

TEST_F(exchange, list_is_answered_with_texts_in_order)
{
    serve({"*3\r\n$1\r\n3\r\n$0\r\n\r\n$3\r\none\r\n"});
    EXPECT_EQ(list_of(morvdclient_send_list(connection, "a.b")), (texts{"3", "", "one"}));
    EXPECT_EQ(requests(), texts{"list|a.b"});
}

TEST_F(exchange, mlist_is_answered_with_texts_in_order)
{
    serve({"*2\r\n$1\r\n2\r\n$1\r\n1\r\n"});
    EXPECT_EQ(list_of(morvdclient_send_mlist(connection, "a.b")), (texts{"2", "1"}));
    EXPECT_EQ(requests(), texts{"mlist|a.b"});
}

TEST_F(exchange, list_may_be_empty)
{
    serve({"*0\r\n"});
    EXPECT_EQ(list_of(morvdclient_send_list(connection, "a.b")), texts{});
}

TEST_F(exchange, text_is_no_list_and_list_no_text)
{
    serve({"$1\r\n1\r\n", "*1\r\n$1\r\n1\r\n"});
    const owned text = own(morvdclient_send_get(connection, "a"));
    EXPECT_EQ(morvdclient_transaction_get_list(text.get()), nullptr);
    const owned list = own(morvdclient_send_list(connection, "a"));
    EXPECT_EQ(morvdclient_transaction_get_value(list.get()), nullptr);
    EXPECT_EQ(morvdclient_transaction_get_result_code(list.get()), 0);
}

TEST_F(exchange, null_list_makes_no_texts)
{
    EXPECT_EQ(morvdclient_list_to_UTF8String_list(nullptr), nullptr);
}

TEST_F(exchange, changing_verbs_are_answered_with_ok)
{
    serve({"+OK\r\n", "+OK\r\n", "+OK\r\n", "+OK\r\n", "+OK\r\n", "+OK\r\n", "+OK\r\n"});
    const char *const args[] = {"1.1.1", nullptr};
    EXPECT_EQ(outcome(morvdclient_send_set(connection, "a", "some value")), "no text");
    EXPECT_EQ(outcome(morvdclient_send_admin(connection, "a", args)), "no text");
    EXPECT_EQ(outcome(morvdclient_send_admin(connection, "a", nullptr)), "no text");
    EXPECT_EQ(outcome(morvdclient_send_add(connection, "a", "name")), "no text");
    EXPECT_EQ(outcome(morvdclient_send_del(connection, "a", "name")), "no text");
    EXPECT_EQ(outcome(morvdclient_send_move(connection, "a", "first", "second")), "no text");
    EXPECT_EQ(vrn_tsapi_commit(handle), 0);
    EXPECT_EQ(requests(), (texts{"set|a|some value", "admin|a|1.1.1", "admin|a", "add|a|name", "del|a|name",
                                 "move|a|first|second", "commit"}));
}

TEST_F(exchange, long_words_arrive_whole)
{
    const std::string value(5'000'000, 'v');
    serve({"+OK\r\n"});
    EXPECT_EQ(outcome(morvdclient_send_set(connection, "a", value.c_str())), "no text");
    EXPECT_EQ(requests(), texts{"set|a|" + value});
}

TEST_F(exchange, long_answer_arrives_whole)
{
    const std::string value(500'000, 'v');
    serve({"$500000\r\n" + value + "\r\n", "$1\r\n2\r\n"});
    EXPECT_EQ(outcome(morvdclient_send_get(connection, "a")), "text " + value);
    EXPECT_EQ(outcome(morvdclient_send_get(connection, "a")), "text 2");
}

TEST_F(exchange, answer_in_single_bytes_is_put_together)
{
    serve({byte_by_byte("$5\r\n230.1\r\n"), byte_by_byte("*2\r\n$3\r\none\r\n$2\r\nno\r\n"), byte_by_byte("+OK\r\n"),
           byte_by_byte("-ERR 31 no such node\r\n"), byte_by_byte("$-1\r\n")});
    EXPECT_EQ(outcome(morvdclient_send_get(connection, "a")), "text 230.1");
    EXPECT_EQ(list_of(morvdclient_send_list(connection, "a")), (texts{"one", "no"}));
    EXPECT_EQ(outcome(morvdclient_send_set(connection, "a", "1")), "no text");
    EXPECT_EQ(outcome(morvdclient_send_get(connection, "a")), "refused 31");
    EXPECT_EQ(outcome(morvdclient_send_get(connection, "a")), "no text");
}

TEST_F(exchange, many_requests_share_one_connection)
{
    serve(std::vector<scripted>(500, "$3\r\nyes\r\n"));
    for (int i = 0; i < 500; ++i)
        ASSERT_EQ(outcome(morvdclient_send_get(connection, "a")), "text yes") << i;
}

TEST_F(exchange, request_with_a_missing_word_is_not_sent)
{
    serve({"$1\r\n1\r\n"});
    EXPECT_EQ(outcome(morvdclient_send_get(connection, nullptr)), "gone");
    EXPECT_EQ(outcome(morvdclient_send_set(connection, "a", nullptr)), "gone");
    EXPECT_EQ(outcome(morvdclient_send_get(connection, "a")), "text 1");
    EXPECT_EQ(requests(), texts{"get|a"});
}

TEST_F(exchange, no_transaction_can_be_destroyed)
{
    morvdclient_destroy_transaction(nullptr);
}

// --- Refusals -------------------------------------------------------------------------------------------------------

TEST_F(exchange, refusal_carries_the_daemons_number_for_every_verb)
{
    serve(std::vector<scripted>(9, "-ERR 12 not now\r\n"));
    EXPECT_EQ(outcome(morvdclient_send_get(connection, "a")), "refused 12");
    EXPECT_EQ(outcome(morvdclient_send_set(connection, "a", "1")), "refused 12");
    EXPECT_EQ(outcome(morvdclient_send_info(connection, "a", nullptr)), "refused 12");
    EXPECT_EQ(outcome(morvdclient_send_admin(connection, "a", nullptr)), "refused 12");
    EXPECT_EQ(outcome(morvdclient_send_list(connection, "a")), "refused 12");
    EXPECT_EQ(outcome(morvdclient_send_mlist(connection, "a")), "refused 12");
    EXPECT_EQ(outcome(morvdclient_send_add(connection, "a", "n")), "refused 12");
    EXPECT_EQ(outcome(morvdclient_send_del(connection, "a", "n")), "refused 12");
    EXPECT_EQ(outcome(morvdclient_send_move(connection, "a", "1", "2")), "refused 12");
    EXPECT_TRUE(connected());
}

TEST_F(exchange, refusal_gives_no_value)
{
    serve({"-ERR 12 not now\r\n"});
    const owned answer = own(morvdclient_send_get(connection, "a"));
    ASSERT_TRUE(answer);
    EXPECT_EQ(morvdclient_transaction_get_value(answer.get()), nullptr);
    EXPECT_EQ(morvdclient_transaction_get_list(answer.get()), nullptr);
}

TEST_F(exchange, refusal_number_may_stand_alone_or_be_negative)
{
    serve({"-ERR 5\r\n", "-ERR -3 words\r\n"});
    EXPECT_EQ(outcome(morvdclient_send_get(connection, "a")), "refused 5");
    EXPECT_EQ(outcome(morvdclient_send_get(connection, "a")), "refused -3");
}

TEST_F(exchange, refusal_without_a_number_of_its_own_is_never_success)
{
    const texts refusals = {
        "-ERR no such node\r\n", "-ERR 0 fine\r\n",           "-ERR\r\n", "-ERR \r\n", "-\r\n", "-NOAUTH 7 words\r\n",
        "-ERR 12x words\r\n",    "-ERR 99999999999 words\r\n"};
    serve({refusals.begin(), refusals.end()});
    for (const std::string &refusal : refusals)
        EXPECT_EQ(outcome(morvdclient_send_get(connection, "a")), "refused -1") << refusal;
    EXPECT_TRUE(connected());
}

// --- Losing the connection ------------------------------------------------------------------------------------------

TEST_F(exchange, connection_closed_instead_of_an_answer_is_no_transaction)
{
    serve({close_after("")});
    EXPECT_EQ(outcome(morvdclient_send_get(connection, "a")), "gone");
    EXPECT_FALSE(connected());
}

TEST_F(exchange, connection_closed_in_the_middle_of_an_answer_is_no_transaction)
{
    for (const char *part : {"$5\r\n23", "$5\r\n230.1", "$5\r\n230.1\r", "$", "*2\r\n$1\r\n1\r\n",
                             "*2\r\n$1\r\n1\r\n$1\r", "-ERR 5 wor", "+OK\r"}) {
        serve({close_after(part)});
        EXPECT_EQ(outcome(morvdclient_send_get(connection, "a")), "gone") << part;
        EXPECT_FALSE(connected());
        vrn_tsapi_destroy(handle);
        handle = nullptr;
    }
}

TEST_F(exchange, request_to_a_closed_connection_is_no_transaction_and_no_signal)
{
    serve({close_after("+OK\r\n")});
    EXPECT_EQ(outcome(morvdclient_send_set(connection, "a", "1")), "no text");
    daemon->wait_for_closed(1);
    EXPECT_EQ(outcome(morvdclient_send_get(connection, "a")), "gone");
    EXPECT_FALSE(connected());
}

TEST_F(exchange, lost_connection_sends_nothing_more_until_ready)
{
    serve({close_after("")}, {"+OK\r\n"});
    EXPECT_EQ(outcome(morvdclient_send_get(connection, "a")), "gone");
    EXPECT_EQ(outcome(morvdclient_send_get(connection, "b")), "gone");
    EXPECT_NE(vrn_tsapi_commit(handle), 0);
    EXPECT_EQ(requests(), texts{"get|a"});
}

TEST_F(exchange, late_answer_is_never_taken_for_the_next_one)
{
    resp_limit_ms = 20;
    serve({silence_after("")}, {"+OK\r\n", "$4\r\nnext\r\n"});
    EXPECT_EQ(outcome(morvdclient_send_get(connection, "late")), "gone");
    resp_limit_ms = 30'000;
    ASSERT_EQ(tsapi_make_session_ready(handle), 0);
    daemon->wait_for_closed(1);
    EXPECT_EQ(outcome(morvdclient_send_get(connection, "next")), "text next");
    EXPECT_EQ(requests(), (texts{"get|late", "resume|t-1", "get|next"}));
}

TEST_F(exchange, half_an_answer_does_not_extend_the_limit)
{
    resp_limit_ms = 20;
    serve({silence_after("$5\r\n23")});
    EXPECT_EQ(outcome(morvdclient_send_get(connection, "a")), "gone");
    EXPECT_FALSE(connected());
}

TEST_F(exchange, dripping_answer_does_not_extend_the_limit)
{
    resp_limit_ms = 20;
    texts drops = {"$1000000\r\n"};
    drops.resize(1'000'001, "x");
    drops.push_back("\r\n"); // whole in the end, had the client waited
    serve({{drops, scripted::answers}});
    EXPECT_EQ(outcome(morvdclient_send_get(connection, "a")), "gone");
    EXPECT_FALSE(connected());
}

TEST_F(exchange, limit_of_an_answer_is_30_seconds)
{
    EXPECT_EQ(resp_limit_ms, 30'000);
}

// A signal whose handler has run while the client waited for its answer.
class interrupted_exchange : public exchange {
protected:
    static inline std::atomic<int> handled;

    void SetUp() override
    {
        exchange::SetUp();
        handled = 0;
        struct sigaction action = {};
        action.sa_handler = [](int) { ++handled; };
        action.sa_flags = SA_RESTART;
        sigaction(SIGUSR2, &action, nullptr);
        client = pthread_self();
        state_file = "/proc/self/task/" + std::to_string(gettid()) + "/stat";
    }

    void TearDown() override
    {
        exchange::TearDown();
        signal(SIGUSR2, SIG_DFL);
    }

    std::function<void()> interrupt(int count)
    {
        return [this, count] {
            for (int i = 1; i <= count; ++i) {
                while (content(state_file).find(") S ") == std::string::npos)
                    sched_yield();
                pthread_kill(client, SIGUSR2);
                while (handled < i)
                    sched_yield();
            }
        };
    }

    pthread_t client;
    std::string state_file;
};

TEST_F(interrupted_exchange, gets_its_answer_all_the_same)
{
    serve({when(interrupt(3), "$1\r\n1\r\n")});
    EXPECT_EQ(outcome(morvdclient_send_get(connection, "a")), "text 1");
    EXPECT_EQ(handled, 3);
    EXPECT_EQ(requests(), texts{"get|a"});
}

TEST_F(interrupted_exchange, still_ends_at_the_limit)
{
    serve({{{}, scripted::stays_silent, interrupt(1)}});
    resp_limit_ms = 200; // from here on: the socket itself still has the long limit, so only what is left can end it
    EXPECT_EQ(outcome(morvdclient_send_get(connection, "a")), "gone");
    EXPECT_EQ(handled, 1);
}

// --- Answers that are none ------------------------------------------------------------------------------------------

class wrong_answer : public exchange {
protected:
    using request = std::function<morvdclient_transaction *(morvdclient_connection *)>;

    // Each text, given as the answer, drops the connection; nothing is made of it.
    void expect_dropped(const texts &answers, const request &send)
    {
        for (const std::string &answer : answers) {
            serve({silence_after(answer)});
            EXPECT_EQ(outcome(send(connection)), "gone") << answer.substr(0, 40);
            EXPECT_FALSE(connected()) << answer.substr(0, 40);
            vrn_tsapi_destroy(handle);
            handle = nullptr;
            daemon.reset();
        }
    }

    static morvdclient_transaction *get(morvdclient_connection *c) { return morvdclient_send_get(c, "a"); }
    static morvdclient_transaction *info(morvdclient_connection *c) { return morvdclient_send_info(c, "a", nullptr); }
    static morvdclient_transaction *list(morvdclient_connection *c) { return morvdclient_send_list(c, "a"); }
    static morvdclient_transaction *mlist(morvdclient_connection *c) { return morvdclient_send_mlist(c, "a"); }
    static morvdclient_transaction *set(morvdclient_connection *c) { return morvdclient_send_set(c, "a", "1"); }
    static morvdclient_transaction *admin(morvdclient_connection *c) { return morvdclient_send_admin(c, "a", nullptr); }
    static morvdclient_transaction *add(morvdclient_connection *c) { return morvdclient_send_add(c, "a", "n"); }
    static morvdclient_transaction *del(morvdclient_connection *c) { return morvdclient_send_del(c, "a", "n"); }
    static morvdclient_transaction *move(morvdclient_connection *c) { return morvdclient_send_move(c, "a", "1", "2"); }
};

TEST_F(wrong_answer, bytes_that_are_no_resp)
{
    expect_dropped({"hello\r\n", "HTTP/1.1 200 OK\r\n", "\r\n", "$x\r\n", "$\r\n", "$-2\r\n", "$3x\r\nabc\r\n",
                    "*x\r\n", "*-7\r\n", "$3\r\nabcde", "$3\r\nabc\n\n", "%1\r\n", "_\r\n", std::string("\0", 1)},
                   get);
}

TEST_F(wrong_answer, text_with_a_zero_byte)
{
    expect_dropped({std::string("$3\r\na\0b\r\n", 9)}, get);
}

TEST_F(wrong_answer, kind_that_a_reading_verb_cannot_have)
{
    const texts answers = {":1\r\n", "+OK\r\n", "*0\r\n", "*1\r\n$1\r\n1\r\n", "*-1\r\n"};
    expect_dropped(answers, get);
    expect_dropped(answers, info);
}

TEST_F(wrong_answer, kind_that_a_listing_verb_cannot_have)
{
    const texts answers = {":1\r\n", "+OK\r\n", "$1\r\n1\r\n", "$-1\r\n", "*-1\r\n"};
    expect_dropped(answers, list);
    expect_dropped(answers, mlist);
}

TEST_F(wrong_answer, list_element_that_is_no_text)
{
    expect_dropped({"*1\r\n$-1\r\n", "*2\r\n$1\r\n1\r\n$-1\r\n", "*1\r\n:1\r\n", "*1\r\n+OK\r\n", "*1\r\n-ERR 1 x\r\n",
                    "*1\r\n*0\r\n", "*2\r\n$1\r\n1\r\n*-1\r\n"},
                   list);
}

TEST_F(wrong_answer, kind_that_a_changing_verb_cannot_have)
{
    const texts answers = {":1\r\n", "$2\r\nOK\r\n", "$-1\r\n", "*0\r\n", "+QUEUED\r\n", "+ok\r\n", "+\r\n"};
    for (const request &send : {request(set), request(admin), request(add), request(del), request(move)})
        expect_dropped(answers, send);
}

TEST_F(wrong_answer, more_than_one)
{
    expect_dropped({"$1\r\n1\r\n$1\r\n2\r\n", "$1\r\n1\r\n+", "$-1\r\n$-1\r\n", "-ERR 1 x\r\n-ERR 2 x\r\n"}, get);
}

TEST_F(wrong_answer, list_longer_than_any)
{
    expect_dropped({"*1000000000\r\n", "*2147483647\r\n", "*65537\r\n", "*99999999999999999999\r\n"}, list);
}

TEST_F(wrong_answer, lists_in_lists)
{
    std::string nested;
    for (int i = 0; i < 1000; ++i)
        nested += "*1\r\n";
    expect_dropped({nested}, list);
}

TEST_F(wrong_answer, text_longer_than_any)
{
    expect_dropped({"$2000000000\r\n" + std::string(resp_answer_max, 'x')}, get);
}

TEST_F(wrong_answer, line_without_an_end)
{
    expect_dropped({"+" + std::string(resp_answer_max, 'x')}, get);
}

TEST_F(wrong_answer, announced_text_that_never_comes)
{
    resp_limit_ms = 20;
    expect_dropped({"$2000000000\r\n"}, get);
}

TEST_F(wrong_answer, is_forgotten_by_the_next_connection)
{
    serve({silence_after("$1\r\n1\r\n$2\r\nol")}, {"+OK\r\n", "$3\r\nnew\r\n"});
    EXPECT_EQ(outcome(morvdclient_send_get(connection, "a")), "gone");
    ASSERT_EQ(tsapi_make_session_ready(handle), 0);
    EXPECT_EQ(outcome(morvdclient_send_get(connection, "a")), "text new");
}

// --- Path components ------------------------------------------------------------------------------------------------

static std::string encoded(const std::string &text)
{
    char *made = url_encode(text.c_str());
    std::string copy = made;
    free(made);
    return copy;
}

TEST(url_encoding, keeps_and_writes_every_byte_as_it_should)
{
    const std::string kept = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_~";
    for (int byte = 1; byte < 256; ++byte) {
        const std::string text(1, static_cast<char>(byte));
        char hex[4];
        snprintf(hex, sizeof hex, "%%%02X", byte);
        EXPECT_EQ(encoded(text), kept.find(text) != std::string::npos ? text : hex) << byte;
    }
}

TEST(url_encoding, goes_through_the_whole_text)
{
    EXPECT_EQ(encoded(""), "");
    EXPECT_EQ(encoded("eth0"), "eth0");
    EXPECT_EQ(encoded("a.b/c d"), "a%2Eb%2Fc%20d");
    EXPECT_EQ(encoded("%41\xc3\xa4"), "%2541%C3%A4");
}

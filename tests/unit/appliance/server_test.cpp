// The server on a real socket, turned by hand in one thread: what comes in whole, in pieces, broken, or without end,
// and what goes out to those who read and those who don't.

#include <fcntl.h>
#include <functional>
#include <list>
#include <malloc.h>
#include <memory>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "appliance/morvd/endpoint.h"
#include "appliance/morvd/server.h"
#include "tests/unit/appliance/morvd_desk.h"

static std::string request(const std::vector<std::string> &words)
{
    return array(words);
}

static const std::string log_in = request({"login", "ann", "1"});
static const std::string ask_ports = request({"info", "power.num-devices"});

// The other end of a connection. Nothing blocks.
struct peer {
    explicit peer(const std::string &path) : descriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0))
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        connected = connect(descriptor, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0;
    }
    ~peer() { close(descriptor); }
    peer(const peer &) = delete;

    ssize_t say(std::string_view bytes) { return send(descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL); }

    // What has come by now; `closed` says whether the end has, too.
    std::string hear()
    {
        std::string heard;
        char piece[65536];
        ssize_t size;
        while ((size = recv(descriptor, piece, sizeof piece, 0)) > 0)
            heard.append(piece, static_cast<size_t>(size));
        closed = size == 0 || (size < 0 && errno == ECONNRESET);
        return heard;
    }

    int descriptor;
    bool connected = false;
    bool closed = false;
};

struct server_test : testing::Test {
    explicit server_test(server_limits limits = {})
    {
        std::string fault;
        EXPECT_TRUE(open_endpoint(folder.path, &place, &fault)) << fault;
        clock.driven = 0;
        running = std::make_unique<server>(
            place.listener, desk.served, clock,
            [](int, uid_t *user) {
                *user = peer_user;
                return true;
            },
            limits);
        peer_user = 0;
    }
    ~server_test() override { close_endpoint(place); }

    void turn(int times = 4)
    {
        while (times-- > 0)
            running->turn(0);
    }

    peer &join()
    {
        peers.emplace_back(place.socket_path);
        turn();
        return peers.back();
    }

    // A client that has logged in and read its token.
    peer &join_logged_in()
    {
        peer &one = join();
        EXPECT_EQ(exchange(one, log_in)[0], '$');
        return one;
    }

    std::string exchange(peer &one, std::string_view bytes)
    {
        one.say(bytes);
        turn();
        return one.hear();
    }

    static inline uid_t peer_user;
    test_folder folder;
    test_desk desk;
    endpoint place;
    desk_clock &clock = desk.simulated.clock;
    std::unique_ptr<server> running;
    std::list<peer> peers;
};

struct small_server_test : server_test {
    small_server_test() : server_test({.connections = 3, .unread_answers = 1000}) {}
};

// --- Sessions -------------------------------------------------------------------------------------------------------

TEST_F(server_test, client_logs_in_and_asks)
{
    peer &one = join();
    EXPECT_EQ(exchange(one, ask_ports), "-ERR 1 not logged in\r\n");
    EXPECT_EQ(exchange(one, log_in).substr(0, 2), "$2");
    EXPECT_EQ(exchange(one, ask_ports), bulk("2"));
}

TEST_F(server_test, login_holds_for_its_connection_alone)
{
    join_logged_in();
    EXPECT_EQ(exchange(join(), ask_ports), "-ERR 1 not logged in\r\n");
}

TEST_F(server_test, peer_that_is_not_trusted_is_refused)
{
    peer_user = 4711;
    EXPECT_EQ(exchange(join(), log_in), "-ERR 2 login refused\r\n");
}

TEST_F(server_test, kernel_names_the_user_at_the_other_end)
{
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    uid_t user = 4711;
    EXPECT_TRUE(socket_peer(ends[0], &user));
    EXPECT_EQ(user, geteuid());
    close(ends[0]);
    close(ends[1]);
    EXPECT_FALSE(socket_peer(ends[0], &user));
}

TEST_F(server_test, requests_sent_together_are_answered_in_order)
{
    peer &one = join_logged_in();
    EXPECT_EQ(exchange(one, ask_ports + request({"commit"}) + request({"info", "power.port.2.name"})),
              bulk("2") + "+OK\r\n" + bulk("remote"));
}

TEST_F(server_test, client_that_closes_its_side_is_still_answered)
{
    peer &one = join_logged_in();
    one.say(ask_ports);
    shutdown(one.descriptor, SHUT_WR);
    turn();
    EXPECT_EQ(one.hear(), bulk("2"));
    EXPECT_TRUE(one.closed);
    EXPECT_EQ(running->connections(), 0u);
}

TEST_F(server_test, client_that_leaves_is_forgotten_and_what_it_asked_is_done)
{
    join_logged_in().say(request({"admin", "power.port.1.pdu.1.id", "new"}));
    peers.clear();
    turn();
    EXPECT_EQ(running->connections(), 0u);
    EXPECT_EQ(desk.simulated.units.ports[0].units[0].id, "new");
}

// --- Bytes of all kinds ---------------------------------------------------------------------------------------------

TEST_F(server_test, request_may_come_byte_by_byte)
{
    peer &one = join_logged_in();
    std::string heard;
    for (char byte : ask_ports) {
        EXPECT_EQ(heard, "");
        heard = exchange(one, {&byte, 1});
    }
    EXPECT_EQ(heard, bulk("2"));
}

TEST_F(server_test, half_a_request_keeps_nobody_else_waiting)
{
    peer &half = join();
    half.say(log_in.substr(0, 9));
    peer &other = join_logged_in();
    EXPECT_EQ(exchange(other, ask_ports), bulk("2"));
    EXPECT_EQ(exchange(half, log_in.substr(9))[0], '$');
}

TEST_F(server_test, what_is_no_request_is_a_protocol_error_and_the_end)
{
    for (const std::string &bytes : std::initializer_list<std::string>{"info power.num-devices\r\n",
                                                                       "PING\r\n",
                                                                       "$4\r\nping\r\n",
                                                                       ":1\r\n",
                                                                       "+OK\r\n",
                                                                       "-ERR\r\n",
                                                                       "*0\r\n",
                                                                       "*-1\r\n",
                                                                       "*-7\r\n",
                                                                       "*x\r\n",
                                                                       "*65\r\n",
                                                                       "*1000000000\r\n",
                                                                       "*99999999999999999999\r\n",
                                                                       "*1\r\n*1\r\n$1\r\na\r\n",
                                                                       "*1\r\n:1\r\n",
                                                                       "*1\r\n$-1\r\n",
                                                                       "*1\r\n+a\r\n",
                                                                       "*2\r\n$1\r\na\r\n$-5\r\n",
                                                                       "*1\r\n$x\r\n",
                                                                       "*1\r\n$99999999999999999999\r\n",
                                                                       std::string("\0\xff\x80", 3)}) {
        peer &one = join_logged_in();
        EXPECT_EQ(exchange(one, bytes), "-ERR 14 protocol error\r\n") << bytes;
        EXPECT_TRUE(one.closed) << bytes;
    }
    EXPECT_EQ(running->connections(), 0u);
}

TEST_F(server_test, requests_before_a_broken_one_are_answered_and_none_behind_it)
{
    peer &one = join_logged_in();
    EXPECT_EQ(exchange(one, ask_ports + "junk\r\n" + ask_ports), bulk("2") + "-ERR 14 protocol error\r\n");
    EXPECT_TRUE(one.closed);
}

TEST_F(server_test, announced_size_costs_nothing_before_it_is_there)
{
    peer &one = join();
    size_t before = mallinfo2().uordblks;
    EXPECT_EQ(exchange(one, "*2\r\n$2000000000\r\nab"), "");
    EXPECT_FALSE(one.closed);
    EXPECT_LT(mallinfo2().uordblks - before, size_t{1000000});
    EXPECT_EQ(exchange(join_logged_in(), ask_ports), bulk("2"));
}

// Sends pieces until the server ends the connection, at most `limit` bytes.
static size_t send_until_closed(peer &one, const std::function<void()> &turn, size_t limit)
{
    const std::string piece(4096, 'x');
    size_t sent = 0;
    while (!one.closed && sent < limit) {
        one.say(piece);
        sent += piece.size();
        turn();
        one.hear();
    }
    return sent;
}

TEST_F(server_test, word_without_end_is_cut_off)
{
    peer &one = join();
    one.say("*1\r\n$2000000000\r\n");
    EXPECT_LT(send_until_closed(
                  one, [&] { turn(1); }, 1 << 20),
              size_t{100000});
    EXPECT_TRUE(one.closed);
}

TEST_F(server_test, line_without_end_is_cut_off)
{
    peer &one = join();
    one.say("*");
    EXPECT_LT(send_until_closed(
                  one, [&] { turn(1); }, 1 << 20),
              size_t{100000});
    EXPECT_TRUE(one.closed);
}

TEST_F(server_test, words_that_are_too_much_together_are_refused)
{
    peer &one = join_logged_in();
    std::string half(40000, 'x');
    std::string heard;
    for (const std::string &piece : {std::string("*3\r\n"), bulk(half), bulk(half)})
        heard += exchange(one, piece);
    EXPECT_EQ(heard, "-ERR 14 protocol error\r\n");
    EXPECT_TRUE(one.closed);
}

TEST_F(server_test, largest_request_is_taken)
{
    peer &one = join_logged_in();
    std::vector<std::string> words(most_request_words, "x");
    words[0] = "info";
    words[1] = "power.num-devices";
    words[2] = std::string(most_request_bytes - 1000, 'x');
    std::string heard, bytes = request(words);
    for (size_t at = 0; at < bytes.size(); at += 8192)
        heard += exchange(one, bytes.substr(at, 8192));
    EXPECT_EQ(heard, bulk("2"));
}

TEST_F(server_test, any_byte_in_a_word_is_only_a_byte)
{
    peer &one = join_logged_in();
    std::string all;
    for (int byte = 0; byte < 256; byte++)
        all += static_cast<char>(byte);
    EXPECT_EQ(exchange(one, request({"admin", "power.port.1.pdu.1.id", all.substr(0, 8)})), "-ERR 10 bad value\r\n");
    EXPECT_EQ(exchange(one, request({"info", all})), "-ERR 7 malformed path\r\n");
    EXPECT_EQ(exchange(one, request({"info", "power.port.1\r\n.name"})), "-ERR 8 no such path\r\n");
    EXPECT_EQ(exchange(one, ask_ports), bulk("2"));
}

// --- Clients of all kinds -------------------------------------------------------------------------------------------

TEST_F(server_test, many_connections_one_after_another_leave_nothing_behind)
{
    int before = dup(0);
    close(before);
    for (int i = 0; i < 2000; i++) {
        peer one(place.socket_path);
        EXPECT_TRUE(one.connected);
        turn(1);
    }
    turn();
    EXPECT_EQ(running->connections(), 0u);
    int after = dup(0);
    close(after);
    EXPECT_EQ(before, after);
}

TEST_F(small_server_test, client_that_does_not_read_is_dropped_at_the_limit)
{
    peer &deaf = join_logged_in();
    peer &other = join_logged_in();
    std::string many;
    for (int i = 0; i < 100; i++)
        many += request({"mlist", "power.port.1.pdu.1"});
    for (int i = 0; i < 1000 && running->connections() == 2; i++) {
        deaf.say(many);
        turn(1);
        ASSERT_EQ(exchange(other, ask_ports), bulk("2"));
    }
    EXPECT_EQ(running->connections(), 1u);
}

TEST_F(small_server_test, client_that_reads_is_not_dropped_however_much_it_asks)
{
    peer &one = join_logged_in();
    std::string many;
    for (int i = 0; i < 30; i++)
        many += request({"mlist", "power.port.1.pdu.1"});
    for (int i = 0; i < 50; i++)
        ASSERT_EQ(exchange(one, many).substr(0, 5), "*28\r\n");
    EXPECT_EQ(running->connections(), 1u);
}

TEST_F(small_server_test, oldest_stranger_makes_room_for_a_new_client)
{
    peer &known = join_logged_in();
    peer &oldest = join();
    peer &newer = join();
    peer &newest = join_logged_in();
    oldest.hear();
    newer.hear();
    EXPECT_TRUE(oldest.closed);
    EXPECT_FALSE(newer.closed);
    EXPECT_EQ(exchange(known, ask_ports), bulk("2"));
    EXPECT_EQ(exchange(newest, ask_ports), bulk("2"));
    EXPECT_EQ(running->connections(), 3u);
}

TEST_F(small_server_test, clients_that_logged_in_keep_their_places)
{
    peer *known[] = {&join_logged_in(), &join_logged_in(), &join_logged_in()};
    peer &late = join();
    late.hear();
    EXPECT_TRUE(late.closed);
    for (peer *one : known)
        EXPECT_EQ(exchange(*one, ask_ports), bulk("2"));
}

TEST_F(server_test, without_descriptors_a_client_is_turned_away_and_the_others_go_on)
{
    peer &known = join_logged_in();
    peer waiting(place.socket_path), next(place.socket_path);
    rlimit before, none;
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    int lowest_free = dup(0); // no number from here on may be given out
    close(lowest_free);
    none = before;
    none.rlim_cur = static_cast<rlim_t>(lowest_free);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    running->turn(0);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
    waiting.hear();
    next.hear();
    EXPECT_TRUE(waiting.closed);
    EXPECT_TRUE(next.closed);
    EXPECT_EQ(exchange(known, ask_ports), bulk("2"));
    EXPECT_EQ(exchange(join_logged_in(), ask_ports), bulk("2"));
}

TEST_F(server_test, wake_up_call_is_told)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    EXPECT_FALSE(running->turn(0, ends[0]));
    ASSERT_EQ(write(ends[1], "x", 1), 1);
    EXPECT_TRUE(running->turn(-1, ends[0]));
    close(ends[0]);
    close(ends[1]);
}

// --- Faults on the wire ---------------------------------------------------------------------------------------------

TEST_F(server_test, drop_closes_behind_the_answers_already_owed)
{
    peer &one = join_logged_in();
    exchange(one, request({"desk", "fault", "drop", "commit", "*"}));
    EXPECT_EQ(exchange(one, ask_ports + request({"commit"}) + ask_ports), bulk("2"));
    EXPECT_TRUE(one.closed);
    EXPECT_EQ(exchange(join_logged_in(), ask_ports), bulk("2"));
}

TEST_F(server_test, late_answer_comes_when_its_time_has_come)
{
    peer &one = join_logged_in();
    exchange(one, request({"desk", "fault", "delay", "info", "power.num-devices", "500", "1"}));
    EXPECT_EQ(exchange(one, ask_ports), "");
    clock.driven = 499;
    turn();
    EXPECT_EQ(one.hear(), "");
    clock.driven = 500;
    turn();
    EXPECT_EQ(one.hear(), bulk("2"));
}

TEST_F(server_test, late_answer_holds_back_those_behind_it_but_not_those_before)
{
    peer &one = join_logged_in();
    exchange(one, request({"desk", "fault", "delay", "info", "power.num-devices", "500", "1"}));
    EXPECT_EQ(exchange(one, request({"commit"}) + ask_ports + request({"info", "power.port.2.name"})), "+OK\r\n");
    EXPECT_EQ(exchange(one, ask_ports), "");
    clock.driven = 500;
    turn();
    EXPECT_EQ(one.hear(), bulk("2") + bulk("remote") + bulk("2"));
}

TEST_F(server_test, late_answer_of_one_client_does_not_slow_another)
{
    peer &slow = join_logged_in();
    peer &other = join_logged_in();
    exchange(slow, request({"desk", "fault", "delay", "info", "power.num-devices", "500", "1"}));
    EXPECT_EQ(exchange(slow, ask_ports), "");
    EXPECT_EQ(exchange(other, ask_ports), bulk("2"));
}

TEST_F(server_test, client_that_leaves_before_its_late_answer_is_forgotten)
{
    peer &one = join_logged_in();
    exchange(one, request({"desk", "fault", "delay", "*", "*", "500"}));
    one.say(ask_ports);
    turn();
    peers.clear();
    turn();
    EXPECT_EQ(running->connections(), 0u);
}

TEST_F(server_test, late_answer_wakes_the_server_by_the_machines_clock)
{
    clock.driven.reset();
    peer &one = join_logged_in();
    exchange(one, request({"desk", "fault", "delay", "info", "power.num-devices", "20", "1"}));
    one.say(ask_ports);
    int64_t asked = clock.now_ms();
    std::string heard;
    while (heard.empty()) {
        running->turn(-1); // would never end if the wait were not bounded by the late answer
        heard = one.hear();
    }
    EXPECT_EQ(heard, bulk("2"));
    EXPECT_GE(clock.now_ms() - asked, 20);
}

// --- The place in the file system -----------------------------------------------------------------------------------

TEST(server_endpoint, second_daemon_on_the_same_place_is_refused)
{
    test_folder folder;
    endpoint first, second;
    std::string fault;
    ASSERT_TRUE(open_endpoint(folder.path, &first, &fault));
    EXPECT_FALSE(open_endpoint(folder.path, &second, &fault));
    EXPECT_EQ(fault, "cannot serve '" + folder.path + "/morvd.sock': another morvd serves it");
    EXPECT_TRUE(peer(first.socket_path).connected);
    close_endpoint(first);
}

TEST(server_endpoint, socket_of_a_dead_daemon_is_taken_over)
{
    test_folder folder;
    endpoint dead, next;
    std::string fault;
    ASSERT_TRUE(open_endpoint(folder.path, &dead, &fault));
    close(dead.listener); // as the kernel does when a daemon is killed
    close(dead.lock);
    EXPECT_FALSE(peer(dead.socket_path).connected);
    ASSERT_TRUE(open_endpoint(folder.path, &next, &fault)) << fault;
    EXPECT_TRUE(peer(next.socket_path).connected);
    close_endpoint(next);
}

TEST(server_endpoint, end_leaves_neither_socket_nor_lock)
{
    test_folder folder;
    endpoint place;
    std::string fault;
    ASSERT_TRUE(open_endpoint(folder.path, &place, &fault));
    close_endpoint(place);
    EXPECT_TRUE(std::filesystem::is_empty(folder.path));
}

TEST(server_endpoint, missing_folder_is_made)
{
    test_folder folder;
    endpoint place;
    std::string fault;
    ASSERT_TRUE(open_endpoint(folder.path + "/run", &place, &fault)) << fault;
    EXPECT_EQ(place.socket_path, folder.path + "/run/morvd.sock");
    close_endpoint(place);
}

TEST(server_endpoint, anybody_may_connect)
{
    test_folder folder;
    endpoint place;
    std::string fault;
    ASSERT_TRUE(open_endpoint(folder.path, &place, &fault));
    EXPECT_EQ(std::filesystem::status(place.socket_path).permissions(), std::filesystem::perms{0666});
    close_endpoint(place);
}

TEST(server_endpoint, path_too_long_for_a_socket_is_told_and_leaves_no_lock)
{
    test_folder folder;
    std::string deep = folder.path + "/" + std::string(100, 'x'), fault;
    endpoint place;
    EXPECT_FALSE(open_endpoint(deep, &place, &fault));
    EXPECT_EQ(fault, "cannot serve '" + deep + "/morvd.sock': path too long for a socket");
    EXPECT_TRUE(std::filesystem::is_empty(deep));
}

TEST(server_endpoint, folder_that_cannot_be_made_is_told)
{
    endpoint place;
    std::string fault;
    EXPECT_FALSE(open_endpoint("/nosuch/run", &place, &fault));
    EXPECT_EQ(fault, "cannot make '/nosuch/run': No such file or directory");
}

TEST(server_endpoint, token_outlives_a_restart)
{
    test_folder folder;
    test_desk before, after;
    std::string fault;
    ASSERT_TRUE(load_token_key(folder.path + "/morvd.key", &before.served.key, &fault));
    std::string token = make_token(before.served.key, "ann", "1");
    ASSERT_TRUE(load_token_key(folder.path + "/morvd.key", &after.served.key, &fault));
    session again = {.peer = 0};
    EXPECT_EQ(on_the_wire(treat_request(after.served, again, {"resume", token})), "+OK\r\n");
}

TEST_F(server_test, outlet_that_waits_wakes_the_server_by_the_machines_clock)
{
    clock.driven.reset();
    std::vector<outlet> &outlets = desk.simulated.units.ports[0].units[0].outlets;
    outlets[0].post_power_off = 1; // a tenth of a second
    exchange(join_logged_in(), request({"admin", "power.command.off", "1.1.1,1.1.3"}));
    EXPECT_TRUE(outlets[2].on);
    running->turn(600'000);
    EXPECT_FALSE(outlets[2].on);
}

TEST_F(server_test, advance_of_the_driven_clock_lets_late_answers_go_and_outlets_switch)
{
    peer &one = join_logged_in(), &other = join_logged_in();
    exchange(one, request({"desk", "fault", "delay", "info", "power.num-devices", "500", "1"}));
    EXPECT_EQ(exchange(one, ask_ports), "");
    exchange(other, request({"admin", "power.port.1.pdu.1.outlet.1.cycle"}));
    EXPECT_EQ(exchange(other, request({"desk", "clock", "advance", "10"})), "+OK\r\n");
    EXPECT_EQ(one.hear(), bulk("2"));
    EXPECT_TRUE(desk.simulated.units.ports[0].units[0].outlets[0].on);
}

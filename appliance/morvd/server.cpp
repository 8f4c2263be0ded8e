// The event loop of the daemon.

#include "appliance/morvd/server.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

static constexpr int accepts_a_turn = 64;

bool socket_peer(int connection, uid_t *user)
{
    ucred credentials;
    socklen_t size = sizeof credentials;
    if (getsockopt(connection, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0)
        return false;
    *user = credentials.uid;
    return true;
}

static int open_spare()
{
    return open("/dev/null", O_RDONLY | O_CLOEXEC);
}

server::server(int listener, service &service, const desk_clock &clock, peer_finder peer, server_limits limits)
    : listener_(listener), service_(service), clock_(clock), peer_(peer), limits_(limits), spare_(open_spare())
{
    events_.reserve(limits.connections + 2);
}

server::~server()
{
    for (client &one : clients_)
        close(one.connection);
    if (spare_ >= 0)
        close(spare_);
}

// --- Connections come -----------------------------------------------------------------------------------------------

// Who has not logged in holds no place that another client needs: the oldest such makes room.
bool server::make_room()
{
    if (clients_.size() < limits_.connections)
        return true;
    auto idle =
        std::find_if(clients_.begin(), clients_.end(), [](const client &one) { return !one.session.logged_in; });
    if (idle == clients_.end())
        return false;
    close(idle->connection);
    clients_.erase(idle);
    return true;
}

void server::add_client(int connection)
{
    uid_t user;
    if (!make_room() || !peer_(connection, &user)) {
        close(connection);
        return;
    }
    try {
        clients_.push_back({.connection = connection, .session = {.peer = user}});
    } catch (const std::bad_alloc &) {
        close(connection);
    }
}

// A connection that can't be accepted for want of descriptors would wake the loop without end. With the spare one it is
// taken and closed.
void server::shed_connection()
{
    if (spare_ >= 0)
        close(spare_);
    int connection = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    if (connection >= 0)
        close(connection);
    spare_ = open_spare();
}

void server::accept_clients()
{
    for (int i = 0; i < accepts_a_turn; i++) {
        int connection = accept4(listener_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (connection >= 0) {
            add_client(connection);
        } else if (errno == EMFILE || errno == ENFILE) {
            shed_connection();
        } else if (errno != ECONNABORTED && errno != EINTR) {
            return;
        }
    }
}

// --- One client -----------------------------------------------------------------------------------------------------

// As much as the other end takes at once.
static bool send_some(int connection, std::string &unsent)
{
    while (!unsent.empty()) {
        ssize_t sent = send(connection, unsent.data(), unsent.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent < 0)
            return errno == EAGAIN || errno == EINTR;
        unsent.erase(0, static_cast<size_t>(sent));
    }
    return true;
}

void server::put_answer(client &one, const answer &made)
{
    if (made.drop) {
        one.ending = true;
    } else if (made.delay_ms > 0) {
        one.late = on_the_wire(made);
        one.late_at = clock_.now_ms() + made.delay_ms;
    } else {
        one.unsent += on_the_wire(made);
    }
    if (one.unsent.size() > limits_.unread_answers)
        one.gone = !send_some(one.connection, one.unsent) || one.unsent.size() > limits_.unread_answers;
}

// A client whose request or answer there is no memory for is the one that goes.
void server::treat_requests(client &one)
try {
    std::vector<std::string> words;
    while (!one.ending && !one.gone && !one.late_at) {
        request_reader::outcome outcome = one.requests.next(&words);
        if (outcome == request_reader::incomplete)
            return;
        if (outcome == request_reader::broken) {
            put_answer(one, refuse(result_protocol_error));
            one.ending = true;
            return;
        }
        put_answer(one, treat_request(service_, one.session, words));
    }
} catch (const std::bad_alloc &) {
    one.gone = true;
}

// One piece a turn, so that a client that never stops sending leaves the others their turns.
void server::receive(client &one)
{
    char piece[16384];
    ssize_t size = recv(one.connection, piece, sizeof piece, MSG_DONTWAIT);
    if (size == 0) {
        one.ending = true;
    } else if (size < 0) {
        one.gone = errno != EAGAIN && errno != EINTR;
    } else {
        one.gone = !one.requests.feed({piece, static_cast<size_t>(size)});
        treat_requests(one);
    }
}

void server::attend(client &one, short events)
{
    bool hung_up = events & POLLHUP && !(events & POLLIN); // nobody is there to read what is still owed
    if (events & (POLLERR | POLLNVAL) || hung_up) {
        one.gone = true;
        return;
    }
    if (events & POLLIN)
        receive(one);
    if (!one.gone)
        one.gone = !send_some(one.connection, one.unsent);
}

// --- The loop -------------------------------------------------------------------------------------------------------

void server::release_late_answers()
{
    for (client &one : clients_) {
        if (!one.late_at || one.gone || clock_.now_ms() < one.late_at)
            continue;
        one.late_at = 0;
        one.unsent += std::exchange(one.late, {});
        treat_requests(one); // what came in behind the late one
        if (!one.gone)
            one.gone = !send_some(one.connection, one.unsent);
    }
}

void server::close_finished()
{
    clients_.remove_if([](const client &one) {
        bool finished = one.gone || (one.ending && one.unsent.empty() && !one.late_at);
        if (finished)
            close(one.connection);
        return finished;
    });
}

// A clock that is moved by hand moves by a request, and that wakes the loop by itself.
int server::wait_time(int max_wait_ms) const
{
    int64_t wait = max_wait_ms < 0 ? INT_MAX : max_wait_ms;
    if (clock_.driven)
        return wait == INT_MAX ? -1 : static_cast<int>(wait);
    auto wake_at = [&](int64_t due) { wait = std::clamp<int64_t>(due - clock_.now_ms(), 0, wait); };
    for (const client &one : clients_)
        if (one.late_at)
            wake_at(one.late_at);
    if (std::optional<int64_t> due = service_.line.next_due(service_.line.self))
        wake_at(*due);
    return wait == INT_MAX ? -1 : static_cast<int>(wait);
}

void server::note_wanted_events(int wake)
{
    events_.assign({{listener_, POLLIN, 0}, {wake, POLLIN, 0}});
    for (const client &one : clients_) {
        bool takes_requests = !one.ending && !one.late_at;
        int wanted = (takes_requests ? POLLIN : 0) | (one.unsent.empty() ? 0 : POLLOUT);
        events_.push_back({one.connection, static_cast<short>(wanted), 0});
    }
}

bool server::turn(int max_wait_ms, int wake)
{
    note_wanted_events(wake);
    if (poll(events_.data(), events_.size(), wait_time(max_wait_ms)) < 0)
        return false;
    service_.line.settle(service_.line.self);

    size_t next = 2;
    for (client &one : clients_)
        if (short happened = events_[next++].revents)
            attend(one, happened);
    release_late_answers();
    close_finished();
    if (events_[0].revents)
        accept_clients();
    return events_[1].revents & POLLIN;
}

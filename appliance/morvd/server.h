// The server: one thread, every connection non-blocking, so that no client stops or slows another. Requests of one
// client are answered in order; an answer that is held back holds back only those behind it.
#pragma once

#include <list>
#include <poll.h>
#include <string>
#include <vector>

#include "appliance/model/clock.h"
#include "appliance/morvd/request_reader.h"
#include "appliance/morvd/service.h"

// Says which effective user stands at the other end; false where the kernel can't tell.
using peer_finder = bool (*)(int connection, uid_t *user);
bool socket_peer(int connection, uid_t *user);

struct server_limits {
    size_t connections = 256;
    size_t unread_answers = 1048576; // bytes; a client that lets more pile up is dropped
};

class server {
public:
    // `listener` is non-blocking and stays the caller's, as do service and clock, which is the one that the service's
    // device goes by.
    server(int listener, service &service, const desk_clock &clock, peer_finder peer = socket_peer,
           server_limits limits = {});
    ~server();
    server(const server &) = delete;
    server &operator=(const server &) = delete;

    // Waits until something can be done or falls due by itself, at most `max_wait_ms` (-1: without end), and does it.
    // `wake` is one more descriptor to wait for, or -1. True where `wake` can be read.
    bool turn(int max_wait_ms, int wake = -1);

    size_t connections() const { return clients_.size(); }

private:
    struct client {
        int connection;
        struct session session;
        request_reader requests = {};
        std::string unsent = {};
        std::string late = {}; // an answer that is held back
        int64_t late_at = 0;   // when it goes out; 0: there is none
        bool ending = false;   // takes no more requests and closes when all is sent
        bool gone = false;
    };

    void accept_clients();
    void add_client(int connection);
    bool make_room();
    void shed_connection();
    void put_answer(client &one, const answer &made);
    void treat_requests(client &one);
    void receive(client &one);
    void attend(client &one, short events);
    void release_late_answers();
    void close_finished();
    int wait_time(int max_wait_ms) const;
    void note_wanted_events(int wake);

    int listener_;
    service &service_;
    const desk_clock &clock_;
    peer_finder peer_;
    server_limits limits_;
    int spare_;                  // given up for a moment to turn a client away when descriptors run out
    std::list<client> clients_;  // oldest first
    std::vector<pollfd> events_; // the listener, `wake`, then the clients in their order
};

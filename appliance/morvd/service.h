// What the daemon answers to a request, whatever road the request came by.
#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

#include "appliance/model/simulation.h"
#include "appliance/morvd/answer.h"
#include "appliance/morvd/faults.h"
#include "appliance/morvd/token.h"

struct service {
    device line;
    simulation *desk; // what the words of the desk change; never null
    token_key key;
    uid_t own_user; // the daemon's own effective user
    std::vector<fault> faults;
};

// One connection's standing.
struct session {
    uid_t peer; // effective user at the other end
    bool logged_in = false;
};

// `words` is the request, never empty. Whatever has come due by now is done before it is treated.
answer treat_request(service &service, session &session, const std::vector<std::string> &words);

// The daemon's place in the file system: its socket, and the lock that makes it the only one there.
#pragma once

#include <string>

struct endpoint {
    std::string socket_path, lock_path;
    int lock = -1;
    int listener = -1; // non-blocking
};

// Takes the lock and listens in the folder, which is made if it is not there. The socket of a daemon that died is taken
// over. False, with the cause in `fault`, where that can't be; then nothing stays behind.
bool open_endpoint(const std::string &folder, endpoint *made, std::string *fault);

// Removes socket and lock.
void close_endpoint(endpoint &endpoint);

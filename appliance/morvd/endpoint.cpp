// Taking and leaving the daemon's socket. Whoever holds the lock may replace the socket, nobody else touches it.

#include "appliance/morvd/endpoint.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

static std::string cannot(const char *what, const std::string &path, const char *why)
{
    return std::string("cannot ") + what + " '" + path + "': " + why;
}

// A daemon that ends removes its lock file. Who had that very file open by then would lock a file that nobody else
// finds.
static bool is_still_there(int lock, const std::string &path)
{
    struct stat held, found;
    return fstat(lock, &held) == 0 && stat(path.c_str(), &found) == 0 && held.st_dev == found.st_dev &&
           held.st_ino == found.st_ino;
}

static bool take_lock(endpoint *made, std::string *fault)
{
    for (;;) {
        made->lock = open(made->lock_path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
        if (made->lock < 0) {
            *fault = cannot("lock", made->lock_path, strerror(errno));
            return false;
        }
        if (flock(made->lock, LOCK_EX | LOCK_NB) != 0) {
            bool held = errno == EWOULDBLOCK;
            *fault = held ? cannot("serve", made->socket_path, "another morvd serves it")
                          : cannot("lock", made->lock_path, strerror(errno));
            close(made->lock);
            return false;
        }
        if (is_still_there(made->lock, made->lock_path))
            return true;
        close(made->lock);
    }
}

// Made beside its place and moved there when it listens, so that no client meets a socket that is not ready. Everybody
// may connect: who may log in is decided by the peer's credentials.
static int listen_at(const std::string &path, std::string *fault)
{
    sockaddr_un address{};
    std::string fresh = path + ".new";
    if (fresh.size() >= sizeof address.sun_path) {
        *fault = cannot("serve", path, "path too long for a socket");
        return -1;
    }
    address.sun_family = AF_UNIX;
    fresh.copy(address.sun_path, fresh.size());
    unlink(fresh.c_str());

    int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (listener >= 0 && bind(listener, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0 &&
        chmod(fresh.c_str(), 0666) == 0 && listen(listener, SOMAXCONN) == 0 && rename(fresh.c_str(), path.c_str()) == 0)
        return listener;
    *fault = cannot("serve", path, strerror(errno));
    unlink(fresh.c_str());
    if (listener >= 0)
        close(listener);
    return -1;
}

bool open_endpoint(const std::string &folder, endpoint *made, std::string *fault)
{
    *made = {.socket_path = folder + "/morvd.sock", .lock_path = folder + "/morvd.lock"};
    if (mkdir(folder.c_str(), 0755) != 0 && errno != EEXIST) {
        *fault = cannot("make", folder, strerror(errno));
        return false;
    }
    if (!take_lock(made, fault))
        return false;
    made->listener = listen_at(made->socket_path, fault);
    if (made->listener >= 0)
        return true;
    unlink(made->lock_path.c_str());
    close(made->lock);
    return false;
}

void close_endpoint(endpoint &endpoint)
{
    unlink(endpoint.socket_path.c_str()); // first: without the lock file the place is another daemon's
    close(endpoint.listener);
    unlink(endpoint.lock_path.c_str());
    close(endpoint.lock);
}

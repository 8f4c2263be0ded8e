// Both ends of the wire between client and control daemon, and its pieces as lines of text.
#pragma once

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "platform/standalone/resp.h"
#include "tests/fuzz/fuzz.h"

// "\r" and "\n" stand as two characters each, so that a line of the input can hold them.
inline std::string unescaped(const std::string &line)
{
    std::string bytes;
    for (size_t at = 0; at < line.size(); at++) {
        const char next = at + 1 < line.size() ? line[at + 1] : '\0';
        if (line[at] != '\\' || (next != 'r' && next != 'n'))
            bytes += line[at];
        else
            bytes += next == 'r' ? '\r' : '\n', at++;
    }
    return bytes;
}

inline std::vector<std::string> pieces_of(std::string_view input)
{
    std::vector<std::string> pieces;
    for (const std::string &line : cut_at(input, '\n'))
        pieces.push_back(unescaped(line));
    return pieces;
}

// A connection of the client's, whose socket is one that keeps pieces apart and holds them already. Behind them is the
// end.
class prepared_connection {
public:
    explicit prepared_connection(const std::vector<std::string> &pieces)
    {
        static const std::string path = listening();
        must(resp_connect(&client, path.c_str()) == 0, "the client connects");
        close(accept(listener_, nullptr, nullptr));
        int ends[2];
        must(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends) == 0, "there is a pair of sockets");
        for (const std::string &piece : pieces)
            if (!piece.empty())
                send(ends[1], piece.data(), piece.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
        shutdown(ends[1], SHUT_WR);
        dup2(ends[0], client.socket);
        close(ends[0]);
        other_end_ = ends[1];
    }
    ~prepared_connection()
    {
        resp_drop(&client);
        close(other_end_);
    }
    prepared_connection(const prepared_connection &) = delete;

    // What the client has sent, if anything.
    std::string sent() const
    {
        std::string bytes(1 << 17, '\0');
        const ssize_t size = recv(other_end_, bytes.data(), bytes.size(), MSG_DONTWAIT);
        return bytes.substr(0, size < 0 ? 0 : static_cast<size_t>(size));
    }

    morvdclient_connection client = resp_not_connected;

private:
    static std::string listening()
    {
        std::string path = "/tmp/zt-fuzz-" + std::to_string(getpid()) + ".sock";
        sockaddr_un address = {.sun_family = AF_UNIX, .sun_path = {}};
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        unlink(path.c_str());
        listener_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        must(bind(listener_, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0 && listen(listener_, 4) == 0,
             "there is a socket to connect to", path);
        static std::string remembered = path;
        atexit([] { unlink(remembered.c_str()); });
        return path;
    }

    static inline int listener_ = -1;
    int other_end_;
};

// What the platform's tests share: a root of their own in a temporary folder, a clean environment, a child process for
// what a library looks at once a process, and a control daemon that answers from a script, byte for byte.
#pragma once

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/seccomp.h>
#include <linux/sockios.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/standalone/resp.h"

using texts = std::vector<std::string>;

inline std::string content(const std::filesystem::path &file)
{
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

// A root below a temporary folder, and none of the platform's variables but ZT_ROOT.
class platform_test : public testing::Test {
protected:
    void SetUp() override
    {
        char name[] = "/tmp/zt-platform-XXXXXX";
        ASSERT_TRUE(mkdtemp(name));
        root = name;
        std::filesystem::permissions(root, std::filesystem::perms(0755));
        forget();
        set("ZT_ROOT", root);
    }

    void TearDown() override
    {
        forget();
        resp_limit_ms = 30'000;
        std::filesystem::remove_all(root);
    }

    static void set(const char *variable, const std::string &value) { setenv(variable, value.c_str(), 1); }

    static void forget()
    {
        for (const char *variable :
             {"ZT_ROOT", "ZT_CI_COMMAND", "ZT_CI_USER", "ZT_CI_SID", "ZT_CI_TIMEOUT", "ZT_CI_DLA", "ZT_DLOG"})
            unsetenv(variable);
    }

    // Runs `body` in a process of its own and answers how that ended; -1 where it did not exit.
    static int in_child(const std::function<void()> &body)
    {
        const pid_t child = fork();
        if (child == 0) {
            body();
            _exit(HasFailure() ? 1 : 0);
        }
        int status = 0;
        waitpid(child, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    // The same, with every system call but read and write deadly while `quiet` runs.
    static int in_child_without_system_calls(const std::function<void()> &before, const std::function<void()> &quiet)
    {
        return in_child([&] {
            before();
            if (prctl(PR_SET_SECCOMP, SECCOMP_MODE_STRICT) != 0)
                _exit(2);
            quiet();
            syscall(SYS_exit, 0);
        });
    }

    std::filesystem::path root;
};

// One answer of the scripted daemon.
struct scripted {
    enum what { answers, closes, stays_silent };

    texts pieces;                // sent one by one, each when the one before has been taken
    what then = answers;         // what comes behind the pieces
    std::function<void()> first; // runs between the request and the first piece

    scripted(const char *whole) : pieces{whole} {}
    scripted(std::string whole) : pieces{std::move(whole)} {}
    scripted(texts parts, what behind, std::function<void()> before = {})
        : pieces(std::move(parts)), then(behind), first(std::move(before))
    {
    }
};

inline scripted byte_by_byte(const std::string &whole)
{
    texts pieces;
    for (char c : whole)
        pieces.emplace_back(1, c);
    return {pieces, scripted::answers};
}

inline scripted close_after(const std::string &part)
{
    return {{part}, scripted::closes};
}

inline scripted silence_after(const std::string &part)
{
    return {{part}, scripted::stays_silent};
}

inline scripted when(std::function<void()> first, const std::string &whole)
{
    return {{whole}, scripted::answers, std::move(first)};
}

// Listens at run/morvd.sock below the root. Serves one connection after the other, each by its list of answers, and
// keeps every request as its words joined by '|'. A connection whose answers are used up waits for the client to close
// it.
class scripted_daemon {
public:
    scripted_daemon(const std::filesystem::path &root, std::vector<std::vector<scripted>> connections)
        : connections_(std::move(connections))
    {
        std::filesystem::create_directories(root / "run");
        const std::string path = root / "run/morvd.sock";
        std::filesystem::remove(path);
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        listener_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        EXPECT_EQ(bind(listener_, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
        EXPECT_EQ(listen(listener_, 8), 0);
        thread_ = std::thread([this] { serve(); });
    }

    ~scripted_daemon()
    {
        stop_ = true;
        shutdown(listener_, SHUT_RDWR); // wakes accept
        thread_.join();
        close(listener_);
    }

    scripted_daemon(const scripted_daemon &) = delete;
    scripted_daemon &operator=(const scripted_daemon &) = delete;

    texts requests()
    {
        const std::lock_guard lock(mutex_);
        return requests_;
    }

    // Returns when that many connections have come to their end on the daemon's side.
    void wait_for_closed(int count)
    {
        while (closed_ < count)
            sched_yield();
    }

private:
    void serve()
    {
        for (const auto &answers : connections_) {
            const int socket = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
            if (socket < 0)
                return;
            serve_connection(socket, answers);
            close(socket);
            ++closed_;
        }
    }

    void serve_connection(int socket, const std::vector<scripted> &answers)
    {
        for (const scripted &answer : answers) {
            if (!read_request(socket))
                return;
            if (answer.first)
                answer.first();
            for (const std::string &piece : answer.pieces) {
                if (!send_piece(socket, piece))
                    return;
            }
            if (answer.then == scripted::closes)
                return;
            if (answer.then == scripted::stays_silent)
                break;
        }
        while (read_request(socket)) { // until the client closes
        }
        // What comes now comes late.
        send(socket, "$4\r\nlate\r\n", 10, MSG_NOSIGNAL);
    }

    bool send_piece(int socket, const std::string &piece)
    {
        if (send(socket, piece.data(), piece.size(), MSG_NOSIGNAL) < 0)
            return false;
        for (int untaken = 1; untaken > 0 && !stop_;) {
            char peeked;
            if (ioctl(socket, SIOCOUTQ, &untaken) != 0 || recv(socket, &peeked, 1, MSG_PEEK | MSG_DONTWAIT) == 0)
                return false;
            sched_yield();
        }
        return true;
    }

    bool read_line(int socket, std::string *line)
    {
        line->clear();
        char c;
        while (recv(socket, &c, 1, 0) == 1) {
            line->push_back(c);
            if (line->ends_with("\r\n")) {
                line->resize(line->size() - 2);
                return true;
            }
        }
        return false;
    }

    bool read_request(int socket)
    {
        std::string line;
        if (!read_line(socket, &line))
            return false;
        EXPECT_EQ(line.substr(0, 1), "*");
        std::string request;
        const int count = std::stoi(line.substr(1));
        for (int i = 0; i < count; ++i) {
            if (!read_line(socket, &line))
                return false;
            EXPECT_EQ(line.substr(0, 1), "$");
            std::string word(std::stoul(line.substr(1)) + 2, '\0');
            if (recv(socket, word.data(), word.size(), MSG_WAITALL) != static_cast<ssize_t>(word.size()))
                return false;
            EXPECT_TRUE(word.ends_with("\r\n"));
            word.resize(word.size() - 2);
            request += (i ? "|" : "") + word;
        }
        const std::lock_guard lock(mutex_);
        requests_.push_back(request);
        return true;
    }

    std::vector<std::vector<scripted>> connections_;
    int listener_;
    std::atomic<int> closed_ = 0;
    std::atomic<bool> stop_ = false;
    std::mutex mutex_;
    texts requests_;
    std::thread thread_;
};
